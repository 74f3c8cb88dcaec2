// SPDX-License-Identifier: Apache-2.0
// iter2string.h - elements joined into one text.
#pragma once

#include <charconv>
#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

/// Appends one element: texts as they stand, integers and enumerations in decimal, booleans as 1 and 0.
template <typename T>
void AppendElement(std::string& out, const T& element)
{
    if constexpr (std::is_convertible_v<const T&, std::string_view>) {
        out.append(std::string_view(element));
    } else if constexpr (std::is_enum_v<T>) {
        AppendElement(out, static_cast<long long>(element));
    } else {
        static_assert(std::integral<T>,
                      "Iter2String joins texts, integers and enumerations; give it a function "
                      "that turns the elements into one of those");
        char digits[24];
        if constexpr (std::same_as<T, bool>) {
            out += element ? '1' : '0';
        } else {
            out.append(digits, std::to_chars(digits, digits + sizeof digits, element).ptr);
        }
    }
}

/// fn(element) of each element, with `sep` between; an empty range gives "".
template <typename Iter, typename Fn>
std::string Iter2String(Iter first, Iter last, const std::string& sep, Fn fn)
{
    std::string joined;
    for (bool isFirst = true; first != last; ++first, isFirst = false) {
        if (!isFirst) {
            joined += sep;
        }
        AppendElement(joined, fn(*first));
    }
    return joined;
}

/// The elements with `sep` between; an empty range gives "".
template <typename Iter>
std::string Iter2String(Iter first, Iter last, const std::string& sep)
{
    return Iter2String(
        first, last, sep, [](const auto& element) -> const auto& { return element; });
}
