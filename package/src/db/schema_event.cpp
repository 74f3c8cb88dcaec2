// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_event.cpp - tables of event.db, one migration a version.
#include "schema_internal.h"

std::span<const char* const> EventMigrations() noexcept
{
    return {};
}
