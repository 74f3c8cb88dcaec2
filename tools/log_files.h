// SPDX-License-Identifier: Apache-2.0
// tools/log_files.h - reading the log while it is written and rotated.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Gets one line without its newline. @return false to be given no more.
using LineSink = std::function<bool(std::string_view line)>;

/// A place in one of the log's files.
struct LogPosition {
    dev_t device;
    ino_t inode;
    off_t offset;
};

/// Gives the lines of the log from the newest to the oldest, through the rotated files, until the sink has enough.
///
/// @param before  null, or a place: only what stands before it is given
/// @return false if there is no log at all.
bool ReadLogBackwards(const std::string& path, const LogPosition* before, const LineSink& sink);

/// Reads on at the end of a log that is being written, also through rotations.
///
/// A file that has been rotated is read for two more seconds, since a line may still have been on its way into it.
class LogFollower {
public:
    explicit LogFollower(std::string path);
    ~LogFollower();
    LogFollower(const LogFollower&) = delete;
    LogFollower& operator=(const LogFollower&) = delete;

    /// Where reading begins: the end of the log at the time of construction; nothing if there was no log.
    [[nodiscard]] const std::optional<LogPosition>& Start() const noexcept { return m_start; }

    /// Gives what was written since the last call, file by file.
    ///
    /// @return false if files have gone unread: the log was rotated faster than it was followed.
    bool ReadNew(const LineSink& sink);

    /// Becomes readable when something happens to the log; -1 where that cannot be had (then poll by time).
    [[nodiscard]] int WatchFd() const noexcept { return m_watchFd; }
    void ClearWatch() noexcept;

private:
    struct Followed {
        int fd;
        dev_t device;
        ino_t inode;
        std::string rest; // a line whose newline has not come yet
        std::chrono::steady_clock::time_point replaced{};
    };

    bool FindNewer();
    [[nodiscard]] bool IsKnown(dev_t device, ino_t inode) const;
    static void Drain(Followed& file, const LineSink& sink);
    void DropOld();

    std::string m_path;
    std::deque<Followed> m_files; // the newest last
    std::optional<LogPosition> m_start;
    int m_watchFd = -1;
};
