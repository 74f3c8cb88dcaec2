// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recowner.cpp - a new camera or task gets a number that no recording has.
#include "recowner_internal.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

#include "package/dbadmin.h"
#include "package/event.h"
#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"
#include "recrows_internal.h"

namespace {

/// The largest number that is the name of a folder; 0 without one, or without the folder that they lie in.
int LargestFolder(const std::string& path)
{
    int largest = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
        const std::string name = entry.path().filename().string();
        int number = 0;
        const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), number);
        const bool isNumber = failure == std::errc() && end == name.data() + name.size();
        largest = isNumber && number != std::numeric_limits<int>::max() ? std::max(largest, number) : largest;
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to read the folder of recordings [%s]: %s.\n",
                path.c_str(), error.message().c_str());
    }
    return largest;
}

/// The largest owner of live rows; 0 without one, or when they cannot be read (logged).
int LargestInRows(REC_KIND kind)
{
    const std::string dbPath = RecDBPath(kind);
    std::int64_t largest = 0;
    if (::access(dbPath.c_str(), F_OK) == 0) { // asking it would make it
        static_cast<void>(LoadNumber(dbPath,
                                     std::string("SELECT MAX(") + RecTableOf(kind).owner + ") FROM " +
                                         RecTableOf(kind).table + " WHERE mark_as_del = 0",
                                     largest));
    }
    return static_cast<int>(std::clamp<std::int64_t>(largest, 0, std::numeric_limits<int>::max() - 1));
}

/// The largest number of an archive task that has a database of its own.
int LargestArchive()
{
    int largest = 0;
    for (const std::string& path : VxDB::ListDatabases()) {
        largest = std::max(largest, ArchPullUtils::GetTaskId(path));
    }
    return largest;
}

} // namespace

int MoveBehindOwners(const char* table, REC_KIND kind, const std::string& folder, int& id)
{
    const bool isArchive = kind == REC_KIND_EVENT && !folder.empty();
    const int largest = std::max(LargestFolder(GetPackageRoot() + "/rec/" + folder),
                                 isArchive ? LargestArchive() : LargestInRows(kind));
    if (id > largest) {
        return 0;
    }
    const int free = largest + 1;
    if (VxDB::Execute(VxDB::DB_SYSTEM, std::string("UPDATE ") + table + " SET id = " + std::to_string(free) +
                                           " WHERE id = " + std::to_string(id) + ";") != 0) {
        return -1;
    }
    id = free;
    return 0;
}
