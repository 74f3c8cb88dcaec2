// SPDX-License-Identifier: Apache-2.0
// utils/dbwrapper.cpp - statements of wrapped rows, which need names and values only.
#include "dbwrapper.h"

#include <stdexcept>

#include "logplace_internal.h"

namespace {

constexpr const char* WRAPPER_FILE = "include/dbwrapper";
constexpr const char* NO_KEY = "-1"; // the key of a row that is not stored yet

void AppendTerm(std::string& sql, const DBColumnData& column)
{
    sql += column.name;
    sql += " = ";
    sql += column.member->ToSqlValue();
}

} // namespace

std::string DBWrapperBase::SelectText(const std::vector<std::size_t>& keys) const
{
    std::string sql = "SELECT * FROM " + m_szTableName + " WHERE ";
    const char* separator = "";
    for (const std::size_t key : keys) {
        sql += separator;
        AppendTerm(sql, m_ColumnDataList.at(key)); // throws for a value that is no column
        separator = " AND ";
    }
    return sql;
}

std::string DBWrapperBase::InsertText(bool replace) const
{
    std::string columns;
    std::string values;
    const char* separator = "";
    for (const DBColumnData& column : m_ColumnDataList) {
        std::string value = column.member->ToSqlValue();
        if (&column == &m_ColumnDataList.front() && value == NO_KEY) {
            continue;
        }
        columns += separator;
        columns += column.name;
        values += separator;
        values += value;
        separator = ",";
    }
    std::string sql = replace ? "INSERT OR REPLACE INTO " : "INSERT INTO ";
    sql.reserve(sql.size() + m_szTableName.size() + columns.size() + values.size() + 64);
    sql += m_szTableName;
    sql += " (";
    sql += columns;
    sql += ") VALUES (";
    sql += values;
    sql += ") ";
    sql += VxDB::GetReturnColumnsStatement(m_ColumnDataList.front().name);
    return sql;
}

int DBWrapperBase::DeleteRow() noexcept
try {
    std::string sql = "DELETE FROM " + m_szTableName + " WHERE ";
    AppendTerm(sql, m_ColumnDataList.front());
    VxDB::Rows result;
    if (VxDB::Execute(m_DBI, sql, result.Out()) != 0) {
        VX_LOG_DB_AT(WRAPPER_FILE, "Delete", "Failed to execute command: %s\n", sql.c_str());
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    LogError("Delete", e.what());
    return -1;
}

Json::Value DBWrapperBase::AllColumns() const
{
    Json::Value json(Json::objectValue);
    for (const DBColumnData& column : m_ColumnDataList) {
        json[column.name] = column.member->ToJson();
    }
    return json;
}

int DBWrapperBase::SetColumns(const Json::Value& json) noexcept
try {
    if (!json.isObject()) {
        LogError("SetByJson", "the JSON is not an object");
        return -1;
    }
    int result = 0;
    for (const DBColumnData& column : m_ColumnDataList) {
        if (json.isMember(column.name) && column.member->SetByJson(json[column.name]) != 0) {
            result = -1;
        }
    }
    return result;
} catch (const std::exception& e) {
    LogError("SetByJson", e.what());
    return -1;
}

void DBWrapperBase::ReadRow(DBResult_tag* result, unsigned int row)
{
    for (const DBColumnData& column : m_ColumnDataList) {
        column.member->FromSqlResult(result, row, column.name);
    }
}

void DBWrapperBase::LogError(const char* func, const char* what) noexcept
{
    VX_LOG_DB_AT(WRAPPER_FILE, func, "Failed to map row: %s\n", what);
}
