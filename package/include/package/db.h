// SPDX-License-Identifier: Apache-2.0
// package/db.h - the database layer: run SQL text, read the rows, quote values.
// Which database is behind it shows nowhere in here.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "package/dbtables.h"
#include "package/export.h"

/// The rows of one executed statement. Made by VxDB::Execute, freed by VxDBFreeResult; independent of the
/// connection, so it stays valid whatever happens to the database. One thread at a time.
struct DBResult_tag;

namespace VxDB {

/// The databases; one file each under the package root's db folder.
enum DB_INSTANCE : int {
    DB_SYSTEM = 0, ///< settings, rules, webhooks: system.db
    DB_LOG = 1,    ///< logs, rule history, bookmarks: log.db
    DB_EVENT = 2,  ///< recorded camera events: event.db; event_N.db for archive task N
    DB_ALERT = 3,  ///< alert events: alert.db
    DB_LAPSE = 4,  ///< time-lapse recordings: lapse.db
    DB_DVA = 5,    ///< analytics recordings: dva.db
    DB_FACE = 6,   ///< captured faces: face.db
    DB_INSTANCE_COUNT = 7,
};

/// Several calls of Execute() as one transaction of this thread: all of them, or none.
///
/// Between Begin() and Commit() every Execute() of this thread on that database joins. A failing one rolls
/// the whole back; later ones and Commit() then fail too. Rolled back unless committed. Takes the write lock
/// at once, so keep it short. One within another joins it: the outer commits, either rolls back both. A fork
/// in between rolls it back.
/// Thread-safety: one thread.
class VX_API Transaction {
public:
    explicit Transaction(DB_INSTANCE instance) noexcept : m_instance(instance) {}
    /// On the database file at `path`, as Executep() takes it.
    explicit Transaction(std::string path) noexcept : m_path(std::move(path)) {}
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// @return 0; -1 (logged).
    [[nodiscard]] int Begin() noexcept;
    /// @return 0; -1 (logged): nothing of the transaction remains.
    [[nodiscard]] int Commit() noexcept;

private:
    int End(bool isCommit) noexcept;
    std::string Path() const;

    DB_INSTANCE m_instance = DB_INSTANCE_COUNT;
    std::string m_path; ///< empty: that of the instance
    bool m_isOpen = false;
};

/// Runs SQL text, one statement or several with ";" between, on the caller's thread.
///
/// Several statements run in one transaction, or not at all; text that brings its own BEGIN and COMMIT runs
/// as it stands and is rolled back when it fails. The database is made, or brought to the present schema, on
/// first use. Waits for other writers, up to a minute.
///
/// @param sql     complete SQL text; a NUL byte in it is refused
/// @param result  where the rows of the last statement that returns rows go: on 0 never null (perhaps without
///                rows) and the caller's to free, on -1 null. Null: rows are not wanted.
/// @return 0; -1 (logged, nothing of a transaction remains, the next call may succeed).
/// Thread-safety: any thread; each has connections of its own. Safe across fork: the child opens anew.
[[nodiscard]] VX_API int Execute(DB_INSTANCE instance, std::string sql,
                                 DBResult_tag** result = nullptr) noexcept;

/// Execute on the database file at `path`. A file named like one of the databases ("event_7.db") has that
/// one's schema and is made when missing; any other must exist.
[[nodiscard]] VX_API int Executep(const std::string& path, std::string sql,
                                  DBResult_tag** result = nullptr) noexcept;

/// Runs one SELECT whose rows are handed over in blocks of about 128 KiB, one behind the other in the same
/// memory: any number of rows, never all of them at once.
///
/// All blocks are one state of the database, whatever others write meanwhile.
///
/// @param take  gets each block, which has a row at least, and does not free it; returns false to end it.
///              It runs no statement on the same database, and must not fork.
/// @return 0 when the last row was taken; -1 when the statement failed (logged) or `take` ended it.
[[nodiscard]] VX_API int ExecuteInBlocks(DB_INSTANCE instance, const std::string& sql,
                                         const std::function<bool(DBResult_tag* block)>& take) noexcept;

/// The first field of the first row that `sql` returns.
///
/// @param text  set on 0 ("" for NULL); unchanged on -1
/// @return 0; -1 when the statement failed (logged) or returned no row (not logged).
[[nodiscard]] VX_API int LoadFirstFieldFromDB(DB_INSTANCE instance, const std::string& sql,
                                              std::string& text) noexcept;

/// The file of a database; with `taskId` of 1 or more that of an archive task's own.
VX_API std::string GetDBPath(DB_INSTANCE instance, int taskId = 0);

/// The complete SQL literal of a text, quotes included, every byte kept.
VX_API std::string QuoteEscape(const std::string& text);

/// Appends QuoteEscape(text) to `out` in one pass.
VX_API void AppendQuoted(std::string& out, std::string_view text);

/// Bytes that the literal of `text` needs at most.
constexpr std::size_t MaxQuotedSize(std::size_t textSize) noexcept
{
    return 2 * textSize + sizeof "CAST(x'' AS TEXT)";
}

/// Writes the literal of `text` to `out`, which has room for MaxQuotedSize(text.size()) bytes.
///
/// @return behind the last byte written; no NUL is added.
VX_API char* WriteQuoted(char* out, std::string_view text) noexcept;

/// Puts "\" before each LIKE wildcard ("%", "_") and before "\" itself, for the clause ESCAPE '\'.
VX_API std::string EscapeSpecialChars(std::string text);

/// The clause, put at the end of an INSERT or UPDATE without a ";" between, that makes it return columns.
VX_API std::string GetReturnColumnsStatement(std::initializer_list<std::string_view> columns);

template <typename... More>
std::string GetReturnColumnsStatement(const std::string& column, const More&... more)
{
    return GetReturnColumnsStatement({std::string_view(column), std::string_view(more)...});
}

/// The statement, put behind the ";" of an INSERT, that returns the new row's key as column "id"; no row when
/// the INSERT added none.
VX_API std::string GetReturnIdStatement();

/// Whether a field holds true ("1" or any other number but 0, "t", "true"); NULL and a missing column are
/// false.
VX_API bool FetchFieldAsBool(DBResult_tag* result, unsigned int row, const char* column) noexcept;

/// The number of a column, to read many rows by; -1 when there is none of that name.
VX_API int FindColumn(DBResult_tag* result, const char* column) noexcept;

/// Whether the text of a field holds true, as FetchFieldAsBool() says it.
VX_API bool IsTrueText(std::string_view text) noexcept;

/// All fields of a row in the order of the columns, as FetchFieldText() gives them: quicker than one by one.
///
/// @param texts  replaced; empty for a row that does not exist. Throws std::bad_alloc.
VX_API void FetchRowTexts(DBResult_tag* result, unsigned int row, std::vector<std::string_view>& texts);

/// A field with its length, for text that may hold NUL bytes. data() is null for NULL or a missing column.
VX_API std::string_view FetchFieldText(DBResult_tag* result, unsigned int row, const char* column) noexcept;

} // namespace VxDB

/// Rows of the result; 0 for null.
VX_API int VxDBNumRows(DBResult_tag* result) noexcept;

/// Steps to the next row, the first at the first call.
///
/// @param row  set on 0 to the row's number for VxDBFetchField; unchanged otherwise
/// @return 0; -1 behind the last row or for a null result (not logged).
VX_API int VxDBFetchRow(DBResult_tag* result, unsigned int* row) noexcept;

/// A field's text, NUL-terminated, valid until the result is freed.
///
/// @param column  name as the statement gives it, upper and lower case alike
/// @return null for NULL, a missing column, a row that does not exist or a null result.
VX_API const char* VxDBFetchField(DBResult_tag* result, unsigned int row, const char* column) noexcept;

/// Frees a result; null is fine.
VX_API void VxDBFreeResult(DBResult_tag* result) noexcept;
