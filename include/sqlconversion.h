// SPDX-License-Identifier: Apache-2.0
// sqlconversion.h - VxDB::SqlConversion: a type's value as SQL text, and back from a row.
#pragma once

#include <bitset>
#include <cerrno>
#include <concepts>
#include <cstdlib>
#include <list>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "iter2string.h"
#include "package/db.h"

namespace VxDB {

/// Integers that are numbers, not characters; bool has its own rule.
template <typename T>
concept SqlInteger =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// The value codec of one type:
///   static std::string ToSqlValue(const T&)
///   static void FromSqlResult(T&, DBResult_tag*, unsigned int row, const char* column) noexcept for numbers
template <typename T>
struct SqlConversion {
    static_assert(sizeof(T) == 0,
                  "VxDB::SqlConversion knows integers, bool, enumerations, std::string, "
                  "std::bitset<3> and lists, vectors and sets of those; this type is none of them");
};

/// What strtoll gives for the text in base 10, errno left alone; quick for what rows hold, up to 18 digits.
inline long long ParseNumber(std::string_view text) noexcept
{
    const bool isNegative = !text.empty() && text.front() == '-';
    long long number = 0;
    bool isPlain = text.size() > (isNegative ? 1U : 0U) && text.size() <= 18;
    for (std::size_t i = isNegative ? 1 : 0; isPlain && i < text.size(); ++i) {
        isPlain = text[i] >= '0' && text[i] <= '9';
        number = 10 * number + (text[i] - '0');
    }
    if (isPlain) {
        return isNegative ? -number : number;
    }
    if (text.data() == nullptr) {
        return 0;
    }
    const int savedErrno = errno;
    number = std::strtoll(text.data(), nullptr, 10); // a field has a NUL behind it
    errno = savedErrno;
    return number;
}

/// A field's number in base 10; 0 for NULL, for a missing column and for text that is no number.
inline long long FetchFieldAsNumber(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    return ParseNumber(FetchFieldText(result, row, column));
}

/// Decimal; read back, it is truncated to the type.
template <SqlInteger T>
struct SqlConversion<T> {
    static std::string ToSqlValue(const T& value) { return std::to_string(value); }
    static void FromSqlResult(T& value, DBResult_tag* result, unsigned int row, const char* column) noexcept
    {
        value = static_cast<T>(FetchFieldAsNumber(result, row, column));
    }
};

/// "1" or "0".
template <>
struct SqlConversion<bool> {
    static std::string ToSqlValue(bool value) { return value ? "1" : "0"; }
    static void FromSqlResult(bool& value, DBResult_tag* result, unsigned int row,
                              const char* column) noexcept
    {
        value = FetchFieldAsBool(result, row, column);
    }
};

/// The integer value, never the name.
template <typename T>
requires std::is_enum_v<T>
struct SqlConversion<T> {
    static std::string ToSqlValue(const T& value) { return std::to_string(static_cast<long long>(value)); }
    static void FromSqlResult(T& value, DBResult_tag* result, unsigned int row, const char* column) noexcept
    {
        value =
            static_cast<T>(static_cast<std::underlying_type_t<T>>(FetchFieldAsNumber(result, row, column)));
    }
};

/// The quoted literal; read back as it is, NUL bytes included; "" for NULL.
template <>
struct SqlConversion<std::string> {
    static std::string ToSqlValue(const std::string& value) { return QuoteEscape(value); }
    static void FromSqlResult(std::string& value, DBResult_tag* result, unsigned int row, const char* column)
    {
        value.assign(FetchFieldText(result, row, column));
    }
};

/// One upper-case hexadecimal digit in quotes; back from the last character of the text, 0 unless that is
/// one.
template <>
struct SqlConversion<std::bitset<3>> {
    static std::string ToSqlValue(const std::bitset<3>& value)
    {
        return {'\'', static_cast<char>('0' + static_cast<char>(value.to_ulong())), '\''};
    }
    static void FromSqlResult(std::bitset<3>& value, DBResult_tag* result, unsigned int row,
                              const char* column) noexcept
    {
        const std::string_view text = FetchFieldText(result, row, column);
        const std::size_t digit = text.empty() ? 0 : std::string_view("0123456789ABCDEF").find(text.back());
        value = digit < 16 ? digit : 0; // the set keeps the low three bits
    }
};

/// What lists, vectors and sets have in common: elements converted one by one, "," between; never read back.
template <typename Container>
struct SqlListConversion {
    static std::string ToSqlValue(const Container& values)
    {
        using Element = typename Container::value_type;
        return Iter2String(values.begin(), values.end(), ",", [](const Element& element) {
            return SqlConversion<Element>::ToSqlValue(element);
        });
    }
};

template <typename T>
struct SqlConversion<std::list<T>> : SqlListConversion<std::list<T>> {};
template <typename T>
struct SqlConversion<std::vector<T>> : SqlListConversion<std::vector<T>> {};
template <typename T>
struct SqlConversion<std::set<T>> : SqlListConversion<std::set<T>> {};

} // namespace VxDB
