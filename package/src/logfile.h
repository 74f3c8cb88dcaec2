// SPDX-License-Identifier: Apache-2.0
// package/src/logfile.h - the log file that many processes append to: capped, rotated by whoever fills it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What the processes tell each other about the log file, in run/vxlog.state; each word is one relaxed or
/// acquire/release atomic, and a damaged one costs at most a look at the real file.
///
///   offset field       meaning
///   0x00   generation  +1 per rotation, stored with release once the new file is there
///   0x04   bytes       written into the present file, roughly; checked against the file before it counts
///   0x08   torn        1 = the file ends in a piece of a line (full disk); whoever writes next ends that
///   line
struct LogShare {
    std::uint32_t generation;
    std::uint32_t bytes;
    std::uint32_t torn;
};
static_assert(offsetof(LogShare, generation) == 0x00);
static_assert(offsetof(LogShare, bytes) == 0x04);
static_assert(offsetof(LogShare, torn) == 0x08);
static_assert(sizeof(LogShare) == 12);

/// The open log file of this process.
///
/// A line that was in flight while the file was rotated away twice, and so has gone with it, is written
/// again. Static storage, never destroyed: lines come until the very end of a process. Thread-safety: none;
/// the writer's lock is held.
class LogFile {
public:
    constexpr LogFile() noexcept = default;

    /// Appends one line by one write, opening and rotating as needed.
    ///
    /// @param second  wall clock, for the checks that are made once a second
    /// @return 0; -1 with errno: no whole line was written.
    [[nodiscard]] int Write(std::string_view line, std::int64_t second) noexcept;

    void Close() noexcept;
    /// Makes the next line look whether the descriptor is still ours.
    void CheckSoon() noexcept { m_checkedSecond = -1; }

private:
    enum class Target { CLOSED, LOG_FILE, STANDARD_ERROR };

    void Open(std::int64_t second) noexcept;
    int OpenFile() noexcept;
    void OpenShare() noexcept;
    int Reopen() noexcept;
    void CheckFile() noexcept;
    void Rotate(std::size_t lineSize, std::int64_t second) noexcept;
    void RotateLocked(std::size_t lineSize) noexcept;
    [[nodiscard]] int MoveAway() noexcept;
    int Append(std::string_view line) noexcept;
    [[nodiscard]] bool IsGone() const noexcept;
    [[nodiscard]] LogShare& Share() noexcept { return m_pShare != nullptr ? *m_pShare : m_ownShare; }

    static constexpr std::size_t PATH_SIZE = 1024;

    Target m_target = Target::CLOSED;
    int m_fd = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    std::uint32_t m_generation = 0;
    std::uint32_t m_maxBytes = 0;
    std::uint32_t m_keepFiles = 1;
    std::int64_t m_checkedSecond = -1;
    std::int64_t m_rotateFailedSecond = -1;
    LogShare* m_pShare = nullptr; // null: the share could not be mapped, and every line looks at the file
    LogShare m_ownShare{};
    char m_folder[PATH_SIZE] = {};
    char m_path[PATH_SIZE] = {};
    char m_lockPath[PATH_SIZE] = {};
};
