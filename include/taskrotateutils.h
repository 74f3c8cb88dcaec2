// SPDX-License-Identifier: Apache-2.0
// taskrotateutils.h - whether an analytics or face task needs rotation at all.
#pragma once

#include <string>

#include "package/export.h"

/// What a look at a task's limits found.
// Decision: 1 is the size or the share's space, 3 a failure to load.
enum LIMIT_CHECK_STATUS : int {
    LIMIT_CHECK_OK = 0,     ///< no limit is passed
    LIMIT_CHECK_SIZE = 1,   ///< the task's size limit is passed, or its share has too little room left
    LIMIT_CHECK_DATE = 2,   ///< recordings older than its days limit exist
    LIMIT_CHECK_FAILED = 3, ///< its settings or its recordings cannot be read, or no task records there
};

/// Looks at the tasks that record into a share; the first limit that is passed is the answer, dates first.
///
/// Settings, Event: DvaSetting and IVAEvent, or FaceSetting and FaceEvent.
/// Log:           category 49; "Failed to load Face rotate setting.\n" for both kinds.
/// Thread-safety: any thread.
template <typename Settings, typename Event>
VX_API LIMIT_CHECK_STATUS CheckTaskSpaceOrDateExceedsLimit(const std::string& sharePath) noexcept;
