// SPDX-License-Identifier: Apache-2.0
// tools/rotate_targets.cpp - the targets, from the records of cameras and tasks and from the recordings.
#include "rotate_targets.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "camera_group.h"
#include "package/camera.h"
#include "package/dbadmin.h"
#include "package/event.h"
#include "package/recsweep.h"
#include "package/rectask.h"
#include "package/root.h"
#include "vxrotateevt.h"
#include "vxrotatefaceevt.h"
#include "vxrotatelapseevt.h"
#include "vxrotdvaevt.h"

namespace {

constexpr const char* REMOVED = "(removed)"; ///< the name of an owner that only its recordings remember

bool Exists(const std::string& dbPath)
{
    return ::access(dbPath.c_str(), F_OK) == 0; // asking a database that was never made would make it
}

RotateTarget CameraTarget(const Camera& camera, CAM_REC_GROUP group)
{
    RotateTarget target;
    target.id = camera.GetId();
    target.name = fmt::format("camera {} {} {}", camera.GetId(), camera.GetName(), CameraGroupName(group));
    target.dbPath = RecDBPath(REC_KIND_EVENT);
    target.make = [camera, group](long volBound, const volatile int& runFlag, VxRotLogger& logger) {
        return std::make_unique<VxRotEvt>(camera, volBound, runFlag, logger, group);
    };
    return target;
}

RotateTarget::Maker MakerOf(const RecTask& task)
{
    const RotLimits limits = task.GetLimits();
    const int id = task.GetId();
    const std::string& name = task.GetName();
    const auto fill = [limits, id](auto settings) {
        settings.SetId(id);
        settings.SetLimits(limits);
        return settings;
    };
    switch (task.GetKind()) {
    case RecTask::ARCHIVE:
        return [=](long volBound, const volatile int& runFlag, VxRotLogger& logger) {
            return std::make_unique<VxRotArchEvt>(fill(ArchPullTask()), volBound, runFlag, logger);
        };
    case RecTask::LAPSE:
        return [=](long volBound, const volatile int& runFlag, VxRotLogger& logger) {
            return std::make_unique<VxRotLapseEvt>(fill(TimeLapseTask()), volBound, runFlag, logger);
        };
    case RecTask::IVA:
        return [=](long volBound, const volatile int& runFlag, VxRotLogger& logger) {
            const DvaCoreRotateSettings settings = fill(DvaCoreRotateSettings(RecTask::IVA));
            return std::make_unique<VxRotDvaEvt>(&settings, volBound, runFlag, logger, name);
        };
    default:
        return [=](long volBound, const volatile int& runFlag, VxRotLogger& logger) {
            DvaCoreRotateSettings settings = fill(DvaCoreRotateSettings(RecTask::FACE));
            return std::make_unique<VxRotFaceEvt>(&settings, volBound, runFlag, logger, name);
        };
    }
}

RotateTarget TaskTarget(const RecTask& task)
{
    constexpr EVT_TYPE TYPES[] = {EVT_TYPE_ARCHIVE, EVT_TYPE_LAPSE, EVT_TYPE_DVA, EVT_TYPE_FACE};
    RotateTarget target;
    target.type = TYPES[task.GetKind()];
    target.kind = task.GetRecKind();
    target.id = task.GetId();
    target.archTaskId = task.GetKind() == RecTask::ARCHIVE ? task.GetId() : 0;
    target.name = fmt::format("{} {} {}", RotateTypeName(target.type), task.GetId(), task.GetName());
    target.dbPath = task.GetDBPath();
    target.share = task.GetSharePath();
    target.make = MakerOf(task);
    return target;
}

/// Owner and group of live recordings; none where they cannot be read, which FindUnreadable() tells.
std::vector<std::pair<int, int>> ListOwners(REC_KIND kind)
{
    std::vector<std::pair<int, int>> owners;
    const std::string dbPath = RecDBPath(kind);
    if (Exists(dbPath)) {
        static_cast<void>(ListRecOwners(kind, dbPath, owners));
    }
    return owners;
}

/// Recordings of cameras that were removed, and of groups that no camera has.
void AddCamerasLeft(const std::set<int>& known, std::list<RotateTarget>& targets)
{
    for (const auto& [id, group] : ListOwners(REC_KIND_EVENT)) {
        if (!known.contains(id) || group >= CAM_REC_GROUP_COUNT) {
            Camera left;
            if (!known.contains(id) || left.Load(id) != 0) {
                left.SetId(id);
                left.SetName(REMOVED);
            }
            targets.push_back(CameraTarget(left, static_cast<CAM_REC_GROUP>(group)));
        }
    }
}

void AddTasksLeft(RecTask::KIND kind, const std::set<int>& known, std::list<RotateTarget>& targets)
{
    const auto add = [kind, &targets](int id) {
        RecTask gone(kind);
        gone.SetId(id);
        gone.SetName(REMOVED);
        targets.push_back(TaskTarget(gone));
        targets.back().isConfigured = false;
    };
    if (kind != RecTask::ARCHIVE) {
        for (const auto& owner : ListOwners(RecTask(kind).GetRecKind())) {
            if (!known.contains(owner.first)) {
                add(owner.first);
            }
        }
        return;
    }
    for (const std::string& path : VxDB::ListDatabases()) { // each archive has one of its own
        if (const int id = ArchPullUtils::GetTaskId(path); id > 0 && !known.contains(id)) {
            add(id);
        }
    }
}

int AddTasks(RecTask::KIND kind, std::list<RotateTarget>& targets)
{
    std::list<RecTask> tasks;
    if (RecTask::List(kind, tasks) != 0) {
        return -1;
    }
    std::set<int> ids;
    for (const RecTask& task : tasks) {
        ids.insert(task.GetId());
        targets.push_back(TaskTarget(task));
    }
    AddTasksLeft(kind, ids, targets);
    return 0;
}

int AddCameras(std::list<RotateTarget>& targets)
{
    std::set<int> ids;
    if (GetAllCameraIds(ids) != 0) {
        return -1;
    }
    for (const int id : ids) {
        Camera camera;
        if (camera.Load(id) != 0) {
            continue; // removed just now: found below if it has recordings
        }
        targets.push_back(CameraTarget(camera, CAM_REC_GROUP_CONTINUOUS));
        targets.push_back(CameraTarget(camera, CAM_REC_GROUP_EVENT));
    }
    AddCamerasLeft(ids, targets);
    return 0;
}

/// Whether cameras have recorded here: their folders below rec/ have their numbers for names.
bool HasCameraFolder()
{
    std::error_code none; // no folder at all
    const std::filesystem::directory_iterator rec(GetPackageRoot() + "/rec", none);
    return std::any_of(begin(rec), end(rec), [](const std::filesystem::directory_entry& entry) {
        return entry.path().filename().string().find_first_not_of("0123456789") == std::string::npos;
    });
}

/// The databases that exist and cannot be read: those of targets, and those that may hold recordings of removed ones.
std::set<std::string> FindUnreadable(const std::list<RotateTarget>& targets)
{
    std::map<std::string, REC_KIND> kinds;
    for (const REC_KIND kind : {REC_KIND_EVENT, REC_KIND_LAPSE, REC_KIND_IVA, REC_KIND_FACE}) {
        kinds[RecDBPath(kind)] = kind;
    }
    for (const RotateTarget& target : targets) {
        kinds[target.dbPath] = target.kind;
    }
    std::set<std::string> unreadable;
    for (const auto& [path, kind] : kinds) {
        if (Exists(path) &&
            VxDB::Executep(path, fmt::format("SELECT id FROM {} LIMIT 1", RecTableOf(kind).table)) != 0) {
            unreadable.insert(path);
        }
    }
    return unreadable;
}

} // namespace

int ListRotateTargets(std::list<RotateTarget>& targets, std::list<std::string>& refused)
{
    if (!Exists(VxDB::GetDBPath(VxDB::DB_SYSTEM))) {
        return 0; // nothing is configured; what limits there were is not known, so nothing goes
    }
    if (AddCameras(targets) != 0) {
        return -1;
    }
    for (const RecTask::KIND kind : {RecTask::ARCHIVE, RecTask::LAPSE, RecTask::IVA, RecTask::FACE}) {
        if (AddTasks(kind, targets) != 0) {
            return -1;
        }
    }
    std::string why;
    const std::string events = RecDBPath(REC_KIND_EVENT);
    if (!Exists(events) && HasCameraFolder() && CheckRecVolume(events, &why) != REC_VOLUME::UNBOUND) {
        refused.push_back("events: " + why);
    }
    targets.remove_if([](const RotateTarget& target) { return !Exists(target.dbPath); });
    const std::set<std::string> unreadable = FindUnreadable(targets);
    targets.remove_if([&](const RotateTarget& target) { return unreadable.contains(target.dbPath); });
    for (const std::string& path : unreadable) {
        refused.push_back(path + ": it cannot be read; vx log tail says why");
    }
    return unreadable.empty() ? 0 : 1;
}

const char* RotateTypeName(EVT_TYPE type) noexcept
{
    constexpr const char* NAMES[] = {"camera", "archive", "lapse", "iva", "face", "alert"};
    return static_cast<std::size_t>(type) < std::size(NAMES) ? NAMES[type] : "other";
}
