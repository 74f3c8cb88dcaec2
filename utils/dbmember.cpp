// SPDX-License-Identifier: Apache-2.0
// utils/dbmember.cpp - column values of the four types that wrapped rows have.
#include "dbmember.h"

#include <exception>
#include <type_traits>

#include "dbrow.h"
#include "logplace_internal.h"
#include "package/json.h"

namespace {

/// Log lines of column values name the header, where their callers look.
constexpr const char* MEMBER_FILE = "include/dbmember";

} // namespace

DBMember::~DBMember() = default;

template <typename T>
int DBPrimitiveMember<T>::SetByJson(const Json::Value& json) noexcept
try {
    if constexpr (std::is_same_v<T, std::string>) {
        m_value = json.asString();
    } else {
        m_value = static_cast<T>(json.asLargestInt());
    }
    return 0;
} catch (const std::exception&) {
    VX_LOG_DB_AT(MEMBER_FILE, __func__, "Failed converting Json [%s] to DBPrimitiveMember\n",
                 JsonWrite(json).c_str());
    return -1;
}

template <typename T>
Json::Value DBPrimitiveMember<T>::ToJson() const noexcept
try {
    return VxDB::detail::ToJson(m_value);
} catch (const std::exception& e) {
    VX_LOG_DB_AT(MEMBER_FILE, __func__, "Failed to make Json: %s\n", e.what());
    return Json::Value();
}

template <typename T>
std::string DBPrimitiveMember<T>::ToSqlValue() const noexcept
try {
    std::string sql;
    VxDB::detail::AppendSqlValue(sql, m_value);
    return sql;
} catch (const std::exception& e) {
    VX_LOG_DB_AT(MEMBER_FILE, __func__, "Failed to make SQL value: %s\n", e.what());
    return {};
}

template <typename T>
void DBPrimitiveMember<T>::FromSqlResult(DBResult_tag* result, unsigned int row,
                                         const std::string& column) noexcept
try {
    VxDB::SqlConversion<T>::FromSqlResult(m_value, result, row, column.c_str());
} catch (const std::exception& e) {
    VX_LOG_DB_AT(MEMBER_FILE, __func__, "Failed to read field: %s\n", e.what());
}

template class DBPrimitiveMember<int>;
template class DBPrimitiveMember<std::string>;
template class DBPrimitiveMember<TEXT_RULE_TYPE>;
template class DBPrimitiveMember<MATCH_TYPE>;
