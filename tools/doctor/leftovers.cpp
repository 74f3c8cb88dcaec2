// SPDX-License-Identifier: Apache-2.0
// tools/doctor/leftovers.cpp - sockets and half-written files of processes that are gone.
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "doctor/finding.h"
#include "package/root.h"

namespace {

constexpr int YOUNG_SEC = 3600; // a file that may still be being written

void JudgeSocket(const std::string& path, Findings& findings)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path) || ::access(path.c_str(), F_OK) != 0) {
        return;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isDead = fd >= 0 &&
                        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 &&
                        errno == ECONNREFUSED;
    if (fd >= 0) {
        ::close(fd);
    }
    if (isDead) {
        findings.Add("left.socket", fmt::format("nobody listens on {}", path),
                     "the message daemon died: changed rules are obeyed only when it starts again",
                     fmt::format("start the message daemon; without one: rm '{}'", path));
    }
}

/// "name.XXXXXX" with six letters or digits, as a file is called until it is whole; "name.tmp" and "name.part" too.
bool IsTemporary(const std::string& name)
{
    if (name.ends_with(".tmp") || name.ends_with(".part")) {
        return true;
    }
    constexpr std::size_t SUFFIX = 6;
    if (name.size() <= SUFFIX + 1 || name[name.size() - SUFFIX - 1] != '.') {
        return false;
    }
    const std::string suffix = name.substr(name.size() - SUFFIX);
    const auto isLetter = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    const auto isOfAName = [](char c) { return std::islower(static_cast<unsigned char>(c)) != 0; };
    return std::ranges::all_of(suffix, isLetter) && !std::ranges::all_of(suffix, isOfAName);
}

void FindTemporaries(const std::string& folder, Findings& findings)
{
    const auto youngest = std::time(nullptr) - YOUNG_SEC;
    std::error_code unreadable; // told by the check of permissions
    std::filesystem::recursive_directory_iterator entries(
        folder, std::filesystem::directory_options::skip_permission_denied, unreadable);
    for (; !unreadable && entries != std::filesystem::recursive_directory_iterator();
         entries.increment(unreadable)) {
        const std::string path = entries->path().string();
        struct stat info {};
        if (IsTemporary(entries->path().filename().string()) && ::stat(path.c_str(), &info) == 0 &&
            S_ISREG(info.st_mode) && info.st_mtime < youngest) {
            findings.Add("left.file",
                         fmt::format("{} ({} bytes) was begun and never finished", path,
                                     static_cast<long long>(info.st_size)),
                         "its process died; the file is of no use and takes space",
                         fmt::format("rm '{}'", path));
        }
    }
}

} // namespace

void CheckLeftovers(Findings& findings)
{
    const std::string root = GetPackageRoot();
    JudgeSocket(root + "/run/msgd.sock", findings);
    for (const char* const folder : {"/etc", "/run", "/archive", "/rec"}) {
        FindTemporaries(root + folder, findings);
    }
}
