// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_safety_test.cpp - recordings that small slips of arithmetic or of order would cost.
#include "rot_world.h"
#include "support/log_capture.h"
#include "support/sql_watch.h"

namespace {

constexpr long long OLD = 1'600'000'000;

class RotateSafetyTest : public ::testing::Test {
protected:
    ~RotateSafetyTest() override { g_sqlWatch = {}; }

    RotWorld m_world;
    LogCapture m_log;
};

class RotateSafetyKindsTest : public RotateSafetyTest, public ::testing::WithParamInterface<TARGET> {};

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
TEST_F(RotateSafetyTest, AbsurdLimitsRemoveNothing)
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
TEST_F(RotateSafetyTest, MarksAndCountersAreOneTransaction)
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
TEST_F(RotateSafetyTest, VolumeThatIsUnmountedInASweepKeepsItsRows)
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
