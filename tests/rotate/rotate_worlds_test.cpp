// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_worlds_test.cpp - every rotator against a model of ten lines, the plans of the statements
// that run, and databases and volumes that are not what they should be.
#include <fcntl.h>

#include <algorithm>
#include <climits>
#include <random>

#include "rot_world.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/sql_watch.h"

namespace {

struct Limits {
    long volBound = 0;
    int days = 0, sizeMB = 0, num = 0;
};

long long WholeMB(long long bytes, bool roundUp)
{
    return (bytes + (roundUp ? MIB - 1 : 0)) / MIB;
}

/// What a pass marks, and how many of them for each limit.
struct Outcome {
    std::set<int> gone;
    std::vector<int> counts;
};

/// What a pass over owner 7 marks: slow, obvious, and written apart from the rotators.
Outcome Model(std::vector<Recording> all, const Limits& limits, bool hasNumber)
{
    std::erase_if(all, [](const Recording& one) { return one.isMarked || one.owner != 7; });
    std::ranges::sort(
        all, {}, [](const Recording& one) { return std::tuple(one.Stop(), one.start, one.size, one.id); });
    long long bytes = 0;
    for (const Recording& one : all) {
        bytes += one.size;
    }
    long long totalMB = WholeMB(bytes, true);
    Outcome outcome;
    std::size_t next = 0;
    const auto take = [&](const auto& goes) {
        long long taken = 0;
        const std::size_t first = next;
        for (; next < all.size() && goes(all[next], taken); ++next) {
            taken += all[next].size;
            outcome.gone.insert(all[next].id);
        }
        outcome.counts.push_back(static_cast<int>(next - first));
        totalMB -= WholeMB(taken, false);
    };
    const long long dayBound = limits.days > 0 ? g_fakeWallSec - 1LL * limits.days * DAY : 0;
    take([&](const Recording& one, long long) { return one.Stop() < limits.volBound; });
    take([&](const Recording& one, long long) { return one.Stop() < dayBound; });
    const long long excess = limits.sizeMB > 0 ? totalMB - limits.sizeMB : 0;
    take([&](const Recording&, long long taken) { return taken < excess * MIB; });
    take([&](const Recording&, long long) {
        return hasNumber && limits.num > 0 && all.size() - next > static_cast<std::size_t>(limits.num);
    });
    return outcome;
}

std::vector<Recording> RandomRecordings(std::mt19937& random)
{
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % static_cast<unsigned>(most + 1));
    };
    std::vector<Recording> all(static_cast<std::size_t>(upTo(30)));
    for (std::size_t i = 0; i < all.size(); ++i) {
        Recording& one = all[i];
        one.id = static_cast<int>(i) + 1;
        one.owner = upTo(3) == 0 ? 8 : 7;
        one.start =
            g_fakeWallSec - upTo(12) * DAY + upTo(2) * 600 - (upTo(20) == 0 ? -DAY : 0); // some to come
        one.end = upTo(3) == 0 ? 0 : one.start + upTo(3) * 3000;                         // some never closed
        one.size = upTo(4) == 0 ? 0 : upTo(3 * 1024) * 1024LL;
        one.isMarked = upTo(6) == 0;
    }
    return all;
}

class RotateWorldsTest : public ::testing::TestWithParam<TARGET> {
protected:
    ~RotateWorldsTest() override { g_sqlWatch = {}; }
};

// Catches: a row that goes though no limit asks for it, one that stays, one of another owner, or a younger one
// before an older; an end time that is needed.
TEST_P(RotateWorldsTest, PassMarksExactlyWhatTheLimitsAskFor)
{
    const TARGET target = GetParam();
    std::mt19937 random(20261121);
    RotWorld world;
    for (int round = 0; round < 60; ++round) {
        const std::vector<Recording> before = RandomRecordings(random);
        world.Add(target, {});
        world.Run(RotWorld::Path(target), std::string("DELETE FROM ") + RotWorld::Table(target));
        world.Add(target, before);
        const auto maybe = [&random](int most) {
            return random() % 2 == 0 ? 0 : 1 + static_cast<int>(random() % static_cast<unsigned>(most));
        };
        const int odd = round % 10 == 0 ? INT_MAX : -3; // both take nothing
        Limits limits{0, maybe(10), maybe(20), maybe(15)};
        if (round % 5 == 0) {
            limits = {0, odd, odd, odd};
        }
        limits.volBound = maybe(2) == 0 ? 0 : static_cast<long>(g_fakeWallSec) - maybe(12) * DAY;
        const bool hasNumber = target != CAMERA && target != FACE;
        const Outcome expected = Model(before, limits, hasNumber);
        const auto pRotator = world.Make(target, limits.volBound, limits.days, limits.sizeMB, limits.num);
        EXPECT_EQ(pRotator->Start(), 0);
        EXPECT_EQ((std::vector{pRotator->ByVolSpace().count, pRotator->ByDate().count,
                               pRotator->BySize().count, pRotator->ByNum().count}),
                  expected.counts);
        std::vector<Recording> after = before;
        for (Recording& one : after) {
            one.isMarked = one.isMarked || expected.gone.contains(one.id);
        }
        ASSERT_EQ(world.All(target), after)
            << "round " << round << ": volume " << limits.volBound << " days " << limits.days << " MB "
            << limits.sizeMB << " number " << limits.num;
    }
}

/// The lines of a statement's plan.
std::string PlanOf(const std::string& dbPath, const std::string& sql)
{
    DBResult_tag* pResult = nullptr;
    EXPECT_EQ(VxDB::Executep(dbPath, "EXPLAIN QUERY PLAN " + sql, &pResult), 0) << sql;
    std::string plan;
    for (unsigned int row = 0; VxDBFetchRow(pResult, &row) == 0;) {
        plan += std::string(VxDB::FetchFieldText(pResult, row, "detail")) + "\n";
    }
    VxDBFreeResult(pResult);
    return plan;
}

// Catches: a statement of a pass or of the sweep that reads a whole table of recordings, or sorts one.
TEST_P(RotateWorldsTest, NoStatementScansOrSorts)
{
    const TARGET target = GetParam();
    RotWorld world;
    world.AddMany(target, 50, g_fakeWallSec - 40 * DAY, false, true);
    std::set<std::pair<std::string, std::string>> statements;
    g_sqlWatch.before = [&statements](const std::string& dbPath, const std::string& sql) {
        statements.insert({dbPath, sql});
    };
    EXPECT_EQ(world.Make(target, static_cast<long>(g_fakeWallSec) - 40 * DAY + 500, 0, 20, 10)->Start(), 0);
    EXPECT_EQ(world.Make(target, 0, 30, 10, 5)->Start(), 0);
    int deleted = 0;
    long long afterId = 0;
    EXPECT_EQ(target == CAMERA ? DeleteMarkAsDelEvt(world.m_runFlag, 0, 0, deleted)
                               : DeleteMarkedRecords(RotWorld::KindOf(target), target == ARCHIVE ? 7 : 0,
                                                     1000, afterId, deleted),
              0);
    EXPECT_EQ(deleted, 50);
    EventFilterParam ofAllCameras;
    ofAllCameras.stopBefore = static_cast<long>(g_fakeWallSec);
    long long count = 0;
    EXPECT_EQ(EventCntGetAll(ofAllCameras, count) + MarkEvtAsDel(ofAllCameras, nullptr), 0);
    g_sqlWatch = {};
    EXPECT_GE(statements.size(), 5U);
    const std::string table = RotWorld::Table(target);
    for (const auto& [dbPath, script] : statements) {
        const std::string sql = script.substr(0, script.find(';'));
        const std::string plan = dbPath == RotWorld::Path(target) ? PlanOf(dbPath, sql) : "";
        EXPECT_EQ(plan.find("SCAN " + table), std::string::npos) << sql << "\n" << plan;
        EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << sql << "\n" << plan;
    }
}

struct FaultCase {
    const char* what;
    REC_VOLUME state;
    void (*spoil)(TARGET target);
};

/// Puts another file in the place of a database, as whoever repairs a box does.
void Replace(TARGET target, const char* content)
{
    for (const char* const tail : {"", "-wal", "-shm"}) {
        std::filesystem::remove(RotWorld::Path(target) + tail);
    }
    if (content != nullptr) {
        std::ofstream(RotWorld::Path(target)) << content;
    }
}

const FaultCase FAULTS[] = {
    {"VolumeNotMounted", REC_VOLUME::NO_VOLUME,
     [](TARGET) { std::filesystem::remove(GetPackageRoot() + "/rec/.volume"); }},
    {"OtherVolume", REC_VOLUME::OTHER,
     [](TARGET) { std::ofstream(GetPackageRoot() + "/rec/.volume") << std::string(32, 'a') << "\n"; }},
    {"MarkCut", REC_VOLUME::UNREADABLE,
     [](TARGET) { std::filesystem::resize_file(GetPackageRoot() + "/rec/.volume", 5); }},
    {"DatabaseMissing", REC_VOLUME::NEW_DB, [](TARGET target) { Replace(target, nullptr); }},
    {"DatabaseEmpty", REC_VOLUME::NEW_DB, [](TARGET target) { Replace(target, ""); }},
    {"DatabaseForeign", REC_VOLUME::UNREADABLE,
     [](TARGET target) { Replace(target, "this is no database, and it is longer than the header of one"); }},
    {"RowsOfANewDatabase", REC_VOLUME::NEW_DB,
     [](TARGET target) {
         RotWorld::Run(RotWorld::Path(target), std::string("DELETE FROM ") + gszTableRecVolume);
     }},
};

// Catches: recordings that go because a database was lost or a volume was not mounted.
TEST_P(RotateWorldsTest, NothingGoesWhereSomethingIsWrong)
{
    const TARGET target = GetParam();
    for (const FaultCase& fault : FAULTS) {
        RotWorld world;
        world.AddMany(target, 10, g_fakeWallSec - 40 * DAY, false, true);
        world.Add(target, {{99, 7, 1000, 2000, 1, true}}, true);
        fault.spoil(target);
        const LogCapture log;
        static_cast<void>(world.Make(target, static_cast<long>(g_fakeWallSec), 1, 1, 1)->Start());
        int deleted = 0;
        long long afterId = 0;
        static_cast<void>(
            DeleteMarkedRecords(RotWorld::KindOf(target), target == ARCHIVE ? 7 : 0, 1000, afterId, deleted));
        EXPECT_EQ(RecoverRecorders(), 0) << fault.what;
        EXPECT_EQ(RotWorld::FileCount(), 11) << fault.what;
        EXPECT_EQ(CheckRecVolume(RotWorld::Path(target), nullptr), fault.state) << fault.what;
        EXPECT_EQ(deleted, 0) << fault.what;
        if (std::string(fault.what).find("Database") != 0) {
            EXPECT_EQ(world.Marked(target), std::set{99}) << fault.what;
        }
    }
}

std::string TargetName(const ::testing::TestParamInfo<TARGET>& tested)
{
    constexpr const char* NAMES[] = {"Camera", "Archive", "Lapse", "Analytics", "Face"};
    return NAMES[tested.param];
}

INSTANTIATE_TEST_SUITE_P(Kinds, RotateWorldsTest, ::testing::ValuesIn(ALL_TARGETS), TargetName);

} // namespace
