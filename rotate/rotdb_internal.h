// SPDX-License-Identifier: Apache-2.0
// rotate/rotdb_internal.h - what every rotator needs of rows, times and paths. Never installed.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <string>

#include "package/dbrows.h"

namespace rotdb {

using VxDB::Rows;

/// The text that `format` makes of its values.
__attribute__((format(printf, 1, 2))) inline std::string Format(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    va_list again;
    va_copy(again, values);
    const int size = std::vsnprintf(nullptr, 0, format, values);
    va_end(values);
    std::string text(static_cast<std::size_t>(size), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

/// The number, or the nearest that a 32-bit integer holds.
inline int ClampToInt(long long number) noexcept
{
    return static_cast<int>(
        std::clamp<long long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Bytes in so many megabytes, cut to whole ones; never beyond 64 bits.
inline long long BytesOfMB(double sizeMB) noexcept
{
    constexpr double MAX_BYTES = 9.0e18;
    return static_cast<long long>(std::clamp(sizeMB * 1048576, -MAX_BYTES, MAX_BYTES));
}

} // namespace rotdb
