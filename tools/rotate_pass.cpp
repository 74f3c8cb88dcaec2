// SPDX-License-Identifier: Apache-2.0
// tools/rotate_pass.cpp - one round of the rotation daemon.
#include "rotate_pass.h"

#include <fmt/format.h>
#include <unistd.h>

#include <map>

#include "dvasetting.h"
#include "facesetting.h"
#include "fail.h"
#include "package/alertevent.h"
#include "package/camera.h"
#include "package/dbadmin.h"
#include "package/event.h"
#include "package/ivaevent.h"
#include "package/recsweep.h"
#include "package/root.h"
#include "taskrotateutils.h"
#include "vxrotatealertevt.h"
#include "vxrotateevt.h"

namespace {

constexpr int SWEEP_ROWS = 1000;

} // namespace

RotateRounds::RotateRounds(const volatile int& runFlag, long long reserveMB, bool sweep)
    : m_runFlag(runFlag), m_reserveMB(reserveMB), m_sweep(sweep)
{}

VxRotLogger& RotateRounds::LoggerOf(EVT_TYPE type)
{
    switch (type) {
    case EVT_TYPE_ARCHIVE:
        return m_archiveLogger;
    case EVT_TYPE_LAPSE:
        return m_lapseLogger;
    case EVT_TYPE_DVA:
        return m_dvaLogger;
    case EVT_TYPE_FACE:
        return m_faceLogger;
    case EVT_TYPE_ALERT:
        return m_alertLogger;
    default:
        return m_cameraLogger;
    }
}

void RotateRounds::Announce(const RotateTarget& target)
{
    DvaCoreRotateSettings settings;
    settings.SetId(target.id);
    ArchPullTask archive;
    archive.SetId(target.id);
    TimeLapseTask lapse;
    lapse.SetId(target.id);
    Camera camera;
    camera.SetId(target.id);
    switch (target.type) {
    case EVT_TYPE_ARCHIVE:
        return m_archiveLogger.Log(archive);
    case EVT_TYPE_LAPSE:
        return m_lapseLogger.Log(lapse);
    case EVT_TYPE_DVA:
        return m_dvaLogger.Notify(settings);
    case EVT_TYPE_FACE:
        return m_faceLogger.Notify(settings);
    default:
        return m_cameraLogger.Notify(camera);
    }
}

/// Whether a look says that no task of a share is beyond its days or megabytes. Other kinds are not looked at.
bool RotateRounds::IsWithinLimits(const RotateTarget& target)
{
    const std::string folder = GetPackageRoot() + "/rec/" + target.share; // its room is looked at as well
    if ((target.type != EVT_TYPE_DVA && target.type != EVT_TYPE_FACE) || !target.isConfigured ||
        ::access(folder.c_str(), F_OK) != 0) {
        return false;
    }
    const auto [known, isNew] = m_isWithin.try_emplace({target.type, target.share}, false);
    if (isNew) {
        known->second =
            (target.type == EVT_TYPE_DVA
                 ? CheckTaskSpaceOrDateExceedsLimit<DvaSetting, IVAEvent>(target.share)
                 : CheckTaskSpaceOrDateExceedsLimit<FaceSetting, FaceEvent>(target.share)) == LIMIT_CHECK_OK;
    }
    return known->second;
}

void RotateRounds::RotateOne(const RotateTarget& target, RoundResult& result)
{
    std::string why;
    if (!IsVolumeOfTarget(target, why)) {
        if (!why.empty()) {
            result.refused.push_back(target.name + ": " + why);
        }
        return;
    }
    ++result.targets;
    const long volBound = VolumeBoundOf(target, result.needs);
    const auto pRotator = target.make(volBound, m_runFlag, LoggerOf(target.type));
    if (volBound <= 0 && pRotator->NumLimit() <= 0 && IsWithinLimits(target)) {
        return;
    }
    RoundResult::Pass pass;
    pass.hasFailed = pRotator->Start() == 1;
    pass.name = target.name;
    pass.bySize = pRotator->BySize().count;
    pass.byVolume = pRotator->ByVolSpace().count;
    pass.byDate = pRotator->ByDate().count;
    pass.byNumber = pRotator->ByNum().count;
    pass.sizeMB = pRotator->BySize().sizeMB + pRotator->ByVolSpace().sizeMB + pRotator->ByDate().sizeMB;
    const bool hasRemoved = pass.bySize + pass.byVolume + pass.byDate + pass.byNumber > 0;
    if (hasRemoved) {
        Announce(target);
    }
    result.hasFailed = result.hasFailed || pass.hasFailed;
    if (hasRemoved || pass.hasFailed) {
        result.passes.push_back(pass);
    }
}

void RotateRounds::RotateAlertsOfType(int type, const std::list<int>& ids, long volBound, RoundResult& result)
{
    AlertAdvSetting setting;
    if (setting.Load() != 0) {
        result.hasFailed = true;
        return;
    }
    VxRotAlertEvt rotator(type, m_runFlag, setting, m_alertLogger);
    do {
        result.hasFailed = rotator.DoRotate(ids, volBound) != 0 || result.hasFailed;
        result.alerts += rotator.MarkedCount();
    } while (rotator.MarkedCount() == static_cast<int>(VxRotAlertEvt::MAX_ALERTS) && Goes());
}

void RotateRounds::RotateAlerts(long volBound, RoundResult& result)
{
    std::map<int, std::list<int>> devices;
    if (ListAlertDevices(devices) != 0) {
        result.hasFailed = true;
        return;
    }
    for (auto& [type, ids] : devices) {
        std::map<int, std::list<int>> cameras;
        if (type == ALERT_TYPE_IVA) { // these are asked for by camera
            result.hasFailed = EnumIvaSettings(cameras) != 0 || result.hasFailed;
            ids.clear();
            for (const auto& [camera, tasks] : cameras) {
                ids.push_back(camera);
            }
        }
        RotateAlertsOfType(type, ids, volBound, result);
    }
}

void RotateRounds::Sweep(RoundResult& result)
{
    const auto sweepEvents = [&](int archTaskId) {
        const std::string dbPath = RecDBPath(REC_KIND_EVENT, archTaskId);
        if (::access(dbPath.c_str(), F_OK) == 0) {
            result.hasFailed =
                DeleteMarkAsDelEvt(m_runFlag, archTaskId, 0, result.swept) != 0 || result.hasFailed;
        }
    };
    sweepEvents(0);
    for (const std::string& path : VxDB::ListDatabases()) {
        if (const int taskId = ArchPullUtils::GetTaskId(path); taskId > 0) {
            sweepEvents(taskId);
        }
    }
    for (const REC_KIND kind : {REC_KIND_LAPSE, REC_KIND_IVA, REC_KIND_FACE, REC_KIND_ALERT}) {
        long long afterId = 0;
        long long seen = -1;
        while (seen != afterId && Goes()) {
            seen = afterId;
            result.hasFailed =
                DeleteMarkedRecords(kind, 0, SWEEP_ROWS, afterId, result.swept) < 0 || result.hasFailed;
        }
    }
}

RoundResult RotateRounds::Run()
{
    RoundResult result;
    result.hasFailed = RecoverRecorders() != 0;
    if (m_sweep) { // what is marked already makes real room, or is seen to make none, before room is counted
        Sweep(result);
    }
    std::list<RotateTarget> targets;
    const int listed = ListRotateTargets(targets, result.refused);
    result.hasFailed = result.hasFailed || listed != 0;
    if (listed < 0) {
        return result;
    }
    m_isWithin.clear();
    if (ComputeVolumeNeeds(targets, m_reserveMB, result.needs) != 0) {
        result.hasFailed = true; // the other limits are kept all the same
    }
    for (const VolumeNeed& need : result.needs) {
        result.hasFailed = result.hasFailed || !need.stuck.empty();
    }
    for (const RotateTarget& target : targets) {
        if (!Goes()) {
            break;
        }
        RotateOne(target, result);
    }
    RotateAlerts(result.needs[0].boundTime, result);
    if (m_sweep) {
        Sweep(result);
    }
    result.isStopped = !Goes();
    for (const EVT_TYPE type :
         {EVT_TYPE_CAMERA, EVT_TYPE_ARCHIVE, EVT_TYPE_LAPSE, EVT_TYPE_DVA, EVT_TYPE_FACE, EVT_TYPE_ALERT}) {
        LoggerOf(type).Log();
        LoggerOf(type).FlushNotify();
    }
    return result;
}

void RotateRounds::Finish()
{
    for (const EVT_TYPE type :
         {EVT_TYPE_CAMERA, EVT_TYPE_ARCHIVE, EVT_TYPE_LAPSE, EVT_TYPE_DVA, EVT_TYPE_FACE, EVT_TYPE_ALERT}) {
        static_cast<void>(LoggerOf(type).FlushLog()); // has logged; there is no later
        LoggerOf(type).FlushNotify();
    }
}
