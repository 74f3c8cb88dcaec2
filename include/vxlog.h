// SPDX-License-Identifier: Apache-2.0
// vxlog.h - the logging step: decide at the call site, format only what passes.
#pragma once

#include "package/dbglog.h"
#include "package/export.h"
#include "package/logstep.h"
#include "package/logtag.h"
#include "vxenum.h"

/// Hands a message to the log writer. Performs no filtering; use VX_LOG.
///
/// Thread-safety: any thread; not from a signal handler.
VX_API void VxPrintf(LOG_TYPE type, const char* categText, const char* levelText, const char* file, int line,
                     const char* func, const char* fmt, ...) noexcept __attribute__((format(printf, 7, 8)));

/// The logging step: VX_LOG(category, level, format, ...). The text ends in "\n".
///
/// The arguments behind the format are evaluated only when the message is written. errno is left alone, and a
/// message sees the caller's (%m, or errno among the arguments).
#define VX_LOG(categ, level, ...) VX_LOG_AS(0, categ, level, __VA_ARGS__)

/// The logging step with an output type; 0 for nearly every message.
#define VX_LOG_AS(type, categ, level, ...)                                                                   \
    do {                                                                                                     \
        const LOG_CATEG vxLogCateg_ = (categ);                                                               \
        const LOG_LEVEL vxLogLevel_ = (level);                                                               \
        if (VxLogWanted(vxLogCateg_, vxLogLevel_)) {                                                         \
            const ErrnoKeeper vxLogErrno_;                                                                   \
            const char* const vxLogCategText_ = Enum2String<LOG_CATEG>(vxLogCateg_);                         \
            const char* const vxLogLevelText_ = Enum2String<LOG_LEVEL>(vxLogLevel_);                         \
            vxLogErrno_.Restore();                                                                           \
            __extension__ VxPrintf((type), vxLogCategText_, vxLogLevelText_, VX_LOG_FILE, __LINE__,          \
                                   __func__, __VA_ARGS__);                                                   \
        }                                                                                                    \
    } while (false)
