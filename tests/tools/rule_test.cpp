// SPDX-License-Identifier: Apache-2.0
// tests/tools/rule_test.cpp - vx rule and vx history, run as their users run them.
#include <algorithm>
#include <fstream>

#include "package/db.h"
#include "support/temp_root.h"
#include "vx_process.h"

namespace {

class RuleToolTest : public ::testing::Test {
protected:
    RuleToolTest() { ::setenv("TZ", "UTC", 1); }
    ~RuleToolTest() override { ::unsetenv("TZ"); }

    std::string Write(const std::string& name, const std::string& text) const
    {
        std::string path = (m_root.Path() / name).string();
        std::ofstream(path) << text;
        return path;
    }
    static void AddTwoRules()
    {
        ExpectVx({"rule", "add", "--name", "Gate", "--event", "digital input", "--camera", "3", "--item", "1",
                  "--schedule", "mon-fri 08:00-18:00", "--min-interval", "10"},
                 0, "1\n");
        ExpectVx({"rule", "add", "--name", "Hall 'B'", "--event", "motion", "--camera", "-1", "--action",
                  "27", "--record", R"({"password":"s3cret","act_dev_ids":[4,5]})"},
                 0, "2\n");
    }

    TempRoot m_root;
};

constexpr const char* DAY =
    R"({"time":"2026-11-23 12:00:05","camera":3,"event":"digital input","item":1,"on":true}
{"time":"2026-11-23 12:00:06","camera":3,"event":"digital input","item":1,"on":true}
{"time":"2026-11-23 12:00:07","camera":3,"event":"digital input","item":1,"on":false}
{"time":"2026-11-23 12:00:08","camera":3,"event":"digital input","item":1,"on":true}
{"time":"2026-11-23 12:00:09","camera":9,"event":"motion","on":true}
{"time":"2026-11-23 19:00:00","camera":3,"event":"digital input","item":1,"on":true}
)";

constexpr const char* PRESSED =
    R"({"time":1795435200,"camera":3,"event":"digital input","item":1,"on":true})";

} // namespace

// Catches: a rule that comes back changed, a password in the open, half a set after one broken rule.
TEST_F(RuleToolTest, ExportedWipedAndImportedIsIdentical)
{
    AddTwoRules();
    const std::string exported = VxOut({"rule", "export"});
    EXPECT_EQ(exported.find("s3cret"), std::string::npos);
    VxOut({"rule", "rm", "1,2", "--yes"});
    EXPECT_EQ(VxOut({"rule", "list"}), "No rules; vx rule add makes one.\n");
    const std::string path = Write("rules.json", exported);
    VxOut({"rule", "import", path});
    const std::string shown = Write("shown.json", VxOut({"rule", "show", "1", "--json"}));
    VxOut({"rule", "edit", "1", "--from", shown}); // as it was
    VxOut({"rule", "export", path});
    EXPECT_EQ(VxOut({"rule", "export"}), exported);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(std::ifstream(path).rdbuf()), {}), exported);
    EXPECT_NE(VxOut({"rule", "show", "2", "--json", "--show-secrets"}).find("s3cret"), std::string::npos);
    VxOut({"rule", "import", path}); // the ids are taken: the rules come a second time, under new ones
    EXPECT_EQ(VxJson({"rule", "list"}).size(), 4u);

    std::string broken = exported;
    const std::string name = "\"Hall 'B'\"";
    broken.replace(broken.find(name), name.size(), "5");
    ExpectVx({"rule", "import", Write("broken.json", broken)}, 1, "rule 2: field \"name\"");
    EXPECT_EQ(VxJson({"rule", "list"}).size(), 4u);
}

// Catches: an event of one rule that is overwritten by another one's, which the document gives the same id.
TEST_F(RuleToolTest, EventsOfADocumentAreSharedWithinAGroupAlone)
{
    const auto rule = [](int group, int event) {
        return R"({"multi_rule_id":)" + std::to_string(group) + R"(,"events":[{"id":3,"evt_id":)" +
               std::to_string(event) + "}]}";
    };
    VxOut({"rule", "import",
           Write("same.json", R"({"format":"vx-rules-1","rules":[)" + rule(1, 3) + "," + rule(1, 3) + "," +
                                  rule(1, 5) + "," + rule(2, 3) + "]}")});
    std::string ids;
    for (const Json::Value& stored : VxJson({"rule", "list"})) {
        ids += stored["multi_evt_ids"].asString() + ":" + stored["events"][0]["evt_id"].asString() + " ";
    }
    EXPECT_EQ(ids, "3:3 3:3 4:5 5:3 ");
}

// Catches: a replay that answers differently, history that has another time than the event, a line passed
// over in silence.
TEST_F(RuleToolTest, ReplayedDayGivesTheSameAnswers)
{
    AddTwoRules();
    const std::string day = Write("day.jsonl", DAY);
    const std::string first = VxOut({"rule", "watch", day});
    EXPECT_EQ(first,
              "Rule \"Gate\" (1) fires at Mon 2026-11-23 12:00:05 UTC: digital input on camera 3.\n"
              "Rule \"Gate\" (1) does not fire: digital input on camera 3 is still active; nothing new has "
              "happened.\n"
              "Rule \"Gate\" (1) does not fire: its source is at rest (digital input on camera 3).\n"
              "Rule \"Gate\" (1) does not fire: it has fired before and waits 7 more seconds of its minimum "
              "interval of 10.\n"
              "Rule \"Hall 'B'\" (2) fires at Mon 2026-11-23 12:00:09 UTC: motion on camera 9.\n"
              "Rule \"Gate\" (1) does not fire: its schedule is off at Mon 2026-11-23 19:00:00 UTC (mon-fri "
              "08:00-18:00).\n");
    EXPECT_EQ(VxOut({"rule", "watch", "--no-history", day}), first);
    const Json::Value history = VxJson({"history", "list"});
    EXPECT_EQ(history["count"], 2);
    EXPECT_EQ(history["lines"][0]["rule_name"], "Hall 'B'");
    EXPECT_EQ(history["lines"][0]["timestamp"].asInt64(), 1795435209);

    const std::string odd = Write("odd.jsonl", std::string("nonsense\n\r\n") + DAY);
    const VxResult passedOver = ExpectVx({"rule", "watch", "--no-history", odd}, 1, "line 1: not JSON");
    EXPECT_EQ(passedOver.out, first);
    EXPECT_NE(passedOver.err.find(": 1 line(s) could not be read"), std::string::npos) << passedOver.err;
}

// Catches: a history that keeps only the last lines, or that a killed process takes along.
TEST_F(RuleToolTest, HistoryOutlivesNoiseAndKills)
{
    AddTwoRules();
    VxOut({"rule", "watch", Write("first.jsonl", PRESSED)});
    std::string noise;
    for (int i = 0; i < 9000; ++i) {
        noise += "{\"time\":" + std::to_string(1795440000 + i) +
                 ",\"camera\":9,\"event\":\"motion\",\"on\":" + (i % 2 == 0 ? "true}\n" : "false}\n");
    }
    const std::string path = Write("noise.jsonl", noise);
    long fired = 1;
    for (int kills = 0; kills < 3; ++kills) {
        VxProcess watch({"rule", "watch", "--fires-only", path});
        ASSERT_TRUE(watch.WaitForOutput("13:20:40"));
        watch.Signal(SIGKILL);
        const VxResult killed = watch.Finish();
        EXPECT_EQ(killed.signal, SIGKILL);
        fired +=
            std::count(killed.out.begin(), killed.out.end(), '\n') - 1; // the last may not be written yet
    }
    const int count = VxJson({"history", "list"})["count"].asInt();
    EXPECT_GE(count, fired);
    const Json::Value oldest =
        VxJson({"history", "list", "--limit", "0", "--offset", std::to_string(count - 1)});
    ASSERT_EQ(oldest["lines"].size(), 1u);
    EXPECT_EQ(oldest["lines"][0]["rule_name"], "Gate");
}

// Catches: a sentence for another reason, instant or state than the one that was asked about.
TEST_F(RuleToolTest, ExplainSaysTheReason)
{
    const std::string noon = "2026-11-23 12:00:00";
    VxOut({"rule", "add", "--name", "Gate", "--event", "digital input", "--camera", "3", "--item", "1",
           "--schedule", "mon-fri 08:00-18:00", "--min-interval", "10", "--record",
           R"({"condition":true,"condition_unit":3,"condition_value":"9"})"});
    const std::string pressed = PRESSED;
    const std::string motion = R"({"time":1795435100,"camera":9,"event":"motion","on":true})";
    const std::string state = Write("pressed.jsonl", pressed + "\n");
    const std::tuple<const char*, std::vector<std::string>, const char*> cases[] = {
        {"outside schedule",
         {"--at", "2026-11-22 12:00"},
         "does not fire: its schedule is off at Sun 2026-11-22 12:00:00 UTC (mon-fri 08:00-18:00)."},
        {"not triggered",
         {"--at", noon},
         "does not fire: its source is at rest (digital input on camera 3)."},
        {"no edge",
         {"--at", noon, "--state", Write("held.jsonl", pressed + "\n" + pressed + "\n")},
         "does not fire: digital input on camera 3 is still active; nothing new has happened."},
        {"within minimum interval",
         {"--at", "1795435200", "--state", state, "--last-fired", "2026-11-23 11:59:55"},
         "does not fire: it has fired before and waits 5 more seconds of its minimum interval of 10."},
        {"condition not met",
         {"--at", noon, "--state", state},
         "does not fire: its condition does not hold (motion on camera 9)."},
        {"fires",
         {"--at", noon, "--state", Write("both.jsonl", motion + "\n" + pressed + "\n")},
         "fires at Mon 2026-11-23 12:00:00 UTC: digital input on camera 3."},
    };
    for (const auto& [reason, more, sentence] : cases) {
        std::vector<std::string> args = {"rule", "explain", "1"};
        args.insert(args.end(), more.begin(), more.end());
        EXPECT_EQ(VxOut(args), std::string("Rule \"Gate\" (1) ") + sentence + "\n");
        const Json::Value json = VxJson(args);
        EXPECT_EQ(json["reason"], reason);
        EXPECT_EQ(json["fires"].asBool(), std::string(reason) == "fires");
    }
    VxOut({"rule", "disable", "1"});
    EXPECT_EQ(VxOut({"rule", "explain", "1"}), "Rule \"Gate\" (1) does not fire: it is switched off.\n");
}

// Catches: bad input that is stored, a message without field and value, a wrong exit code, a deletion
// unasked.
TEST_F(RuleToolTest, BadInputIsNamedAndChangesNothing)
{
    AddTwoRules();
    const std::string before = VxOut({"rule", "export"});
    const std::vector<VxUse> uses = {
        {{"rule", "add", "--name", "x", "--schedule", "mon 8:00-9:00"}, 2, "schedule, column 5"},
        {{"rule", "add", "--name", "x", "--event", "event"}, 2, "event [event]"},
        {{"rule", "add", "--name", "x", "--record", R"({"act_tims":5})"}, 2, "no field \"act_tims\""},
        {{"rule", "add", "--event", "motion"}, 2, "name: a rule needs one"},
        {{"rule", "edit", "1", "--record", R"({"act_times":"x"})"}, 2, "field \"act_times\""},
        {{"rule", "edit", "1", "--record", R"({"evt_id":3})"}, 2, "field \"evt_id\" follows from"},
        {{"rule", "edit", "1", "--camera", "5"}, 2, "--camera requires --event"},
        {{"rule", "edit", "7", "--name", "x"}, 1, "7: there is no such rule"},
        {{"rule", "rm", "1,x"}, 2, "[1,x]: ids joined by commas"},
        {{"rule", "rm", "", "--yes"}, 2, "[]: ids joined by commas"},
        {{"rule", "rm", "1"}, 4, "nobody to ask"},
        {{"rule", "explain", "1", "--at", "noon"}, 2, "time [noon]"},
        {{"rule", "import", Write("none.json", "{}")}, 2, "not a document that vx rule export writes"},
        {{"rule", "import", "/nonexistent"}, 3, "/nonexistent: cannot be read"},
        {{"rule", "import", "/"}, 3, "/: cannot be read: Is a directory"},
        {{"rule", "watch", "/"}, 3, "/: cannot be read: Is a directory"},
        {{"rule", "import",
          Write("odd.json", R"({"format":"vx-rules-1","rules":[{},{"events":[{"evt_idd":3}]}]})")},
         1,
         "rule 2: event 1: there is no field \"evt_idd\""},
        {{"rule", "import",
          Write("list.json", R"({"format":"vx-rules-1","rules":[{"password":"********"}]})")},
         1,
         "rule 1: field \"password\" is masked"},
        {{"rule", "export", "/proc/nowhere"}, 3, "/proc/nowhere.unfinished: cannot be written"},
        {{"rule", "import", Write("torn.json", "{\"rules\": [\n1,")}, 2, "not JSON: Line 2, Column 3: "},
        {{"history", "rm", "--yes"}, 2, "which lines"},
        {{"history", "rm", "--before", "9", "--older-than", "9", "--yes"},
         2,
         "--before excludes --older-than"},
        {{"history", "rm", "7", "--yes"}, 1, "7: there is no such line"},
    };
    for (const auto& [args, exitCode, message] : uses) {
        const VxResult result = ExpectVx(args, exitCode, message);
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_EQ(VxOut({"rule", "export"}), before);
    const std::string exported = Write("rules.json", before);
    ::setenv("VX_ROOT", "/proc/nowhere", 1);
    for (const std::vector<std::string>& args : {std::vector<std::string>{"rule", "list"},
                                                 {"rule", "add", "--name", "x"},
                                                 {"rule", "import", exported},
                                                 {"rule", "watch", "/dev/null"},
                                                 {"history", "list"},
                                                 {"history", "rm", "--all", "--yes"}}) {
        ExpectVx(args, 3, "/proc/nowhere/db");
    }
    ::setenv("VX_ROOT", m_root.Path().c_str(), 1);
    ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "ALTER TABLE actionrule_event RENAME TO aside"), 0);
    ExpectVx({"rule", "export"}, 3, "the rules cannot be read"); // not an empty set
    ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "ALTER TABLE aside RENAME TO actionrule_event"), 0);
    ExpectVx({"rule", "rm", "1,2", "--dry-run"});
    EXPECT_EQ(VxOut({"rule", "export"}), before);
}
