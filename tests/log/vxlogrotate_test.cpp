// SPDX-License-Identifier: Apache-2.0
// tests/log/vxlogrotate_test.cpp - bounds, statements and the run of every log's rotater, on the real tables.
#include "vxlogrotate.h"

#include <climits>
#include <cstring>

#include "log_fixture.h"
#include "package/msgd.h"
#include "support/sql_watch.h"
#include "vxlogevent.h"

namespace {

class LogRotateTest : public LogFixture {};

} // namespace

// Catches: a product that passes 32 bits, a negative share, a limit that is off and counts.
TEST_F(LogRotateTest, OffsetIsTheLargerShareOfTheTwoLimits)
{
    const struct {
        long long cnt;
        long long sizeMB;
        int sizeLimitMB; ///< 0: off
        int countLimit;  ///< 0: off
        long long offset;
    } cases[] = {{1000, 200, 150, 0, 250},
                 {1000, 0, 150, 0, 0},
                 {1000, 200, 0, 999, 1},
                 {10'000'000, 4096, 1, 0, 9'997'558},
                 {INT_MAX, INT_MAX, 1, 0, 2147483646},
                 {LLONG_MAX, LLONG_MAX, 1, 1, 2147483646},
                 {-5, -5, 1, 1, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(GetLimitOffset(Settings(1, c.sizeLimitMB, c.countLimit), c.cnt, c.sizeMB), c.offset)
            << c.cnt << " " << c.sizeMB << " " << c.sizeLimitMB << " " << c.countLimit;
    }
    // The model: the fewest rows of equal size whose removal brings the rest to the limits.
    for (int cnt = 0; cnt <= 40; ++cnt) {
        for (int sizeMB = 1; sizeMB <= 12; ++sizeMB) {
            for (int limit = 1; limit <= 13; ++limit) {
                for (int countLimit = 1; countLimit <= 41; countLimit += 8) {
                    long long offset = 0;
                    while ((offset + 1) * sizeMB <= static_cast<long long>(cnt) * (sizeMB - limit)) {
                        ++offset;
                    }
                    offset = std::max<long long>(offset, cnt - countLimit);
                    EXPECT_EQ(GetLimitOffset(Settings(1, limit, countLimit), cnt, sizeMB), offset);
                }
            }
        }
    }
}

// Catches: a bound that wraps round, by days beyond any calendar or a clock that was set wrongly.
TEST_F(LogRotateTest, DaysGiveTheBoundAtEveryClock)
{
    const std::tuple<std::time_t, int, int> cases[] = {
        {NOW, 30, NOW - 2592000}, {NOW, 1, NOW - 86400}, {NOW, 100000, INT_MIN},
        {NOW, INT_MAX, INT_MIN},  {0, 1, -86400},        {INT_MAX, 1, INT_MAX - 86400}};
    for (const auto& [now, days, bound] : cases) {
        g_fakeWallSec = now;
        Keep(VX_ROTATED_LOG_MESSAGE, Settings(days));
        VxMessageRotater rotater;
        ASSERT_EQ(rotater.LoadSettings(), 0);
        EXPECT_EQ(rotater.GetTimeUPB(), bound) << days;
    }
    m_log.Expect({"TimeUPB by days: [1797408000].\n"}, "log/vxlogrotate");
    g_fakeWallSec = NOW; // 2027-01-15 08:00 UTC
    Keep(VX_ROTATED_LOG_BOOKMARK, Settings(30));
    VxBookmarkRotater bookmarks;
    ASSERT_EQ(bookmarks.LoadSettings(), 0);
    EXPECT_EQ(bookmarks.GetTimeUPB(), NOW - 2592000 - 8 * 3600) << "bookmarks go by whole days";
}

/// What the statements of a log are made of.
struct SqlCase {
    VX_ROTATED_LOG log;
    std::string table;
    std::string size;  ///< of a row
    std::string whose; ///< rows, when not all are the rotater's
};

/// An owner's row, so that owned logs have a rotater.
void AddOwners()
{
    ExecuteOnLogs("INSERT INTO intercom_log (intercom_id, timestamp) VALUES (3, 1);"
                  "INSERT INTO orvocam_log (camera_id, timestamp) VALUES (7, 1);");
}

// Catches: a statement that is not the agreed one, does not run on its table, or reads all rows to find the old
// ones.
TEST_F(LogRotateTest, StatementsAreTheAgreedOnesAndUseAnIndex)
{
    AddOwners();
    const std::vector<SqlCase> cases{
        {VX_ROTATED_LOG_SYSTEM, "log", "length(args)", ""},
        {VX_ROTATED_LOG_EVENT, "log_event", "length(description)", ""},
        {VX_ROTATED_LOG_IO_MODULE, "iomodule_log", "length(event) + length(description)", ""},
        {VX_ROTATED_LOG_MESSAGE, "message", "length(content)", ""},
        {VX_ROTATED_LOG_RULE_HISTORY, "actionrule_history", "length(rule_name)", ""},
        {VX_ROTATED_LOG_BOOKMARK, "bookmark", "length(comment)", "locked = 0"},
        {VX_ROTATED_LOG_INTERCOM, "intercom_log", "length(description)", "intercom_id = 3"},
        {VX_ROTATED_LOG_ORVOCAM, "orvocam_log", "length(description)", "camera_id = 7"},
        {VX_ROTATED_LOG_DETECTION, "detection_event", "size_bytes", ""},
    };
    EXPECT_EQ(cases.size(), static_cast<std::size_t>(VX_ROTATED_LOG_COUNT));
    for (const SqlCase& c : cases) {
        std::vector<std::unique_ptr<VxLogRotaterBase>> rotaters;
        ASSERT_EQ(MakeLogRotaters(c.log, rotaters), 0);
        ASSERT_EQ(rotaters.size(), 1U);
        const VxLogRotaterBase& rotater = *rotaters.front();
        const std::string where = c.whose.empty() ? "" : " WHERE " + c.whose;
        const std::string rotate =
            c.log == VX_ROTATED_LOG_DETECTION
                ? "DELETE FROM detection_event WHERE id IN (SELECT id FROM detection_event WHERE timestamp < "
                  "9 "
                  "ORDER BY timestamp LIMIT 1000);"
                : "DELETE FROM " + c.table + (where.empty() ? " WHERE " : where + " AND ") + "timestamp < 9;";
        const std::string count =
            "SELECT COUNT(1) as cnt, SUM(" + c.size + ")/1024/1024 as sizeMB FROM " + c.table + where + ";";
        const std::string offset = "SELECT timestamp FROM " + c.table + where + " ORDER BY timestamp" +
                                   (c.log == VX_ROTATED_LOG_DETECTION ? ", id" : "") + " LIMIT 1 OFFSET 4;";
        EXPECT_EQ(rotater.GetRotateSqlStr(9), rotate);
        EXPECT_EQ(rotater.GetCountLimitSqlStr(), count);
        EXPECT_EQ(rotater.GetSelectOffsetSqlStr(4), offset);
        for (const std::string& sql : {rotate, count, offset}) {
            EXPECT_EQ(VxDB::Execute(VxDB::DB_LOG, sql), 0);
            const std::string plan = Sql("EXPLAIN QUERY PLAN " + sql, VxDB::DB_LOG);
            EXPECT_TRUE(sql == count || plan.find(c.table + "_timestamp") != plan.npos) << sql << "\n"
                                                                                        << plan;
            EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << sql << "\n" << plan;
        }
    }
}

// Catches: a bound by limits that keeps a row too many or too few, or hides how it came about.
TEST_F(LogRotateTest, LimitsGiveTheTimeOfTheOldestRowThatStays)
{
    FillLog("message", 10, ",content", ",hex(zeroblob(524288))"); // 1 MB each
    Keep(VX_ROTATED_LOG_MESSAGE, Settings(30, 6, 0));
    VxMessageRotater rotater;
    ASSERT_EQ(rotater.LoadSettings(), 0);
    EXPECT_EQ(rotater.GetTimeUPBByLimits(), 5);
    EXPECT_EQ(m_log.TakeText("log/vxlogrotate"),
              "log/vxlogrotate GetTimeUPBByLimits: TotalCnt: [10], MsgSizeMB: [10], Offset: [4], "
              "TimeUPB[timestamp]: [5].\n");
    EXPECT_EQ(rotater.GetTimeUPB(), NOW - 2592000) << "the later of the two";
}

// Catches: a rotation that goes by another bound than it logs, goes on without settings, touches a log that is
// switched off, or another one's rows.
TEST_F(LogRotateTest, RunTrimsOneLogAsItsSettingsSay)
{
    FillLog("message", 10);
    FillLog("iomodule_log", 10);
    VxMessageRotater rotater;
    EXPECT_EQ(rotater.Run(), 0);
    EXPECT_EQ(m_log.TakeText("log/vxlogrotate"),
              "log/vxlogrotate Run: [message] rotate config => {\"archiveDir\":\"\",\"countLimit\":10000,"
              "\"countLimitEnabled\":false,\"days\":90,\"enabled\":false,\"sizeLimitEnabled\":false,"
              "\"sizeLimitMB\":100}.\nlog/vxlogrotate Run: [message] skip rotate.\n");
    g_fakeWallSec = 86400 + 5;
    Keep(VX_ROTATED_LOG_MESSAGE, Settings(1, 0, 7));
    EXPECT_EQ(rotater.Run(), 0);
    const std::string lines = m_log.TakeText("log/vxlogrotate");
    EXPECT_NE(lines.find("Start to rotate [message] with time limit [5].\n"), std::string::npos) << lines;
    EXPECT_EQ(ExecuteOnLogs("SELECT group_concat(timestamp) FROM message"), "5,6,7,8,9,10");
    EXPECT_EQ(ExecuteOnLogs("SELECT COUNT(*) FROM iomodule_log"), "10");
    for (const char* const broken :
         {"days = 0", "days = -30", "days = 'many'", "count_limit = 99999999999"}) {
        Sql(std::string("UPDATE log_rotate_setting SET ") + broken);
        EXPECT_EQ(rotater.Run(), -1) << broken;
        EXPECT_EQ(m_log.TakeText("log/vxlogrotate"),
                  "log/vxlogrotate LoadSettings: Failed to load [message] rotate config.\n");
    }
    EXPECT_EQ(ExecuteOnLogs("SELECT COUNT(*) FROM message"), "6");
}

// Catches: a member of the family that does what all do where it has a way of its own, or the other way round; a virtual
// function that moved, which a separately built caller would call for another.
TEST_F(LogRotateTest, EachLogHasItsOwnWayWhereItIsToHaveOne)
{
    AddOwners();
    const auto slotsOf = [](const VxLogRotaterBase& rotater) {
        void* const* slots = nullptr;
        std::memcpy(&slots, static_cast<const void*>(&rotater), sizeof slots);
        return slots;
    };
    const VxMessageRotater base;
    constexpr std::string_view SLOTS =
        "--URANDLrco"; // bound, Rotate, Archive, Notify, Days, Limits, three statements
    const char* const own[] = {"RA", "A", "Ac", "", "", "NDrco", "rco", "Drco", "RLrco"};
    static_assert(std::size(own) == VX_ROTATED_LOG_COUNT);
    const auto rotateSql = reinterpret_cast<std::string (*)(const void*, int)>(slotsOf(base)[8]);
    EXPECT_EQ(rotateSql(&base, 9), base.GetRotateSqlStr(9)) << "which no log replaces without the offset's";
    for (int log = 0; log < VX_ROTATED_LOG_COUNT; ++log) {
        std::vector<std::unique_ptr<VxLogRotaterBase>> rotaters;
        ASSERT_EQ(MakeLogRotaters(static_cast<VX_ROTATED_LOG>(log), rotaters), 0);
        std::string replaced;
        for (std::size_t i = 2; i < SLOTS.size(); ++i) {
            if (slotsOf(*rotaters.front())[i] != slotsOf(base)[i]) {
                replaced += SLOTS[i];
            }
        }
        EXPECT_EQ(replaced, own[log]) << rotaters.front()->Table().name;
    }
}

// Catches: archives in the root folder, because the package's own cannot be made.
TEST(LogArchiveDirTest, FolderThatCannotBeMadeIsNamed)
{
    ::setenv("VX_ROOT", "/dev/null/vx", 1);
    EXPECT_EQ(VxLogRotateSettings().GetArchiveDir(), "/dev/null/vx/archive");
    ::unsetenv("VX_ROOT");
}

// Catches: a bound by an average that keeps too much of large pictures, a deletion of one batch only, or one that
// nothing stops; a row of the limit's own size that goes.
TEST_F(LogRotateTest, DetectionsGoBySizeInBatches)
{
    FillLog("detection_event", 3500, ",size_bytes",
            ",iif(i < 3001, 1024, 1048576)"); // 500 of 1 MB at the end
    Keep(VX_ROTATED_LOG_DETECTION, Settings(36500, 400));
    DetectionEvent::Rotater rotater;
    EXPECT_EQ(rotater.LoadSettings(), 0);
    EXPECT_EQ(rotater.GetTimeUPB(), 3101) << "the newest 400 stay";
    EXPECT_EQ(rotater.CountRotated(3101), 3100);
    volatile int runFlag = 1;
    rotater.SetRunFlag(runFlag);
    g_sqlWatch.after = [&runFlag](const std::string&, const std::string& sql) {
        runFlag = sql.starts_with("DELETE") ? 0 : 1;
    };
    EXPECT_EQ(rotater.Run(), 0);
    g_sqlWatch = {};
    EXPECT_EQ(rotater.CountRotated(3101), 2100) << "one batch, then it heeds the flag";
    runFlag = 1;
    EXPECT_EQ(rotater.Run(), 0);
    EXPECT_EQ(ExecuteOnLogs("SELECT COUNT(*) || ' ' || MIN(timestamp) FROM detection_event"), "400 3101");
    EXPECT_EQ(rotater.GetTimeUPBByLimits(), 0) << "400 MB are within 400 MB";
    Keep(VX_ROTATED_LOG_DETECTION, Settings(36500, 400, 150));
    EXPECT_EQ(rotater.Run(), 0);
    EXPECT_EQ(ExecuteOnLogs("SELECT COUNT(*) FROM detection_event"), "150");
}

// Catches: bookmarks that go in silence, beyond the first thousand too, that go although they are
// locked, or that are announced and stay.
TEST_F(LogRotateTest, BookmarksAreAnnouncedAndLockedOnesStay)
{
    constexpr int BOOKMARKS = 20000; // more than one message and one block of rows hold
    MsgDListener daemon;
    ASSERT_EQ(daemon.Open(), 0);
    FillLog("bookmark", BOOKMARKS, ",event_id,locked", ",i,i = 2");
    Keep(VX_ROTATED_LOG_BOOKMARK, Settings(1));
    g_fakeWallSec = 86400 * 3; // bound: 172800, a whole day
    VxBookmarkRotater rotater;
    EXPECT_EQ(rotater.Run(), 0);
    std::string message;
    std::string ids;
    while (daemon.Receive(message) == 0) {
        const std::size_t start = message.find("\"ids\":[") + 7;
        const std::size_t end = message.find("],\"kind\":31,", start);
        ASSERT_NE(end, std::string::npos) << message;
        ids += message.substr(start, end - start) + ",";
    }
    std::string expected = "1,";
    for (int i = 3; i <= BOOKMARKS; ++i) {
        expected += std::to_string(i) + ",";
    }
    EXPECT_EQ(ids, expected);
    EXPECT_EQ(ExecuteOnLogs("SELECT group_concat(id) FROM bookmark"), "2");
    EXPECT_EQ(ExecuteOnLogs("SELECT args FROM log"), R"(["bookmark","19999","{}"])");
    EXPECT_EQ(rotater.Run(), 0);
    EXPECT_EQ(daemon.Receive(message), -1) << "nothing goes, so there is nothing to tell";
}

// Catches: a statement that fails and is taken for a log within its limits, or for a rotation that was done.
TEST_F(LogRotateTest, ADatabaseThatCannotBeReadIsNoSuccess)
{
    Keep(VX_ROTATED_LOG_EVENT, Settings(1, 1, 1));
    ExecuteOnLogs("DROP TABLE log_event;");
    VxLogEventRotater rotater;
    EXPECT_EQ(rotater.Run(), -1);
    const std::string lines = m_log.TakeText("log/");
    for (const char* const line : {"Failed to select log info.\n", "Run: Failed to archive [event log].\n",
                                   "Run: Failed to rotate [event log].\n"}) {
        EXPECT_NE(lines.find(line), std::string::npos) << line << lines;
    }
    EXPECT_EQ(VxLogEvent::GetLogTotalCount(), -1);
    EXPECT_EQ(m_log.TakeText("log/vxlogevent"),
              "log/vxlogevent GetLogTotalCount: Failed to get the total event log count\n");
}
