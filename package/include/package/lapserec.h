// SPDX-License-Identifier: Apache-2.0
// package/lapserec.h - time-lapse recordings, rows of table "lapse_recording".
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "package/export.h"
#include "package/rotinfo.h"

/// Which live time-lapse recordings: all conditions that are set hold.
struct VX_API LapseFilterParam {
    int taskId = 0;              ///< 1 and more: of that task
    std::int64_t stopBefore = 0; ///< above 0: end time before this
    std::list<std::int64_t> ids; ///< not empty: these
    int limit = 0;               ///< above 0: the oldest so many of each task, for MarkLapseRecAsDel()
    const volatile int* pRunFlag = nullptr; ///< when given and not 1, marking ends after its batch

    /// "WHERE mark_as_del = 0 AND ...".
    std::string GetWhereStr() const;
};

/// Marks what the filter selects, as MarkEvtAsDel() does. camDelList is keyed by task.
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int MarkLapseRecAsDel(const LapseFilterParam& filter, RotInfo* info,
                                           bool notify) noexcept;

/// Message kind that tells of changed time-lapse recordings.
constexpr int MSGD_KIND_LAPSE_LIST = 32;
