// SPDX-License-Identifier: Apache-2.0
// tools/log_files.cpp - reading the log while it is written and rotated.
#include "log_files.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::size_t CHUNK_SIZE = 64 * 1024;
constexpr std::chrono::seconds READ_AFTER_ROTATION{2};
constexpr int END_OF_FILES = 2; ///< numbers missing in a row: a rotation leaves one out for a moment

/// vx.log for 0, vx.log.1 (the newest of the old ones) for 1.
std::string NumberedPath(const std::string& path, int number)
{
    return number == 0 ? path : path + "." + std::to_string(number);
}

int OpenLog(const std::string& path)
{
    return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

/// Whole lines of one file from its end; a piece behind the last newline is still being written.
bool ReadFileBackwards(int fd, off_t end, const LineSink& sink)
{
    std::string text; // what has been read, minus the lines that were given
    bool atTail = true;
    off_t position = end;
    while (position > 0) {
        const auto size = std::min<off_t>(position, static_cast<off_t>(CHUNK_SIZE));
        std::string chunk(static_cast<std::size_t>(size), '\0');
        position -= size;
        if (::pread(fd, chunk.data(), chunk.size(), position) != static_cast<ssize_t>(size)) {
            return true; // shortened by somebody meanwhile: nothing more to be had
        }
        text.insert(0, chunk);
        for (auto newline = text.rfind('\n'); newline != text.npos; newline = text.rfind('\n')) {
            const std::string_view line = std::string_view(text).substr(newline + 1);
            if (!std::exchange(atTail, false) && !sink(line)) {
                return false;
            }
            text.resize(newline);
        }
    }
    return atTail || text.empty() || sink(text);
}

} // namespace

bool ReadLogBackwards(const std::string& path, const LogPosition* before, const LineSink& sink)
{
    bool found = false;
    for (int number = 0, missing = 0; missing < END_OF_FILES; ++number) {
        const int fd = OpenLog(NumberedPath(path, number));
        struct stat info {};
        if (fd < 0 || ::fstat(fd, &info) != 0) {
            ++missing;
            continue;
        }
        missing = 0;
        found = true;
        const bool isPlace =
            before != nullptr && before->device == info.st_dev && before->inode == info.st_ino;
        const off_t end = isPlace ? before->offset : info.st_size;
        const bool isNewer = before != nullptr && !isPlace;
        before = isPlace ? nullptr : before;
        const bool more = isNewer || ReadFileBackwards(fd, end, sink);
        ::close(fd);
        if (!more) {
            return true;
        }
    }
    return found;
}

LogFollower::LogFollower(std::string path) : m_path(std::move(path))
{
    m_watchFd = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const std::string folder = m_path.substr(0, m_path.rfind('/'));
    if (m_watchFd >= 0 &&
        ::inotify_add_watch(m_watchFd, folder.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) < 0) {
        ::close(std::exchange(m_watchFd, -1));
    }
    FindNewer();
    for (const Followed& file : m_files) {
        m_start = {file.device, file.inode, ::lseek(file.fd, 0, SEEK_END)};
    }
}

LogFollower::~LogFollower()
{
    for (const Followed& file : m_files) {
        ::close(file.fd);
    }
    if (m_watchFd >= 0) {
        ::close(m_watchFd);
    }
}

void LogFollower::ClearWatch() noexcept
{
    std::array<char, 4096> events;
    while (m_watchFd >= 0 && ::read(m_watchFd, events.data(), events.size()) > 0) {
    }
}

bool LogFollower::IsKnown(dev_t device, ino_t inode) const
{
    return std::any_of(m_files.begin(), m_files.end(),
                       [&](const Followed& file) { return file.device == device && file.inode == inode; });
}

/// Opens what has come since, the newest first: a rotation meanwhile shows a file twice, but hides none.
///
/// @return false if the file followed so far is not among what is there any more.
bool LogFollower::FindNewer()
{
    std::vector<Followed> found;
    bool connected = m_files.empty();
    for (int number = 0, missing = 0; (number == 0 || !connected) && missing < END_OF_FILES; ++number) {
        const int fd = OpenLog(NumberedPath(m_path, number));
        struct stat info {};
        if (fd < 0 || ::fstat(fd, &info) != 0) {
            ++missing;
            continue;
        }
        missing = 0;
        const bool known = IsKnown(info.st_dev, info.st_ino);
        const bool twice = std::any_of(found.begin(), found.end(),
                                       [&](const Followed& file) { return file.inode == info.st_ino; });
        connected = connected || known;
        if (known || twice) {
            ::close(fd);
            continue;
        }
        found.push_back({fd, info.st_dev, info.st_ino, {}, {}});
    }
    if (!found.empty() && !m_files.empty()) {
        m_files.back().replaced = std::chrono::steady_clock::now();
    }
    for (auto file = found.rbegin(); file != found.rend(); ++file) {
        file->replaced = std::chrono::steady_clock::now(); // of no meaning for the last one
        m_files.push_back(std::move(*file));
    }
    return connected;
}

void LogFollower::Drain(Followed& file, const LineSink& sink)
{
    std::string chunk(CHUNK_SIZE, '\0');
    for (ssize_t size = 0; (size = ::read(file.fd, chunk.data(), chunk.size())) > 0;) {
        file.rest.append(chunk, 0, static_cast<std::size_t>(size));
        std::size_t begin = 0;
        for (auto end = file.rest.find('\n'); end != file.rest.npos; end = file.rest.find('\n', begin)) {
            sink(std::string_view(file.rest).substr(begin, end - begin));
            begin = end + 1;
        }
        file.rest.erase(0, begin);
    }
}

void LogFollower::DropOld()
{
    const auto now = std::chrono::steady_clock::now();
    while (m_files.size() > 1 && now - m_files.front().replaced > READ_AFTER_ROTATION) {
        ::close(m_files.front().fd);
        m_files.pop_front();
    }
}

bool LogFollower::ReadNew(const LineSink& sink)
{
    for (Followed& file : m_files) {
        Drain(file, sink);
    }
    const std::size_t before = m_files.size();
    const bool complete = FindNewer();
    for (std::size_t i = before == 0 ? 0 : before - 1; i < m_files.size(); ++i) {
        Drain(m_files[i], sink); // also the one that was the newest: it may have grown before it was moved
    }
    DropOld();
    return complete;
}
