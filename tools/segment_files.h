// SPDX-License-Identifier: Apache-2.0
// tools/segment_files.h - names of recorded files, none of which is ever used twice.
#pragma once

#include <string>

#include "trouble.h"

class EventRecorder;

/// Where files go: one that is named, or a folder of segments that are named by the time at which they start.
struct SegmentPlace {
    std::string file;   ///< empty: segments in the folder
    std::string folder; ///< empty: the file
};

/// "20261121T031500Z" of seconds since 1970.
std::string UtcName(long long wallSec);

/// Makes a new file and never opens one that exists: where the name is taken (the repeated hour of autumn
/// does not matter to UTC, a clock that was set back does), "-1", "-2" and so on are tried behind it.
///
/// @param serial  0 for the first file; further files of a named one always get a number
/// @param quickTime  segments end in ".mov" then, else in ".mp4"
/// @param fd, path  the new file; unchanged if there is trouble
Trouble MakeSegment(const SegmentPlace& place, int serial, long long wallSec, bool quickTime, int& fd,
                    std::string& path);

/// The same as an event with its row, under rec/.
Trouble MakeEventSegment(EventRecorder& events, long long wallSec, bool quickTime, int& fd,
                         std::string& path);
