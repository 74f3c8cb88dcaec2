// SPDX-License-Identifier: Apache-2.0
// tools/doctor/space.cpp - volumes that are full, read-only or not there.
#include <fmt/format.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <filesystem>
#include <set>

#include "doctor/finding.h"
#include "package/root.h"

namespace {

// An absolute floor: a share of the volume would call a large one full that takes days more.
constexpr unsigned long long FLOOR_MIB = 256;
constexpr unsigned long long FLOOR_FILES = 1000;

void JudgeVolume(const std::string& folder, Findings& findings)
{
    struct statvfs volume {};
    if (::statvfs(folder.c_str(), &volume) != 0) {
        return;
    }
    if ((volume.f_flag & ST_RDONLY) != 0) {
        findings.Add(
            "space.read-only", fmt::format("the volume of {} is mounted read-only", folder),
            "nothing is recorded or logged; the kernel does this after errors of a disk",
            fmt::format(
                "dmesg | grep -i error; then fsck, or mount -o remount,rw \"$(findmnt -nT '{}' -o TARGET)\"",
                folder));
        return;
    }
    const auto freeMiB =
        static_cast<unsigned long long>(volume.f_bavail) * static_cast<unsigned long long>(volume.f_frsize) >>
        20;
    if (freeMiB < FLOOR_MIB) {
        findings.Add("space.low", fmt::format("{} MiB are free on the volume of {}", freeMiB, folder),
                     "recordings and databases stop when it is full",
                     "vx rotate run, or lower the limits of what is kept");
    }
    if (volume.f_files > 0 && volume.f_favail < FLOOR_FILES) {
        findings.Add("space.inodes",
                     fmt::format("{} more files fit on the volume of {}",
                                 static_cast<unsigned long long>(volume.f_favail), folder),
                     "no recording can be begun although bytes are free",
                     "vx rotate run, or longer segments (vx record --segment)");
    }
}

bool IsMounted(const std::string& place)
{
    std::FILE* const mounts = ::setmntent("/proc/self/mounts", "re");
    bool found = false;
    while (mounts != nullptr && !found) {
        const mntent* const entry = ::getmntent(mounts);
        if (entry == nullptr) {
            break;
        }
        found = place == entry->mnt_dir;
    }
    if (mounts != nullptr) {
        ::endmntent(mounts);
    }
    return found;
}

/// Places at or below the root that the system's table names, and that nothing is mounted on.
void FindMissingMounts(const std::string& root, Findings& findings)
{
    std::FILE* const table = ::setmntent("/etc/fstab", "re");
    while (table != nullptr) {
        const mntent* const entry = ::getmntent(table);
        if (entry == nullptr) {
            break;
        }
        const std::string place = entry->mnt_dir;
        const bool isOurs = place == root || place.starts_with(root + "/");
        if (isOurs && !IsMounted(place)) {
            findings.Add("space.not-mounted", fmt::format("{} ({}) is not mounted", place, entry->mnt_fsname),
                         "recordings go into the folder underneath: they fill another volume and hide when "
                         "this one returns",
                         fmt::format("mount '{}'", place));
        }
    }
    if (table != nullptr) {
        ::endmntent(table);
    }
}

} // namespace

void CheckSpace(Findings& findings)
{
    std::error_code missing; // told by the check of permissions
    const std::string root = std::filesystem::absolute(GetPackageRoot(), missing).string();
    std::set<dev_t> seen;
    for (const char* const name : {"", "/rec", "/db", "/log", "/archive"}) {
        struct stat info {};
        if (::stat((root + name).c_str(), &info) == 0 && seen.insert(info.st_dev).second) {
            JudgeVolume(root + name, findings);
        }
    }
    FindMissingMounts(root, findings);
}
