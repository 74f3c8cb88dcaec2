// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recorderlock.cpp - who records a group of a camera, and which file it is making.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "package/root.h"
#include "recorderlock_internal.h"

namespace {

constexpr std::size_t NOTE_MAX = 4096;

struct FolderCloser {
    void operator()(DIR* pFolder) const noexcept { ::closedir(pFolder); }
};

} // namespace

int RecorderLock::Take(int camId, int recGroup)
{
    const std::string path = GetPackagePath(PackageDir::RUN, "rec_" + std::to_string(camId) + "_" +
                                                                 std::to_string(recGroup) + ".lock");
    m_fd = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    return m_fd && ::flock(m_fd.Get(), LOCK_EX | LOCK_NB) == 0 ? 0 : -1;
}

int RecorderLock::Note(const std::string& path)
{
    const std::string line = path + "\n"; // what is behind it is of an older note
    return ::pwrite(m_fd.Get(), line.data(), line.size(), 0) == static_cast<ssize_t>(line.size()) ? 0 : -1;
}

std::string RecorderLock::Noted() const
{
    std::string text(NOTE_MAX, '\0');
    const ssize_t size = ::pread(m_fd.Get(), text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::size_t end = text.find('\n');
    return end == std::string::npos ? std::string() : text.substr(0, end);
}

std::set<std::pair<int, int>> RecorderLock::ListAll()
{
    std::set<std::pair<int, int>> found;
    const std::unique_ptr<DIR, FolderCloser> pFolder(::opendir((GetPackageRoot() + "/run").c_str()));
    while (const dirent* const pEntry = pFolder ? ::readdir(pFolder.get()) : nullptr) {
        int camId = 0;
        int recGroup = 0;
        int end = 0;
        if (std::sscanf(pEntry->d_name, "rec_%9d_%9d.lock%n", &camId, &recGroup, &end) == 2 && end > 0 &&
            pEntry->d_name[end] == '\0') {
            found.emplace(camId, recGroup);
        }
    }
    return found;
}
