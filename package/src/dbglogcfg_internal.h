// SPDX-License-Identifier: Apache-2.0
// package/src/dbglogcfg_internal.h - what loading and changing the shared configuration have in common.
#pragma once

#include <sys/stat.h>

#include <string>

/// Where the record is. The folder is not made.
std::string DbgLogCfgPath();

/// Whether an open file can be used as the record.
bool IsWholeDbgLogCfg(int fd, struct stat& info) noexcept;
