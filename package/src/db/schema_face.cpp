// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_face.cpp - tables of face.db, one migration a version.
#include "schema_internal.h"

std::span<const char* const> FaceMigrations() noexcept
{
    return {};
}
