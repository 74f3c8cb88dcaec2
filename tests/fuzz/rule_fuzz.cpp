// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/rule_fuzz.cpp - rules from JSON of any form: refused with a reason, or stored and read back as they were.
#include <json/value.h>

#include "actionrule.h"
#include "actruleutils.h"
#include "fuzz_root.h"
#include "package/json.h"

// Catches: a document that ends the program, a rule that is half set, a column that does not bring back what it got.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::Value json;
    std::string error;
    if (!JsonRead(text, json, error)) {
        return -1; // not kept: what is wanted here is JSON
    }
    ActionRule rule;
    error.clear();
    if (rule.SetByJson(json, &error) != 0) {
        Require(!error.empty(), "a refusal says why", text);
        return 0;
    }
    ActionRule copy;
    Require(copy.SetByJson(rule.GetJson(), &error) == 0, "a rule's own JSON is accepted",
            error + "\n" + text);
    Require(copy.GetJson() == rule.GetJson(), "a rule's own JSON brings it back", text);
    std::list<ActionRule> rules{copy};
    if (RestoreActRules(rules) != 0) {
        return 0; // refused by the database: the text of a NUL byte, for one
    }
    ActionRule loaded;
    Require(loaded.Load(rules.front().GetId()) == 0, "what was stored can be read", text);
    Require(loaded.GetName() == rule.GetName(), "what was stored is read as it was", text);
    return 0;
}
