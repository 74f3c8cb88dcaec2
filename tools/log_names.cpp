// SPDX-License-Identifier: Apache-2.0
// tools/log_names.cpp - categories and levels as an operator types and reads them.
#include "log_names.h"

#include <strings.h>

#include <charconv>
#include <string_view>

#include "package/dbglog.h"
#include "vxenum.h"

namespace {

constexpr std::string_view NAMELESS = "unknown";

/// The whole text as a number of 0..most.
std::optional<int> ParseNumber(const std::string& text, int most)
{
    int value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool valid =
        error == std::errc{} && end == text.data() + text.size() && value >= 0 && value <= most;
    return valid ? std::optional<int>(value) : std::nullopt;
}

template <typename T>
std::optional<int> ParseName(const std::string& text, int most)
{
    for (int i = 0; i <= most && text != NAMELESS; ++i) {
        if (::strcasecmp(text.c_str(), Enum2String(static_cast<T>(i))) == 0) {
            return i;
        }
    }
    return ParseNumber(text, most);
}

template <typename T>
std::string NameOf(int value)
{
    const std::string_view name = Enum2String(static_cast<T>(value));
    return name == NAMELESS ? std::to_string(value) : std::string(name);
}

} // namespace

std::optional<int> ParseCategory(const std::string& text)
{
    return ParseName<LOG_CATEG>(text, DbgLogCfg::CATEG_COUNT - 1);
}

std::optional<int> ParseLevel(const std::string& text)
{
    return ::strcasecmp(text.c_str(), "off") == 0 ? std::optional<int>(0)
                                                  : ParseName<LOG_LEVEL>(text, LOG_LEVEL_ALL);
}

std::string CategoryName(int categ)
{
    return NameOf<LOG_CATEG>(categ);
}

std::string LevelName(int level)
{
    return level == 0 ? "off" : NameOf<LOG_LEVEL>(level);
}

std::vector<int> NamedCategories()
{
    std::vector<int> numbers;
    for (int i = 0; i < DbgLogCfg::CATEG_COUNT; ++i) {
        if (Enum2String(static_cast<LOG_CATEG>(i)) != NAMELESS) {
            numbers.push_back(i);
        }
    }
    return numbers;
}
