// SPDX-License-Identifier: Apache-2.0
// package/src/dbglog.cpp - the shared debug-log configuration and the log writer.
#include "package/dbglog.h"

#include <cstdio>

DbgLogCfg* g_pDbgLogCfg = nullptr;
std::int32_t g_DbgLogPid = 0;

void ReinitDbgLogCfg() noexcept
{}

void VxVPrintf(LOG_TYPE /*type*/, const char* categText, const char* levelText, const char* file, int line,
               const char* func, const char* fmt, va_list args) noexcept
{
    std::fprintf(stderr, "%s %s %s(%d) %s: ", categText, levelText, file, line, func);
    std::vfprintf(stderr, fmt, args);
}
