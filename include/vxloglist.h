// SPDX-License-Identifier: Apache-2.0
// vxloglist.h - the system log, as users read it: who did what, when. package/userlog.h writes it.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>

#include "package/export.h"
#include "package/langstrings.h"

struct DBResult_tag;

/// Which entries are meant. What is at its default selects nothing.
struct VX_API LogFilterParam {
    std::int64_t from =
        std::numeric_limits<std::int64_t>::min(); ///< not before, seconds since 1970-01-01 UTC
    std::int64_t before = std::numeric_limits<std::int64_t>::max(); ///< before this time
    int level = 0;
    std::string user;
    std::string keyword; ///< part of the arguments
    int limit = 0;       ///< entries at most
    int offset = 0;      ///< entries to skip; without a limit it does not count

    /// " WHERE ..."; empty when everything is meant.
    std::string GetWhereSqlStr() const;
};

/// One entry.
class VX_API VxLogEntry {
public:
    int id = -1;
    unsigned int logId = 0; ///< which message
    int level = 1;          ///< 1 information, 2 warning, 3 error
    std::int64_t timestamp = 0;
    std::string user;
    std::string args; ///< of the message, a JSON array

    /// Reads one row; NULL is 0.
    void PutRowIntoObj(DBResult_tag* result, unsigned int row);
    /// The message with its arguments in place. One without a text is its number and its arguments.
    std::string Text(const LangStrings& strings) const;
    /// The level in words.
    const std::string& LevelText(const LangStrings& strings) const;
};

/// Gets entries in blocks, which are only there during the call. @return 0 to be given more.
using LogTaker = std::function<int(std::span<const VxLogEntry> entries)>;

/// The entries of a filter, oldest first, as they stood at one moment: any number, never all in memory.
///
/// @param take  runs no statement on the log database
/// @return 0; -1 when they cannot be read (logged) or `take` ended it.
[[nodiscard]] VX_API int GetLogList(const LogFilterParam& filter, const LogTaker& take) noexcept;
