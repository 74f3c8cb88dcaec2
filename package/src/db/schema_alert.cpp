// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_alert.cpp - tables of alert.db, one migration a version.
#include "schema_internal.h"

std::span<const char* const> AlertMigrations() noexcept
{
    return {};
}
