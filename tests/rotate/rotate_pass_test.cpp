// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_pass_test.cpp - one pass: its steps, their order, their loops, and what they say.
#include "rot_world.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/sql_watch.h"

namespace {

constexpr long long OLD = 1'600'000'000; ///< long before the fake clock's time

class RotatePassTest : public ::testing::Test {
protected:
    ~RotatePassTest() override { g_sqlWatch = {}; }

    /// Counts statements that hold a text.
    static void CountInto(int& count, const std::string& text)
    {
        g_sqlWatch.before = [&count, text](const std::string&, const std::string& sql) {
            count += sql.find(text) != std::string::npos ? 1 : 0;
        };
    }

    RotWorld m_world;
};

// Catches: work for a target that there is none of.
TEST_F(RotatePassTest, NoTargetIsNoWork)
{
    VxRotDvaEvt rotator(nullptr, 5, m_world.m_runFlag, m_world.m_logger, "gone");
    int statements = 0;
    CountInto(statements, "");
    const LogCapture log;
    EXPECT_EQ(rotator.Start(), 2);
    EXPECT_EQ(statements, 0);
}

// Catches: batches without a bound, or megabytes that are lost between batches so that too much goes.
TEST_F(RotatePassTest, ALargeExcessGoesInBatches)
{
    m_world.AddMany(ARCHIVE, 3000, OLD);
    int batches = 0;
    CountInto(batches, "ORDER BY stop_time LIMIT 1000");
    int rest = 0;
    const auto pByNumber = m_world.Make(ARCHIVE, 0, 0, 0, 500);
    g_sqlWatch.after = [&rest](const std::string&, const std::string& sql) {
        rest += sql.starts_with("SELECT *") && sql.ends_with("LIMIT 500") ? 1 : 0;
    };
    EXPECT_EQ(pByNumber->Start(), 0);
    EXPECT_EQ(pByNumber->ByNum().count, 2500);
    EXPECT_EQ(m_world.m_logger.TotalDelCnt(VX_LOG_TYPE_BY_NUM), 2500);
    EXPECT_EQ(rest, 1);
    EXPECT_GE(batches, 2);
    EXPECT_EQ(m_world.Marked(ARCHIVE).size(), 2500U);
    g_sqlWatch = {};
    m_world.Run(RotWorld::Path(ARCHIVE), "UPDATE event SET mark_as_del = 0, size = 1572864"); // 1.5 MB each
    const auto pBySize = m_world.Make(ARCHIVE, 0, 0, 4500 - 3750, 0);
    EXPECT_EQ(pBySize->Start(), 0);
    EXPECT_EQ(pBySize->BySize().count, 2500);
    EXPECT_EQ(pBySize->TotalSizeMB(), 750U);
}

struct StopCase {
    TARGET target;
    long volBound;
    int days, sizeMB, num;
    bool byMode = false; ///< the system goes into non-recording mode, instead of the flag
};

// Catches: a loop that runs on after it was told to stop, or a stop that is reported as a failure.
TEST_F(RotatePassTest, EachLoopEndsAfterItsBatch)
{
    constexpr long BOUND = 1'650'000'000;
    for (const StopCase& given : {StopCase{CAMERA, BOUND, 30, 1, 1},
                                  {ARCHIVE, 0, 30, 1, 1},
                                  {ARCHIVE, 0, 0, 1, 1},
                                  {ARCHIVE, 0, 0, 0, 1},
                                  {CAMERA, 0, 30, 1, 1, true},
                                  {ARCHIVE, 0, 0, 1, 1, true},
                                  {LAPSE, BOUND, 0, 1, 1},
                                  {LAPSE, 0, 0, 1, 0},
                                  {DVA, 0, 30, 1, 1},
                                  {FACE, 0, 30, 1, 1},
                                  {FACE, 0, 0, 1, 0}}) {
        RotWorld world;
        world.AddMany(given.target, 2500, OLD);
        const auto pRotator = world.Make(given.target, given.volBound, given.days, given.sizeMB, given.num);
        g_sqlWatch.after = [&](const std::string&, const std::string& sql) {
            if (sql.find(" SET mark_as_del") != std::string::npos) {
                world.m_runFlag = given.byMode ? 1 : 0;
                EXPECT_EQ(SetNonRecMode(given.byMode), 0);
            }
        };
        LogCapture log;
        EXPECT_EQ(pRotator->Start(), 0);
        g_sqlWatch = {};
        const std::set<int> marked = world.Marked(given.target);
        EXPECT_EQ(marked.size(), 1000U) << given.target << given.days << given.sizeMB;
        EXPECT_EQ(*marked.rbegin(), 1000) << "not the oldest";
        log.Expect({given.volBound > 0 ? "=> 1000" : "=> 0"}, "rotate/vxrotate DoRotate");
        EXPECT_FALSE(pRotator->IsDoRotate());
    }
}

// Catches: a message at another level, with another text or value, or under another tag.
TEST_F(RotatePassTest, LinesAreTheAgreedOnes)
{
    m_world.AddMany(CAMERA, 3, OLD);
    const auto pRotator = m_world.Make(CAMERA, 1'600'000'060, 0, 1, 0);
    LogCapture log;
    EXPECT_EQ(pRotator->Start(), 0);
    pRotator->Stop();
    std::string text;
    for (const CapturedLine& line : log.Take()) {
        text += line.place.starts_with("rotate/") ? line.level + " " + line.place + ": " + line.text : "";
    }
    EXPECT_EQ(
        text,
        "DEBUG rotate/vxrotate Start: Start event rotation [event.db]\n"
        "DEBUG rotate/vxrotate DoRotate: Start rotate event [event.db:event]: TgtId: [7], Total Size [3MB], "
        "BoundTm: [1600000060], Days: [0], SizeLimit: [1MB], NumLimit: [0]\n"
        "TRACE rotate/vxrotate RemoveEventsFromDBByTime: Remove 1 events (1MB) by boundTime [1600000060].\n"
        "TRACE rotate/vxrotate RemoveEventsBySizeWithUpperbound: Rotate by size, limit: [1.000000] MB, sql: "
        "[SELECT * FROM event WHERE mark_as_del = 0 AND camera_id = 7 AND rec_group = 0 ORDER BY stop_time "
        "LIMIT 1000]\n"
        "TRACE rotate/vxrotate RemoveEventsFromDBByTime: Remove 0 events (0MB) by boundTime [1600000120].\n"
        "INFO rotate/vxrotate DoRotate: Finish rotate events [event.db:event]: TgtId: [7], BoundTm: "
        "[1600000060], Days: [0], SizeLimit: [1MB], NumLimit: [0]\n=> 1 (1MB) by vol space, 0 (0MB) by date, "
        "1 (1MB) by size, 0 (0MB) by num.\nOccupied Size: [3MB -> 1MB]\n"
        "DEBUG rotate/vxrotate Stop: Stop event rotation [event.db].\n");
}

// Catches: recordings of a camera's own tasks that stay for ever, a failure of theirs that fails the camera's step, or
// a line under the name of a helper.
TEST_F(RotatePassTest, TasksOnACameraGoByItsDays)
{
    m_world.Add(CAMERA, {});
    DvaCoreRotateSettings task;
    const auto pass = [this] {
        LogCapture log;
        EXPECT_EQ(m_world.Make(CAMERA, 0, 30, 0, 0)->Start(), 0);
        return log.TakeText("rotate/vxrotateevt");
    };
    const std::string here = "rotate/vxrotateevt DoRotateByDate: ";
    EXPECT_EQ(pass(), here + "camera id 7 dones't have any task, early return.\n");
    task.SetCamId(7);
    task.SetOnCamera(true);
    ASSERT_EQ(task.Save(), 0);
    const long long bound = g_fakeWallSec - 30 * DAY;
    m_world.Add(DVA, {{1, task.GetId(), OLD, bound - DAY}, {2, task.GetId(), OLD, bound + DAY}});
    EXPECT_EQ(pass(), "");
    EXPECT_EQ(m_world.Marked(DVA), std::set{1});
    m_world.Run(RotWorld::Path(DVA), std::string("DELETE FROM ") + gszTableRecVolume);
    EXPECT_EQ(pass(), here + "Failed to del iva rec for orvocam[7].\n");
}

// Catches: a query that asks something else, or that takes a failure for an answer.
TEST_F(RotatePassTest, QueriesOverATableAndAClause)
{
    m_world.AddMany(CAMERA, 5, OLD);
    const std::string where = "WHERE mark_as_del = 0 AND camera_id = 7 AND rec_group = 0";
    std::string ran;
    g_sqlWatch.before = [&ran](const std::string&, const std::string& sql) { ran = sql; };
    EXPECT_EQ(GetRotatableCount("event", where), 5);
    EXPECT_EQ(ran, "SELECT COUNT(*) AS count FROM event " + where);
    EXPECT_EQ(GetRotBoundTimeFromRetainNum("event", where, 2), OLD + 120);
    EXPECT_EQ(ran, "SELECT start_time FROM event " + where + " ORDER BY start_time DESC LIMIT 1 OFFSET 2");
    EXPECT_EQ(GetRotBoundTimeFromRetainNum("event", where, 9), 0);
    EXPECT_EQ(GetOldestStartTime("event", "", where), OLD);
    EXPECT_EQ(GetOldestStartTime("event", "event_live_start", where), OLD);
    EXPECT_EQ(ran, "SELECT start_time FROM event  INDEXED BY event_live_start " + where +
                       " ORDER BY start_time LIMIT 1");
    EXPECT_EQ(GetOldestStartTime("event", "no_such_index", where), -1);
}

/// A rotator whose steps fail as they are told to.
class FailingRotator : public VxRotArchEvt {
public:
    using VxRotArchEvt::VxRotArchEvt;
    std::string GetSqlWhere() const override
    {
        return failQueries ? "WHERE no_such_column = 1" : VxRotArchEvt::GetSqlWhere();
    }
    int DoRotateByDate() noexcept override { return failDate ? -1 : VxRotArchEvt::DoRotateByDate(); }
    bool failQueries = false;
    bool failDate = false;
};

// Catches: a failure that is passed over, a later step that runs all the same, or one that is reported.
TEST_F(RotatePassTest, FirstFailureEndsThePassUnreported)
{
    m_world.AddMany(ARCHIVE, 3, OLD);
    const std::tuple<bool, bool, RotLimits, const char*> cases[] = {
        {true,
         false,
         {false, 0, true, 1, 1},
         "Execute failed\nFailed to rotate by size\nFailed to rotate by size.\n"},
        {false, true, {true, 1, true, 1, 1}, "Failed to rotate by size.\n"}};
    for (const auto& [failQueries, failDate, limits, lines] : cases) {
        ArchPullTask task;
        task.SetId(7);
        task.SetLimits(limits);
        FailingRotator rotator(task, 0, m_world.m_runFlag, m_world.m_logger);
        rotator.failQueries = failQueries;
        rotator.failDate = failDate;
        LogCapture log;
        EXPECT_EQ(rotator.Start(), 1);
        std::string errors;
        for (const CapturedLine& line : log.Take()) {
            errors += line.level == "ERR" && line.place.starts_with("rotate/") ? line.text : "";
        }
        EXPECT_EQ(errors, lines);
        EXPECT_EQ(m_world.Marked(ARCHIVE).size(), 0U);
        EXPECT_EQ(m_world.m_logger.TotalDelCnt(VX_LOG_TYPE_BY_SIZE), 0);
    }
}

// ---- recordings that small slips of arithmetic or of order would cost

class RotateSafetyKindsTest : public RotatePassTest, public ::testing::WithParamInterface<TARGET> {};

// Catches: the recording that is being made, which starts in the second in which the one before it ended, goes
// before that one.
TEST_P(RotateSafetyKindsTest, WhatEndedInTheSameSecondGoesInTheOrderOfItsStart)
{
    m_world.Add(GetParam(), {{1, 7, OLD + 60, 0, MIB}, {2, 7, OLD, OLD + 60, 2 * MIB}});
    EXPECT_EQ(m_world.Make(GetParam(), 0, 0, 2, 0)->Start(), 0);
    EXPECT_EQ(m_world.Marked(GetParam()), std::set{2});
}

// Catches: parts of a megabyte that are lost batch by batch, so that a step after it, or the same, removes more
// than its limit asks for.
TEST_P(RotateSafetyKindsTest, SmallRecordingsAreCountedWhole)
{
    constexpr int COUNT = 6000;
    constexpr long long SIZE = 1500; // a batch of 1000 is 1.43 MB, all are 8.58
    std::vector<Recording> recordings;
    for (int i = 1; i <= COUNT; ++i) {
        recordings.push_back({i, 7, OLD + i, OLD + i, SIZE});
    }
    m_world.Add(GetParam(), recordings);
    const auto pByTimeThenSize = m_world.Make(GetParam(), OLD + 3001, 0, 4, 0); // leaves 4.29 MB
    EXPECT_EQ(pByTimeThenSize->Start(), 0);
    EXPECT_EQ(pByTimeThenSize->ByVolSpace().sizeMB, 3000 * SIZE / MIB);
    EXPECT_LE(pByTimeThenSize->BySize().count, 1000);
    m_world.Run(RotWorld::Path(GetParam()),
                std::string("UPDATE ") + RotWorld::Table(GetParam()) + " SET mark_as_del = 0");
    const auto pBySize = m_world.Make(GetParam(), 0, 0, 2, 0); // 7 of 9 begun megabytes go
    EXPECT_EQ(pBySize->Start(), 0);
    EXPECT_LE(pBySize->BySize().count, 8 * MIB / SIZE);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RotateSafetyKindsTest, ::testing::ValuesIn(ALL_TARGETS),
                         [](const auto& tested) { return "Kind" + std::to_string(tested.param); });

// Catches: a limit beyond 32 bits of which the low bits are taken, or a negative one that is passed at once.
TEST_F(RotatePassTest, AbsurdLimitsRemoveNothing)
{
    Camera camera;
    camera.SetLimits(CAM_REC_GROUP_CONTINUOUS, {true, 1, true, 1, 0});
    ASSERT_EQ(camera.Save(), 0);
    m_world.Run(VxDB::GetDBPath(VxDB::DB_SYSTEM),
                std::string("UPDATE ") + gszTableCamRecGroup +
                    " SET rotate_days = 4294967297, rotate_size_mb = 4294967297");
    ASSERT_EQ(camera.Load(camera.GetId()), 0);
    EXPECT_EQ(camera.GetRotateDays(CAM_REC_GROUP_CONTINUOUS), 2147483647);
    EXPECT_EQ(camera.GetLimits(CAM_REC_GROUP_CONTINUOUS).sizeMB, 2147483647);
}

// Catches: marks without their counters, of the box or of an archive.
TEST_F(RotatePassTest, MarksAndCountersAreOneTransaction)
{
    for (const TARGET target : {CAMERA, ARCHIVE}) {
        m_world.AddMany(target, 3, OLD);
        m_world.Run(RotWorld::Path(target), std::string("DROP TABLE ") + gszTableRecordingCount);
        EXPECT_EQ(m_world.Make(target, 0, 0, 1, 0)->Start(), 1);
        EXPECT_EQ(m_world.Make(target, OLD + 1000, 0, 0, 0)->Start(), 0) << "a time step does not fail";
        EXPECT_TRUE(m_world.Marked(target).empty()) << target;
    }
}

// Catches: rows that go while their files stay, since the volume was unmounted in the middle of a sweep.
TEST_F(RotatePassTest, VolumeThatIsUnmountedInASweepKeepsItsRows)
{
    m_world.AddMany(CAMERA, 3, OLD, true, true);
    const std::string rec = GetPackageRoot() + "/rec";
    g_sqlWatch.before = [&rec](const std::string&, const std::string& sql) {
        if (sql.find(gszTableRecVolume) != std::string::npos && !std::filesystem::exists(rec + ".away")) {
            std::filesystem::rename(rec, rec + ".away");
            std::filesystem::create_directory(rec);
        }
    };
    int deleted = 0;
    EXPECT_EQ(DeleteMarkAsDelEvt(m_world.m_runFlag, 0, 0, deleted), -1);
    EXPECT_EQ(deleted, 0);
    EXPECT_EQ(m_world.Marked(CAMERA).size(), 3U);
}

} // namespace
