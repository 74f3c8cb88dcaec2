// SPDX-License-Identifier: Apache-2.0
// actionrule/actruledevices.cpp - the devices of a rule at run time, and the state of its action on each.
#include <algorithm>

#include "actionrule.h"
#include "actrulepredicates.h"
#include "package/camera.h"
#include "package/pkgservice.h"

RULE_ACT_STATUS ActionRule::GetActDevSts(int deviceId) const noexcept
{
    const auto found = m_actDevSts.find(deviceId);
    return found != m_actDevSts.end() ? found->second : RULE_ACT_STATUS_IDLE;
}

void ActionRule::SetActDevDefSts()
{
    m_actDevSts.clear();
    for (const int deviceId : GetActAllDevIds()) {
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

std::set<int> ActionRule::GetEvtAllDevIds() const
{
    std::set<int> ids;
    for (const ActionRuleEvent& event : m_evtList) {
        event.AddEvtDevIds(true, ids);
    }
    return ids;
}

std::set<int> ActionRule::GetActAllDevIds() const
{
    if (m_actAllDevIds) {
        return *m_actAllDevIds;
    }
    std::set<int> ids = m_actDevIds.empty() ? std::set<int>{m_actDeviceId} : m_actDevIds;
    ids.erase(RULE_ALL_DEVICES);
    return ids;
}

void ActionRule::UpdateActAllDevIdSet()
{
    m_actAllDevIds.reset();
}

void ActionRule::UpdateAllCamIdSetByGivenData(const std::set<int>& camIds)
{
    for (ActionRuleEvent& event : m_evtList) {
        if (event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices()) {
            event.SetAllDevIds(camIds);
        }
    }
    UpdateActAllDevIdSet();
    if (IsAllCamAct()) {
        m_actAllDevIds = GetActAllDevIds();
        m_actAllDevIds->insert(camIds.begin(), camIds.end());
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

void ActionRule::ChangeAllDev(int deviceId, ACTRULED_DEV_OP_TYPE op)
{
    for (ActionRuleEvent& event : m_evtList) {
        if (event.GetEvtSrc() == DEVICE_SRC_CAMERA && event.IsAllDevices()) {
            event.UpdateEvtAllDevIdSet({deviceId}, op, false);
        }
    }
    if (IsAllCamAct()) {
        m_actAllDevIds = GetActAllDevIds();
        if (op == ACTRULED_DEV_OP_TYPE_ADD) {
            m_actAllDevIds->insert(deviceId);
        } else {
            m_actAllDevIds->erase(deviceId);
        }
    }
}

void ActionRule::AddDevIntoAllDev(int deviceId)
{
    ChangeAllDev(deviceId, ACTRULED_DEV_OP_TYPE_ADD);
}

void ActionRule::DelDevFromAllDev(int deviceId)
{
    ChangeAllDev(deviceId, ACTRULED_DEV_OP_TYPE_REMOVE);
    m_actDevSts.erase(deviceId);
}

void ActionRule::RemoveActDevId(int deviceId)
{
    m_actAllDevIds = GetActAllDevIds();
    m_actAllDevIds->erase(deviceId);
    m_actDevIds.erase(deviceId);
    m_actDevSts.erase(deviceId);
}

bool ActionRule::IsCurrentlyVisible() const noexcept
{
    if (m_evtList.empty()) { // its own columns are its event
        return IsPkgServiceOn(SourceDependentService(m_evtSource)) &&
               IsPkgServiceOn(EventDependentService(m_evtId));
    }
    return std::all_of(m_evtList.begin(), m_evtList.end(),
                       [](const ActionRuleEvent& event) { return event.IsCurrentlyVisible(); });
}
