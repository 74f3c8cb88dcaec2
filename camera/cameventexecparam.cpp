// SPDX-License-Identifier: Apache-2.0
// camera/cameventexecparam.cpp - storing what event sources report, and answering from it.
#include "cameventexecparam.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <iterator>

#include "package/monoclock.h"
#include "vxlog.h"

namespace {

constexpr double DOOR_TIME_SEC = 3.0;
constexpr int MASK_BITS = 32;

bool IsCustomIdx(CustomFlags::Idx idx) noexcept
{
    return idx >= 0 && idx < CustomFlags::IDX_COUNT;
}

// Bits of the source mask of a custom detection.
enum SourceBit : int {
    BIT_MD = 0,
    BIT_TD = 1,
    BIT_AD = 2,
    BIT_PD = 3,
    BIT_DOORBELL = 4,
    BIT_DOOR_ACCESS = 5,
    BIT_REX = 7,
    BIT_DOOR_LOCK = 8,
    BIT_DOOR_UNLOCK = 9,
    BIT_QR_CODE = 10,
    BIT_FIRST_APP = 12, // and on; shared with the three below on purpose
    BIT_PEOPLE_VEHICLE = 12,
    BIT_INTRUSION = 13,
    BIT_CROWDED = 14,
};

bool HasBit(std::uint32_t mask, int bit) noexcept
{
    return bit >= 0 && bit < MASK_BITS && ((mask >> bit) & 1u) != 0;
}

} // namespace

void ExtDeviceTrigCustomT::OrOper(const ExtDeviceTrigCustomT& other) noexcept
{
    for (std::size_t group = 0; group < trigger.size(); ++group) {
        for (std::size_t idx = 0; idx < trigger[group].size(); ++idx) {
            trigger[group][idx] = trigger[group][idx] || other.trigger[group][idx];
        }
    }
}

void CamEventExecParam::EdgeStatus::Report(const EVENT_STATUS& status) noexcept
{
    if (previous.trigger != current.trigger && !previous.IsSameTime(current)) {
        previous = current;
    }
    if (!status.IsSameTime(current)) {
        current = status;
    }
}

void CamEventExecParam::StoreIfNew(EVENT_STATUS& stored, const EVENT_STATUS& status) noexcept
{
    if (!status.IsSameTime(stored)) {
        stored = status;
    }
}

// ---- recording groups

void CamEventExecParam::SetNeedRotateForSpace(CAM_REC_GROUP group, bool need) noexcept
{
    Group(group).needRotateForSpace = need;
}

bool CamEventExecParam::IsNeedRotateForSpace(CAM_REC_GROUP group) const noexcept
{
    return Group(group).needRotateForSpace;
}

void CamEventExecParam::SetStopRecForSpace(CAM_REC_GROUP group, bool stop) noexcept
{
    Group(group).stopRecForSpace = stop;
}

bool CamEventExecParam::IsStopRecForSpace(CAM_REC_GROUP group) const noexcept
{
    return Group(group).stopRecForSpace;
}

void CamEventExecParam::SetRecAllowed(CAM_REC_GROUP group, bool allowed) noexcept
{
    Group(group).recAllowed = allowed;
}

bool CamEventExecParam::IsRecAllowed(CAM_REC_GROUP group) const noexcept
{
    return Group(group).recAllowed;
}

void CamEventExecParam::SetCustomDetMethod(CAM_REC_GROUP group, CustomFlags::Idx idx,
                                           const CustomFlags& flags) noexcept
{
    if (IsCustomIdx(idx)) {
        Group(group).custom[static_cast<std::size_t>(idx)] = flags;
    }
}

CustomFlags CamEventExecParam::GetCustomDetMethod(CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept
{
    return IsCustomIdx(idx) ? Group(group).custom[static_cast<std::size_t>(idx)] : CustomFlags{};
}

void CamEventExecParam::SetEdgeMethod(CAM_REC_GROUP group, CustomFlags::Idx idx, EDGE_METHOD method) noexcept
{
    if (IsCustomIdx(idx)) {
        Group(group).edge[static_cast<std::size_t>(idx)] = method;
    }
}

EDGE_METHOD CamEventExecParam::GetEdgeMethod(CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept
{
    return IsCustomIdx(idx) ? Group(group).edge[static_cast<std::size_t>(idx)] : EDGE_METHOD_NONE;
}

// ---- connection

bool CamEventExecParam::BecomeConnLost() const noexcept
{
    return m_prevConnStatus == CONN_STATUS_NORMAL && IsConnFailed(m_curConnStatus);
}

bool CamEventExecParam::BecomeConnRecover() const noexcept
{
    return IsConnFailed(m_prevConnStatus) && m_curConnStatus == CONN_STATUS_NORMAL;
}

// ---- analytics

void CamEventExecParam::SetAnalyticsFlag(bool& stored, bool trigger, int flag) noexcept
{
    if (trigger) {
        m_alertType.Set(flag);
    } else if (stored) {
        m_alertType.Clear(flag);
    }
    stored = trigger;
}

void CamEventExecParam::SetPeopleVehicleStatus(bool trigger) noexcept
{
    SetAnalyticsFlag(m_peopleVehicle, trigger, AlertEventType::PEOPLE_VEHICLE_FLAG);
}

void CamEventExecParam::SetIntrusionStatus(bool trigger) noexcept
{
    SetAnalyticsFlag(m_intrusion, trigger, AlertEventType::INTRUSION_FLAG);
}

void CamEventExecParam::SetCrowdedDetectionStatus(bool trigger) noexcept
{
    SetAnalyticsFlag(m_crowded, trigger, AlertEventType::CROWDED_FLAG);
}

// ---- ports

void CamEventExecParam::InitPorts(PortMap& ports, int count, int alertType)
{
    ports.clear();
    for (int port = 0; port < count; ++port) {
        ports[port].alertType = alertType;
    }
}

bool CamEventExecParam::IsPortTrig(const PortMap& ports, int port) noexcept
{
    const auto found = ports.find(port);
    return found != ports.end() && found->second.current.trigger;
}

bool CamEventExecParam::IsAnyPortTrig(const PortMap& ports) noexcept
{
    return std::any_of(ports.begin(), ports.end(),
                       [](const auto& port) { return port.second.current.trigger; });
}

bool CamEventExecParam::BecomeActivate(const PortMap& ports, int port) noexcept
{
    const auto found = ports.find(port);
    return found != ports.end() && found->second.BecomeActivate();
}

bool CamEventExecParam::BecomeInactivate(const PortMap& ports, int port) noexcept
{
    const auto found = ports.find(port);
    return found != ports.end() && found->second.BecomeInactivate();
}

void CamEventExecParam::InitDIStatus(int count, bool isMultiDi)
{
    m_diCount = std::max(count, 0);
    m_isMultiDi = isMultiDi;
    InitPorts(m_di, m_diCount, AlertEventType::DI_FLAG);
}

void CamEventExecParam::InitDOStatus(int count)
{
    m_doCount = std::max(count, 0);
    InitPorts(m_do, m_doCount, AlertEventType::DO_FLAG);
}

void CamEventExecParam::SetDIStatus(int port, const EVENT_STATUS& status)
{
    m_di.try_emplace(port, EdgeStatus{{}, {}, AlertEventType::DI_FLAG}).first->second.Report(status);
}

void CamEventExecParam::SetDOStatus(int port, const EVENT_STATUS& status)
{
    m_do.try_emplace(port, EdgeStatus{{}, {}, AlertEventType::DO_FLAG}).first->second.Report(status);
}

void CamEventExecParam::SetDIOStatus(int port, const EVENT_STATUS& status)
{
    m_dioDi.try_emplace(port, EdgeStatus{{}, {}, AlertEventType::DI_FLAG}).first->second.Report(status);
}

void CamEventExecParam::SetDIOType(int port, int type)
{
    m_dioType[port] = type;
}

bool CamEventExecParam::IsDITrig(int port) const noexcept
{
    if (port == -1) {
        return IsAnyPortTrig(m_di) || IsAnyPortTrig(m_dioDi);
    }
    if (port < 0 || port >= m_diCount) {
        return false;
    }
    assert(m_di.count(port) != 0); // InitDIStatus() made it
    const auto type = m_dioType.find(port);
    const bool isAlsoInput = type != m_dioType.end() && type->second == 0;
    return IsPortTrig(m_di, port) || (isAlsoInput && IsPortTrig(m_dioDi, port));
}

std::list<int> CamEventExecParam::GetTrigDIs() const
{
    std::list<int> ports;
    for (int port = 0; port < m_diCount; ++port) {
        if (IsDITrig(port)) {
            ports.push_back(port);
        }
    }
    return ports;
}

bool CamEventExecParam::IsRexBtnTrig() const noexcept
{
    return m_rexBtnIdx >= 0 && m_rexBtnIdx < m_diCount && IsPortTrig(m_di, m_rexBtnIdx);
}

void CamEventExecParam::SetExtDIInput(int port, bool trigger) noexcept
{
    if (port >= 0 && port < MASK_BITS) {
        m_extDi = trigger ? m_extDi | (1U << port) : m_extDi & ~(1U << port);
    }
}

bool CamEventExecParam::IsExtDITrig(int port) const noexcept
{
    return HasBit(m_extDi, port);
}

// ---- applications

void CamEventExecParam::InitAppStatus(const std::list<int>& appIds)
{
    m_apps.clear();
    m_appIds = appIds;
    for (const int appId : appIds) {
        m_apps[appId].alertType = GetAppAlertEventType(appId);
    }
}

int CamEventExecParam::GetAppIdx(int i) const noexcept
{
    return i >= 0 && i < GetAppCnt() ? *std::next(m_appIds.begin(), i) : 0;
}

void CamEventExecParam::SetAppStatus(int index, const EVENT_STATUS& status)
{
    m_apps.try_emplace(index, EdgeStatus{{}, {}, GetAppAlertEventType(index)}).first->second.Report(status);
}

bool CamEventExecParam::IsAppTrig(int index) const noexcept
{
    return IsPortTrig(m_apps, index);
}

// ---- door, time-lapse

bool CamEventExecParam::IsDoorTime(std::time_t time, std::time_t now) noexcept
{
    return std::fabs(std::difftime(now, time)) <= DOOR_TIME_SEC;
}

bool CamEventExecParam::IsWithinDoorTime(std::time_t time) noexcept
{
    return IsDoorTime(time, GetWallTimeSec());
}

void CamEventExecParam::UpdateDoorActTime(int port) noexcept
{
    UpdateDoorActTimeAt(port, GetWallTimeSec());
}

void CamEventExecParam::UpdateDoorActTimeAt(int port, std::time_t now) noexcept
{
    if (DOBecomeActivate(port - 1)) {
        m_doorUnlockTime = now;
    } else if (DOBecomeInactivate(port - 1)) {
        m_doorLockTime = now;
    }
}

void CamEventExecParam::SetLapseTaskFlag(int taskId, bool flag)
{
    if (flag) {
        m_lapseTasks.insert(taskId);
    } else {
        m_lapseTasks.erase(taskId);
    }
}

// ---- recording schedule

bool CamEventExecParam::IsScheMDTrig(int camId) const noexcept
{
    const bool isTrig = IsMDTrig();
    if (isTrig) {
        VX_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_DEBUG, "Cam[%d]: REC_SCHE_MD is trigger!\n", camId);
    }
    return isTrig;
}

// One check of a custom detection: the source is triggered and selected. Every check runs.
#define VX_CUSTOM_CHECK(isTrig, mask, bit, ...)                                                              \
    do {                                                                                                     \
        if ((isTrig) && HasBit((mask), (bit))) {                                                             \
            result = true;                                                                                   \
            VX_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_INFO, __VA_ARGS__);                                           \
        }                                                                                                    \
    } while (false)

bool CamEventExecParam::IsScheCustomTrig(int camId, CAM_REC_GROUP group, CustomFlags::Idx idx) const noexcept
{
    if (!IsCustomIdx(idx)) {
        return false;
    }
    const auto [source, input] = Group(group).custom[static_cast<std::size_t>(idx)];
    bool result = m_extDeviceTrig.trigger[GroupSlot(group)][static_cast<std::size_t>(idx)];

    for (int i = 0; i < GetDICnt(); ++i) {
        if (IsDITrig(i) && HasBit(input, i)) {
            result = true;
            VX_LOG(LOG_CATEG_CAMERA, LOG_LEVEL_INFO, "Cam[%d] RecGrp[%d] Custom[%d]: DI(%d) is trigged.\n",
                   camId, group, idx, i);
            break;
        }
    }
    VX_CUSTOM_CHECK(IsMDTrig(), source, BIT_MD, "Cam[%d] RecGrp[%d] Custom[%d]: MD is trigged.\n", camId,
                    group, idx);
    VX_CUSTOM_CHECK(IsTDTrig(), source, BIT_TD, "Cam[%d] RecGrp[%d] Custom[%d]: TD is trigged.\n", camId,
                    group, idx);
    VX_CUSTOM_CHECK(IsADTrig(), source, BIT_AD, "Cam[%d] RecGrp[%d] Custom[%d]: AD is trigged.\n", camId,
                    group, idx);
    VX_CUSTOM_CHECK(IsPDTrig(), source, BIT_PD, "Cam[%d] RecGrp[%d] Custom[%d]: PD is trigged.\n", camId,
                    group, idx);
    VX_CUSTOM_CHECK(IsExtDITrig(), input, GetDICnt(),
                    "Cam[%d] RecGrp[%d] Custom[%d]: external DI is trigged.\n", camId, group, idx);
    for (const int appId : m_appIds) {
        VX_CUSTOM_CHECK(IsAppTrig(appId) && appId >= 0, source, BIT_FIRST_APP + appId,
                        "Cam[%d] RecGrp[%d] Custom[%d]: App(%d) is trigged.\n", camId, group, idx, appId);
    }
    VX_CUSTOM_CHECK(IsDoorbellTrig(), source, BIT_DOORBELL,
                    "Cam[%d] RecGrp[%d] Custom[%d]: Doorbell is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsDoorAcsTrig(), source, BIT_DOOR_ACCESS,
                    "Cam[%d] RecGrp[%d] Custom[%d]: Relay is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsRexBtnTrig(), source, BIT_REX, "Cam[%d] RecGrp[%d] Custom[%d]: REX is trigged.\n",
                    camId, group, idx);
    VX_CUSTOM_CHECK(IsDoorLockTrig(), source, BIT_DOOR_LOCK,
                    "Cam[%d] RecGrp[%d] Custom[%d]: Door Lock is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsDoorUnlockTrig(), source, BIT_DOOR_UNLOCK,
                    "Cam[%d] RecGrp[%d] Custom[%d]: Door Unlock is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsPeopleVehicleTrigger(), source, BIT_PEOPLE_VEHICLE,
                    "Cam[%d] RecGrp[%d] Custom[%d]: people vehicle is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsIntrusionTrigger(), source, BIT_INTRUSION,
                    "Cam[%d] RecGrp[%d] Custom[%d]: intrusion detection is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsCrowdedDetectionTrigger(), source, BIT_CROWDED,
                    "Cam[%d] RecGrp[%d] Custom[%d]: crowded detection is trigged.\n", camId, group, idx);
    VX_CUSTOM_CHECK(IsQRCodeTrig(), source, BIT_QR_CODE,
                    "Cam[%d] RecGrp[%d] Custom[%d]: QR Code detection is trigged.\n", camId, group, idx);
    return result;
}
#undef VX_CUSTOM_CHECK

// ---- all together

void CamEventExecParam::RefreshTrigEvt() noexcept
{
    const auto setIf = [this](bool trigger, int flag) {
        if (trigger) {
            m_alertType.Set(flag);
        }
    };
    m_alertType.Reset();
    setIf(IsRexBtnTrig(), AlertEventType::REX_FLAG);
    setIf(IsDITrig(-1), AlertEventType::DI_FLAG);
    setIf(IsTDTrig(), AlertEventType::TD_FLAG);
    setIf(IsADTrig(), AlertEventType::AD_FLAG);
    setIf(IsPDTrig(), AlertEventType::PD_FLAG);
    for (const int appId : m_appIds) {
        setIf(IsAppTrig(appId), GetAppAlertEventType(appId));
    }
    setIf(IsMDTrig(), AlertEventType::MD_FLAG);
    setIf(IsDoorbellTrig(), AlertEventType::DOORBELL_FLAG);
    setIf(IsDoorLockTrig(), AlertEventType::DOOR_LOCK_FLAG);
    setIf(IsDoorUnlockTrig(), AlertEventType::DOOR_UNLOCK_FLAG);
    setIf(IsDoorAcsTrig(), AlertEventType::DOOR_ACCESS_FLAG);
    setIf(IsExtDITrig(), AlertEventType::EXT_DI_FLAG);
    setIf(IsPeopleVehicleTrigger(), AlertEventType::PEOPLE_VEHICLE_FLAG);
    setIf(IsIntrusionTrigger(), AlertEventType::INTRUSION_FLAG);
    setIf(IsCrowdedDetectionTrigger(), AlertEventType::CROWDED_FLAG);
    setIf(IsActionRuleAlert(), AlertEventType::ACTION_RULE_FLAG);
    setIf(IsQRCodeTrig(), AlertEventType::QR_CODE_FLAG);
}
