// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_lapse.cpp - tables of lapse.db, one migration a version.
#include "schema_internal.h"

std::span<const char* const> LapseMigrations() noexcept
{
    return {};
}
