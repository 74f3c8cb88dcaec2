// SPDX-License-Identifier: Apache-2.0
// package/src/db/execute.cpp - run SQL text on a database, log what fails.
#include <exception>
#include <utility>

#include "connections_internal.h"
#include "package/db.h"
#include "package/root.h"
#include "pkglog.h"

namespace {

constexpr int SQL_LOG_MAX = 1024; ///< bytes of a failed statement that its log line shows

int RunAndLog(const std::string& path, const DbSchema* pSchema, const std::string& sql,
              DBResult_tag** result) noexcept
try {
    DbRowSink sink;
    const DbOutcome outcome = RunOnPath(path, pSchema, sql, result != nullptr ? &sink : nullptr);
    if (!outcome.Ok()) {
        PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to execute sql on %s. [%.*s]\n", outcome.text.c_str(),
                SQL_LOG_MAX, sql.c_str());
        return -1;
    }
    if (result != nullptr) {
        *result = sink.Release();
    }
    return 0;
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to execute sql on database [%s]: %s. [%.*s]\n", path.c_str(),
            e.what(), SQL_LOG_MAX, sql.c_str());
    return -1;
}

} // namespace

std::string VxDB::GetDBPath(DB_INSTANCE instance, int taskId)
{
    const DbSchema* const pSchema = SchemaOf(instance);
    if (pSchema == nullptr) {
        return {};
    }
    const std::string suffix = taskId > 0 ? "_" + std::to_string(taskId) + ".db" : ".db";
    return GetPackageRoot() + "/db/" + pSchema->name + suffix;
}

int VxDB::Execute(DB_INSTANCE instance, std::string sql, DBResult_tag** result) noexcept
try {
    return Executep(GetDBPath(instance), std::move(sql), result);
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to execute sql on database %d: %s.\n",
            static_cast<int>(instance), e.what());
    return -1;
}

int VxDB::Executep(const std::string& path, std::string sql, DBResult_tag** result) noexcept
try {
    if (result != nullptr) {
        *result = nullptr;
    }
    return RunAndLog(path, SchemaOfPath(path), sql, result);
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to execute sql on database [%s]: %s.\n", path.c_str(),
            e.what());
    return -1;
}

int VxDB::ExecuteInBlocks(DB_INSTANCE instance, const std::string& sql,
                          const std::function<bool(DBResult_tag*)>& take) noexcept
try {
    constexpr std::size_t BLOCK_BYTES = 128 * 1024; // small enough to stay in the processor's cache
    bool isEnded = false;
    const DbRowSink::Taker taker = [&take, &isEnded](DBResult_tag& block) {
        isEnded = !take(&block);
        return !isEnded;
    };
    DbRowSink sink(BLOCK_BYTES, taker);
    const DbOutcome outcome = RunOnPath(GetDBPath(instance), SchemaOf(instance), sql, &sink);
    if (!outcome.Ok() && !isEnded) {
        PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to execute sql on %s. [%.*s]\n", outcome.text.c_str(),
                SQL_LOG_MAX, sql.c_str());
    }
    return outcome.Ok() && sink.HandOver() ? 0 : -1;
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to read rows of database %d: %s.\n",
            static_cast<int>(instance), e.what());
    return -1;
}

int VxDB::LoadFirstFieldFromDB(DB_INSTANCE instance, const std::string& sql, std::string& text) noexcept
try {
    DBResult_tag* pResult = nullptr;
    if (Execute(instance, sql, &pResult) != 0) {
        return -1;
    }
    const std::unique_ptr<DBResult_tag> owner(pResult);
    if (pResult->RowCount() == 0) {
        return -1;
    }
    text = std::string(pResult->Field(0, 0));
    return 0;
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to load a field by [%s]: %s.\n", sql.c_str(), e.what());
    return -1;
}

VxDB::Transaction::~Transaction()
{
    if (m_isOpen) {
        static_cast<void>(End(false)); // rolling back cannot fail in a way that matters
    }
}

std::string VxDB::Transaction::Path() const
{
    return m_path.empty() ? GetDBPath(m_instance) : m_path;
}

int VxDB::Transaction::Begin() noexcept
try {
    static_cast<void>(GetPackageDir(PackageDir::DB)); // when it cannot be made, opening says so
    const std::string path = Path();
    const DbOutcome outcome =
        m_isOpen ? DbOutcome{DbFault::SQL, "it is open"} : BeginOnPath(path, SchemaOfPath(path));
    if (!outcome.Ok()) {
        PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to begin a transaction on %s.\n", outcome.text.c_str());
        return -1;
    }
    m_isOpen = true;
    return 0;
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to begin a transaction on database [%d%s]: %s.\n",
            static_cast<int>(m_instance), m_path.c_str(), e.what());
    return -1;
}

int VxDB::Transaction::Commit() noexcept
{
    return End(true);
}

int VxDB::Transaction::End(bool isCommit) noexcept
try {
    const DbOutcome outcome = m_isOpen ? EndOnPath(Path(), isCommit)
                                       : DbOutcome{DbFault::SQL, "a transaction that was never begun"};
    m_isOpen = false;
    if (!outcome.Ok()) {
        PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to commit a transaction on %s.\n", outcome.text.c_str());
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    PKG_LOG(LOG_CATEG_DB, LOG_LEVEL_ERR, "Failed to end a transaction on database [%d%s]: %s.\n",
            static_cast<int>(m_instance), m_path.c_str(), e.what());
    return -1;
}
