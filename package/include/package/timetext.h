// SPDX-License-Identifier: Apache-2.0
// package/timetext.h - times as people read them: in the box's own time zone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "package/export.h"

/// A time in a strftime(3) format; a time that no calendar has is its number.
///
/// @param timeSec  seconds since 1970-01-01 UTC
/// Thread-safety: any thread.
VX_API std::string Time2Str(std::int64_t timeSec, const char* format);

/// Time2Str of "%Y/%m/%d %H:%M:%S" for many times, fast where they lie within a minute of each other.
/// Thread-safety: one thread an object.
class VX_API TimeText {
public:
    /// Valid until the next call.
    std::string_view Get(std::int64_t timeSec);

private:
    std::int64_t m_minuteSec = 0; ///< where the minute of m_text begins
    std::string m_text;
    bool m_isMinute = false; ///< whether m_text is of that minute
};
