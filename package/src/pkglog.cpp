// SPDX-License-Identifier: Apache-2.0
// package/src/pkglog.cpp - texts and variable arguments behind PKG_LOG.
#include "pkglog.h"

#include <new>

namespace {

// The tables of this library; never destroyed, since destructors of others may log late.
template <typename T>
const char* TextOf(T value) noexcept
try {
    static const VxEnum2StrMap<T>& table = *new VxEnum2StrMap<T>;
    const auto found = table.m_map.find(value);
    return found == table.m_map.end() ? "unknown" : found->second;
} catch (const std::bad_alloc&) {
    return "unknown"; // the next call makes the table
}

} // namespace

void PkgPrintf(LOG_CATEG categ, LOG_LEVEL level, const char* file, int line, const char* func,
               const char* fmt, ...) noexcept
{
    const ErrnoKeeper errnoKeeper;
    const char* const categText = TextOf(categ);
    const char* const levelText = TextOf(level);
    errnoKeeper.Restore();
    va_list args;
    va_start(args, fmt);
    VxVPrintf(0, categText, levelText, file, line, func, fmt, args);
    va_end(args);
}
