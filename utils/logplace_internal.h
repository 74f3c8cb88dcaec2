// SPDX-License-Identifier: Apache-2.0
// utils/logplace_internal.h - the logging step for code whose log lines name another place than its own.
// Templates of public headers log through the library, and a header may lie anywhere once it is installed.
#pragma once

#include "vxlog.h"

/// Logs a database failure (category LOG_CATEG_DB, level 1) as function `func` of source path `file`.
#define VX_LOG_DB_AT(file, func, ...)                                                                        \
    do {                                                                                                     \
        if (VxLogWanted(LOG_CATEG_DB, LOG_LEVEL_ERR)) {                                                      \
            const ErrnoKeeper vxLogErrno_;                                                                   \
            const char* const vxLogCategText_ = Enum2String<LOG_CATEG>(LOG_CATEG_DB);                        \
            const char* const vxLogLevelText_ = Enum2String<LOG_LEVEL>(LOG_LEVEL_ERR);                       \
            vxLogErrno_.Restore();                                                                           \
            VxPrintf(0, vxLogCategText_, vxLogLevelText_, (file), __LINE__, (func), __VA_ARGS__);            \
        }                                                                                                    \
    } while (false)
