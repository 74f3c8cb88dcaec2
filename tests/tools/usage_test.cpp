// SPDX-License-Identifier: Apache-2.0
// tests/tools/usage_test.cpp - vx as somebody calls it who does not know it yet, or may not do what is asked.
#include "support/temp_root.h"
#include "vx_process.h"

// Catches: an answer that does not say what was wrong, where, and what there is instead; a number outside of an
// option's range that is taken.
TEST(UsageTest, WhatIsWrongIsSaidWithWhatThereIsInstead)
{
    const TempRoot root;
    ExpectUses({
        {{}, 2, "vx: what? one of "},
        {{"nonsense"}, 2, "vx: 'nonsense' is not known here; one of "},
        {{"db"}, 2, "vx db: what? one of info, check, vacuum; see vx db --help\n"},
        {{"log", "archive", "x"}, 2, "vx log archive: 'x' is not known here; one of ls, show; see"},
        {{"fifo", "stat"}, 2, "vx fifo stat: KEY is required; see vx fifo stat --help\n"},
        {{"rule", "show", "x"}, 2, "vx rule show: ID = x: a number is expected"},
        {{"event", "ls", "--limit", "-1"}, 2, "vx event ls: --limit: '-1': a number from 0 on is expected;"},
        {{"log", "keep", "event", "--days", "0"},
         2,
         "vx log keep: --days: '0': a number above 0 is expected;"},
        {{"camera", "add", ""}, 2, "vx camera add: NAME: a camera needs one\n"},
        {{"task", "add", "lapse", ""}, 2, "vx task add: NAME: a task needs one\n"},
        {{"task", "list", "other"}, 2, "vx task list: KIND: other not in {archive,lapse,iva,face}; see"},
        {{"rule", "watch", "/dev/zero"}, 2, "vx rule watch: /dev/zero: does not end within 1 MiB;"},
        // a script's variable that was never set is no limit of 0, and a leading zero no octal number
        {{"camera", "add", "x", "--days", ""}, 2, "vx camera add: --days: '': a number is expected; see"},
        {{"camera", "add", "x", "--days="}, 2, "vx camera add: --days: a value is missing; see"},
        {{"fifo", "top", "-s", "nan"}, 2, "vx fifo top: --seconds: 'nan': a number is expected; see"},
        {{"camera", "add", "x", "--days", "030"}, 0, "30 days"},
    });
}

// Catches: output that no JSON parser takes, since a name holds other bytes.
TEST(UsageTest, JsonIsUtf8WhateverTheNameHolds)
{
    const TempRoot root;
    const std::string kept = "\x7f\xC3\xBC\xF0\x9F\x9A\xAA";
    const std::string broken = kept + "\xC3|\xFF|\xED\xA0\x80|\xC0\xAF|\xF4\x90\x80\x80|\xE2\x82";
    std::string name = kept + "?|?|???|??|????|??";
    for (std::size_t at = 0; (at = name.find('?', at)) != name.npos;) {
        name.replace(at, 1, "\xEF\xBF\xBD");
    }
    EXPECT_EQ(VxJson({"camera", "add", broken})["name"].asString(), name);
}

// Catches: an empty list for what cannot be read, an answer of many lines, a file that is made somewhere else.
TEST(UsageTest, WhatIsOutOfReachIsNotEmpty)
{
    TempRoot root;
    ::setenv("VX_ROOT", "/proc/nowhere", 1);
    const std::vector<std::string> verbs[] = {
        {"camera", "list"}, {"event", "ls"},     {"history", "list"},         {"log", "rotate", "--once"},
        {"log", "keep"},    {"rotate", "plan"},  {"rotate", "run", "--once"}, {"rule", "list"},
        {"task", "list"},   {"webhook", "list"},
    };
    ExpectVx({"log", "archive", "ls"}, 3, "vx log archive ls: /proc/nowhere/db: No such file or directory; ");
    for (const std::vector<std::string>& verb : verbs) {
        const std::string said =
            "vx " + verb[0] + " " + verb[1] + ": /proc/nowhere/db: No such file or directory; ";
        EXPECT_EQ(ExpectVx(verb, 3, said).out, "");
    }
    EXPECT_FALSE(std::filesystem::exists("/rotate.lock"));
    ::setenv("VX_ROOT", root.Path().c_str(), 1);
}

// Catches: databases that look as if they were never made, or lost, to a user who may not enter their folder.
TEST(UsageTest, AnotherUserIsToldThatItMayNotLook)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const TempRoot root;
    ASSERT_EQ(RunVx({"camera", "list"}).exitCode, 0);
    std::filesystem::permissions(root.Path(), std::filesystem::perms(0755));
    for (const char* const verb : {"db info", "db check", "event ls"}) {
        const std::string command =
            std::string("setpriv --reuid=65534 --clear-groups timeout 20 " VX_PROGRAM " ") + verb +
            " 2>&1 | grep -q ': Permission denied; '";
        EXPECT_EQ(std::system(command.c_str()), 0) << verb;
    }
}
