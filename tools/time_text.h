// SPDX-License-Identifier: Apache-2.0
// tools/time_text.h - times as people write and read them.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

/// "2026-11-21 08:30", "...:15" in local time, "now", or seconds since 1970; ends the verb for another text.
std::time_t ParseTime(std::string_view verb, const std::string& text);
/// The same, or -1 for a text of another form.
std::time_t ParseTimeText(const std::string& text) noexcept;

/// "2026-11-21 08:30:05" in local time; empty for a time that has none.
std::string LocalTimeText(std::time_t time);
