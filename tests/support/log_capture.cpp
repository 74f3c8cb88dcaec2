// SPDX-License-Identifier: Apache-2.0
// tests/support/log_capture.cpp - a log writer that keeps lines for the test.
#include "log_capture.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "package/dbglog.h"

namespace {

std::mutex g_lock;
std::vector<CapturedLine> g_lines;
bool g_isCapturing = false;

std::string Format(const char* fmt, va_list args)
{
    va_list again;
    va_copy(again, args);
    const int size = std::vsnprintf(nullptr, 0, fmt, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), fmt, args);
    text.pop_back();
    return text;
}

} // namespace

void VxVPrintf(LOG_TYPE, const char* categText, const char* levelText, const char* file, int,
               const char* func, const char* fmt, va_list args) noexcept
{
    const std::lock_guard lock(g_lock);
    if (g_isCapturing) {
        g_lines.push_back({categText, levelText, std::string(file) + " " + func, Format(fmt, args)});
    }
}

LogCapture::LogCapture()
{
    const std::lock_guard lock(g_lock);
    g_lines.clear();
    g_isCapturing = true;
}

LogCapture::~LogCapture()
{
    const std::lock_guard lock(g_lock);
    g_isCapturing = false;
}

std::vector<CapturedLine> LogCapture::Take()
{
    const std::lock_guard lock(g_lock);
    return std::exchange(g_lines, {});
}

std::string LogCapture::TakeText(const std::string& prefix)
{
    std::string text;
    for (const CapturedLine& line : Take()) {
        if (line.place.starts_with(prefix)) {
            text += line.place + ": " + line.text;
        }
    }
    return text;
}

void LogCapture::Expect(const std::vector<std::string>& texts, const std::string& prefix)
{
    const std::string log = TakeText(prefix);
    for (const std::string& text : texts) {
        EXPECT_NE(log.find(text), log.npos) << log << "instead of " << text;
    }
}
