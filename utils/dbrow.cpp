// SPDX-License-Identifier: Apache-2.0
// utils/dbrow.cpp - the reading steps that all mapped records share.
// Its log lines name the operation that the caller sees, not this file: they are the same for every record.
#include "dbrow.h"

#include <exception>

#include "logplace_internal.h"
#include "package/json.h"

namespace VxDB::detail {
namespace {

constexpr const char* MAPPING_FILE = "include/dbmapping";

int ReadTheRow(const ReadPlace& place, DB_INSTANCE dbi, const std::string& sql, const RowReader& reader)
{
    Rows result;
    if (Execute(dbi, sql, result.Out()) != 0) {
        if (place.shouldLog) {
            VX_LOG_DB_AT(place.file, place.func, "Failed to execute command: %s\n", sql.c_str());
        }
        return -1;
    }
    if (VxDBNumRows(result.Get()) != 1) {
        if (place.shouldLog) {
            VX_LOG_DB_AT(place.file, place.func, "Failed to get result.\n");
        }
        return -1;
    }
    unsigned int row = 0;
    if (VxDBFetchRow(result.Get(), &row) != 0) {
        if (place.shouldLog) {
            VX_LOG_DB_AT(place.file, place.func, "%s", place.rowErrorText);
        }
        return -1;
    }
    reader.read(reader.record, result.Get(), row);
    return 0;
}

int ReadTheRows(DB_INSTANCE dbi, const std::string& sql, const RowReader& reader)
{
    Rows result;
    if (Execute(dbi, sql, result.Out()) != 0) {
        VX_LOG_DB_AT(MAPPING_FILE, "Enum", "Failed to execute command: %s\n", sql.c_str());
        return -1;
    }
    const auto rowCount = static_cast<unsigned int>(VxDBNumRows(result.Get()));
    for (unsigned int i = 0; i < rowCount; ++i) {
        unsigned int row = 0;
        if (VxDBFetchRow(result.Get(), &row) != 0) {
            VX_LOG_DB_AT(MAPPING_FILE, "Enum", "Failed to fetch row.\n");
            return -1;
        }
        reader.read(reader.record, result.Get(), row);
    }
    return 0;
}

} // namespace

int ReadSingleRow(const ReadPlace& place, DB_INSTANCE dbi, const std::string& sql,
                  const RowReader& reader) noexcept
try {
    return ReadTheRow(place, dbi, sql, reader);
} catch (const std::exception& e) {
    VX_LOG_DB_AT(place.file, place.func, "Failed to read fields: %s\n", e.what());
    return -1;
}

int ReadAllRows(DB_INSTANCE dbi, const std::string& sql, const RowReader& reader) noexcept
try {
    return ReadTheRows(dbi, sql, reader);
} catch (const std::exception& e) {
    VX_LOG_DB_AT(MAPPING_FILE, "Enum", "Failed to read fields: %s\n", e.what());
    return -1;
}

int SetFieldsFromSQL(DB_INSTANCE dbi, const std::string& sql, const RowReader& reader) noexcept
{
    return ReadSingleRow({MAPPING_FILE, __func__, "Failed to get id.\n", true}, dbi, sql, reader);
}

int ExecuteSQL(DB_INSTANCE dbi, const std::string& sql) noexcept
try {
    Rows result; // a driver may hand out an empty one
    if (Execute(dbi, sql, result.Out()) != 0) {
        VX_LOG_DB_AT(MAPPING_FILE, __func__, "Failed to execute command: %s\n", sql.c_str());
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG_DB_AT(MAPPING_FILE, __func__, "Failed to execute: %s\n", e.what());
    return -1;
}

void LogMappingError(const char* func, const char* what) noexcept
{
    VX_LOG_DB_AT(MAPPING_FILE, func, "Failed to map record: %s\n", what);
}

void LogJsonError(const char* column, const Json::Value& json) noexcept
{
    VX_LOG_DB_AT(MAPPING_FILE, "FromJson", "Failed converting Json [%s] to field [%s]\n",
                 JsonWrite(json).c_str(), column);
}

} // namespace VxDB::detail
