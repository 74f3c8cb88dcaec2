// SPDX-License-Identifier: Apache-2.0
// tests/tools/log_keep_test.cpp - vx log add, keep, rotate and archive, run as their users run them.
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <fstream>

#include "package/db.h"
#include "package/json.h"
#include "support/temp_root.h"
#include "vx_process.h"

namespace {

class LogKeepTest : public ::testing::Test {
protected:
    LogKeepTest() { ::setenv("TZ", "UTC", 1); }
    ~LogKeepTest() override { ::unsetenv("TZ"); }

    static std::string Out(const std::vector<std::string>& args)
    {
        const VxResult result = RunVx(args);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out;
    }
    static Json::Value JsonOut(const std::vector<std::string>& args)
    {
        Json::Value json;
        std::string error;
        const std::string out = Out(args);
        EXPECT_TRUE(JsonRead(out, json, error)) << error << out;
        return json;
    }
    static void AddTwoEvents()
    {
        EXPECT_EQ(Out({"log", "add", "event", "--time", "2020-01-02 03:04:05", "--name", "Gate", "--category",
                       "1", "lost\tand <found> "}),
                  "1 entry added\n");
        EXPECT_EQ(Out({"log", "add", "event", "today"}), "1 entry added\n");
    }

    TempRoot m_root;
};

} // namespace

// Catches: a verb that removes before it is told to, a plan that is not what happens, an archive that nobody can
// find or read.
TEST_F(LogKeepTest, FromAnEntryToItsArchive)
{
    AddTwoEvents();
    EXPECT_FALSE(JsonOut({"log", "rotate", "event", "--plan", "--json"})[0]["enabled"].asBool());
    EXPECT_EQ(
        JsonOut({"log", "keep", "event", "--on", "--days", "30", "--count", "1000", "--json"})[0]["days"],
        30);
    for (const bool isPlan : {true, false}) {
        const Json::Value outcome =
            JsonOut({"log", "rotate", "event", isPlan ? "--plan" : "--once", "--json"})[0];
        EXPECT_EQ(outcome["rows"], 1) << isPlan;
        EXPECT_EQ(outcome.isMember("done"), !isPlan);
    }
    const Json::Value archives = JsonOut({"log", "archive", "ls", "--json"});
    ASSERT_EQ(archives.size(), 1U);
    const std::string path = archives[0]["path"].asString();
    const Json::Value entry =
        JsonOut({"log", "archive", "show", "--json", std::filesystem::path(path).stem()});
    EXPECT_EQ(entry["time"], "2020/01/02 03:04:05");
    EXPECT_EQ(entry["kind"], "Camera");
    EXPECT_EQ(entry["from"], "Local host");
    EXPECT_EQ(entry["text"], "Gate: lost\tand <found> ") << "with the blank at its end";
    EXPECT_NE(Out({"log", "archive", "show", "--format", "html", path}).find("lost\tand &lt;found&gt; </td>"),
              std::string::npos);
    EXPECT_EQ(JsonOut({"log", "rotate", "event", "--plan", "--json"})[0]["rows"], 0);
}

// Catches: a log that has no entry of its own, or an owner whose entries go with another's.
TEST_F(LogKeepTest, EveryLogTakesEntriesAndGivesThemUp)
{
    const Json::Value logs = JsonOut({"log", "keep", "--json"});
    ASSERT_EQ(logs.size(), 9U);
    for (const Json::Value& log : logs) {
        const std::string word = log["log"].asString();
        Out({"log", "keep", word, "--on", "--days", "10"});
        for (const char* const owner : {"3", "4"}) {
            Out({"log", "add", word, "text", "--time", "1000000000", "--owner", owner});
        }
        Out({"log", "add", word, "text", "--owner", "4"});
        const bool isOwned = word == "intercom" || word == "recorder-camera";
        EXPECT_EQ(JsonOut({"log", "rotate", word, "--plan", "--json"}).size(), isOwned ? 2U : 1U) << word;
        const Json::Value outcome = JsonOut({"log", "rotate", word, "--once", "--json"});
        EXPECT_EQ(outcome[0]["rows"], isOwned ? 1 : 2) << word;
        EXPECT_EQ(JsonOut({"log", "rotate", word, "--plan", "--json"})[0]["rows"], 0) << word;
    }
}

// Catches: a usage error or a failure that looks like success.
TEST_F(LogKeepTest, WrongUseAndFailuresSayWhatToDo)
{
    AddTwoEvents();
    struct Case {
        std::vector<std::string> args;
        int code;
        const char* message;
    };
    for (const Case& c : std::vector<Case>{
             {{"log", "keep", "nonsense"}, 2, "'nonsense' is no log; one of system, event"},
             {{"log", "keep", "--on"}, 2, "which log"},
             {{"log", "keep", "event", "--count", "0"}, 2, "--count 0: a number of 1 or more, or off"},
             {{"log", "keep", "event", "--archive-dir", "here"}, 2, "archive folder: a path from the root"},
             {{"log", "add", "event"}, 2, "either TEXT or --stdin"},
             {{"log", "archive", "show", "none"}, 1, "no archive [none]; see vx log archive ls"},
             {{"log", "archive", "show", "/dev/null"}, 3, "/dev/null cannot be read"},
             {{"log", "archive", "ls", "--dir", "/nowhere"}, 3, "/nowhere: No such file or directory"}}) {
        const VxResult result = RunVx(c.args);
        EXPECT_EQ(result.exitCode, c.code) << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
    }
    Out({"log", "keep", "event", "--on", "--archive-dir", "/nowhere"});
    const VxResult result = RunVx({"log", "rotate", "event", "--once"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("not everything could be archived or removed; vx log tail says why"),
              std::string::npos);
}

// Catches: one log with broken settings, for whose sake all the others grow.
TEST_F(LogKeepTest, OneLogThatCannotBeReadKeepsNoOtherFromBeingTrimmed)
{
    AddTwoEvents();
    Out({"log", "add", "message", "old", "--time", "1000"});
    for (const char* const log : {"event", "message"}) {
        Out({"log", "keep", log, "--on"});
    }
    ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "UPDATE log_rotate_setting SET days = 0 WHERE log = 1;"), 0);
    for (const char* const how : {"--plan", "--once"}) {
        const VxResult result = RunVx({"log", "rotate", how});
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_NE(result.out.find("cannot be read; vx log tail says why"), std::string::npos) << result.out;
        EXPECT_NE(result.err.find("vx log keep sets them anew"), std::string::npos) << result.err;
    }
    EXPECT_EQ(JsonOut({"log", "rotate", "message", "--plan", "--json"})[0]["rows"], 0);
    Out({"log", "keep", "event", "--on", "--days", "2"});
    EXPECT_NE(Out({"log", "rotate", "--once"}).find("gone"), std::string::npos);
}

// Catches: a rotation that goes on for ever and does not end cleanly, or stops at its first failure.
TEST_F(LogKeepTest, GoesOnUntilItIsStopped)
{
    AddTwoEvents();
    Out({"log", "keep", "event", "--on", "--archive-dir", "/nowhere"});
    VxProcess rotating({"log", "rotate", "event", "--every", "1"});
    EXPECT_TRUE(rotating.WaitForOutput("failed; vx log tail says why"));
    EXPECT_TRUE(rotating.WaitForOutput(" 0  ")) << "the next rotation finds nothing left";
    rotating.Signal(SIGTERM);
    EXPECT_EQ(rotating.Finish().exitCode, 0);
}
