// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recorderlock_internal.h - who records a group of a camera, and which file it is making.
#pragma once

#include <set>
#include <string>
#include <utility>

#include "unique_fd.h"

/// The lock of one recorder: the file run/rec_CAMERA_GROUP.lock. The kernel frees it when its holder dies.
class RecorderLock {
public:
    /// @return 0; -1 (errno EWOULDBLOCK when somebody holds it).
    [[nodiscard]] int Take(int camId, int recGroup);
    /// Notes which file is made next, before it is made.
    [[nodiscard]] int Note(const std::string& path);
    /// What was noted last; "" for nothing.
    std::string Noted() const;

    /// Camera and group of every lock that was ever taken here.
    static std::set<std::pair<int, int>> ListAll();

private:
    UniqueFd m_fd;
};

class RecFiles;

/// Mends what the recorder before left; the caller holds its lock.
/// @return 0; -1 (logged).
[[nodiscard]] int RecoverGroup(int camId, int recGroup, RecorderLock& lock, RecFiles& files);
