// SPDX-License-Identifier: Apache-2.0
// utils/vxlog.cpp - the variadic front end of the log writer.
#include "vxlog.h"

void VxPrintf(LOG_TYPE type, const char* categText, const char* levelText, const char* file, int line,
              const char* func, const char* fmt, ...) noexcept
{
    va_list args;
    va_start(args, fmt);
    VxVPrintf(type, categText, levelText, file, line, func, fmt, args);
    va_end(args);
}
