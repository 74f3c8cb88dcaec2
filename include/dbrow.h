// SPDX-License-Identifier: Apache-2.0
// dbrow.h - run a statement, read the one row or each row that it gives back, free the result in every case.
#pragma once

#include <cstddef>
#include <string>

#include "dbvalue.h"
#include "package/dbrows.h"
#include "package/export.h"

namespace VxDB::detail {

/// What reads one row into a record: a function and the record that it fills. Borrows the record.
struct RowReader {
    void* record;
    void (*read)(void* record, DBResult_tag* result, unsigned int row);
};

/// Whom the log lines of a read name, and the text of the step that differs.
struct ReadPlace {
    const char* file;         ///< source path in the log line
    const char* func;         ///< function in the log line
    const char* rowErrorText; ///< logged when the row cannot be fetched; ends in a line feed
    bool shouldLog;           ///< false: fails in silence
};

/// Runs a statement that must give exactly one row and hands that row to the reader.
///
/// @return 0; -1 if the statement failed, gave no row or several, the row could not be fetched, or memory ran
///         out. The result is freed; fields that the reader has set stay set.
/// Log:           category 120, level 1, under the names of `place`.
/// Thread-safety: any thread.
[[nodiscard]] VX_API int ReadSingleRow(const ReadPlace& place, DB_INSTANCE dbi, const std::string& sql,
                                       const RowReader& reader) noexcept;

/// Runs a statement and hands each of its rows to the reader. The statement of a record's Enum().
///
/// @return 0, also for no row; -1 as ReadSingleRow(): what was read before stays.
/// Log:           category 120, level 1, as function Enum of include/dbmapping.
/// Thread-safety: any thread.
[[nodiscard]] VX_API int ReadAllRows(DB_INSTANCE dbi, const std::string& sql,
                                     const RowReader& reader) noexcept;

/// Runs a statement that gives no row.  @return 0; -1 (logged, as function ExecuteSQL of include/dbmapping).
[[nodiscard]] VX_API int ExecuteSQL(DB_INSTANCE dbi, const std::string& sql) noexcept;

/// ReadSingleRow() for mapped records (function SetFieldsFromSQL of include/dbmapping).
[[nodiscard]] VX_API int SetFieldsFromSQL(DB_INSTANCE dbi, const std::string& sql,
                                          const RowReader& reader) noexcept;

/// Logs what kept an operation of a mapped record from being carried out, under that operation's name.
VX_API void LogMappingError(const char* func, const char* what) noexcept;

/// Logs that a JSON member has no value for the field `column`, as function FromJson of include/dbmapping.
VX_API void LogJsonError(const char* column, const Json::Value& json) noexcept;

/// Sets one field from its JSON member.
/// @return true; false if the JSON has no value of the field's type (logged with the column; value
/// unchanged).
template <typename T>
bool SetFieldFromJson(T& value, const Json::Value& json, const char* column)
{
    try {
        if (FromJson(value, json)) {
            return true;
        }
    } catch (const Json::Exception&) { // a value of another type; said below
    }
    LogJsonError(column, json);
    return false;
}

} // namespace VxDB::detail
