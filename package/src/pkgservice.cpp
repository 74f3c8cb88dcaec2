// SPDX-License-Identifier: Apache-2.0
// package/src/pkgservice.cpp - the list of services that are switched off.
#include "package/pkgservice.h"

#include <sys/stat.h>

#include <fstream>
#include <mutex>
#include <set>
#include <string>

#include "package/root.h"

namespace {

/// The list as it was last read, and of which file that was.
struct OffList {
    std::mutex lock;
    std::string path;
    timespec changed{};
    std::set<int> services;
};

OffList& TheOffList()
{
    static OffList list;
    return list;
}

bool IsUpToDate(const OffList& list, const std::string& path, const struct stat& info) noexcept
{
    return list.path == path && list.changed.tv_sec == info.st_mtim.tv_sec &&
           list.changed.tv_nsec == info.st_mtim.tv_nsec;
}

} // namespace

bool IsPkgServiceOn(int serviceId) noexcept
try {
    const std::string path = GetPackageRoot() + "/etc/services.off";
    struct stat info {};
    if (serviceId == 0 || ::stat(path.c_str(), &info) != 0) {
        return true;
    }
    OffList& list = TheOffList();
    const std::lock_guard<std::mutex> guard(list.lock);
    if (!IsUpToDate(list, path, info)) {
        list.services.clear();
        std::ifstream file(path);
        for (int service = 0; file >> service;) {
            list.services.insert(service);
        }
        list.path = path;
        list.changed = info.st_mtim;
    }
    return list.services.count(serviceId) == 0;
} catch (const std::exception&) {
    return true; // out of memory: as if nothing were switched off
}
