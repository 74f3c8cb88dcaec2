// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulefilterrule.cpp - the WHERE clause of a filter of rules.
#include "actrulefilterrule.h"

#include <list>
#include <stdexcept>

#include "package/idtext.h"
#include "vxdb.h"
#include "vxlog.h"

namespace {

using VxDB::SqlExpr;

/// Collects conditions; each is added only when its member is set.
class Conditions {
public:
    Conditions()
    {
        m_where << " WHERE "
                << "id > 0 ";
    }

    template <typename T>
    void Equal(const char* term, bool isSet, const T& value)
    {
        if (isSet) {
            m_where << " AND " << term << value;
        }
    }
    void Equal(const char* term, const std::optional<std::string>& text)
    {
        if (text) {
            m_where << " AND " << term << VxDB::Value(*text);
        }
    }
    template <typename T>
    void Equal(const char* term, const std::optional<T>& value)
    {
        if (value) {
            m_where << " AND " << term << *value;
        }
    }
    void In(const char* column, const std::string& ids, const char* prefix = "")
    {
        if (ids == ActRuleFilterRule::UNSET_LIST) {
            return;
        }
        std::list<int> list;
        if (StringToIdList(ids, list) != 0) {
            throw std::invalid_argument(std::string(column) + " IN [" + ids + "]");
        }
        m_where << " AND " << prefix << VxDB::SqlExprAdapt::InImpl<SqlExpr>(column, list);
    }
    std::string Str() const { return m_where.str(); }

private:
    SqlExpr m_where;
};

void AddIdLists(const ActRuleFilterRule& filter, Conditions& where)
{
    where.In("id", filter.ids);
    where.In("id", filter.excludedIds, " NOT ");
    where.In("evt_source", filter.evtSources);
    where.In("evt_server_id", filter.evtServerIds);
    where.In("evt_device_id", filter.evtDeviceIds);
    where.In("evt_id", filter.evtIds);
    where.In("evt_item", filter.evtItems);
    where.In("act_source", filter.actSources);
    where.In("act_server_id", filter.actServerIds);
    where.In("act_device_id", filter.actDeviceIds);
}

void AddOptions(const ActRuleFilterRule& filter, Conditions& where)
{
    where.Equal("webhook_req_method = ", filter.webhookReqMethod);
    where.Equal("ifttt_key = ", filter.iftttKey);
    where.Equal("param1 = ", filter.param1);
    where.Equal("param3 = ", filter.param3);
    where.Equal("multi_evt_setting = ", filter.multiEvtSetting);
    where.Equal("http_content_type = ", filter.httpContentType);
    where.Equal("ifttt_event = ", filter.iftttEvent);
    where.Equal("param2 = ", filter.param2);
    where.Equal("enabled = ", filter.enabled);
}

} // namespace

int ActRuleFilterRule::GetWhereStr(std::string& where) const noexcept
try {
    Conditions conditions;
    conditions.Equal("rule_type = ", ruleType != UNSET, ruleType);
    conditions.Equal("act_type = ", actType != UNSET, actType);
    AddIdLists(*this, conditions);
    conditions.Equal("act_dev_ids = ", actDevIds);
    conditions.In("act_id", actIds);
    conditions.In("act_item_id", actItemIds);
    conditions.Equal("ext_url = ", extUrl);
    conditions.Equal("username = ", userName);
    conditions.Equal("password = ", password);
    conditions.Equal("http_body = ", httpBody);
    conditions.Equal("headers = ", headers);
    conditions.In("multi_rule_id", multiRuleIds);
    AddOptions(*this, conditions);
    where = conditions.Str();
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_IO_MODULE, LOG_LEVEL_ERR, "Broken filter of rules: %s.\n", error.what());
    return -1;
}
