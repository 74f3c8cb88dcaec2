// SPDX-License-Identifier: Apache-2.0
// package/src/fileutil.cpp - files and folders, a call each.
#include "package/fileutil.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "pkglog.h"
#include "unique_fd.h"

bool IsDirAccess(const std::string& path) noexcept
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return false;
    }
    if (!S_ISDIR(info.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return ::access(path.c_str(), W_OK | X_OK) == 0;
}

int VxRm(const std::string& path) noexcept
{
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) {
        return 0;
    }
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to remove [%s] [%m].\n", path.c_str());
    return -1;
}

int SyncPath(const std::string& path) noexcept
{
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file && ::fsync(file.Get()) == 0 ? 0 : -1;
}
