// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/actrulefilter_test.cpp - the clause of a filter, to the letter.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "actrulefilterrule.h"

namespace {

struct Member {
    std::function<void(ActRuleFilterRule&)> set;
    const char* clause;
};

/// Every member with what it adds, in the order of the clause.
const Member MEMBERS[] = {
    {[](auto& f) { f.ruleType = -1; }, "rule_type = -1"},
    {[](auto& f) { f.actType = 0; }, "act_type = 0"},
    {[](auto& f) { f.ids = "3,5"; }, "((id)IN(3,5))"},
    {[](auto& f) { f.excludedIds = "7"; }, " NOT ((id)IN(7))"},
    {[](auto& f) { f.evtSources = "0"; }, "((evt_source)IN(0))"},
    {[](auto& f) { f.evtServerIds = "1"; }, "((evt_server_id)IN(1))"},
    {[](auto& f) { f.evtDeviceIds = "2"; }, "((evt_device_id)IN(2))"},
    {[](auto& f) { f.evtIds = "3"; }, "((evt_id)IN(3))"},
    {[](auto& f) { f.evtItems = "4"; }, "((evt_item)IN(4))"},
    {[](auto& f) { f.actSources = "5"; }, "((act_source)IN(5))"},
    {[](auto& f) { f.actServerIds = "6"; }, "((act_server_id)IN(6))"},
    {[](auto& f) { f.actDeviceIds = "-1"; }, "((act_device_id)IN(-1))"},
    {[](auto& f) { f.actDevIds = "1,2"; }, "act_dev_ids = '1,2'"},
    {[](auto& f) { f.actIds = "8"; }, "((act_id)IN(8))"},
    {[](auto& f) { f.actItemIds = ""; }, "((act_item_id)IN())"},
    {[](auto& f) { f.extUrl = "o'clock"; }, "ext_url = 'o''clock'"},
    {[](auto& f) { f.userName = "u"; }, "username = 'u'"},
    {[](auto& f) { f.password = "p"; }, "password = 'p'"},
    {[](auto& f) { f.httpBody = ""; }, "http_body = ''"},
    {[](auto& f) { f.headers = "h"; }, "headers = 'h'"},
    {[](auto& f) { f.multiRuleIds = "9"; }, "((multi_rule_id)IN(9))"},
    {[](auto& f) { f.webhookReqMethod = WEBHOOK_REQ_POST; }, "webhook_req_method = 1"},
    {[](auto& f) { f.iftttKey = "k"; }, "ifttt_key = 'k'"},
    {[](auto& f) { f.param1 = "1"; }, "param1 = '1'"},
    {[](auto& f) { f.param3 = "3"; }, "param3 = '3'"},
    {[](auto& f) { f.multiEvtSetting = MULTI_EVT_SETTING_ALL; }, "multi_evt_setting = 1"},
    {[](auto& f) { f.httpContentType = HTTP_CONTENT_TEXT; }, "http_content_type = 2"},
    {[](auto& f) { f.iftttEvent = "e"; }, "ifttt_event = 'e'"},
    {[](auto& f) { f.param2 = "2"; }, "param2 = '2'"},
    {[](auto& f) { f.enabled = false; }, "enabled = 0"},
};

std::string Where(const ActRuleFilterRule& filter)
{
    std::string where;
    EXPECT_EQ(filter.GetWhereStr(where), 0);
    return where;
}

} // namespace

// Catches: a member that is forgotten, out of order, or joined wrongly to another. All pairs are tried.
TEST(ActRuleFilterTest, MembersInPairsGiveTheirClausesInOrder)
{
    EXPECT_EQ(Where(ActRuleFilterRule()), " WHERE id > 0 ");
    for (const Member& first : MEMBERS) {
        for (const Member& second : MEMBERS) {
            if (&first > &second) {
                continue;
            }
            ActRuleFilterRule filter;
            second.set(filter);
            first.set(filter);
            std::string expected = std::string(" WHERE id > 0  AND ") + first.clause;
            expected += &first == &second ? "" : std::string(" AND ") + second.clause;
            EXPECT_EQ(Where(filter), expected);
        }
    }
}

// Catches: a broken id list that is left out, so that a deletion means every rule.
TEST(ActRuleFilterTest, BrokenIdListIsRefused)
{
    for (const char* const ids : {"1,", "x", "1;2", "1) OR (1=1"}) {
        ActRuleFilterRule filter;
        filter.ids = ids;
        std::string where = "old";
        EXPECT_EQ(filter.GetWhereStr(where), -1) << ids;
        EXPECT_EQ(where, "old");
    }
}
