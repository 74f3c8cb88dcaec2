// SPDX-License-Identifier: Apache-2.0
// log/logarchiver_internal.h - archiving a log: from its rows to one packed file. Never installed.
//
// The road of an archive, in its folder:
//
//   1  .PREFIX_TIME.unfinished is made: the name is taken, its files count for nothing
//   2  PREFIX_TIME.html, .txt (and .xlsx) are written, block by block
//   3  .PREFIX_TIME.tgz.part is written and synced, then renamed to PREFIX_TIME.tgz, the folder synced
//   4  the loose files go, then .unfinished
//
// Whoever archives next removes what a killed one has left: everything of a name that is unfinished but its tgz.
// Rows are deleted behind all that. One process archives into a folder at a time.
#pragma once

#include <string>

/// Archives what is older than `timeUPB`. @return 0, also when there is nothing (logged); -1 (logged).
[[nodiscard]] int ArchiveEventLog(int timeUPB, const std::string& dir) noexcept;
[[nodiscard]] int ArchiveIOModuleLog(int timeUPB, const std::string& dir) noexcept;
[[nodiscard]] int ArchiveSystemLog(int timeUPB, const std::string& dir, const char* name) noexcept;
