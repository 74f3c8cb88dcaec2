// SPDX-License-Identifier: Apache-2.0
// package/src/rec/rectable.cpp - where each kind of record is kept, and the small helpers of rotation.
#include "package/rectable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <exception>
#include <string_view>

#include "package/event.h"
#include "package/recsweep.h"
#include "package/root.h"
#include "pkglog.h"

const RecTable& RecTableOf(REC_KIND kind) noexcept
{
    static const RecTable TABLES[REC_KIND_COUNT] = {
        {VxDB::DB_EVENT, gszTableEvent, "camera_id", "event"},
        {VxDB::DB_LAPSE, gszTableLapseRecording, "task_id", "lapse"},
        {VxDB::DB_DVA, gszTableIVARecording, "task_id", "iva"},
        {VxDB::DB_FACE, gszTableFaceRecording, "task_id", "face"},
        {VxDB::DB_ALERT, gszTableAlertEvent, "device_id", "alert"},
    };
    return TABLES[kind >= 0 && kind < REC_KIND_COUNT ? kind : REC_KIND_EVENT];
}

std::string RecDBPath(REC_KIND kind, int archTaskId)
{
    return VxDB::GetDBPath(RecTableOf(kind).instance, kind == REC_KIND_EVENT ? archTaskId : 0);
}

std::string GetBaseName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

bool ArchTaskCommon::IsTaskDB(const std::string& dbPath) noexcept
{
    return ArchPullUtils::GetTaskId(dbPath) > 0;
}

int ArchPullUtils::GetTaskId(const std::string& dbPath) noexcept
{
    constexpr std::string_view PREFIX = "event_";
    constexpr std::string_view SUFFIX = ".db";
    std::string_view name = std::string_view(dbPath).substr(dbPath.rfind('/') + 1);
    if (!name.starts_with(PREFIX) || !name.ends_with(SUFFIX) ||
        name.size() <= PREFIX.size() + SUFFIX.size()) {
        return 0;
    }
    name = name.substr(PREFIX.size(), name.size() - PREFIX.size() - SUFFIX.size());
    int taskId = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), taskId);
    return error == std::errc() && end == name.data() + name.size() && taskId > 0 ? taskId : 0;
}

bool IsNonRecMode() noexcept
try {
    return ::access((GetPackageRoot() + "/etc/nonrec").c_str(), F_OK) == 0;
} catch (const std::exception&) {
    return true; // out of memory: nothing is removed
}

int SetNonRecMode(bool on) noexcept
try {
    const std::string path = GetPackagePath(PackageDir::ETC, "nonrec");
    if (on) {
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) {
            ::close(fd);
            return 0;
        }
    } else if (::unlink(path.c_str()) == 0 || errno == ENOENT) {
        return 0;
    }
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to switch non-recording mode by [%s]: %m.\n",
            path.c_str());
    return -1;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to switch non-recording mode [%s].\n", error.what());
    return -1;
}
