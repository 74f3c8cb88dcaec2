// SPDX-License-Identifier: Apache-2.0
// package/src/pkglog.h - the logging step for the package's own code, which lies below VX_LOG. Never installed.
#pragma once

#include "package/logstep.h"
#include "package/logtag.h"

/// Looks up the texts and hands the message to the log writer. errno of the caller is what %m prints.
void PkgPrintf(LOG_CATEG categ, LOG_LEVEL level, const char* file, int line, const char* func,
               const char* fmt, ...) noexcept __attribute__((format(printf, 6, 7)));

/// PKG_LOG(category, level, format, ...): as VX_LOG does it, same decision, same line.
#define PKG_LOG(categ, level, ...)                                                                           \
    do {                                                                                                     \
        const LOG_CATEG pkgLogCateg_ = (categ);                                                              \
        const LOG_LEVEL pkgLogLevel_ = (level);                                                              \
        if (VxLogWanted(pkgLogCateg_, pkgLogLevel_)) {                                                       \
            const ErrnoKeeper pkgLogErrno_;                                                                  \
            PkgPrintf(pkgLogCateg_, pkgLogLevel_, VX_LOG_FILE, __LINE__, __func__, __VA_ARGS__);             \
        }                                                                                                    \
    } while (false)
