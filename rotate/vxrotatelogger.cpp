// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotatelogger.cpp - results of passes: gathered, capped, written to the users' log, announced.
#include "vxrotatelogger.h"

#include <json/value.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "package/camera.h"
#include "package/json.h"
#include "package/monoclock.h"
#include "package/msgd.h"
#include "package/rectask.h"
#include "vxlog.h"

namespace {

/// A counter that stays at its end instead of running over.
void AddCount(int& counter, int more) noexcept
{
    if (__builtin_add_overflow(counter, more, &counter)) {
        counter = more > 0 ? std::numeric_limits<int>::max() : std::numeric_limits<int>::min();
    }
}

void LogException(const char* what, const std::exception& e) noexcept
{
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to %s rotated events [%s].\n", what, e.what());
}

/// The message of the users' log for a kind of target; its argument is the JSON of MakeEntryText().
unsigned int LogIdOf(EVT_TYPE type) noexcept
{
    switch (type) {
    case EVT_TYPE_ARCHIVE:
        return Vx_LOG_ID_ARCHIVE_ROTATED;
    case EVT_TYPE_LAPSE:
        return Vx_LOG_ID_LAPSE_ROTATED;
    case EVT_TYPE_DVA:
        return Vx_LOG_ID_DVA_ROTATED;
    case EVT_TYPE_FACE:
        return Vx_LOG_ID_FACE_ROTATED;
    case EVT_TYPE_ALERT:
        return Vx_LOG_ID_ALERT_ROTATED;
    case EVT_TYPE_BOOKMARK:
        return Vx_LOG_ID_BOOKMARK_ROTATED;
    case EVT_TYPE_DETECTION:
        return Vx_LOG_ID_DETECTION_ROTATED;
    default:
        return Vx_LOG_ID_EVENT_ROTATED;
    }
}

const char* LimitText(VX_LOG_TYPE type) noexcept
{
    switch (type) {
    case VX_LOG_TYPE_BY_SIZE:
        return "size";
    case VX_LOG_TYPE_BY_VOL_SPACE:
        return "volume";
    case VX_LOG_TYPE_BY_DATE:
        return "date";
    default:
        return "number";
    }
}

/// The name of a task; false (logged) when it is gone.
bool GetTaskName(RecTask& task, int id, std::string& name) noexcept
try {
    if (task.Load(id) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Task[%d]: Failed to load\n", id);
        return false;
    }
    name = task.GetName();
    return true;
} catch (const std::exception& e) {
    LogException("name", e);
    return false;
}

/// Tells the message daemon of tasks and of the cameras that they watch.
int SendTaskNotification(EVT_TYPE type, RecTask::KIND kind, const std::list<int>& ids) noexcept
try {
    std::list<int> cameras;
    for (const int id : ids) {
        RecTask task(kind);
        if (task.Load(id) == 0 &&
            task.GetCamId() > 0) { // a task that is gone is announced without its camera
            cameras.push_back(task.GetCamId());
        }
    }
    return SendUpdateMsgToMsgD(MSGD_KIND_ROTATED, ids, UPDATE_TYPE_DELETE, type, "", cameras);
} catch (const std::exception& e) {
    LogException("announce", e);
    return -1;
}

/// {"camName":...,"count":...,"fileList":[...],"limit":...}
std::string MakeEntryText(const std::string& name, VX_LOG_TYPE type, int count,
                          const std::list<std::string>& files)
{
    Json::Value json(Json::objectValue);
    json["camName"] = name;
    json["count"] = count;
    json["limit"] = LimitText(type);
    json["fileList"] = Json::Value(Json::arrayValue);
    for (const std::string& file : files) {
        json["fileList"].append(file);
    }
    return JsonWrite(json);
}

} // namespace

VxRotLogger::~VxRotLogger() = default;

// ---- gathering

void VxRotLogger::UpdDelCnt(int targetId, int bySize, int byVolSpace, int byDate, int byNum) noexcept
try {
    const Counts counts{bySize, byVolSpace, byDate, byNum};
    if (std::ranges::all_of(counts, [](int count) { return count == 0; })) {
        return;
    }
    Counts& target = m_targets[targetId].counts;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        AddCount(target[i], counts[i]);
    }
    UpdTotalDelCnt(bySize, byVolSpace, byDate, byNum);
} catch (const std::exception& e) {
    LogException("count", e);
}

void VxRotLogger::UpdTotalDelCnt(int bySize, int byVolSpace, int byDate, int byNum) noexcept
{
    const Counts counts{bySize, byVolSpace, byDate, byNum};
    for (std::size_t i = 0; i < counts.size(); ++i) {
        AddCount(m_total[i], counts[i]);
    }
}

void VxRotLogger::UpdCamDelList(int id, NameLists* bySize, NameLists* byVolSpace, NameLists* byDate,
                                NameLists* byNum) noexcept
try {
    NameLists* const lists[] = {bySize, byVolSpace, byDate, byNum};
    for (std::size_t i = 0; i < std::size(lists); ++i) {
        if (lists[i] != nullptr && !lists[i]->empty()) {
            IdNameListMapMoveMerge(m_targets[id].names[i], *lists[i]);
        }
    }
    CheckDelListSize();
} catch (const std::exception& e) {
    LogException("list", e);
}

void VxRotLogger::CheckDelListSize() noexcept
{
    for (auto& [id, target] : m_targets) {
        for (NameLists& lists : target.names) {
            for (auto& [owner, names] : lists) {
                if (names.size() > MAX_LISTED) {
                    const auto surplus = static_cast<std::ptrdiff_t>(names.size() - MAX_LISTED);
                    names.erase(names.begin(), std::next(names.begin(), surplus));
                }
            }
        }
    }
}

// ---- the users' log

void VxRotLogger::Log() noexcept
try {
    const std::time_t now = GetWallTimeSec();
    const bool isRecent = now >= m_lastLogTime && now - m_lastLogTime < LOG_PERIOD_SEC;
    if (isRecent || (m_targets.empty() && m_pending.empty())) {
        return;
    }
    static_cast<void>(FlushLog()); // has logged; what could not be written is tried again
    m_lastLogTime = now;
} catch (const std::exception& e) {
    LogException("log", e);
}

void VxRotLogger::Log(int id, int taskId) noexcept
try {
    for (const int target : {id, taskId}) {
        Collect(target);
    }
    static_cast<void>(WritePending(nullptr));
} catch (const std::exception& e) {
    LogException("log", e);
}

int VxRotLogger::FlushLog() noexcept
try {
    CollectAll();
    return WritePending(nullptr);
} catch (const std::exception& e) {
    LogException("log", e);
    return -1;
}

int VxRotLogger::FlushLog(std::map<VX_LOG_TYPE, bool>& types) noexcept
try {
    CollectAll();
    if (WritePending(&types) != 0) {
        return -1;
    }
    for (auto& [type, isWanted] : types) {
        isWanted = false;
    }
    return 0;
} catch (const std::exception& e) {
    LogException("log", e);
    return -1;
}

void VxRotLogger::CollectAll()
{
    while (!m_targets.empty()) {
        Collect(m_targets.begin()->first);
    }
}

void VxRotLogger::Collect(int id)
{
    const auto found = m_targets.find(id);
    if (found == m_targets.end()) {
        return;
    }
    Target& target = found->second;
    for (std::size_t i = 0; i < target.counts.size(); ++i) {
        if (target.counts[i] != 0 || !target.names[i].empty()) {
            Entry& entry = m_pending.emplace_back();
            entry.id = id;
            entry.type = static_cast<VX_LOG_TYPE>(i);
            entry.count = target.counts[i];
            for (auto& [owner, names] : target.names[i]) {
                entry.names.splice(entry.names.end(), names);
            }
        }
    }
    m_targets.erase(found);
    while (m_pending.size() > MAX_PENDING) {
        m_pending.pop_front(); // the log cannot be written for long
    }
}

int VxRotLogger::WritePending(const std::map<VX_LOG_TYPE, bool>* pTypes)
{
    std::list<Entry> wanted;
    for (auto entry = m_pending.begin(); entry != m_pending.end();) {
        const auto next = std::next(entry);
        if (pTypes == nullptr || (pTypes->contains(entry->type) && pTypes->at(entry->type))) {
            wanted.splice(wanted.end(), m_pending, entry);
        }
        entry = next;
    }
    if (!wanted.empty() && DoFlushLog(wanted) != 0) {
        m_pending.splice(m_pending.begin(), wanted);
        return -1;
    }
    return 0;
}

int VxRotLogger::DoFlushLog(const std::list<Entry>& entries) noexcept
{
    return WriteEntries(entries, Vx_LOG_LEVEL_INFO);
}

int VxRotLogger::WriteEntries(const std::list<Entry>& entries, Vx_LOG_LEVEL level) noexcept
try {
    std::vector<UserLogEntry> lines;
    for (const Entry& entry : entries) {
        std::string name;
        if (!GetTargetName(entry.id, name)) {
            name = std::to_string(entry.id); // what was removed is told all the same
        }
        UserLogEntry& line = lines.emplace_back();
        line.logId = LogIdOf(m_type);
        line.level = level;
        line.args = {name, std::to_string(entry.count),
                     MakeEntryText(name, entry.type, entry.count, entry.names)};
    }
    return VxLog(lines);
} catch (const std::exception& e) {
    LogException("log", e);
    return -1;
}

bool VxRotLogger::GetTargetName(int id, std::string& name) const noexcept
try {
    if (id == 0) {
        name.clear(); // an entry of no target in particular
        return true;
    }
    Camera camera;
    if (camera.Load(id) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Cam[%d]: Failed to load\n", id);
        return false;
    }
    name = camera.GetName();
    return true;
} catch (const std::exception& e) {
    LogException("name", e);
    return false;
}

void VxRotLogger::ResetLogInfo() noexcept
{
    m_targets.clear();
    m_pending.clear();
    m_total = {};
}

// ---- notifications

void VxRotLogger::Notify(const Camera& camera) noexcept
{
    AddNotification(camera.GetId());
}

void VxRotLogger::AddNotification(int id) noexcept
try {
    const long now = static_cast<long>(GetWallTimeSec());
    const auto last = m_lastNotified.find(id);
    if (last == m_lastNotified.end() || now < last->second || now - last->second >= NOTIFY_PERIOD_SEC) {
        m_toNotify.insert(id);
    }
} catch (const std::exception& e) {
    LogException("announce", e);
}

void VxRotLogger::ResetNotiInfo(int id, long time) noexcept
try {
    m_toNotify.erase(id);
    m_lastNotified[id] = time;
} catch (const std::exception& e) {
    LogException("announce", e);
}

void VxRotLogger::FlushNotify() noexcept
try {
    if (m_toNotify.empty()) {
        return;
    }
    const std::list<int> ids(m_toNotify.begin(), m_toNotify.end());
    if (DoSendNotification(ids) == 0) {
        for (const int id : ids) {
            ResetNotiInfo(id, static_cast<long>(GetWallTimeSec()));
        }
    }
} catch (const std::exception& e) {
    LogException("announce", e);
}

int VxRotLogger::DoSendNotification(const std::list<int>& ids) noexcept
try {
    return SendUpdateMsgToMsgD(MSGD_KIND_ROTATED, ids, UPDATE_TYPE_DELETE, m_type, "", {});
} catch (const std::exception& e) {
    LogException("announce", e);
    return -1;
}

// ---- the kinds

VxArchiveRotLogger::~VxArchiveRotLogger() = default;
VxLapseRotLogger::~VxLapseRotLogger() = default;
VxDvaRotLogger::~VxDvaRotLogger() = default;
VxFaceRotLogger::~VxFaceRotLogger() = default;
VxBookmarkRotLogger::~VxBookmarkRotLogger() = default;
VxDetectionEventRotLogger::~VxDetectionEventRotLogger() = default;

void VxArchiveRotLogger::Log(const ArchPullTask& task) noexcept
{
    Log(task.GetId(), task.GetId());
    AddNotification(task.GetId());
}

bool VxArchiveRotLogger::GetTargetName(int id, std::string& name) const noexcept
{
    ArchPullTask task;
    return GetTaskName(task, id, name);
}

void VxLapseRotLogger::Log(const TimeLapseTask& task) noexcept
{
    Log(task.GetId(), task.GetId());
    AddNotification(task.GetId());
}

bool VxLapseRotLogger::GetTargetName(int id, std::string& name) const noexcept
{
    TimeLapseTask task;
    return GetTaskName(task, id, name);
}

void VxDvaRotLogger::Notify(const DvaCoreRotateSettings& task) noexcept
{
    AddNotification(task.GetId());
}

bool VxDvaRotLogger::GetTargetName(int id, std::string& name) const noexcept
{
    DvaCoreRotateSettings task(RecTask::IVA);
    return GetTaskName(task, id, name);
}

int VxDvaRotLogger::DoSendNotification(const std::list<int>& ids) noexcept
{
    return SendTaskNotification(EVT_TYPE_DVA, RecTask::IVA, ids);
}

void VxFaceRotLogger::Notify(const DvaCoreRotateSettings& task) noexcept
{
    AddNotification(task.GetId());
}

bool VxFaceRotLogger::GetTargetName(int id, std::string& name) const noexcept
{
    DvaCoreRotateSettings task(RecTask::FACE);
    return GetTaskName(task, id, name);
}

int VxFaceRotLogger::DoSendNotification(const std::list<int>& ids) noexcept
{
    return SendTaskNotification(EVT_TYPE_FACE, RecTask::FACE, ids);
}

int VxRotLogger::WriteSums(const std::list<Entry>& entries) noexcept
try {
    std::list<Entry> sums;
    for (const Entry& entry : entries) {
        const auto same = std::ranges::find(sums, entry.type, &Entry::type);
        Entry& sum = same != sums.end() ? *same : sums.emplace_back(Entry{0, entry.type, 0, {}});
        AddCount(sum.count, entry.count);
        sum.names.insert(sum.names.end(), entry.names.begin(), entry.names.end());
    }
    return WriteEntries(sums, Vx_LOG_LEVEL_INFO);
} catch (const std::exception& e) {
    LogException("log", e);
    return -1;
}

int VxBookmarkRotLogger::DoFlushLog(const std::list<Entry>& entries) noexcept
{
    return WriteSums(entries);
}

int VxDetectionEventRotLogger::DoFlushLog(const std::list<Entry>& entries) noexcept
try {
    std::list<Entry> unnamed(entries);
    for (Entry& entry : unnamed) {
        entry.names.clear(); // they are many, and nobody knows one by its name
    }
    return WriteSums(unnamed);
} catch (const std::exception& e) {
    LogException("log", e);
    return -1;
}
