// SPDX-License-Identifier: Apache-2.0
// package/src/timetext.cpp - times as texts.
#include "package/timetext.h"

#include <ctime>

namespace {

bool ToLocal(std::int64_t timeSec, tm& local) noexcept
{
    const auto time = static_cast<std::time_t>(timeSec);
    return static_cast<std::int64_t>(time) == timeSec && ::localtime_r(&time, &local) != nullptr;
}

} // namespace

std::string Time2Str(std::int64_t timeSec, const char* format)
{
    tm local{};
    char text[128];
    if (!ToLocal(timeSec, local)) {
        return std::to_string(timeSec);
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the format is the caller's
    return {text, std::strftime(text, sizeof text, format, &local)};
#pragma GCC diagnostic pop
}

std::string_view TimeText::Get(std::int64_t timeSec)
{
    if (!m_isMinute || timeSec < m_minuteSec || timeSec > m_minuteSec + 59) {
        tm local{};
        m_text = Time2Str(timeSec, "%Y/%m/%d %H:%M:%S");
        m_isMinute = ToLocal(timeSec, local) && local.tm_sec < 60;
        if (!m_isMinute) {
            return m_text;
        }
        m_minuteSec = timeSec - local.tm_sec;
    }
    const auto second = static_cast<int>(timeSec - m_minuteSec);
    m_text[m_text.size() - 2] = static_cast<char>('0' + second / 10);
    m_text[m_text.size() - 1] = static_cast<char>('0' + second % 10);
    return m_text;
}
