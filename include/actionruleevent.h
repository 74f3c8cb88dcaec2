// SPDX-License-Identifier: Apache-2.0
// actionruleevent.h - one event of an action rule: what has to happen, and where.
#pragma once

#include <json/value.h>

#include <set>
#include <string>

#include "actionruleenum.h"
#include "package/export.h"

struct DBResult_tag;

/// The device id that stands for every device of its kind.
constexpr int RULE_ALL_DEVICES = -1;

// NOLINTBEGIN(bugprone-macro-parentheses): types and names of members cannot stand in brackets

// The columns of the event table in their order. Everything that touches a column follows from this list:
// FIELD(type, getter, setter, member, column, value at start)
#define VX_ACTION_RULE_EVENT_FIELDS(FIELD)                                                                   \
    FIELD(int, GetId, SetId, m_id, "id", -1)                                                                 \
    FIELD(DEVICE_SRC, GetEvtSrc, SetEvtSrc, m_evtSource, "evt_source", DEVICE_SRC_CAMERA)                    \
    FIELD(WEBHOOK_REQ_METHOD, GetWebhookMethod, SetWebhookMethod, m_webhookMethod, "evt_webhook_method",     \
          WEBHOOK_REQ_GET)                                                                                   \
    FIELD(int, GetEvtServerId, SetEvtServerId, m_evtServerId, "evt_server_id", 0)                            \
    FIELD(int, GetEvtDevId, SetEvtDevId, m_evtDeviceId, "evt_device_id", 0)                                  \
    FIELD(RULE_EVENT, GetEvtId, SetEvtId, m_evtId, "evt_id", RULE_EVENT_NONE)                                \
    FIELD(int, GetEvtItem, SetEvtItem, m_evtItem, "evt_item", 0)                                             \
    FIELD(int, GetEvtTrigger, SetEvtTrigger, m_evtTrigger, "evt_trigger", 0)                                 \
    FIELD(int, GetEvtStatus, SetEvtStatus, m_evtStatus, "evt_status", 0)                                     \
    FIELD(std::string, GetWebhookToken, SetWebhookToken, m_webhookToken, "webhook_token", {})                \
    FIELD(std::set<int>, GetStoredDevIds, SetStoredDevIds, m_evtDevIds, "evt_dev_ids", {})

/// One event of a rule, one row of the event table. Plain values; see actionrule.h for the conventions.
/// Thread-safety: as of any value: reading from any thread, changing from one.
class VX_API ActionRuleEvent {
public:
    /// Reads one row of the event table.
    ///
    /// @return 0; -1 (logged) when the device ids are broken; the other fields are read all the same.
    int PutRowIntoObj(DBResult_tag* result, unsigned int row) noexcept;

    /// The statement that inserts the row and returns its id; without running it.
    std::string strSqlInsert() const;
    /// The statement that updates the row with this id.
    std::string strSqlUpdate() const;
    /// strSqlInsert() for an id of -1, strSqlUpdate() for any other.
    std::string GetSaveSql() const { return m_id == -1 ? strSqlInsert() : strSqlUpdate(); }

    /// Runs GetSaveSql().
    ///
    /// @return 0, and a new row's id is stored; -1 (logged) and the object is unchanged.
    [[nodiscard]] int Save() noexcept;

    /// All columns, each under its name; the device ids as an array.
    Json::Value GetJson() const;
    /// Takes the members that the object has; the others keep their values.
    ///
    /// @param pError  where not null, receives which field is wrong and why
    /// @return 0; -1 (logged) and the event is unchanged.
    [[nodiscard]] int SetByJson(const Json::Value& json, std::string* pError = nullptr) noexcept;

    /// Events of cameras, and of the other sources that are switched on and off, may name several devices.
    bool IsSupportMultiDevice() const noexcept;
    /// The devices of this event. @param isExpanded  true: "every device" is replaced by the ids that
    /// UpdateEvtAllDevIdSet() has told
    std::set<int> GetEvtDevIds(bool isExpanded) const;
    /// The same, added to a set.
    void AddEvtDevIds(bool isExpanded, std::set<int>& ids) const;
    /// Whether the event happens on every device of its kind.
    bool IsAllDevices() const noexcept;
    /// Adds ids to the devices of this event or removes them.
    ///
    /// @param isStored  true: the stored list changes too, not only the set that is derived from it
    void UpdateEvtAllDevIdSet(const std::set<int>& ids, ACTRULED_DEV_OP_TYPE op, bool isStored);
    /// Replaces the devices that "every device" stands for.
    void SetAllDevIds(std::set<int> ids) { m_allDevIds = std::move(ids); }
    /// Whether the device belongs to this event.
    bool HasDevice(int deviceId) const noexcept;

    /// Whether the event is shown: the service that its source needs is there.
    bool IsCurrentlyVisible() const noexcept;

    /// Equal in what has to happen: the id and the status do not count.
    bool operator==(const ActionRuleEvent& other) const noexcept;

    // Getter and setter of every field.
#define VX_FIELD(type, getter, setter, member, column, start)                                                \
    const type& getter() const noexcept                                                                      \
    {                                                                                                        \
        return member;                                                                                       \
    }                                                                                                        \
    void setter(const type& value)                                                                           \
    {                                                                                                        \
        member = value;                                                                                      \
    }
    VX_ACTION_RULE_EVENT_FIELDS(VX_FIELD)
#undef VX_FIELD

private:
    friend struct ActionRuleEventFields;

    std::set<int> m_allDevIds; ///< derived: the devices that "every device" stands for now

#define VX_FIELD(type, getter, setter, member, column, start) type member = start;
    VX_ACTION_RULE_EVENT_FIELDS(VX_FIELD)
#undef VX_FIELD
};

// NOLINTEND(bugprone-macro-parentheses)
