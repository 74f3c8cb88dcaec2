// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recmark_internal.h - marking records of any kind as deleted, oldest first.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "package/event.h"
#include "package/rectable.h"
#include "package/rotinfo.h"

constexpr int REC_BATCH = 1000; ///< rows of one statement at most

/// What is to be marked.
struct RecMarkTask {
    REC_KIND kind = REC_KIND_EVENT;
    int archTaskId = 0;
    std::string where; ///< with "mark_as_del = 0" in it
    int limit = 0;     ///< above 0: the oldest so many
    bool notify = true;
    const volatile int* pRunFlag = nullptr;
    long long* pBytes = nullptr; ///< when given, the bytes of what was marked are added
};

/// @param info  what was marked is added; null: not wanted
/// @return 0; -1 (logged).
[[nodiscard]] int MarkRecords(const RecMarkTask& task, RotInfo* info);

/// Camera and group of the live events that a filter without ids selects, so that each is one search of the index.
/// @return 0; -1 (logged).
[[nodiscard]] int ListSelectedOwners(const EventFilterParam& filter,
                                     std::vector<std::pair<int, int>>& owners);

/// Deletes the bookmarks of events. @return 0; -1 (logged).
[[nodiscard]] int DeleteBookmarks(int archTaskId, const std::list<std::int64_t>& ids);
