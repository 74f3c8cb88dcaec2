// SPDX-License-Identifier: Apache-2.0
// tests/tools/log_keep_test.cpp - vx log add, keep, rotate and archive, run as their users run them.
#include <sys/file.h>

#include "package/db.h"
#include "package/root.h"
#include "support/temp_root.h"
#include "support/wait_for.h"
#include "vx_process.h"

namespace {

class LogKeepTest : public ::testing::Test {
protected:
    LogKeepTest() { ::setenv("TZ", "UTC", 1); }
    ~LogKeepTest() override { ::unsetenv("TZ"); }

    static void AddTwoEvents()
    {
        EXPECT_EQ(VxOut({"log", "add", "event", "--time", "2020-01-02 03:04:05", "--name", "Gate",
                         "--category", "1", "lost\tand <found> "}),
                  "1 entry added\n");
        EXPECT_EQ(VxOut({"log", "add", "event", "today"}), "1 entry added\n");
    }

    TempRoot m_root;
};

} // namespace

// Catches: a verb that removes before it is told to, a plan that is not what happens, an archive that nobody can
// find or read.
TEST_F(LogKeepTest, FromAnEntryToItsArchive)
{
    AddTwoEvents();
    EXPECT_FALSE(VxJson({"log", "rotate", "event", "--plan"})[0]["enabled"].asBool());
    EXPECT_EQ(VxJson({"log", "keep", "event", "--on", "--days", "30", "--count", "1000"})[0]["days"], 30);
    for (const bool isPlan : {true, false}) {
        const Json::Value outcome = VxJson({"log", "rotate", "event", isPlan ? "--plan" : "--once"})[0];
        EXPECT_EQ(outcome["rows"], 1) << isPlan;
        EXPECT_EQ(outcome.isMember("done"), !isPlan);
    }
    const Json::Value archives = VxJson({"log", "archive", "ls"});
    ASSERT_EQ(archives.size(), 1U);
    const std::string path = archives[0]["path"].asString();
    const Json::Value entry = VxJson({"log", "archive", "show", std::filesystem::path(path).stem()});
    EXPECT_EQ(entry["time"], "2020/01/02 03:04:05");
    EXPECT_EQ(entry["kind"], "Camera");
    EXPECT_EQ(entry["from"], "Local host");
    EXPECT_EQ(entry["text"], "Gate: lost\tand <found> ") << "with the blank at its end";
    EXPECT_NE(
        VxOut({"log", "archive", "show", "--format", "html", path}).find("lost\tand &lt;found&gt; </td>"),
        std::string::npos);
    EXPECT_EQ(VxJson({"log", "rotate", "event", "--plan"})[0]["rows"], 0);
}

// Catches: a log that has no entry of its own, or an owner whose entries go with another's.
TEST_F(LogKeepTest, EveryLogTakesEntriesAndGivesThemUp)
{
    const Json::Value logs = VxJson({"log", "keep"});
    ASSERT_EQ(logs.size(), 9U);
    for (const Json::Value& log : logs) {
        const std::string word = log["log"].asString();
        VxOut({"log", "keep", word, "--on", "--days", "10"});
        for (const char* const owner : {"3", "4"}) {
            VxOut({"log", "add", word, "text", "--time", "1000000000", "--owner", owner});
        }
        VxOut({"log", "add", word, "text", "--owner", "4"});
        const bool isOwned = word == "intercom" || word == "recorder-camera";
        EXPECT_EQ(VxJson({"log", "rotate", word, "--plan"}).size(), isOwned ? 2U : 1U) << word;
        const Json::Value outcome = VxJson({"log", "rotate", word, "--once"});
        EXPECT_EQ(outcome[0]["rows"], isOwned ? 1 : 2) << word;
        EXPECT_EQ(VxJson({"log", "rotate", word, "--plan"})[0]["rows"], 0) << word;
    }
}

// Catches: a usage error or a failure that looks like success.
TEST_F(LogKeepTest, WrongUseAndFailuresSayWhatToDo)
{
    AddTwoEvents();
    ExpectUses(
        {{{"log", "keep", "nonsense"}, 2, "'nonsense' is no log; one of system, event"},
         {{"log", "keep", "--on"}, 2, "which log"},
         {{"log", "keep", "event", "--count", "0"}, 2, "--count 0: a number of 1 or more, or off"},
         {{"log", "keep", "event", "--count", ""}, 2, "--count '': a number of 1 or more, or off"},
         {{"log", "keep", "event", "--archive-dir", ""}, 2, "--archive-dir '': a folder, or default"},
         {{"log", "keep", "event", "--archive-dir", "here"}, 2, "archive folder: a path from the root"},
         {{"log", "add", "event"}, 2, "either TEXT or --stdin"},
         {{"log", "archive", "show", "none"}, 1, "no archive [none]; see vx log archive ls"},
         {{"log", "archive", "show", "/dev/null"}, 3, "/dev/null cannot be read"},
         {{"log", "archive", "ls", "--dir", "/nowhere"}, 3, "/nowhere: No such file or directory"}});
    VxOut({"log", "keep", "event", "--on", "--archive-dir", "/nowhere"});
    ExpectVx({"log", "rotate", "event", "--once"}, 1,
             "not everything could be archived or removed; vx log tail says why");
}

// Catches: one log with broken settings, for whose sake all the others grow.
TEST_F(LogKeepTest, OneLogThatCannotBeReadKeepsNoOtherFromBeingTrimmed)
{
    AddTwoEvents();
    VxOut({"log", "add", "message", "old", "--time", "1000"});
    for (const char* const log : {"event", "message"}) {
        VxOut({"log", "keep", log, "--on"});
    }
    ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "UPDATE log_rotate_setting SET days = 0 WHERE log = 1;"), 0);
    for (const char* const how : {"--plan", "--once"}) {
        ExpectVx({"log", "rotate", how}, 3, "vx log keep sets them anew");
        ExpectVx({"log", "rotate", how}, 3, "cannot be read; vx log tail says why");
    }
    EXPECT_EQ(VxJson({"log", "rotate", "message", "--plan"})[0]["rows"], 0);
    VxOut({"log", "keep", "event", "--on", "--days", "2"});
    EXPECT_NE(VxOut({"log", "rotate", "--once"}).find("gone"), std::string::npos);
}

// Catches: a rotation that goes on for ever and does not end cleanly, or stops at its first failure.
TEST_F(LogKeepTest, GoesOnUntilItIsStopped)
{
    AddTwoEvents();
    VxOut({"log", "keep", "event", "--on", "--archive-dir", "/nowhere"});
    VxProcess rotating({"log", "rotate", "event", "--every", "1"});
    EXPECT_TRUE(rotating.WaitForOutput("failed; vx log tail says why"));
    EXPECT_TRUE(rotating.WaitForOutput(" 0  ")) << "the next rotation finds nothing left";
    rotating.End();
}

// Catches: a stop that is heeded when all logs are done, loses what was in hand, or looks like a rotation that was whole.
TEST_F(LogKeepTest, ToldToStopItEndsBehindTheLogInHand)
{
    AddTwoEvents();
    VxOut({"log", "add", "message", "old", "--time", "1000"});
    for (const char* const log : {"event", "message"}) {
        VxOut({"log", "keep", log, "--on"});
    }
    const std::string dir = GetPackageDir(PackageDir::ARCHIVE);
    const int other = ::open((dir + "/.vigeventlog.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    VxProcess rotating({"log", "rotate", "event", "message", "--once", "--json"});
    EXPECT_TRUE(WaitFor([&] { return IsWaitingForALock(rotating.Pid()); }));
    rotating.Signal(SIGTERM);
    ::close(other);
    const VxResult result = rotating.Finish(20000, 1);
    EXPECT_NE(result.err.find("told to stop"), std::string::npos) << result.err;
    const Json::Value outcomes = ParseJson(result.out);
    EXPECT_TRUE(outcomes[0]["done"].asBool() && outcomes[1]["stopped"].asBool()) << result.out;
    EXPECT_EQ(VxJson({"log", "archive", "ls"}).size(), 1U);
    EXPECT_EQ(VxJson({"log", "rotate", "message", "--once"})[0]["rows"], 1);
}
