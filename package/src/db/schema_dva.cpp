// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_dva.cpp - tables of dva.db, one migration a version.
#include "schema_internal.h"

std::span<const char* const> DvaMigrations() noexcept
{
    return {};
}
