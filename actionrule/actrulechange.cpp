// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulechange.cpp - whether an edited rule does something else than before.
#include <algorithm>
#include <initializer_list>

#include "actrulepredicates.h"
#include "actruleutils.h"

namespace {

bool IsOneOf(int value, std::initializer_list<int> values) noexcept
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

bool IsSameWebhookAct(const ActionRule& a, const ActionRule& b) noexcept
{
    return a.GetExtUrl() == b.GetExtUrl() && a.GetHeaders() == b.GetHeaders() &&
           a.GetUserName() == b.GetUserName() && a.GetPassword() == b.GetPassword() &&
           a.GetWebhookReqMethod() == b.GetWebhookReqMethod() &&
           a.GetHttpContentType() == b.GetHttpContentType() && a.GetHttpBody() == b.GetHttpBody() &&
           a.GetHostAccessUrl() == b.GetHostAccessUrl();
}

bool IsSameIFTTTAct(const ActionRule& a, const ActionRule& b) noexcept
{
    return a.GetIFTTTKey() == b.GetIFTTTKey() && a.GetIFTTTEvent() == b.GetIFTTTEvent() &&
           a.GetParam1() == b.GetParam1() && a.GetParam2() == b.GetParam2() && a.GetParam3() == b.GetParam3();
}

/// Where the action goes.
bool IsSameTarget(const ActionRule& a, const ActionRule& b) noexcept
{
    const int source = a.GetActSrc();
    if (IsOneOf(source, {0, 2, 7, 9, 10, 11, 14}) || (source == 4 && a.GetActId() == 22)) {
        return a.GetActServerId() == b.GetActServerId() && a.GetActDevId() == b.GetActDevId() &&
               a.GetActDevIds() == b.GetActDevIds();
    }
    if (source == 1) {
        return IsSameWebhookAct(a, b);
    }
    return source != 12 || IsSameIFTTTAct(a, b);
}

bool IsSameBookmark(const ActionRule& a, const ActionRule& b) noexcept
{
    return a.GetBmkName() == b.GetBmkName() && a.GetBmkComment() == b.GetBmkComment() &&
           a.GetBmkLock() == b.GetBmkLock() && a.GetBmkShowOsd() == b.GetBmkShowOsd();
}

bool IsSameCondition(const ActionRule& a, const ActionRule& b) noexcept
{
    return a.IsCondition() == b.IsCondition() &&
           (!a.IsCondition() ||
            (a.GetConditionUnit() == b.GetConditionUnit() && a.GetConditionValue() == b.GetConditionValue()));
}

/// What the action does there.
bool IsSameDetail(const ActionRule& a, const ActionRule& b) noexcept
{
    const RULE_ACTION action = a.GetActId();
    if (IsLensAct(action) && a.GetActRetPos() != b.GetActRetPos()) {
        return false;
    }
    const bool isItemChecked = IsCheckActItemAsSameRule(action) || IsAudioOutAct(action) || action == 17;
    if (isItemChecked && a.GetActItemId() != b.GetActItemId()) {
        return false;
    }
    switch (static_cast<int>(action)) {
    case 26:
        return a.GetActItemIds() == b.GetActItemIds();
    case 27:
        return IsSameBookmark(a, b);
    case 28:
        return IsSameCondition(a, b);
    default:
        return true;
    }
}

/// For how long.
bool IsSameDuration(const ActionRule& a, const ActionRule& b) noexcept
{
    const int action = a.GetActId();
    const bool isTriggered = a.GetRuleType() == VxRULE_TYPE_TRIGGERED;
    if (IsOneOf(action, {-2, -1, 4, 6, 9, 11, 12, 17, 18, 19, 20, 22})) {
        const bool isCounted = action == 6 || isTriggered;
        return (!isCounted || a.GetActTimes() == b.GetActTimes()) &&
               a.GetActTimeUnit() == b.GetActTimeUnit() && a.GetActTimeDur() == b.GetActTimeDur();
    }
    if (isTriggered && IsOneOf(action, {3, 5, 7, 8, 10, 14, 25, 27, 28})) {
        return a.GetActTimeDur() == b.GetActTimeDur() &&
               (action == 27 || action == 28 || a.GetActTimeUnit() == b.GetActTimeUnit());
    }
    return true;
}

} // namespace

bool IsActionChanged(const ActionRule& newRule, const ActionRule& oldRule) noexcept
{
    return newRule.GetActSrc() != oldRule.GetActSrc() || newRule.GetActId() != oldRule.GetActId() ||
           !IsSameTarget(newRule, oldRule) || !IsSameDetail(newRule, oldRule) ||
           !IsSameDuration(newRule, oldRule);
}
