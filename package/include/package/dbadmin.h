// SPDX-License-Identifier: Apache-2.0
// package/dbadmin.h - what an operator asks of the databases: what is there, is it sound, make it small.
// Nothing in here makes a database or changes its schema.
#pragma once

#include <list>
#include <string>

#include "package/db.h"
#include "package/export.h"

namespace VxDB {

/// How a question was answered.
enum class DB_ADMIN_STATUS {
    OK,
    ABSENT,      ///< the database was not made yet; no fault
    FAULTY,      ///< the file is damaged, foreign or from a later version
    UNREACHABLE, ///< it cannot be opened or is held by somebody
};

struct DBTableInfo {
    std::string name;
    long long rows = 0;
};

struct DBInfo {
    int schemaVersion = 0;     ///< of the file
    int knownVersion = 0;      ///< of this software
    long long sizeBytes = 0;   ///< the file with its write-ahead log
    long long unusedBytes = 0; ///< what vacuuming would give back at most
    std::list<DBTableInfo> tables;
};

/// The files of all databases, made or not, and of archive tasks' own that exist.
VX_API std::list<std::string> ListDatabases();

/// @param problem  set unless OK or ABSENT: what, where, what to do; may be null
VX_API DB_ADMIN_STATUS GetDBInfo(const std::string& path, DBInfo& info, std::string* problem) noexcept;

/// Reads the whole database and checks its structure, its references and its schema version.
///
/// @param problems  what was found, a line each; on OK nothing but that an older schema will be migrated
VX_API DB_ADMIN_STATUS CheckDB(const std::string& path, std::list<std::string>& problems) noexcept;

/// Writes the database anew without its unused space. Needs as much free space as the database is large;
/// writers wait meanwhile.
VX_API DB_ADMIN_STATUS VacuumDB(const std::string& path, std::string* problem) noexcept;

} // namespace VxDB
