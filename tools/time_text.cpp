// SPDX-License-Identifier: Apache-2.0
// tools/time_text.cpp - times as people write and read them.
#include "time_text.h"

#include <charconv>

#include "fail.h"
#include "package/monoclock.h"

std::time_t ParseTimeText(const std::string& text) noexcept
{
    if (text == "now") {
        return GetWallTimeSec();
    }
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size() && number >= 0) {
        return static_cast<std::time_t>(number);
    }
    for (const char* const format :
         {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M"}) {
        tm local{};
        local.tm_isdst = -1;
        const char* const rest = ::strptime(text.c_str(), format, &local);
        if (rest != nullptr && *rest == '\0') {
            return std::mktime(&local);
        }
    }
    return -1;
}

std::time_t ParseTime(std::string_view verb, const std::string& text)
{
    const std::time_t time = ParseTimeText(text);
    if (time < 0) {
        Fail(EXIT_USAGE, verb, "time [{}]: \"2026-11-21 08:30\", seconds since 1970 or \"now\" is expected",
             text);
    }
    return time;
}

std::string LocalTimeText(std::time_t time)
{
    char text[32] = "";
    tm local{};
    if (::localtime_r(&time, &local) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    }
    return text;
}
