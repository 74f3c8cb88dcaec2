// SPDX-License-Identifier: Apache-2.0
// vxlog.h - the logging step: decide at the call site, format only what passes.
#pragma once

#include <cerrno>

#include "package/dbglog.h"
#include "package/export.h"
#include "vxenum.h"

/// Log categories. The number is the contract: it selects the threshold.
enum LOG_CATEG : int {
    LOG_CATEG_SHMFIFO = 62,
};

/// Severities; a lower number is more severe.
enum LOG_LEVEL : int {
    LOG_LEVEL_ERR = 1,
    LOG_LEVEL_WARN = 2,
    LOG_LEVEL_NOTICE = 3,
    LOG_LEVEL_INFO = 4,
    LOG_LEVEL_DEBUG = 5,
    LOG_LEVEL_TRACE = 6,
    LOG_LEVEL_ALL = 7,
};

/// Hands a message to the log writer. Performs no filtering; use VX_LOG.
VX_API void VxPrintf(LOG_TYPE type, const char* categText, const char* levelText, const char* file, int line,
                     const char* func, const char* fmt, ...) noexcept __attribute__((format(printf, 7, 8)));

/// Whether a message of this category and level is to be written by this process.
inline bool VxLogWanted(LOG_CATEG categ, LOG_LEVEL level) noexcept
{
    if (g_pDbgLogCfg == nullptr) {
        ReinitDbgLogCfg();
        if (g_pDbgLogCfg == nullptr) {
            return true;
        }
    }
    return g_pDbgLogCfg->threshold[categ] >= level;
}

/// The logging step. The arguments behind the format are evaluated only when the message is written.
#define VX_LOG(categ, level, ...)                                                                            \
    do {                                                                                                     \
        if (VxLogWanted((categ), (level))) {                                                                 \
            VxPrintf(0, "", "", __FILE__, __LINE__, __func__, __VA_ARGS__);                                  \
        }                                                                                                    \
    } while (false)
