// SPDX-License-Identifier: Apache-2.0
// package/src/db/driver.h - what a database driver has to give. All calls of the database itself, and all
// questions of its SQL dialect, are behind this; a driver for a client-server database is a second file like
// sqlite_driver.cpp.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "result_internal.h"
#include "schema_internal.h"

/// Why a call failed; NONE: it did not.
enum class DbFault {
    NONE,
    SQL,       ///< the text was refused or a constraint failed
    BUSY,      ///< somebody else held the database until the deadline
    READ_ONLY, ///< file or volume may not be written
    FULL,      ///< no space left
    CORRUPT,   ///< the file is damaged
    FOREIGN,   ///< the file is no database of ours
    NEWER,     ///< a later version of this software has written it
    MISSING,   ///< the file, its folder or its volume is not there
    REPLACED,  ///< the file is not the one that was opened
    IO,        ///< anything else of the volume
};

/// Outcome of a driver call: the fault and a sentence with what, where and what to do.
struct DbOutcome {
    DbFault fault = DbFault::NONE;
    std::string text;

    bool Ok() const noexcept { return fault == DbFault::NONE; }
};

/// One open database. One thread at a time. Destroying it closes it.
class DbConnection {
public:
    DbConnection() = default;
    DbConnection(const DbConnection&) = delete;
    DbConnection& operator=(const DbConnection&) = delete;
    virtual ~DbConnection() = default;

    /// Runs a script, all or nothing; see VxDB::Execute. Outside of BeginTransaction() no transaction is open
    /// afterwards, whatever happened.
    ///
    /// @param rows  where rows go; null: not wanted
    virtual DbOutcome Run(const std::string& sql, DbRowSink* rows) = 0;

    /// Opens a transaction that Run() joins until EndTransaction(). A failing Run() rolls it back.
    virtual DbOutcome BeginTransaction() = 0;

    /// Commits, or rolls back; a transaction that was rolled back already cannot be committed.
    virtual DbOutcome EndTransaction(bool isCommit) = 0;

    /// Whether a transaction is open.
    virtual bool InTransaction() const noexcept = 0;

    /// Whether the file under the path is still the one that was opened.
    virtual DbOutcome StillThere() const = 0;

    /// Lets go of everything without touching the file or its locks: for a child process that finds a
    /// connection of its parent's.
    virtual void Abandon() noexcept = 0;
};

/// How to open.
struct DbOpenSpec {
    std::string path;
    const DbSchema* pSchema = nullptr; ///< null: any database, as it is
    bool mayChange = true; ///< false: neither make nor migrate; any version but a later one will do
};

/// Opens a database, makes it when missing and allowed, and brings it to its schema.
///
/// @param connection  set on success
DbOutcome OpenDatabase(const DbOpenSpec& spec, std::unique_ptr<DbConnection>& connection);

/// Makes everything durable that was committed to a database so far.
DbOutcome SyncDatabase(const std::string& path);

/// Statements of the operator's questions.
enum class DbChore {
    TABLES,     ///< a row with the name of each table
    VERSION,    ///< the schema's version
    UNUSED,     ///< bytes of the file that hold nothing
    INTEGRITY,  ///< a row for each damage, or "ok"
    REFERENCES, ///< a row for each broken reference
    COMPACT,    ///< write the database anew
    FLUSH,      ///< move the write-ahead log into the database
};
const char* DialectChore(DbChore chore) noexcept;

/// Dialect: RETURNING clause of INSERT and UPDATE.
std::string DialectReturnColumns(std::initializer_list<std::string_view> columns);

/// Dialect: statement that follows an INSERT and returns its key as "id".
std::string DialectReturnId();

/// Dialect: the literal of a text; see VxDB::WriteQuoted.
char* DialectWriteQuoted(char* out, std::string_view text) noexcept;
