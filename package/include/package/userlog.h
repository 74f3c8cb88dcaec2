// SPDX-License-Identifier: Apache-2.0
// package/userlog.h - the log that the package's users read: who did what, when.
#pragma once

#include <string>
#include <vector>

#include "package/export.h"

/// Severity of an entry that users read.
enum Vx_LOG_LEVEL : int {
    Vx_LOG_LEVEL_INFO = 1,
    Vx_LOG_LEVEL_WARN = 2,
    Vx_LOG_LEVEL_ERR = 3,
};

/// Messages of the user log, by their ids.
enum Vx_LOG_ID : unsigned int {
    Vx_LOG_ID_RULE_CHANGED = 0x1330009d, ///< user, rule id, rule name
    Vx_LOG_ID_RULE_DELETED = 0x1330009e, ///< user, rule id, rule name

    // What rotation removed: name of the target, how many, a JSON object with "camName" and "fileList".
    Vx_LOG_ID_EVENT_ROTATED = 0x133000c0,
    Vx_LOG_ID_ARCHIVE_ROTATED = 0x133000c1,
    Vx_LOG_ID_LAPSE_ROTATED = 0x133000c2,
    Vx_LOG_ID_DVA_ROTATED = 0x133000c3,
    Vx_LOG_ID_FACE_ROTATED = 0x133000c4,
    Vx_LOG_ID_ALERT_ROTATED = 0x133000c5,
    Vx_LOG_ID_BOOKMARK_ROTATED = 0x133000c6,
    Vx_LOG_ID_DETECTION_ROTATED = 0x133000c7,
    Vx_LOG_ID_LOG_ROTATED = 0x133000c8, ///< name of the log, time before which entries went
    Vx_LOG_ID_NOTE = 0x133000ff,        ///< what an operator wrote
};

/// One entry to write.
struct UserLogEntry {
    unsigned int logId = 0;
    Vx_LOG_LEVEL level = Vx_LOG_LEVEL_INFO;
    std::string user;
    std::vector<std::string> args; ///< what the message of that id names, in its order
};

/// Writes entries with the present time, all of them or none.
///
/// @return 0; -1 (logged).
/// Thread-safety: any thread.
[[nodiscard]] VX_API int VxLog(const std::vector<UserLogEntry>& entries) noexcept;
