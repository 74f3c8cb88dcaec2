// SPDX-License-Identifier: Apache-2.0
// package/src/logfile.cpp - opening, capping and rotating the log file that many processes append to.
#include "logfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "package/root.h"
#include "unique_fd.h"

namespace {

constexpr std::uint32_t DEFAULT_MAX_BYTES = 8u << 20;
constexpr unsigned long SMALLEST_MAX_BYTES = 4096;
constexpr unsigned long LARGEST_MAX_BYTES = 1u << 30;
constexpr unsigned long LARGEST_KEEP = 9999;
constexpr std::size_t SHARE_FILE_SIZE = 4096;
constexpr int REWRITE_LIMIT = 8; // how often one line may be overtaken by two rotations before it is given up

using Word = std::atomic_ref<std::uint32_t>;

const char* SettingOf(const char* name) noexcept
{
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

/// A number of the environment; the default if it is missing or no number, the nearest limit if it is out of range.
std::uint32_t NumberSetting(const char* name, std::uint32_t usual, unsigned long least,
                            unsigned long most) noexcept
{
    const char* const text = SettingOf(name);
    if (text == nullptr || *text < '0' || *text > '9') {
        return usual;
    }
    char* pEnd = nullptr;
    const unsigned long value = std::strtoul(text, &pEnd, 10); // too large a number is the largest
    return *pEnd == '\0' ? static_cast<std::uint32_t>(std::clamp(value, least, most)) : usual;
}

// Away from 0, 1 and 2: a daemon that has closed them would print into the log.
int AboveStandard(int fd) noexcept
{
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int higher = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(fd);
    return higher;
}

int OpenForAppending(const char* path) noexcept
{
    return AboveStandard(::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640));
}

ssize_t WriteOnce(int fd, bool endTornLine, std::string_view line) noexcept
{
    static constexpr char NEWLINE[] = "\n";
    const iovec pieces[2] = {{const_cast<char*>(NEWLINE), 1}, {const_cast<char*>(line.data()), line.size()}};
    ssize_t written = -1;
    do {
        written = endTornLine ? ::writev(fd, pieces, 2) : ::write(fd, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    return written;
}

} // namespace

int LogFile::Write(std::string_view line, std::int64_t second) noexcept
{
    if (m_target != Target::LOG_FILE) {
        Open(second);
    }
    if (m_target != Target::LOG_FILE) {
        return Append(line);
    }
    if (m_checkedSecond != second || m_pShare == nullptr) {
        m_checkedSecond = second;
        CheckFile();
    }
    LogShare& share = Share();
    const auto size = static_cast<std::uint32_t>(line.size());
    for (int i = 0; i < REWRITE_LIMIT; ++i) {
        // acquire: pairs with the release in RotateLocked(), so that the new file is found under the name
        if (Word(share.generation).load(std::memory_order_acquire) != m_generation && Reopen() != 0) {
            return -1;
        }
        // relaxed: only a hint when to look at the file itself
        if (Word(share.bytes).fetch_add(size, std::memory_order_relaxed) >
            m_maxBytes - std::min(size, m_maxBytes)) {
            Rotate(line.size(), second);
        }
        if (Append(line) != 0) {
            return -1;
        }
        if (Word(share.generation).load(std::memory_order_acquire) == m_generation || !IsGone()) {
            return 0;
        }
    }
    errno = EAGAIN;
    return -1;
}

void LogFile::Close() noexcept
{
    if (m_target == Target::LOG_FILE) {
        ::close(m_fd);
    }
    if (m_pShare != nullptr) {
        ::munmap(m_pShare, SHARE_FILE_SIZE);
        m_pShare = nullptr;
    }
    m_fd = -1;
    m_target = Target::CLOSED;
    m_checkedSecond = -1;
}

// A file that cannot be opened is tried again once a second; until then lines go to standard error.
void LogFile::Open(std::int64_t second) noexcept
{
    if (m_target == Target::STANDARD_ERROR && m_checkedSecond == second) {
        return;
    }
    m_checkedSecond = second;
    m_target = Target::STANDARD_ERROR;
    m_fd = -1;
    if (SettingOf("VX_LOG_STDERR") != nullptr || OpenFile() != 0) {
        m_fd = STDERR_FILENO;
        return;
    }
    m_target = Target::LOG_FILE;
    CheckFile();
}

int LogFile::OpenFile() noexcept
try {
    const std::string logDir = GetPackageDir(PackageDir::LOG);
    const std::string runDir = GetPackageDir(PackageDir::RUN);
    if (logDir.empty() || std::max(logDir.size(), runDir.size()) > PATH_SIZE - 32) {
        return -1;
    }
    std::snprintf(m_folder, PATH_SIZE, "%s", logDir.c_str());
    std::snprintf(m_path, PATH_SIZE, "%s/vx.log", logDir.c_str());
    std::snprintf(m_lockPath, PATH_SIZE, "%s/vx.log.lock", logDir.c_str());
    m_maxBytes = NumberSetting("VX_LOG_MAX_BYTES", DEFAULT_MAX_BYTES, SMALLEST_MAX_BYTES, LARGEST_MAX_BYTES);
    m_keepFiles = NumberSetting("VX_LOG_KEEP", 1, 1, LARGEST_KEEP);
    if (m_pShare == nullptr && !runDir.empty()) {
        OpenShare();
    }
    return Reopen();
} catch (const std::exception&) {
    return -1;
}

void LogFile::OpenShare() noexcept
try {
    const std::string path = GetPackagePath(PackageDir::RUN, "vxlog.state");
    const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    // The block is reserved first: a mapped page without one ends the process on a full disk.
    if (!file || ::posix_fallocate(file.Get(), 0, SHARE_FILE_SIZE) != 0) {
        return;
    }
    void* const pMapped = ::mmap(nullptr, SHARE_FILE_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    m_pShare = pMapped == MAP_FAILED ? nullptr : static_cast<LogShare*>(pMapped);
} catch (const std::exception&) {
    m_pShare = nullptr;
}

/// @return 0, or -1 (then the file that was open stays open).
int LogFile::Reopen() noexcept
{
    // Read first: a rotation between here and open() only makes the next line open once more.
    const std::uint32_t generation = Word(Share().generation).load(std::memory_order_acquire);
    int fd = OpenForAppending(m_path);
    if (fd < 0 && errno == ENOENT) { // the folder was removed by hand
        ::mkdir(m_folder, 0750);
        fd = OpenForAppending(m_path);
    }
    if (fd < 0) {
        return m_fd >= 0 ? 0 : -1; // the rotated file still takes lines
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        ::close(fd);
        return -1;
    }
    if (m_fd >= 0) {
        ::close(m_fd);
    }
    m_fd = fd;
    m_device = info.st_dev;
    m_inode = info.st_ino;
    m_generation = generation;
    return 0;
}

// Once a second: somebody moved or removed the file by hand, or closed our descriptor and opened another
// under its number (which is then not ours to close). Also brings the shared count of bytes back to the truth.
void LogFile::CheckFile() noexcept
{
    struct stat opened {};
    if (::fstat(m_fd, &opened) != 0 || opened.st_dev != m_device || opened.st_ino != m_inode) {
        m_fd = -1;
        static_cast<void>(Reopen()); // -1: the write fails, and is counted
        return;
    }
    struct stat named {};
    if (::stat(m_path, &named) != 0 || named.st_dev != m_device || named.st_ino != m_inode) {
        static_cast<void>(Reopen()); // on failure the old file goes on taking lines
        return;
    }
    const auto size = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(static_cast<std::uint64_t>(named.st_size), LARGEST_MAX_BYTES));
    Word(Share().bytes).store(size, std::memory_order_relaxed);
}

// Never waits: while another process rotates, lines go to the file that it is moving, which loses none.
// The lock file is opened anew each time, since a descriptor inherited by fork() would share the lock.
void LogFile::Rotate(std::size_t lineSize, std::int64_t second) noexcept
{
    if (m_rotateFailedSecond == second) {
        return;
    }
    const UniqueFd lock(::open(m_lockPath, O_RDWR | O_CREAT | O_CLOEXEC, 0640));
    if (!lock) {
        m_rotateFailedSecond = second;
        return;
    }
    if (::flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        return;
    }
    RotateLocked(lineSize);
    ::flock(lock.Get(), LOCK_UN); // also for a copy in a child that was made meanwhile
}

// vx.log.1 is the newest of the old ones. Each rename replaces: at no moment is a file gone that is to be kept.
int LogFile::MoveAway() noexcept
{
    char from[PATH_SIZE + 12];
    char to[PATH_SIZE + 12];
    const auto numbered = [this](char(&path)[PATH_SIZE + 12], std::uint32_t number) {
        std::snprintf(path, sizeof path, "%s.%u", m_path, number);
    };
    std::uint32_t last = 1; // the first free name, or the oldest file, which goes
    for (numbered(to, last); last < m_keepFiles && ::access(to, F_OK) == 0; numbered(to, last)) {
        ++last;
    }
    for (; last > 1; --last) {
        numbered(from, last - 1);
        numbered(to, last);
        if (::rename(from, to) != 0) {
            return -1;
        }
    }
    numbered(to, 1);
    return ::rename(m_path, to);
}

void LogFile::RotateLocked(std::size_t lineSize) noexcept
{
    LogShare& share = Share();
    struct stat named {};
    const bool isThere = ::stat(m_path, &named) == 0;
    const bool isOurs = isThere && named.st_dev == m_device && named.st_ino == m_inode;
    const bool isFull = isOurs && static_cast<std::uint64_t>(named.st_size) + lineSize > m_maxBytes;
    if (isFull && named.st_size > 0 && MoveAway() != 0) {
        Word(share.bytes).store(0, std::memory_order_relaxed); // tried again when as much has come again
        return;
    }
    const std::uint32_t seen = m_generation;
    if (Reopen() != 0) {
        return;
    }
    struct stat opened {};
    const auto size = ::fstat(m_fd, &opened) == 0 ? static_cast<std::uint64_t>(opened.st_size) : 0;
    Word(share.bytes)
        .store(static_cast<std::uint32_t>(std::min<std::uint64_t>(size, LARGEST_MAX_BYTES)) +
                   static_cast<std::uint32_t>(lineSize),
               std::memory_order_relaxed);
    // Moved by us, or by one that died before it could tell: all others have to open the new file.
    if ((isFull || !isOurs) && Word(share.generation).load(std::memory_order_relaxed) == seen) {
        // release: pairs with the acquire in Write()
        m_generation = Word(share.generation).fetch_add(1, std::memory_order_release) + 1;
    }
}

// A line that went in only in part is ended and written again, whole.
int LogFile::Append(std::string_view line) noexcept
{
    if (m_fd < 0) {
        errno = EBADF;
        return -1;
    }
    Word torn(Share().torn);
    bool endTornLine =
        torn.load(std::memory_order_relaxed) != 0 && torn.exchange(0, std::memory_order_relaxed) != 0;
    for (int i = 0; i < 2; ++i) {
        const ssize_t written = WriteOnce(m_fd, endTornLine, line);
        if (written == static_cast<ssize_t>(line.size() + (endTornLine ? 1 : 0))) {
            return 0;
        }
        if (written < 0) {
            break;
        }
        endTornLine = written > (endTornLine ? 1 : 0) || endTornLine;
        errno = ENOSPC;
    }
    if (endTornLine) {
        const int keptErrno = errno;
        torn.store(1, std::memory_order_relaxed);
        errno = keptErrno;
    }
    return -1;
}

bool LogFile::IsGone() const noexcept
{
    struct stat opened {};
    return ::fstat(m_fd, &opened) == 0 && opened.st_nlink == 0;
}
