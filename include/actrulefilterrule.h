// SPDX-License-Identifier: Apache-2.0
// actrulefilterrule.h - which action rules are meant: for listing, counting, deleting.
#pragma once

#include <optional>
#include <string>

#include "actionruleenum.h"
#include "package/export.h"

/// A filter of rules: every member that is set narrows it. A filter with none set means all rules.
///
/// Numbers are unset at -2. Id lists are texts of comma-separated integers, unset at "-2"; an empty list
/// that is set means no rule. A text that is no such list makes the filter invalid.
struct VX_API ActRuleFilterRule {
    static constexpr int UNSET = -2;
    static constexpr const char* UNSET_LIST = "-2";

    int ruleType = UNSET;
    int actType = UNSET;
    std::string ids = UNSET_LIST;
    std::string excludedIds = UNSET_LIST;
    std::string evtSources = UNSET_LIST;
    std::string evtServerIds = UNSET_LIST;
    std::string evtDeviceIds = UNSET_LIST;
    std::string evtIds = UNSET_LIST;
    std::string evtItems = UNSET_LIST;
    std::string actSources = UNSET_LIST;
    std::string actServerIds = UNSET_LIST;
    std::string actDeviceIds = UNSET_LIST;
    std::string actIds = UNSET_LIST;
    std::string actItemIds = UNSET_LIST;
    std::string multiRuleIds = UNSET_LIST;
    std::optional<std::string> actDevIds;
    std::optional<std::string> extUrl;
    std::optional<std::string> userName;
    std::optional<std::string> password; ///< as it stands in the column
    std::optional<std::string> httpBody;
    std::optional<std::string> headers;
    std::optional<WEBHOOK_REQ_METHOD> webhookReqMethod;
    std::optional<std::string> iftttKey;
    std::optional<std::string> param1;
    std::optional<std::string> param3;
    std::optional<MULTI_EVT_SETTING> multiEvtSetting;
    std::optional<HTTP_CONTENT_TYPE> httpContentType;
    std::optional<std::string> iftttEvent;
    std::optional<std::string> param2;
    std::optional<bool> enabled;

    /// The clause, from " WHERE " on, conditions joined by " AND ", in a fixed order.
    ///
    /// @param where  unchanged on -1
    /// @return 0; -1 (logged, with the name of the member) when an id list is broken.
    [[nodiscard]] int GetWhereStr(std::string& where) const noexcept;
};
