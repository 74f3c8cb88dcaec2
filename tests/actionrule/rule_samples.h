// SPDX-License-Identifier: Apache-2.0
// tests/actionrule/rule_samples.h - events and filters as the tests of rules want them.
#pragma once

#include "actruleutils.h"

inline ActionRuleEvent Event(int item)
{
    ActionRuleEvent event;
    event.SetEvtId(RULE_EVENT_DIGITAL_INPUT);
    event.SetEvtItem(item);
    event.SetEvtDevId(1);
    return event;
}

inline ActRuleFilterRule ById(const std::string& ids)
{
    ActRuleFilterRule filter;
    filter.ids = ids;
    return filter;
}
