// SPDX-License-Identifier: Apache-2.0
// package/src/db/sqlite_driver.cpp - the driver for SQLite; the only file that calls it (sqlite_dialect.cpp: its SQL).
//
// A database file is never opened here but by SQLite: closing any other descriptor of it would drop the locks
// that this process's connections hold on it.
#include <fcntl.h>
#include <sqlite3.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "driver.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds BUSY_DEADLINE{60};
constexpr std::size_t INTEGER_TEXT_SIZE = 24;

struct StatementCloser {
    void operator()(sqlite3_stmt* pStmt) const noexcept { sqlite3_finalize(pStmt); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

/// Sleeps before the next try of a lock that somebody else holds: longer each time, never two processes
/// alike.
///
/// @return whether there is a next try.
bool PauseBeforeRetry(int tries, Clock::time_point deadline)
{
    if (Clock::now() >= deadline) {
        return false;
    }
    thread_local std::minstd_rand random{std::random_device{}()};
    const int limitUs = tries < 10 ? 100 << tries : 50000;
    const int pauseUs = std::uniform_int_distribution<int>(limitUs / 4, limitUs)(random);
    std::this_thread::sleep_for(std::chrono::microseconds(pauseUs));
    return true;
}

bool IsBlank(char c) noexcept
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == ';';
}

bool HasMoreText(const char* sql) noexcept
{
    while (IsBlank(*sql)) {
        ++sql;
    }
    return *sql != '\0';
}

/// Whether the statement opens a transaction itself.
bool OpensTransaction(const char* sql) noexcept
{
    while (IsBlank(*sql)) {
        ++sql;
    }
    return ::strncasecmp(sql, "BEGIN", 5) == 0 || ::strncasecmp(sql, "SAVEPOINT", 9) == 0;
}

DbFault FaultOf(int code, int systemErrno, const std::string& path) noexcept
{
    switch (code & 0xFF) {
    case SQLITE_OK:
        return DbFault::NONE;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return DbFault::BUSY;
    case SQLITE_READONLY:
        return code == SQLITE_READONLY_DBMOVED ? DbFault::REPLACED : DbFault::READ_ONLY;
    case SQLITE_FULL:
        return DbFault::FULL;
    case SQLITE_CORRUPT:
        return DbFault::CORRUPT;
    case SQLITE_NOTADB:
        return DbFault::FOREIGN;
    case SQLITE_CANTOPEN:
        if (::access(path.c_str(), F_OK) != 0) {
            return DbFault::MISSING;
        }
        return systemErrno == EACCES || ::access(path.c_str(), W_OK) != 0 ? DbFault::READ_ONLY : DbFault::IO;
    case SQLITE_IOERR:
        return systemErrno == ENOSPC || systemErrno == EDQUOT || code == SQLITE_IOERR_SHMSIZE ? DbFault::FULL
                                                                                              : DbFault::IO;
    default:
        return DbFault::SQL;
    }
}

const char* AdviceOf(DbFault fault) noexcept
{
    switch (fault) {
    case DbFault::BUSY:
        return "another process has held it for a minute; end that process";
    case DbFault::READ_ONLY:
        return "it may not be written; check the owner and mode of file and folder, and how the volume is "
               "mounted";
    case DbFault::FULL:
        return "its volume is full; free some space";
    case DbFault::CORRUPT:
        return "it is damaged; see 'vx db check' and restore it from a backup";
    case DbFault::FOREIGN:
        return "it is no database of this system; move the file away";
    case DbFault::NEWER:
        return "a later version of this software has written it; update, or restore an older database";
    case DbFault::MISSING:
        return "it is not there; check that its volume is mounted";
    case DbFault::REPLACED:
        return "the file was removed or replaced while it was open; it is opened anew at the next call";
    case DbFault::IO:
        return "its volume cannot be read or written; check the volume";
    case DbFault::NONE:
    case DbFault::SQL:
        break;
    }
    return "";
}

DbOutcome MakeOutcome(DbFault fault, const std::string& path, const std::string& detail)
{
    const std::string advice = AdviceOf(fault);
    return {fault, "database [" + path + "]: " + detail + (advice.empty() ? "" : ": " + advice)};
}

class SqliteConnection final : public DbConnection {
public:
    explicit SqliteConnection(std::string path) : m_path(std::move(path)) {}
    ~SqliteConnection() override { sqlite3_close_v2(m_pDb); }

    DbOutcome Open(const DbOpenSpec& spec);
    DbOutcome Run(const std::string& sql, DbRowSink* rows) override;
    DbOutcome BeginTransaction() override;
    DbOutcome EndTransaction(bool isCommit) override;
    bool InTransaction() const noexcept override { return sqlite3_get_autocommit(m_pDb) == 0; }
    DbOutcome StillThere() const override;
    void Abandon() noexcept override { m_pDb = nullptr; } // leaked: closing would act on the parent's locks

private:
    DbOutcome MakeFile() const;
    DbOutcome Connect();
    DbOutcome CheckOwner(const DbSchema& schema, int& version);
    DbOutcome Migrate(const DbSchema& schema);
    DbOutcome RunInTransaction(const std::string& sql, DbRowSink* rows);
    DbOutcome Inspect(const DbSchema* pSchema);
    DbOutcome RunOnce(const std::string& sql, DbRowSink* rows, bool& isCommitted);
    DbOutcome RunStatement(sqlite3_stmt* pStmt, DbRowSink* rows);
    DbOutcome Exec(const char* sql);
    DbOutcome QueryNumber(const char* sql, long long& number);
    DbOutcome LastOutcome() const;
    void AddRow(sqlite3_stmt* pStmt, DbRowSink& rows);
    void RollBack() noexcept;
    static int OnBusy(void* pSelf, int tries);

    std::string m_path;
    sqlite3* m_pDb = nullptr;
    Clock::time_point m_deadline;
    dev_t m_device = 0;
    bool m_isInTransaction = false; ///< between BeginTransaction() and its end
    ino_t m_inode = 0;
    std::vector<DbField> m_fields;
    std::vector<char> m_integers; ///< text of a row's integer fields
};

int SqliteConnection::OnBusy(void* pSelf, int tries)
{
    return PauseBeforeRetry(tries, static_cast<SqliteConnection*>(pSelf)->m_deadline) ? 1 : 0;
}

DbOutcome SqliteConnection::LastOutcome() const
{
    const int code = sqlite3_extended_errcode(m_pDb);
    const DbFault fault = FaultOf(code, sqlite3_system_errno(m_pDb), m_path);
    return MakeOutcome(fault, m_path, std::string(sqlite3_errmsg(m_pDb)) + " (" + std::to_string(code) + ")");
}

DbOutcome SqliteConnection::Exec(const char* sql)
{
    return sqlite3_exec(m_pDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK ? DbOutcome() : LastOutcome();
}

DbOutcome SqliteConnection::QueryNumber(const char* sql, long long& number)
{
    sqlite3_stmt* pStmt = nullptr;
    if (sqlite3_prepare_v2(m_pDb, sql, -1, &pStmt, nullptr) != SQLITE_OK) {
        return LastOutcome();
    }
    const Statement statement(pStmt);
    const int code = sqlite3_step(pStmt);
    if (code != SQLITE_ROW) {
        return LastOutcome();
    }
    number = sqlite3_column_int64(pStmt, 0);
    return {};
}

/// Makes an empty file that only its owner may read, without opening it.
DbOutcome SqliteConnection::MakeFile() const
{
    if (::mknod(m_path.c_str(), S_IFREG | 0600, 0) == 0 || errno == EEXIST) {
        return {};
    }
    const int error = errno;
    const DbFault fault = error == ENOENT || error == ENOTDIR                   ? DbFault::MISSING
                          : error == EACCES || error == EROFS || error == EPERM ? DbFault::READ_ONLY
                          : error == ENOSPC || error == EDQUOT                  ? DbFault::FULL
                                                                                : DbFault::IO;
    return MakeOutcome(fault, m_path, std::string("cannot be made: ") + std::strerror(error));
}

DbOutcome SqliteConnection::Connect()
{
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (sqlite3_open_v2(m_path.c_str(), &m_pDb, flags, nullptr) != SQLITE_OK) {
        if (m_pDb == nullptr) {
            throw std::bad_alloc();
        }
        return LastOutcome();
    }
    struct stat info {};
    if (::stat(m_path.c_str(), &info) != 0) {
        return MakeOutcome(DbFault::MISSING, m_path, std::strerror(errno));
    }
    m_device = info.st_dev;
    m_inode = info.st_ino;
    m_deadline = Clock::now() + BUSY_DEADLINE;
    sqlite3_busy_handler(m_pDb, &OnBusy, this);
    return Exec("PRAGMA foreign_keys=ON; PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=16777216;");
}

/// Refuses what is not ours before anything is changed in it.
DbOutcome SqliteConnection::CheckOwner(const DbSchema& schema, int& version)
{
    long long owner = 0;
    long long number = 0;
    long long tables = 0;
    for (const auto& [sql, pOut] :
         {std::pair{"PRAGMA application_id", &owner}, std::pair{"PRAGMA user_version", &number},
          std::pair{"SELECT count(*) FROM sqlite_master", &tables}}) {
        if (DbOutcome outcome = QueryNumber(sql, *pOut); !outcome.Ok()) {
            return outcome;
        }
    }
    const bool isNew = owner == 0 && number == 0 && tables == 0;
    if (!isNew && owner != schema.ApplicationId()) {
        return MakeOutcome(DbFault::FOREIGN, m_path,
                           std::string("it is not the ") + schema.name + " database");
    }
    if (number > schema.Version()) {
        return MakeOutcome(DbFault::NEWER, m_path,
                           "its schema has version " + std::to_string(number) + ", this software knows " +
                               std::to_string(schema.Version()));
    }
    version = isNew ? -1 : static_cast<int>(number);
    return {};
}

DbOutcome SqliteConnection::Migrate(const DbSchema& schema)
{
    int version = 0;
    DbOutcome outcome = CheckOwner(schema, version);
    if (!outcome.Ok()) {
        return outcome;
    }
    outcome = Exec("PRAGMA journal_mode=WAL");
    if (!outcome.Ok() || version == schema.Version()) {
        return outcome;
    }
    outcome = Exec("BEGIN IMMEDIATE");
    if (outcome.Ok()) {
        outcome = CheckOwner(schema, version); // another process may have done it meanwhile
    }
    const std::string owner = "PRAGMA application_id=" + std::to_string(schema.ApplicationId());
    outcome = outcome.Ok() && version < 0 ? Exec(owner.c_str()) : outcome;
    for (int i = version < 0 ? 0 : version; outcome.Ok() && i < schema.Version(); ++i) {
        outcome = Exec(schema.migrations[static_cast<std::size_t>(i)]);
    }
    const std::string number = "PRAGMA user_version=" + std::to_string(schema.Version()) + "; COMMIT";
    outcome = outcome.Ok() ? Exec(number.c_str()) : outcome;
    RollBack();
    return outcome;
}

/// What opening without changing anything looks at.
DbOutcome SqliteConnection::Inspect(const DbSchema* pSchema)
{
    int version = 0;
    long long ignored = 0;
    return pSchema != nullptr ? CheckOwner(*pSchema, version) : QueryNumber("PRAGMA schema_version", ignored);
}

DbOutcome SqliteConnection::Open(const DbOpenSpec& spec)
{
    const bool mayMake = spec.pSchema != nullptr && spec.mayChange;
    DbOutcome outcome = mayMake ? MakeFile() : DbOutcome();
    outcome = outcome.Ok() ? Connect() : outcome;
    if (!outcome.Ok()) {
        return outcome;
    }
    for (int tries = 0;; ++tries) {
        outcome = mayMake ? Migrate(*spec.pSchema) : Inspect(spec.pSchema);
        if (outcome.fault != DbFault::BUSY || !PauseBeforeRetry(tries, m_deadline)) {
            return outcome;
        }
    }
}

DbOutcome SqliteConnection::StillThere() const
{
    struct stat info {};
    if (::stat(m_path.c_str(), &info) != 0) {
        return MakeOutcome(DbFault::MISSING, m_path, std::strerror(errno));
    }
    if (info.st_ino != m_inode || info.st_dev != m_device) {
        return MakeOutcome(DbFault::REPLACED, m_path, "another file is in its place");
    }
    return {};
}

void SqliteConnection::RollBack() noexcept
{
    if (sqlite3_get_autocommit(m_pDb) == 0) {
        sqlite3_exec(m_pDb, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void SqliteConnection::AddRow(sqlite3_stmt* pStmt, DbRowSink& rows)
{
    char* integer = m_integers.data();
    for (int i = 0; i < static_cast<int>(m_fields.size()); ++i) {
        DbField& field = m_fields[static_cast<std::size_t>(i)];
        sqlite3_value* const pValue = sqlite3_column_value(pStmt, i);
        switch (sqlite3_value_type(pValue)) {
        case SQLITE_NULL:
            field = {};
            break;
        case SQLITE_INTEGER: {
            const auto end =
                std::to_chars(integer, integer + INTEGER_TEXT_SIZE, sqlite3_value_int64(pValue)).ptr;
            field = {integer, static_cast<std::size_t>(end - integer)};
            integer = end;
            break;
        }
        default: {
            const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(pValue));
            if (text == nullptr) {
                throw std::bad_alloc();
            }
            field = {text, static_cast<std::size_t>(sqlite3_value_bytes(pValue))};
        }
        }
    }
    rows.AddRow(m_fields);
}

DbOutcome SqliteConnection::RunStatement(sqlite3_stmt* pStmt, DbRowSink* rows)
{
    const auto columnCount = static_cast<std::size_t>(sqlite3_column_count(pStmt));
    DbRowSink* const pSink = columnCount > 0 ? rows : nullptr;
    if (pSink != nullptr) {
        std::vector<const char*> names(columnCount);
        for (std::size_t i = 0; i < columnCount; ++i) {
            names[i] = sqlite3_column_name(pStmt, static_cast<int>(i));
        }
        pSink->Start(names);
        m_fields.resize(columnCount);
        m_integers.resize(columnCount * INTEGER_TEXT_SIZE);
    }
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(pStmt)) == SQLITE_ROW) {
        if (pSink != nullptr) {
            AddRow(pStmt, *pSink);
            if (pSink->IsBlockFull() && !pSink->HandOver()) {
                return MakeOutcome(DbFault::SQL, m_path, "who reads the rows has ended it");
            }
        }
    }
    return code == SQLITE_DONE ? DbOutcome() : LastOutcome();
}

DbOutcome SqliteConnection::RunOnce(const std::string& sql, DbRowSink* rows, bool& isCommitted)
{
    bool isFirst = true;
    bool isOurs = false;
    const char* text = sql.c_str();
    while (HasMoreText(text)) {
        sqlite3_stmt* pStmt = nullptr;
        const char* tail = nullptr;
        if (sqlite3_prepare_v2(m_pDb, text, -1, &pStmt, &tail) != SQLITE_OK) {
            return LastOutcome();
        }
        const Statement statement(pStmt);
        if (isFirst && pStmt != nullptr) {
            isFirst = false;
            isOurs = !m_isInTransaction && HasMoreText(tail) && !OpensTransaction(text);
            if (DbOutcome outcome = isOurs ? Exec("BEGIN IMMEDIATE") : DbOutcome(); !outcome.Ok()) {
                return outcome;
            }
        }
        const bool wasOpen = sqlite3_get_autocommit(m_pDb) == 0;
        if (DbOutcome outcome = pStmt != nullptr ? RunStatement(pStmt, rows) : DbOutcome(); !outcome.Ok()) {
            return outcome;
        }
        isCommitted = isCommitted || (wasOpen && sqlite3_get_autocommit(m_pDb) != 0);
        text = tail;
    }
    if (isOurs) {
        return Exec("COMMIT");
    }
    return m_isInTransaction || sqlite3_get_autocommit(m_pDb) != 0
               ? DbOutcome()
               : MakeOutcome(DbFault::SQL, m_path,
                             "the text leaves its transaction open; it was rolled back");
}

DbOutcome SqliteConnection::RunInTransaction(const std::string& sql, DbRowSink* rows)
{
    bool ignored = false;
    DbOutcome outcome = RunOnce(sql, rows, ignored);
    if (outcome.Ok() && !InTransaction()) {
        outcome = MakeOutcome(DbFault::SQL, m_path, "the text ended the transaction that it runs in");
    }
    if (!outcome.Ok()) {
        RollBack();
        m_isInTransaction = false;
    }
    return outcome;
}

DbOutcome SqliteConnection::BeginTransaction()
{
    m_deadline = Clock::now() + BUSY_DEADLINE;
    for (int tries = 0;; ++tries) {
        DbOutcome outcome = Exec("BEGIN IMMEDIATE");
        if (outcome.fault != DbFault::BUSY || !PauseBeforeRetry(tries, m_deadline)) {
            m_isInTransaction = outcome.Ok();
            return outcome;
        }
    }
}

DbOutcome SqliteConnection::EndTransaction(bool isCommit)
{
    DbOutcome outcome;
    if (isCommit) {
        outcome = InTransaction() ? Exec("COMMIT")
                                  : MakeOutcome(DbFault::SQL, m_path, "the transaction was rolled back");
    }
    RollBack();
    m_isInTransaction = false;
    return outcome;
}

DbOutcome SqliteConnection::Run(const std::string& sql, DbRowSink* rows)
{
    if (sql.find('\0') != std::string::npos) {
        return MakeOutcome(DbFault::SQL, m_path, "the text has a NUL byte in it");
    }
    if (m_isInTransaction) {
        return RunInTransaction(sql, rows);
    }
    m_deadline = Clock::now() + BUSY_DEADLINE;
    for (int tries = 0;; ++tries) {
        if (rows != nullptr) {
            rows->Reset();
        }
        bool isCommitted = false;
        DbOutcome outcome = RunOnce(sql, rows, isCommitted);
        RollBack();
        const bool isFinal = isCommitted || (rows != nullptr && rows->HasHandedOver());
        if (outcome.fault != DbFault::BUSY || isFinal || !PauseBeforeRetry(tries, m_deadline)) {
            return outcome;
        }
    }
}

} // namespace

DbOutcome OpenDatabase(const DbOpenSpec& spec, std::unique_ptr<DbConnection>& connection)
{
    auto opened = std::make_unique<SqliteConnection>(spec.path);
    DbOutcome outcome = opened->Open(spec);
    if (outcome.Ok()) {
        connection = std::move(opened);
    }
    return outcome;
}

DbOutcome SyncDatabase(const std::string& path)
{
    // Commits are in the write-ahead log until a checkpoint, which syncs on its own. The log carries no locks.
    const int fd = ::open((path + "-wal").c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno == ENOENT ? DbOutcome() : MakeOutcome(DbFault::IO, path, std::strerror(errno));
    }
    const int result = ::fdatasync(fd);
    const int error = errno;
    ::close(fd);
    return result == 0 ? DbOutcome() : MakeOutcome(DbFault::IO, path, std::strerror(error));
}
