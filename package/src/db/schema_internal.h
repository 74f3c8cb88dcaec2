// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema_internal.h - the schemas and their versions.
// A schema is a list of migrations; version N is what the first N of them make. A migration that was ever
// shipped is never changed: what comes later is a further one.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "package/db.h"

struct DbSchema {
    VxDB::DB_INSTANCE instance;
    const char* name; ///< base name of the file, and what messages call it
    std::span<const char* const> migrations;

    int Version() const noexcept { return static_cast<int>(migrations.size()); }
    /// Stored in each file, so that one database's file is not taken for another's.
    std::int32_t ApplicationId() const noexcept { return 0x56584400 + static_cast<int>(instance); }
};

/// The schema of a database; null for a number that is none.
const DbSchema* SchemaOf(VxDB::DB_INSTANCE instance) noexcept;

/// The schema that a file name tells ("event.db", "event_7.db"); null when it tells none.
const DbSchema* SchemaOfPath(std::string_view path) noexcept;

// One file each, schema_NAME.cpp.
std::span<const char* const> SystemMigrations() noexcept;
std::span<const char* const> LogMigrations() noexcept;
std::span<const char* const> EventMigrations() noexcept;
std::span<const char* const> AlertMigrations() noexcept;
std::span<const char* const> LapseMigrations() noexcept;
std::span<const char* const> DvaMigrations() noexcept;
std::span<const char* const> FaceMigrations() noexcept;
