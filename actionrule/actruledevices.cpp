// SPDX-License-Identifier: Apache-2.0
// actionrule/actruledevices.cpp - the devices of a rule at run time, and the state of its action on each.
#include <algorithm>

#include "actionrule.h"
#include "package/camera.h"

RULE_ACT_STATUS ActionRule::GetActDevSts(int deviceId) const noexcept
{
    const auto found = m_actDevSts.find(deviceId);
    return found != m_actDevSts.end() ? found->second : RULE_ACT_STATUS_IDLE;
}

void ActionRule::SetActDevDefSts()
{
    m_actDevSts.clear();
    for (const int deviceId : m_actAllDevIds) {
        m_actDevSts[deviceId] = RULE_ACT_STATUS_IDLE;
    }
}

void ActionRule::SetActDevIds(const std::set<int>& ids)
{
    m_actDevIds = ids;
    UpdateActAllDevIdSet();
}

bool ActionRule::IsAllCamEvt() const noexcept
{
    return std::any_of(m_evtList.begin(), m_evtList.end(), [](const ActionRuleEvent& event) {
        return event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices();
    });
}

bool ActionRule::IsAllCamAct() const noexcept
{
    return m_actSource == DEVICE_SRC_CAMERA &&
           (m_actDeviceId == RULE_ALL_DEVICES || m_actDevIds.count(RULE_ALL_DEVICES) != 0);
}

void ActionRule::UpdateActAllDevIdSet()
{
    m_actAllDevIds = m_actDevIds;
    if (m_actAllDevIds.empty()) {
        m_actAllDevIds.insert(m_actDeviceId);
    }
    m_actAllDevIds.erase(RULE_ALL_DEVICES);
}

void ActionRule::UpdateEvtAllDevIdSet()
{
    m_evtAllDevIds.clear();
    for (const ActionRuleEvent& event : m_evtList) {
        const std::set<int> ids = event.GetEvtDevIds(true);
        m_evtAllDevIds.insert(ids.begin(), ids.end());
    }
}

void ActionRule::UpdateAllCamIdSetByGivenData(const std::set<int>& camIds)
{
    for (ActionRuleEvent& event : m_evtList) {
        if (event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices()) {
            event.SetAllDevIds(camIds);
        }
    }
    UpdateEvtAllDevIdSet();
    UpdateActAllDevIdSet();
    if (IsAllCamAct()) {
        m_actAllDevIds.insert(camIds.begin(), camIds.end());
    }
}

void ActionRule::UpdateAllCamIdSetIfNeed()
{
    std::set<int> camIds;
    if (IsAllCamEvt() || IsAllCamAct()) {
        static_cast<void>(GetAllCameraIds(camIds)); // logged there; without cameras "every" means none
    }
    UpdateAllCamIdSetByGivenData(camIds);
}

void ActionRule::AddDevIntoAllDev(int deviceId)
{
    for (ActionRuleEvent& event : m_evtList) {
        if (event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices()) {
            event.UpdateEvtAllDevIdSet({deviceId}, ACTRULED_DEV_OP_TYPE_ADD, false);
            m_evtAllDevIds.insert(deviceId);
        }
    }
    if (IsAllCamAct()) {
        m_actAllDevIds.insert(deviceId);
    }
}

void ActionRule::DelDevFromAllDev(int deviceId)
{
    for (ActionRuleEvent& event : m_evtList) {
        if (event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices()) {
            event.UpdateEvtAllDevIdSet({deviceId}, ACTRULED_DEV_OP_TYPE_REMOVE, false);
        }
    }
    UpdateEvtAllDevIdSet();
    if (IsAllCamAct()) {
        m_actAllDevIds.erase(deviceId);
    }
    m_actDevSts.erase(deviceId);
}

void ActionRule::RemoveActDevId(int deviceId)
{
    m_actDevIds.erase(deviceId);
    m_actAllDevIds.erase(deviceId);
    m_actDevSts.erase(deviceId);
}

bool ActionRule::IsCurrentlyVisible() const noexcept
{
    return m_evtList.empty() ||
           std::any_of(m_evtList.begin(), m_evtList.end(),
                       [](const ActionRuleEvent& event) { return event.IsCurrentlyVisible(); });
}
