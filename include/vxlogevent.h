// SPDX-License-Identifier: Apache-2.0
// vxlogevent.h - the event log: what happened to cameras, servers and other devices.
//
// Functions run their statements on the caller's thread; they may be called from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>

#include "package/export.h"

struct DBResult_tag;

/// Which entries are meant. What is at its default selects nothing.
struct VX_API LogEventFilterParam {
    std::int64_t from =
        std::numeric_limits<std::int64_t>::min(); ///< not before, seconds since 1970-01-01 UTC
    std::int64_t before = std::numeric_limits<std::int64_t>::max(); ///< before this time
    int category = -1;
    int serverId = -1;
    std::string keyword; ///< part of name or description
    int limit = 0;       ///< entries at most
    int offset = 0;      ///< entries to skip; without a limit it does not count

    /// " WHERE ..."; empty when everything is meant.
    std::string GetWhereSqlStr() const;
};

/// One entry.
class VX_API VxLogEvent {
public:
    int id = -1;
    int category = 0; ///< see section "vx_event_category" of the texts
    int serverId = 0; ///< 0: this box
    std::int64_t timestamp = 0;
    std::string name; ///< of the device or task
    std::string description;

    /// Reads one row; NULL is 0.
    void PutRowIntoObj(DBResult_tag* result, unsigned int row);
    std::string strSqlInsert() const;
    /// Inserts the entry and takes its id. @return 0; -1 (logged), the id is as it was.
    [[nodiscard]] int Save() noexcept;

    /// Gets entries in blocks, which are only there during the call. @return 0 to be given more.
    using Taker = std::function<int(std::span<const VxLogEvent> events)>;

    /// The entries of a filter, oldest first, as they stood at one moment: any number, never all in memory.
    ///
    /// @param take  runs no statement on the log database
    /// @return 0; -1 when they cannot be read (logged) or `take` ended it.
    [[nodiscard]] static int GetEventList(const LogEventFilterParam& filter, const Taker& take) noexcept;
    /// The number of entries. @return -1 (logged) on failure.
    static int GetLogTotalCount() noexcept;
};
