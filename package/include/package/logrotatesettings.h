// SPDX-License-Identifier: Apache-2.0
// package/logrotatesettings.h - how long each log is kept, and where what goes is archived.
#pragma once

#include <json/forwards.h>

#include <string>

#include "package/export.h"

/// The logs that are kept within limits. The number is what the settings are stored under.
enum VX_ROTATED_LOG : int {
    VX_ROTATED_LOG_SYSTEM = 0,
    VX_ROTATED_LOG_EVENT = 1,
    VX_ROTATED_LOG_IO_MODULE = 2,
    VX_ROTATED_LOG_MESSAGE = 3,
    VX_ROTATED_LOG_RULE_HISTORY = 4,
    VX_ROTATED_LOG_BOOKMARK = 5,
    VX_ROTATED_LOG_INTERCOM = 6,
    VX_ROTATED_LOG_ORVOCAM = 7,
    VX_ROTATED_LOG_DETECTION = 8,
    VX_ROTATED_LOG_COUNT, ///< a new log goes before this
};

/// The settings of one log. A log that has none is not rotated.
/// Thread-safety: one thread an object.
class VX_API VxLogRotateSettings {
public:
    bool enabled = false; ///< the switch: without it nothing of this log is removed
    bool sizeLimitEnabled = false;
    bool countLimitEnabled = false;
    int days = 90;          ///< keep at most this many days
    int sizeLimitMB = 100;  ///< keep at most this many megabytes of text
    int countLimit = 10000; ///< keep at most this many rows
    std::string archiveDir; ///< where archives go; empty: the package's own folder

    /// Reads the settings of a log; a log without settings gets the values above.
    ///
    /// @return 0; -1 (logged) when they cannot be read or make no sense, see Problem(): the object is unchanged.
    [[nodiscard]] int Load(VX_ROTATED_LOG log) noexcept;
    /// @return 0; -1 (logged), also for settings that make no sense: nothing was stored.
    [[nodiscard]] int Save(VX_ROTATED_LOG log) const noexcept;

    bool IsRotationWanted() const noexcept { return enabled; }
    /// The archive folder; the package's own is made when it is missing.
    std::string GetArchiveDir() const;
    /// What makes no sense, such as days below 1; null when all does.
    const char* Problem() const noexcept;
    Json::Value ToJson() const;

private:
    [[nodiscard]] int LoadRow(const std::string& sql);
};
