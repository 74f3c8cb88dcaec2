// SPDX-License-Identifier: Apache-2.0
// package/src/db/dbadmin.cpp - the operator's questions, asked over connections of their own.
#include "package/dbadmin.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <filesystem>
#include <vector>

#include "connections_internal.h"
#include "package/root.h"

namespace {

using VxDB::DB_ADMIN_STATUS;

constexpr mode_t OTHERS_MASK = 0077;

DB_ADMIN_STATUS StatusOf(DbFault fault) noexcept
{
    switch (fault) {
    case DbFault::NONE:
        return DB_ADMIN_STATUS::OK;
    case DbFault::CORRUPT:
    case DbFault::FOREIGN:
    case DbFault::NEWER:
    case DbFault::SQL:
        return DB_ADMIN_STATUS::FAULTY;
    default:
        return DB_ADMIN_STATUS::UNREACHABLE;
    }
}

/// Runs `work` on a connection to the file, if there is one.
template <typename Work>
DB_ADMIN_STATUS WithFile(const std::string& path, std::string* problem, Work&& work) noexcept
try {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        if (errno != ENOENT && problem != nullptr) {
            *problem = "database [" + path + "]: " + std::strerror(errno) + "; this user cannot get at it";
        }
        return errno == ENOENT ? DB_ADMIN_STATUS::ABSENT : DB_ADMIN_STATUS::UNREACHABLE;
    }
    const DbOutcome outcome = RunApart({path, SchemaOfPath(path), false}, work);
    if (!outcome.Ok() && problem != nullptr) {
        *problem = outcome.text;
    }
    return StatusOf(outcome.fault);
} catch (const std::exception&) { // no memory: nothing is known of the database
    return DB_ADMIN_STATUS::UNREACHABLE;
}

std::string TextAt(const DBResult_tag& result, std::size_t row, std::size_t column = 0)
{
    return std::string(result.Field(row, column));
}

long long NumberOf(const DbRowSink& rows)
{
    long long number = 0;
    if (rows.Result().RowCount() > 0) {
        const DbField text = rows.Result().Field(0, 0);
        std::from_chars(text.data(), text.data() + text.size(), number);
    }
    return number;
}

DbOutcome AskNumber(DbConnection& connection, const std::string& sql, long long& number)
{
    DbRowSink rows;
    DbOutcome outcome = connection.Run(sql, &rows);
    number = NumberOf(rows);
    return outcome;
}

DbOutcome ReadTables(DbConnection& connection, std::list<VxDB::DBTableInfo>& tables)
{
    DbRowSink names;
    DbOutcome outcome = connection.Run(DialectChore(DbChore::TABLES), &names);
    for (std::size_t i = 0; outcome.Ok() && i < names.Result().RowCount(); ++i) {
        VxDB::DBTableInfo table{TextAt(names.Result(), i), 0};
        outcome = AskNumber(connection, "SELECT COUNT(*) FROM \"" + table.name + "\"", table.rows);
        tables.push_back(std::move(table));
    }
    return outcome;
}

long long SizeOf(const std::string& path) noexcept
{
    long long size = 0;
    for (const char* const suffix : {"", "-wal"}) {
        struct stat info {};
        size += ::stat((path + suffix).c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
    }
    return size;
}

/// One line a row, unless the only row says "ok".
DbOutcome ReadProblems(DbConnection& connection, DbChore chore, std::list<std::string>& problems)
{
    DbRowSink rows;
    DbOutcome outcome = connection.Run(DialectChore(chore), &rows);
    for (std::size_t i = 0; i < rows.Result().RowCount(); ++i) {
        const std::string line = TextAt(rows.Result(), i);
        if (line != "ok") {
            problems.push_back(line);
        }
    }
    return outcome;
}

/// A later version is refused when the database is opened.
std::string OlderVersionText(const std::string& path, long long version)
{
    const DbSchema* const pSchema = SchemaOfPath(path);
    if (pSchema == nullptr || version == pSchema->Version()) {
        return {};
    }
    return "its schema has version " + std::to_string(version) + ", this software's is " +
           std::to_string(pSchema->Version()) + "; the next program that uses it migrates it";
}

void CheckMode(const std::string& path, std::list<std::string>& problems)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && (info.st_mode & OTHERS_MASK) != 0) {
        problems.push_back("other users may open it; chmod 600 '" + path + "'");
    }
}

} // namespace

std::list<std::string> VxDB::ListDatabases()
{
    std::list<std::string> paths;
    for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
        paths.push_back(GetDBPath(static_cast<DB_INSTANCE>(i)));
    }
    std::vector<std::string> others;
    std::error_code ignored; // a folder that is not there holds no others
    for (const auto& entry : std::filesystem::directory_iterator(GetPackageRoot() + "/db", ignored)) {
        const std::string path = entry.path().string();
        if (SchemaOfPath(path) != nullptr && std::ranges::find(paths, path) == paths.end()) {
            others.push_back(path);
        }
    }
    std::ranges::sort(others);
    paths.insert(paths.end(), others.begin(), others.end());
    return paths;
}

VxDB::DB_ADMIN_STATUS VxDB::GetDBInfo(const std::string& path, DBInfo& info, std::string* problem) noexcept
{
    return WithFile(path, problem, [&](DbConnection& connection) {
        const DbSchema* const pSchema = SchemaOfPath(path);
        info.knownVersion = pSchema != nullptr ? pSchema->Version() : 0;
        long long version = 0;
        DbOutcome outcome = AskNumber(connection, DialectChore(DbChore::VERSION), version);
        info.schemaVersion = static_cast<int>(version);
        outcome =
            outcome.Ok() ? AskNumber(connection, DialectChore(DbChore::UNUSED), info.unusedBytes) : outcome;
        info.sizeBytes = SizeOf(path);
        return outcome.Ok() ? ReadTables(connection, info.tables) : outcome;
    });
}

VxDB::DB_ADMIN_STATUS VxDB::CheckDB(const std::string& path, std::list<std::string>& problems) noexcept
{
    std::string problem;
    std::string older;
    DB_ADMIN_STATUS status = WithFile(path, &problem, [&](DbConnection& connection) {
        DbOutcome outcome = ReadProblems(connection, DbChore::INTEGRITY, problems);
        outcome = outcome.Ok() ? ReadProblems(connection, DbChore::REFERENCES, problems) : outcome;
        long long version = 0;
        outcome = outcome.Ok() ? AskNumber(connection, DialectChore(DbChore::VERSION), version) : outcome;
        if (outcome.Ok()) {
            older = OlderVersionText(path, version);
            CheckMode(path, problems);
        }
        return outcome;
    });
    if (!problem.empty()) {
        problems.push_back(problem);
    }
    if (status == DB_ADMIN_STATUS::OK && !problems.empty()) {
        status = DB_ADMIN_STATUS::FAULTY;
    }
    if (!older.empty()) {
        problems.push_back(older);
    }
    return status;
}

VxDB::DB_ADMIN_STATUS VxDB::VacuumDB(const std::string& path, std::string* problem) noexcept
{
    return WithFile(path, problem, [](DbConnection& connection) {
        DbOutcome outcome = connection.Run(DialectChore(DbChore::COMPACT), nullptr);
        return outcome.Ok() ? connection.Run(DialectChore(DbChore::FLUSH), nullptr) : outcome;
    });
}
