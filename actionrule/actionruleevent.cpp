// SPDX-License-Identifier: Apache-2.0
// actionrule/actionruleevent.cpp - one event of a rule: row, statements, JSON, devices.
#include "actionruleevent.h"

#include <algorithm>
#include <vector>

#include "actrulepredicates.h"
#include "package/pkgservice.h"
#include "ruledb_internal.h"
#include "rulefield_internal.h"
#include "vxlog.h"

/// Visits every column of an event: visit(member, column).
struct ActionRuleEventFields {
    template <typename Event, typename Visit>
    static void ForEach(Event& event, Visit visit)
    {
#define VX_FIELD(type, getter, setter, member, column, start) visit(event.member, column);
        VX_ACTION_RULE_EVENT_FIELDS(VX_FIELD)
#undef VX_FIELD
    }
    static void SetId(ActionRuleEvent& event, int id) noexcept
    {
        event.m_id = id;
    }
};

int ActionRuleEvent::PutRowIntoObj(DBResult_tag* result, unsigned int row) noexcept
try {
    return ruledb::EventReader(result).Read(*this, row);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to read an event [%s].\n", error.what());
    return -1;
}

struct ruledb::EventReader::Columns : rulefield::RowReader<ActionRuleEventFields, ActionRuleEvent> {
    using RowReader::RowReader;
};

ruledb::EventReader::EventReader(DBResult_tag* result) : m_pColumns(std::make_unique<Columns>(result)) {}

ruledb::EventReader::~EventReader() = default;

int ruledb::EventReader::Read(ActionRuleEvent& event, unsigned int row)
{
    const auto broken = m_pColumns->Read(event, row);
    for (const char* const column : broken) {
        VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Event [%d]: column [%s] is broken.\n", event.GetId(),
               column);
    }
    return broken.empty() ? 0 : -1;
}

std::string ActionRuleEvent::strSqlInsert() const
{
    return rulefield::InsertSql<ActionRuleEventFields>(gszTableActionRuleEvent, *this);
}

std::string ActionRuleEvent::strSqlUpdate() const
{
    return rulefield::UpdateSql<ActionRuleEventFields>(gszTableActionRuleEvent, *this);
}

int ActionRuleEvent::Save() noexcept
try {
    return m_id == -1 ? ruledb::InsertRow(VX_RULE_HERE, strSqlInsert(), m_id)
                      : ruledb::Run(VX_RULE_HERE, strSqlUpdate());
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to save event [%d]: [%s].\n", m_id, error.what());
    return -1;
}

Json::Value ActionRuleEvent::GetJson() const
{
    return rulefield::RecordToJson<ActionRuleEventFields>(*this);
}

int ActionRuleEvent::SetByJson(const Json::Value& json, std::string* pError) noexcept
try {
    ActionRuleEvent changed = *this;
    std::string error = rulefield::SetFields<ActionRuleEventFields>(changed, json, "an event");
    if (error.empty()) {
        *this = std::move(changed);
        return 0;
    }
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to set event [%d]: %s.\n", m_id, error.c_str());
    if (pError != nullptr) {
        *pError = error;
    }
    return -1;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Failed to set event [%d]: [%s].\n", m_id, error.what());
    return -1;
}

bool ActionRuleEvent::IsSupportMultiDevice() const noexcept
{
    return IsEnableRelateEvt(m_evtSource, RULE_EVENT_CONN_LOST); // the sources whose devices go on and off
}

bool ActionRuleEvent::IsAllDevices() const noexcept
{
    return IsSupportMultiDevice() &&
           (m_evtDeviceId == RULE_ALL_DEVICES || m_evtDevIds.count(RULE_ALL_DEVICES) != 0);
}

std::set<int> ActionRuleEvent::GetEvtDevIds(bool isExpanded) const
{
    std::set<int> ids;
    AddEvtDevIds(isExpanded, ids);
    return ids;
}

void ActionRuleEvent::AddEvtDevIds(bool isExpanded, std::set<int>& ids) const
{
    const auto add = [&](int id) {
        if (isExpanded && id == RULE_ALL_DEVICES) {
            ids.insert(m_allDevIds.begin(), m_allDevIds.end());
        } else {
            ids.insert(id);
        }
    };
    if (!IsSupportMultiDevice() || m_evtDevIds.empty()) {
        add(m_evtDeviceId);
        return;
    }
    std::for_each(m_evtDevIds.begin(), m_evtDevIds.end(), add);
}

void ActionRuleEvent::UpdateEvtAllDevIdSet(const std::set<int>& ids, ACTRULED_DEV_OP_TYPE op, bool isStored)
{
    for (const int id : ids) {
        if (op == ACTRULED_DEV_OP_TYPE_ADD) {
            m_allDevIds.insert(id);
            if (isStored) {
                m_evtDevIds.insert(id);
            }
        } else if (op == ACTRULED_DEV_OP_TYPE_REMOVE) {
            m_allDevIds.erase(id);
            if (isStored) {
                m_evtDevIds.erase(id);
            }
        }
    }
}

bool ActionRuleEvent::HasDevice(int deviceId) const noexcept
{
    if (!IsSupportMultiDevice() || m_evtDevIds.empty()) {
        return m_evtDeviceId == deviceId || (IsAllDevices() && m_allDevIds.count(deviceId) != 0);
    }
    return m_evtDevIds.count(deviceId) != 0 || (IsAllDevices() && m_allDevIds.count(deviceId) != 0);
}

bool ActionRuleEvent::IsCurrentlyVisible() const noexcept
{
    return IsPkgServiceOn(SourceDependentService(m_evtSource)) &&
           IsPkgServiceOn(EventDependentService(m_evtId));
}

bool ActionRuleEvent::operator==(const ActionRuleEvent& other) const noexcept
{
    return m_evtItem == other.m_evtItem && m_webhookToken == other.m_webhookToken &&
           m_webhookMethod == other.m_webhookMethod && m_evtSource == other.m_evtSource &&
           m_evtServerId == other.m_evtServerId && m_evtDeviceId == other.m_evtDeviceId &&
           m_evtId == other.m_evtId && m_evtTrigger == other.m_evtTrigger &&
           (!IsSupportMultiDevice() || m_evtDevIds == other.m_evtDevIds);
}
