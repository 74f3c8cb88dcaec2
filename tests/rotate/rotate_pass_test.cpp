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

struct LimitCase {
    const char* what;
    int volBoundDay, days, sizeMB, num; ///< the volume's bound in days before now; 0: off
    int byVolume, byDate, bySize, byNumber;
};

class RotateLimitsTest : public RotatePassTest, public ::testing::WithParamInterface<LimitCase> {};

// Catches: a limit that is skipped, counted twice, or holds although it is off; another order of the limits.
TEST_P(RotateLimitsTest, EachLimitTakesWhatTheOnesBeforeItLeft)
{
    std::vector<Recording> recordings;
    for (int day = 1; day <= 10; ++day) { // number i ended i days ago less an hour
        recordings.push_back({day, 7, g_fakeWallSec - day * DAY + 1800, g_fakeWallSec - day * DAY + 3600});
    }
    m_world.Add(ARCHIVE, recordings);
    const LimitCase& given = GetParam();
    const long bound = given.volBoundDay > 0 ? static_cast<long>(g_fakeWallSec) - given.volBoundDay * DAY : 0;
    const auto pRotator = m_world.Make(ARCHIVE, bound, given.days, given.sizeMB, given.num);
    EXPECT_EQ(pRotator->Start(), 0);
    EXPECT_EQ(pRotator->ByVolSpace().count, given.byVolume);
    EXPECT_EQ(pRotator->ByDate().count, given.byDate);
    EXPECT_EQ(pRotator->BySize().count, given.bySize);
    EXPECT_EQ(pRotator->ByNum().count, given.byNumber);
    const int total = given.byVolume + given.byDate + given.bySize + given.byNumber;
    const std::set<int> marked = m_world.Marked(ARCHIVE);
    EXPECT_EQ(marked.size(), static_cast<std::size_t>(total));
    EXPECT_TRUE(marked.empty() || *marked.begin() == 11 - total) << "not the oldest";
    EXPECT_EQ(m_world.m_logger.TotalDelCnt(VX_LOG_TYPE_BY_NUM), given.byNumber);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RotateLimitsTest,
    ::testing::Values(LimitCase{"AllOff", 0, 0, 0, 0, 0, 0, 0, 0},
                      LimitCase{"Negative", 0, -3, -1, -1, 0, 0, 0, 0},
                      LimitCase{"Absurd", 0, 2147483647, 2147483647, 2147483647, 0, 0, 0, 0},
                      LimitCase{"Volume", 6, 0, 0, 0, 4, 0, 0, 0}, LimitCase{"Date", 0, 6, 0, 0, 0, 4, 0, 0},
                      LimitCase{"Size", 0, 0, 6, 0, 0, 0, 4, 0}, LimitCase{"Number", 0, 0, 0, 6, 0, 0, 0, 4},
                      LimitCase{"EachTakesTwo", 8, 6, 4, 2, 2, 2, 2, 2},
                      LimitCase{"StricterEarlierLeavesNothing", 2, 6, 8, 9, 8, 0, 0, 0},
                      LimitCase{"SizeBelowLimit", 0, 0, 11, 0, 0, 0, 0, 0}),
    [](const auto& tested) { return std::string(tested.param.what); });

// Catches: the item that crosses the limit is left, or one too many goes.
TEST_F(RotatePassTest, CrossingItemIsIncluded)
{
    m_world.AddMany(CAMERA, 5, OLD);
    const auto pRotator = m_world.Make(CAMERA, 0, 0, 1, 0);
    RotInfo info;
    EXPECT_EQ(pRotator->RemoveEventsFromDBBySize(1.5, info), 0);
    EXPECT_EQ(info.count, 2);
    EXPECT_EQ(m_world.Marked(CAMERA), (std::set{1, 2}));
    EXPECT_EQ(info.camDelList[7].size(), 2U);
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
    const char* what;
    TARGET target;
    long volBound;
    int days, sizeMB, num;
    bool byMode; ///< the system goes into non-recording mode, instead of the flag
};

class RotateStopTest : public RotatePassTest, public ::testing::WithParamInterface<StopCase> {};

// Catches: a loop that runs on after it was told to stop, or a stop that is reported as a failure.
TEST_P(RotateStopTest, EachLoopEndsAfterItsBatch)
{
    const StopCase& given = GetParam();
    m_world.AddMany(given.target, 2500, OLD);
    const auto pRotator = m_world.Make(given.target, given.volBound, given.days, given.sizeMB, given.num);
    g_sqlWatch.after = [&](const std::string&, const std::string& sql) {
        if (sql.find(" SET mark_as_del") != std::string::npos) {
            if (given.byMode) {
                EXPECT_EQ(SetNonRecMode(true), 0);
            } else {
                m_world.m_runFlag = 0;
            }
        }
    };
    LogCapture log;
    EXPECT_EQ(pRotator->Start(), 0);
    EXPECT_EQ(m_world.Marked(given.target).size(), 1000U);
    EXPECT_NE(log.TakeText("rotate/vxrotate LogFinish")
                  .find("=> " + std::string(given.volBound > 0 ? "1000" : "0")),
              std::string::npos);
    EXPECT_FALSE(pRotator->IsDoRotate());
}

INSTANTIATE_TEST_SUITE_P(Loops, RotateStopTest,
                         ::testing::Values(StopCase{"Volume", CAMERA, 1'650'000'000, 30, 1, 1, false},
                                           StopCase{"Date", ARCHIVE, 0, 30, 1, 1, false},
                                           StopCase{"Size", ARCHIVE, 0, 0, 1, 1, false},
                                           StopCase{"Number", ARCHIVE, 0, 0, 0, 1, false},
                                           StopCase{"DateByMode", CAMERA, 0, 30, 1, 1, true},
                                           StopCase{"SizeByMode", ARCHIVE, 0, 0, 1, 1, true},
                                           StopCase{"LapseVolume", LAPSE, 1'650'000'000, 0, 1, 1, false},
                                           StopCase{"LapseSize", LAPSE, 0, 0, 1, 0, false},
                                           StopCase{"IvaDate", DVA, 0, 30, 1, 1, false},
                                           StopCase{"FaceDate", FACE, 0, 30, 1, 1, false},
                                           StopCase{"FaceSize", FACE, 0, 0, 1, 0, false}),
                         [](const auto& tested) { return std::string(tested.param.what); });

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
        "DEBUG rotate/vxrotate LogStart: Start rotate event [event.db:event]: TgtId: [7], Total Size [3MB], "
        "BoundTm: [1600000060], Days: [0], SizeLimit: [1MB], NumLimit: [0]\n"
        "TRACE rotate/vxrotate RemoveEventsFromDBByTime: Remove 1 events (1MB) by boundTime [1600000060].\n"
        "TRACE rotate/vxrotate RemoveEventsBySizeWithUpperbound: Rotate by size, limit: [1.000000] MB, sql: "
        "[SELECT * FROM event WHERE mark_as_del = 0 AND camera_id = 7 AND rec_group = 0 ORDER BY stop_time "
        "LIMIT 1000]\n"
        "TRACE rotate/vxrotate RemoveEventsFromDBByTime: Remove 0 events (0MB) by boundTime [1600000120].\n"
        "INFO rotate/vxrotate LogFinish: Finish rotate events [event.db:event]: TgtId: [7], BoundTm: "
        "[1600000060], Days: [0], SizeLimit: [1MB], NumLimit: [0]\n=> 1 (1MB) by vol space, 0 (0MB) by date, "
        "1 (1MB) by size, 0 (0MB) by num.\nOccupied Size: [3MB -> 1MB]\n"
        "DEBUG rotate/vxrotate Stop: Stop event rotation [event.db].\n");
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
    struct Case {
        bool queries, date;
        RotLimits limits;
        const char* lines;
    };
    for (const Case& given : {Case{true,
                                   false,
                                   {false, 0, true, 1, 1},
                                   "Execute failed\nFailed to rotate by size\nFailed to rotate by size.\n"},
                              Case{false, true, {true, 1, true, 1, 1}, "Failed to rotate by size.\n"}}) {
        ArchPullTask task;
        task.SetId(7);
        task.SetLimits(given.limits);
        FailingRotator rotator(task, 0, m_world.m_runFlag, m_world.m_logger);
        rotator.failQueries = given.queries;
        rotator.failDate = given.date;
        LogCapture log;
        EXPECT_EQ(rotator.Start(), 1);
        std::string errors;
        for (const CapturedLine& line : log.Take()) {
            errors += line.level == "ERR" && line.place.starts_with("rotate/") ? line.text : "";
        }
        EXPECT_EQ(errors, given.lines);
        EXPECT_EQ(m_world.Marked(ARCHIVE).size(), 0U);
        EXPECT_EQ(m_world.m_logger.TotalDelCnt(VX_LOG_TYPE_BY_SIZE), 0);
    }
}

} // namespace
