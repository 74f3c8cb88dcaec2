// SPDX-License-Identifier: Apache-2.0
// tools/doctor/permissions.cpp - folders and keys that are open to others, or closed to us.
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "doctor/finding.h"
#include "package/root.h"

namespace {

struct Folder {
    const char* name;
    mode_t mode; ///< the most that it may allow
};

constexpr Folder FOLDERS[] = {
    {"etc", 0700}, {"db", 0700}, {"run", 0700}, {"rec", 0750}, {"log", 0750}, {"archive", 0750},
};
constexpr long long KEY_SIZE = 32;

bool JudgeRoot(const std::string& root, struct stat& info, Findings& findings)
{
    if (::stat(root.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        findings.Add("perm.root-missing", fmt::format("{} is no folder", root),
                     "nothing can be stored: no log, no database, no recording",
                     fmt::format("install -d -o vx -g vx '{}', or mount its volume, or set VX_ROOT", root));
        return false;
    }
    if ((info.st_mode & 0002) != 0) {
        findings.Add("perm.root-open",
                     fmt::format("{} may be written by everybody (mode {:o})", root, info.st_mode & 07777),
                     "anybody can put databases and keys of their own in their place",
                     fmt::format("chmod 755 '{}'", root));
    }
    return true;
}

void JudgeFolder(const std::string& root, const struct stat& rootInfo, const Folder& folder,
                 Findings& findings)
{
    const std::string path = root + "/" + folder.name;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return; // made when it is first used
    }
    if (!S_ISDIR(info.st_mode)) {
        findings.Add("perm.not-a-folder", fmt::format("{} is no folder", path), "nothing can be stored in it",
                     fmt::format("mv '{0}' '{0}.old'", path));
        return;
    }
    if ((info.st_mode & 0777 & ~folder.mode) != 0) {
        findings.Add("perm.open",
                     fmt::format("{} has mode {:o}; it should have {:o} at most", path, info.st_mode & 0777,
                                 folder.mode),
                     "other users of this box can read what is in it",
                     fmt::format("chmod {:o} '{}'", folder.mode, path));
    }
    if (info.st_uid != rootInfo.st_uid) {
        findings.Add(
            "perm.owner",
            fmt::format("{} belongs to user {}, {} to user {}", path, info.st_uid, root, rootInfo.st_uid),
            "daemons of the one cannot write what the other made",
            fmt::format("chown -R --reference='{}' '{}'", root, path));
    }
    if (::access(path.c_str(), R_OK | W_OK | X_OK) != 0 && errno == EACCES) {
        findings.Add("perm.closed", fmt::format("{} cannot be read and written by this user", path),
                     "whatever this user runs works without it: vx sees no database, no log or no recording",
                     "run vx as the user who owns it: sudo -u vx vx doctor");
    }
}

void JudgeKey(const std::string& path, Findings& findings)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return; // made when the first password is stored
    }
    if ((info.st_mode & 077) != 0) {
        findings.Add("key.open", fmt::format("{} has mode {:o} instead of 600", path, info.st_mode & 0777),
                     "it is refused, so no stored password can be read; others may have copied it",
                     fmt::format("chmod 600 '{}', and change the passwords", path));
    }
    if (info.st_size != KEY_SIZE) {
        findings.Add("key.size",
                     fmt::format("{} has {} bytes instead of {}", path, static_cast<long long>(info.st_size),
                                 KEY_SIZE),
                     "no stored password can be read",
                     "restore it from a copy; without one, enter the passwords anew");
    }
}

} // namespace

void CheckPermissions(Findings& findings)
{
    const std::string root = GetPackageRoot();
    struct stat info {};
    if (!JudgeRoot(root, info, findings)) {
        return;
    }
    for (const Folder& folder : FOLDERS) {
        JudgeFolder(root, info, folder, findings);
    }
    JudgeKey(root + "/etc/dbpasswd.key", findings);
}
