// SPDX-License-Identifier: Apache-2.0
// actionrule.h - one action rule: events, one action, weekly schedules.
#pragma once

#include <json/value.h>

#include <ctime>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "actionruleenum.h"
#include "actionruleevent.h"
#include "package/export.h"
#include "package/weeklyschedule.h"

struct DBResult_tag;
struct ActRuleFilterRule;
struct ActRuleStateChange;

/// A weekly schedule as it is stored, and as it is judged. Equal texts share what they say.
class VX_API RuleSchedule {
public:
    /// @return 0; -1 with a message, and nothing changed
    [[nodiscard]] int Set(const std::string& text, std::string* pError = nullptr) noexcept;
    /// The column.
    const std::string& Text() const noexcept;
    /// What it says; always on for an empty text.
    const WeeklySchedule& Get() const noexcept;
    bool operator==(const RuleSchedule& other) const noexcept { return Text() == other.Text(); }

private:
    struct Content;
    std::shared_ptr<const Content> m_pContent; ///< null: an empty text
};

/// A text that is enciphered in its column and plain in memory.
struct RuleSecret {
    std::string plain;
    std::string sealed; ///< the column's text, while it says the same; empty: to be made

    bool operator==(const RuleSecret& other) const noexcept { return plain == other.plain; }
};

// NOLINTBEGIN(bugprone-macro-parentheses): types and names of members cannot stand in brackets

// The columns of table "actionrule" in their order. Member, loading, saving and JSON follow from this list:
// FIELD(type, getter, setter, member, column, value at start) has a plain getter and setter, OWN has its own.
#define VX_ACTION_RULE_FIELDS(FIELD, OWN)                                                                    \
    FIELD(int, GetId, SetId, m_id, "id", -1)                                                                 \
    FIELD(bool, IsEnabled, SetEnabled, m_enabled, "enabled", true)                                           \
    FIELD(std::string, GetName, SetName, m_name, "name", {})                                                 \
    FIELD(int, GetStatus, SetOverallStatus, m_status, "status", 0)                                           \
    OWN(RuleStatusMap, m_multiStatus, "multi_status", {})                                                    \
    FIELD(VxRULE_TYPE, GetRuleType, SetRuleType, m_ruleType, "rule_type", VxRULE_TYPE_TRIGGERED)             \
    FIELD(ACT_TYPE, GetActType, SetActType, m_actType, "act_type", ACT_TYPE_ONCE)                            \
    FIELD(DEVICE_SRC, GetEvtSrc, SetEvtSrc, m_evtSource, "evt_source", DEVICE_SRC_CAMERA)                    \
    FIELD(int, GetEvtServerId, SetEvtServerId, m_evtServerId, "evt_server_id", 0)                            \
    FIELD(int, GetEvtDevId, SetEvtDevId, m_evtDeviceId, "evt_device_id", 0)                                  \
    FIELD(RULE_EVENT, GetEvtId, SetEvtId, m_evtId, "evt_id", RULE_EVENT_NONE)                                \
    FIELD(int, GetEvtItem, SetEvtItem, m_evtItem, "evt_item", 0)                                             \
    FIELD(int, GetEvtMinInterval, SetEvtMinInterval, m_evtMinInterval, "evt_min_interval", 0)                \
    FIELD(DEVICE_SRC, GetActSrc, SetActSrc, m_actSource, "act_source", DEVICE_SRC_CAMERA)                    \
    FIELD(int, GetActServerId, SetActServerId, m_actServerId, "act_server_id", 0)                            \
    FIELD(int, GetActDevId, SetActDevId, m_actDeviceId, "act_device_id", 0)                                  \
    OWN(std::set<int>, m_actDevIds, "act_dev_ids", {})                                                       \
    FIELD(RULE_ACTION, GetActId, SetActId, m_actId, "act_id", RULE_ACTION_NONE)                              \
    FIELD(int, GetActItemId, SetActItemId, m_actItemId, "act_item_id", 0)                                    \
    FIELD(std::string, GetActItemIds, SetActItemIds, m_actItemIds, "act_item_ids", {})                       \
    FIELD(int, GetActTimes, SetActTimes, m_actTimes, "act_times", 0)                                         \
    FIELD(ACT_TIME_UNIT, GetActTimeUnit, SetActTimeUnit, m_actTimeUnit, "act_time_unit", ACT_TIME_UNIT_NONE) \
    FIELD(int, GetActTimeDur, SetActTimeDur, m_actTimeDuration, "act_time_duration", 0)                      \
    FIELD(int, GetActRetPos, SetActRetPos, m_actReturnPos, "act_return_pos", 0)                              \
    FIELD(std::string, GetExtUrl, SetExtUrl, m_extUrl, "ext_url", {})                                        \
    FIELD(std::string, GetUserName, SetUserName, m_userName, "username", {})                                 \
    OWN(RuleSecret, m_password, "password", {})                                                              \
    OWN(RuleSchedule, m_activeSche, "schedule", {})                                                          \
    FIELD(int, GetMultiRuleId, SetMultiRuleId, m_multiRuleId, "multi_rule_id", 0)                            \
    FIELD(std::string, GetMultiEvtIds, SetMultiEvtIds, m_multiEvtIds, "multi_evt_ids", {})                   \
    FIELD(MULTI_EVT_SETTING, GetMultiEvtSetting, SetMultiEvtSetting, m_multiEvtSetting, "multi_evt_setting", \
          MULTI_EVT_SETTING_ANY)                                                                             \
    FIELD(std::string, GetIFTTTKey, SetIFTTTKey, m_iftttKey, "ifttt_key", {})                                \
    FIELD(std::string, GetIFTTTEvent, SetIFTTTEvent, m_iftttEvent, "ifttt_event", {})                        \
    FIELD(std::string, GetParam1, SetParam1, m_param1, "param1", {})                                         \
    FIELD(std::string, GetParam2, SetParam2, m_param2, "param2", {})                                         \
    FIELD(std::string, GetParam3, SetParam3, m_param3, "param3", {})                                         \
    FIELD(std::string, GetBmkName, SetBmkName, m_bmkName, "bmk_name", {})                                    \
    FIELD(std::string, GetBmkComment, SetBmkComment, m_bmkComment, "bmk_comment", {})                        \
    FIELD(bool, GetBmkLock, SetBmkLock, m_bmkLock, "bmk_lock", false)                                        \
    FIELD(WEBHOOK_REQ_METHOD, GetWebhookReqMethod, SetWebhookReqMethod, m_webhookReqMethod,                  \
          "webhook_req_method", WEBHOOK_REQ_GET)                                                             \
    FIELD(HTTP_CONTENT_TYPE, GetHttpContentType, SetHttpContentType, m_httpContentType, "http_content_type", \
          HTTP_CONTENT_JSON)                                                                                 \
    FIELD(std::string, GetHttpBody, SetHttpBody, m_httpBody, "http_body", {})                                \
    FIELD(std::string, GetHostAccessUrl, SetHostAccessUrl, m_hostAccessUrl, "host_access_url", {})           \
    FIELD(bool, GetBmkShowOsd, SetBmkShowOsd, m_bmkShowOsd, "bmk_show_osd", false)                           \
    FIELD(bool, IsCondition, SetCondition, m_condition, "condition", false)                                  \
    FIELD(int, GetConditionUnit, SetConditionUnit, m_conditionUnit, "condition_unit", 0)                     \
    FIELD(std::string, GetConditionValue, SetConditionValue, m_conditionValue, "condition_value", {})        \
    FIELD(bool, IsUrlSplit, SetUrlSplit, m_urlSplit, "url_split", false)                                     \
    FIELD(std::string, GetHeaders, SetHeaders, m_headers, "headers", {})                                     \
    OWN(RuleSchedule, m_notifySche, "notify_schedule", {})

/// One action rule, one row of table "actionrule", with what a rule daemon adds at run time.
///
/// Id -1 means not yet stored. Values of enumerations that no enumerator names are kept. Nothing throws
/// but for memory; a failure is logged where it happens (category 28) and returned as -1.
/// Thread-safety: reading from any thread, changing from one.
class VX_API ActionRule {
public:
    using RuleStatusMap = std::map<int, int>;

    const RuleStatusMap& GetMultiStatus() const noexcept { return m_multiStatus; }
    void SetMultiStatus(const RuleStatusMap& status) { m_multiStatus = status; }
    /// Sets or clears bits of one device's status.
    void SetStatus(int deviceId, int bits) { m_multiStatus[deviceId] |= bits; }
    void ClearStatus(int deviceId, int bits) { m_multiStatus[deviceId] &= ~bits; }
    const std::set<int>& GetActDevIds() const noexcept { return m_actDevIds; }
    /// Replaces the action's devices, and the derived set with them.
    void SetActDevIds(const std::set<int>& ids);
    const std::string& GetPassword() const noexcept { return m_password.plain; }
    void SetPassword(const std::string& passwd) { m_password = {passwd, {}}; }
    /// The password as it stands in its column; made when it was set since. Empty (logged) on failure.
    std::string GetSealedPassword() const noexcept;
    /// Takes such a text. @return 0; -1 (logged) when it was altered or sealed elsewhere: nothing changed.
    [[nodiscard]] int SetSealedPassword(const std::string& sealed) noexcept;
    const std::string& GetActiveScheText() const noexcept { return m_activeSche.Text(); }
    const std::string& GetNotifyScheText() const noexcept { return m_notifySche.Text(); }
    /// Takes a weekly schedule as text (package/weeklyschedule.h).
    ///
    /// @return 0; -1 (logged) and the schedule is as it was.
    [[nodiscard]] int SetActiveSche(const std::string& text, std::string* pError = nullptr) noexcept;
    [[nodiscard]] int SetNotifactionSche(const std::string& text, std::string* pError = nullptr) noexcept;
    const WeeklySchedule& GetActiveSche() const noexcept { return m_activeSche.Get(); }
    const WeeklySchedule& GetNotificationSche() const noexcept { return m_notifySche.Get(); }

    /// Reads the rule with this id; its events are not attached.
    ///
    /// @return 0; -1 (logged) when the statement failed or there is no such rule: the object is unchanged; or
    ///         when a column is broken: the rest is read, as PutRowIntoObj() says.
    [[nodiscard]] int Load(int id) noexcept;
    /// Reads one row. A broken id list, map, schedule or password is logged, leaves its field as it starts,
    /// and the rest is read. @return 0; -1 when something was broken.
    int PutRowIntoObj(DBResult_tag* result, unsigned int row) noexcept;
    /// Inserts the rule (id -1) and takes the new id, or updates its row.
    ///
    /// @return 0; -1 (logged), and the id is as it was.
    [[nodiscard]] int Save() noexcept;
    /// The statements that Save() runs, for a batch; empty (logged) when the password cannot be enciphered.
    std::string GetSaveSql() const { return m_id == -1 ? strSqlInsert() : strSqlUpdate(); }
    std::string GetSqlInsertStr() const { return strSqlInsert(); }
    std::string strSqlInsert() const;
    std::string strSqlUpdate() const;

    /// All columns, each under its name (id lists and maps as arrays and objects, the password plain), and
    /// the attached events under "events".
    Json::Value GetJson() const;
    /// Takes the members that the object has; the others keep their values.
    ///
    /// @param pError  where not null, receives which field is wrong and why
    /// @return 0; -1 (logged) and the rule is unchanged.
    [[nodiscard]] int SetByJson(const Json::Value& json, std::string* pError = nullptr) noexcept;

    // Run time only.
    void SetLastTrigTime(std::time_t time) noexcept { m_lastTrigTime = time; }
    std::time_t GetLastTrigTime() const noexcept { return m_lastTrigTime; }
    void SetEvtList(std::vector<ActionRuleEvent> events) { m_evtList = std::move(events); }
    const std::vector<ActionRuleEvent>& GetEvtList() const noexcept { return m_evtList; }
    std::vector<ActionRuleEvent>& GetEvtList() noexcept { return m_evtList; }
    /// The state of the action on one device.
    void SetActDevSts(int deviceId, RULE_ACT_STATUS status) { m_actDevSts[deviceId] = status; }
    RULE_ACT_STATUS GetActDevSts(int deviceId) const noexcept;
    /// Every device of the action is idle.
    void SetActDevDefSts();

    /// All devices of the events, and of the action; "every device" is replaced by the ids that are known.
    std::set<int> GetEvtAllDevIds() const;
    std::set<int> GetActAllDevIds() const;
    /// Whether the events, or the action, concern every camera.
    bool IsAllCamEvt() const noexcept;
    bool IsAllCamAct() const noexcept;
    /// Computes the action's set anew from its device id and its device-id set.
    void UpdateActAllDevIdSet();
    /// Tells which cameras there are; the sets of a rule that concerns every camera follow.
    void UpdateAllCamIdSetByGivenData(const std::set<int>& camIds);
    /// The same with the cameras of the database, read only when the rule concerns every camera.
    void UpdateAllCamIdSetIfNeed();
    /// A device has come or gone: changes both sets of a rule that concerns every camera.
    void AddDevIntoAllDev(int deviceId);
    void DelDevFromAllDev(int deviceId);
    /// A device is gone: takes it out of the action's stored ids and of its set.
    void RemoveActDevId(int deviceId);

    /// Whether the rule is shown: all of its events are, that is, the services that their sources need are there.
    bool IsCurrentlyVisible() const noexcept;

    /// Applies a change to the rules of a filter, saves each one that it changed and writes the user log.
    ///
    /// @return 0; -1 (logged) at the first rule that cannot be saved; those before it are saved.
    [[nodiscard]] static int SaveActRuleSt(const ActRuleFilterRule& filter, const ActRuleStateChange& change,
                                           const std::string& userName) noexcept;
    /// Runs the UPDATE of each rule of the map whose id is in the set, all of them or none.
    [[nodiscard]] static int UpdateActRule(const std::set<int>& ids,
                                           const std::map<int, ActionRule>& rules) noexcept;
    /// Sets the status of events. Nothing to do for an empty set.
    [[nodiscard]] static int UpdateEventStatus(const std::set<int>& ids, int status) noexcept;

    // Getter and setter of every plain field.
#define VX_FIELD(type, getter, setter, member, column, start)                                                \
    const type& getter() const noexcept                                                                      \
    {                                                                                                        \
        return member;                                                                                       \
    }                                                                                                        \
    void setter(const type& value)                                                                           \
    {                                                                                                        \
        member = value;                                                                                      \
    }
#define VX_OWN(type, member, column, start)
    VX_ACTION_RULE_FIELDS(VX_FIELD, VX_OWN)
#undef VX_FIELD
#undef VX_OWN

private:
    friend struct ActionRuleFields;

    int SetSchedule(RuleSchedule& schedule, const std::string& text, std::string* pError) noexcept;
    void ChangeAllDev(int deviceId, ACTRULED_DEV_OP_TYPE op);

    std::time_t m_lastTrigTime = 0;
    std::vector<ActionRuleEvent> m_evtList;
    std::map<int, RULE_ACT_STATUS> m_actDevSts;
    std::optional<std::set<int>> m_actAllDevIds; ///< not set: what device id and device-id set say

#define VX_FIELD(type, getter, setter, member, column, start) type member = start;
#define VX_OWN(type, member, column, start) type member = start;
    VX_ACTION_RULE_FIELDS(VX_FIELD, VX_OWN)
#undef VX_FIELD
#undef VX_OWN
};

// NOLINTEND(bugprone-macro-parentheses)
