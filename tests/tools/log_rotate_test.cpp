// SPDX-License-Identifier: Apache-2.0
// tests/tools/log_rotate_test.cpp - logs that are written, kept, trimmed and read again by vx log.
#include <gtest/gtest.h>

#include "package/db.h"
#include "package/logrotatesettings.h"
#include "support/temp_root.h"
#include "tools/vx_process.h"

namespace {

struct VerbCase {
    std::vector<std::string> args;
    int exitCode;
    const char* printed; // somewhere in what is printed, on either stream
};

class VxLogRotateTest : public ::testing::Test {
protected:
    static void Check(const std::vector<VerbCase>& cases)
    {
        for (const VerbCase& verb : cases) {
            const VxResult result = RunVx(verb.args);
            const std::string printed = result.out + result.err;
            EXPECT_EQ(result.exitCode, verb.exitCode) << printed;
            EXPECT_NE(printed.find(verb.printed), std::string::npos) << verb.args[1] << "\n" << printed;
        }
    }

    TempRoot m_root;
};

// Catches: an entry that another comes back as, a plan that changes something, limits that are not taken.
TEST_F(VxLogRotateTest, EntriesGoIntoAnArchiveThatCanBeRead)
{
    Check({
        {{"log", "add", "event", "lost\tpower \\ ", "--time", "1000", "--name", "Gate"}, 0, "1 entry added"},
        {{"log", "add", "event"}, 2, "either TEXT or --stdin"},
        {{"log", "add", "nothing", "text"}, 2, "'nothing' is no log"},
        {{"log", "rotate", "--once"}, 0, "kept for ever"},
        {{"log", "keep", "event", "--on", "--days", "2", "--count", "off", "--size-mb", "5"}, 0, "yes"},
        {{"log", "keep", "event", "--count", "-1"}, 2, "a number of 1 or more, or off"},
        {{"log", "keep", "--days", "3"}, 2, "which log: one of system, event"},
        {{"log", "rotate", "event", "--plan", "--json"}, 0, "\"rows\" : 1"},
        {{"log", "archive", "ls"}, 0, "ARCHIVE"},
        {{"log", "rotate", "event", "--once", "--json"}, 0, "\"done\" : true"},
        {{"log", "rotate", "event", "--plan", "--json"}, 0, "\"rows\" : 0"},
        {{"log", "archive", "show", "nothing"}, 1, "no archive [nothing]"},
    });
    const VxResult list = RunVx({"log", "archive", "ls"});
    const std::size_t start = list.out.find("vigeventlog_");
    ASSERT_NE(start, std::string::npos) << list.out;
    const std::string name = list.out.substr(start, list.out.find(".tgz", start) - start);
    Check({
        {{"log", "archive", "show", name}, 0, "\tGate: lost\\tpower \\\\ \n"},
        {{"log", "archive", "show", name, "--json"}, 0, R"("kind":"System","text":"Gate: lost\tpower \\ ")"},
        {{"log", "archive", "show", name, "--format", "html"}, 0, "<td>lost\tpower \\ </td>\n</tr>"},
        {{"log", "archive", "show", name, "--format", "xlsx"}, 1, "has no .xlsx file"},
    });
}

// Catches: one log with broken settings, for whose sake all the others grow.
TEST_F(VxLogRotateTest, OneLogThatCannotBeReadKeepsNoOtherFromBeingTrimmed)
{
    VxLogRotateSettings settings;
    settings.enabled = true;
    ASSERT_EQ(settings.Save(VX_ROTATED_LOG_EVENT), 0);
    ASSERT_EQ(settings.Save(VX_ROTATED_LOG_MESSAGE), 0);
    ASSERT_EQ(VxDB::Execute(VxDB::DB_SYSTEM, "UPDATE log_rotate_setting SET days = 0 WHERE log = 1;"), 0);
    Check({
        {{"log", "add", "message", "old", "--time", "1000"}, 0, "1 entry added"},
        {{"log", "rotate", "--plan"}, 3, "cannot be read"},
        {{"log", "rotate", "--once"}, 3, "vx log keep sets them anew"},
        {{"log", "rotate", "message", "--plan", "--json"}, 0, "\"rows\" : 0"},
        {{"log", "keep", "event", "--on", "--days", "2"}, 0, "yes"},
        {{"log", "rotate", "--once"}, 0, "gone"},
    });
}

} // namespace
