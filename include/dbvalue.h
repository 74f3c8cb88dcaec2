// SPDX-License-Identifier: Apache-2.0
// dbvalue.h - one value of a record as SQL text and as JSON.
#pragma once

#include <json/value.h>

#include <bitset>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>

#include "package/db.h"
#include "sqlconversion.h"

namespace VxDB::detail {

/// Appends the decimal text of an integer.
template <typename T>
void AppendInteger(std::string& sql, T value)
{
    char text[std::numeric_limits<long long>::digits10 + 3];
    const auto end = std::to_chars(text, text + sizeof(text), static_cast<long long>(value));
    sql.append(text, end.ptr);
}

/// Appends a value as it stands in a statement.
template <typename T>
void AppendSqlValue(std::string& sql, const T& value)
{
    if constexpr (std::is_same_v<T, bool>) {
        sql += value ? '1' : '0';
    } else if constexpr (std::is_enum_v<T>) {
        AppendInteger(sql, static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_integral_v<T>) {
        AppendInteger(sql, value);
    } else if constexpr (std::is_same_v<T, std::string>) {
        AppendQuoted(sql, value);
    } else {
        sql += SqlConversion<T>::ToSqlValue(value);
    }
}

/// About how long AppendSqlValue()'s text will be; for reserving only.
template <typename T>
std::size_t SqlValueSize(const T& value) noexcept
{
    if constexpr (std::is_same_v<T, std::string>) {
        return value.size() + 8;
    } else {
        return 8;
    }
}

/// Sets a value from its JSON form, by jsoncpp's own conversions.
///
/// @return false where the number does not fit the type (value unchanged).
/// Throws what jsoncpp throws where the JSON has no such value (value unchanged).
template <typename T>
bool FromJson(T& value, const Json::Value& json)
{
    if constexpr (std::is_same_v<T, std::string>) {
        value = json.asString();
    } else if constexpr (std::is_same_v<T, bool>) {
        value = json.asBool();
    } else if constexpr (std::is_same_v<T, std::bitset<3>>) {
        const Json::LargestInt number = json.asLargestInt();
        if (number < 0 || number > 7) {
            return false;
        }
        value = std::bitset<3>(static_cast<unsigned long>(number));
    } else if constexpr (std::is_enum_v<T>) {
        auto number = static_cast<std::underlying_type_t<T>>(value);
        if (!FromJson(number, json)) {
            return false;
        }
        value = static_cast<T>(number);
    } else {
        const Json::LargestInt number = json.asLargestInt();
        using Limits = std::numeric_limits<T>; // at most 63 value bits, so both limits fit
        if (number < static_cast<Json::LargestInt>(Limits::min()) ||
            number > static_cast<Json::LargestInt>(Limits::max())) {
            return false;
        }
        value = static_cast<T>(number);
    }
    return true;
}

/// A value's JSON form: a number, a truth value or a text.
template <typename T>
Json::Value ToJson(const T& value)
{
    if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, bool>) {
        return Json::Value(value);
    } else if constexpr (std::is_same_v<T, std::bitset<3>>) {
        return Json::Value(static_cast<Json::LargestInt>(value.to_ulong()));
    } else {
        return Json::Value(static_cast<Json::LargestInt>(value));
    }
}

} // namespace VxDB::detail
