// SPDX-License-Identifier: Apache-2.0
// package/reccheck.h - whether rows and files keep their invariants, and mending what does not.
//
//   R1  a file under rec/ is named by exactly one row, and a live row names a file
//   R2  a marked row is offered to nobody: it is not counted and has no bookmarks
//   R3  the file goes before the row: no file without a row is left by the sweep
//   R4  what a killed process left is mended by the next pass: sizes and notes are true
//   R5  database and volume belong together
//   R6  every event has an end, or a recorder that is still writing it
#pragma once

#include <functional>
#include <string>

#include "package/export.h"

/// One violation.
struct RecViolation {
    int rule = 0;        ///< 1..6
    std::string object;  ///< the row ("event 17", "event_3 17") or the file
    std::string problem; ///< what is wrong
    std::string remedy;  ///< what repair does about it; "" when only a person can
    bool mended = false;
};

struct RecCheckCounts {
    long long rows = 0;
    long long files = 0;
    long long violations = 0;
    long long mended = 0;
};

/// Compares all rows with all files, and mends what can be mended without losing a recording: rows without a
/// file are marked, empty files without a row are removed, other files without a row get one.
///
/// Recorders may go on meanwhile. While database and volume do not belong together only that is reported.
/// @param repair  false: nothing is changed
/// @param tell    called for each violation, after it was mended
/// @return 0; -1 (logged): the check could not be finished.
[[nodiscard]] VX_API int CheckRecords(bool repair, RecCheckCounts& counts,
                                      const std::function<void(const RecViolation&)>& tell) noexcept;
