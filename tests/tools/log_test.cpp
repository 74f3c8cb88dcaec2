// SPDX-License-Identifier: Apache-2.0
// tests/tools/log_test.cpp - vx log, as an operator uses it.
#include <sstream>

#include "package/msgd.h"
#include "support/log_root.h"
#include "support/wait_for.h"
#include "tools/vx_process.h"
#include "vxlog.h"

namespace {

class VxLogTest : public ::testing::Test {
protected:
    LogRoot m_root{"4096", "99"};
};

// Catches: wrong input that is taken, or refused without saying what was wrong; a change that is not made.
TEST_F(VxLogTest, VerbsDoAsToldOrSayWhyNot)
{
    ExpectUses({
        {{"log", "show"}, 0, "every process writes everything"},
        {{"log", "tail"}, 3, "there is no log at "},
        {{"log", "set", "shmfifo", "off"}, 0, "shmfifo: threshold 0 (off)"},
        {{"log", "set", "nothing", "3"}, 2, "'nothing' is no category"},
        {{"log", "set", "512", "3"}, 2, "'512' is no category"},
        {{"log", "set", "sms", "8"}, 2, "'8' is no level"},
        {{"log", "set", "sms", "-1"}, 2, ""},
        {{"log", "set", "sms"}, 2, ""},
        {{"log", "set", "unknown", "3"}, 2, "'unknown' is no category"},
        {{"log", "set", "511", "Trace"}, 0, "511: threshold 6 (TRACE)"},
        {{"log", "filter", "1", "12x"}, 2, "'12x' is no process id"},
        {{"log", "filter", "0"}, 2, "'0' is no process id"},
        {{"log", "filter", "--clear", "1"}, 2, "--clear takes no process ids"},
        {{"log", "filter", "1", "1"}, 0, "apply to 1 process;"},
        {{"log", "show"}, 0, " 511          6  TRACE"},
        {{"log", "show", "--json"}, 0, "\"pids\" : \n  [\n    1\n  ]"},
        {{"log", "filter"}, 0, "Pid list cleared"},
        {{"log", "tail", "-l", "9"}, 2, "'9' is no level"},
        {{"log", "tail", "-c", "x"}, 2, "'x' is no category"},
        {{"log"}, 2, ""},
    });
    ReinitDbgLogCfg();
    ASSERT_NE(g_pDbgLogCfg, nullptr);
    EXPECT_FALSE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR));
    EXPECT_TRUE(
        VxLogWanted(LOG_CATEG_SMS, LOG_LEVEL_ALL)); // goes on being written, as without a configuration
    EXPECT_EQ(g_pDbgLogCfg->pidCount, 0);
    std::ofstream(m_root.CfgPath().string() + ".short") << "x";
    std::filesystem::rename(m_root.CfgPath().string() + ".short", m_root.CfgPath());
    ExpectVx({"log", "show"}, 3);
}

// Catches: a tail that shows nothing and does not say that nothing can come; a cause that is not named.
TEST_F(VxLogTest, TailSaysWhyNothingCanBeWritten)
{
    const std::filesystem::path folder = m_root.LogPath().parent_path();
    std::filesystem::remove_all(folder);
    std::ofstream(folder) << "a file in the folder's place\n";
    VxProcess tail({"log", "tail", "-f"});
    ExpectVx({"log", "tail"}, 3, "cannot be written: Not a directory");
    std::filesystem::remove(folder);
    std::filesystem::create_directories(m_root.LogPath()); // a folder in the file's place
    ExpectVx({"log", "tail"}, 0, "cannot be written: Is a directory");
    std::filesystem::remove(m_root.LogPath());
    VX_LOG(LOG_CATEG_SMS, LOG_LEVEL_ERR, "<back>\n");
    ReopenDbgLog();
    EXPECT_EQ(RunVx({"log", "tail"}).err, "");
    tail.Signal(SIGTERM);
    EXPECT_NE(tail.Finish().err.find("cannot be written"), std::string::npos);
}

// Catches: an answer that blames a listener for whatever went wrong.
TEST_F(VxLogTest, MsgTailNamesTheCause)
{
    const std::filesystem::path run = m_root.CfgPath().parent_path();
    std::filesystem::create_directories(run);
    const std::vector<std::string> tail = {"msg", "tail", "-n", "1"};
    VxProcess first({"msg", "tail"});
    EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(run / "msgd.sock"); }));
    EXPECT_TRUE(WaitFor([&] { // the name is there a little before its owner listens
        return SendUpdateMsgToMsgD(MSGD_KIND_BOOKMARK, {7}, UPDATE_TYPE_ADD, 0, "", {}) == 0 &&
               first.WaitForOutput("[7]");
    }));
    ExpectVx(tail, 4, "stop it first");
    first.End();
    std::filesystem::remove_all(run);
    std::ofstream(run) << "no folder\n";
    ExpectVx(tail, 3, "the folder is not there");
    std::filesystem::remove(run);
    const std::string root = ::getenv("VX_ROOT");
    ::setenv("VX_ROOT", (root + "/" + std::string(120, 'x')).c_str(), 1);
    ExpectVx(tail, 3, "at most 107");
    ::setenv("VX_ROOT", root.c_str(), 1);
}

// Catches: a tail that ends at the newest file, counts lines before it filters them, or turns them round.
TEST_F(VxLogTest, TailGivesTheLastLinesThatPass)
{
    for (int i = 0; i < 200; ++i) {
        VX_LOG(i % 2 == 0 ? LOG_CATEG_SHMFIFO : LOG_CATEG_SMS, i % 4 < 2 ? LOG_LEVEL_ERR : LOG_LEVEL_INFO,
               "<%d>\n", i);
    }
    const auto numbers = [](const std::vector<std::string>& args) {
        std::string all;
        std::istringstream out(RunVx(args).out);
        for (std::string line; std::getline(out, line);) {
            const auto begin = line.find('<');
            all += line.substr(begin, line.find('>') - begin + 1);
        }
        return all;
    };
    EXPECT_EQ(numbers({"log", "tail", "-n", "3"}), "<197><198><199>");
    EXPECT_EQ(numbers({"log", "tail", "-n", "2", "-c", "62"}), "<196><198>");
    EXPECT_EQ(numbers({"log", "tail", "-n", "3", "-l", "warn", "--json"}), "<193><196><197>");
    EXPECT_EQ(numbers({"log", "tail", "-n", "2", "-c", "shmfifo", "-l", "1"}), "<192><196>");
    const std::string all = numbers({"log", "tail", "-n", "1000"});
    EXPECT_EQ(std::count(all.begin(), all.end(), '<'), 200); // from all files
    EXPECT_TRUE(all.starts_with("<0><1>"));
    EXPECT_EQ(numbers({"log", "tail", "-n", "0"}), "");
}

// Catches: lines that a follower misses or shows twice when the log is rotated under it; a follower that
// cannot be stopped cleanly.
TEST_F(VxLogTest, FollowerSeesEveryLineThroughRotation)
{
    VxProcess tail({"log", "tail", "-f", "-n", "1000"}); // starts somewhere between the first lines
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "<%d>\n", i);
        expected += "<" + std::to_string(i) + ">";
        if (i % 200 == 10) {
            EXPECT_TRUE(tail.WaitForOutput("<" + std::to_string(i) + ">"));
        }
    }
    EXPECT_TRUE(tail.WaitForOutput("<999>"));
    const VxResult result = tail.End(SIGINT);
    EXPECT_EQ(result.err, "");
    std::string seen;
    std::istringstream out(result.out);
    for (std::string line; std::getline(out, line);) {
        seen += line.substr(line.find('<'));
    }
    EXPECT_EQ(seen, expected);
    EXPECT_TRUE(std::filesystem::exists(m_root.LogPath().string() + ".10"));
}

} // namespace
