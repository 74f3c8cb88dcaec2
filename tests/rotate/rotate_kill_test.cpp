// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_kill_test.cpp - a pass with its sweep, killed at every call that changes a file. The next
// round comes to exactly what an undisturbed one comes to.
#include "package/reccheck.h"
#include "rot_world.h"
#include "support/child_process.h"
#include "support/kill_points.h"

namespace {

constexpr long long OLD = 1'600'000'000;
constexpr int KEPT_MB = 5;

/// What the daemon does in a round: mend, mark, sweep.
int Round(RotWorld& world, TARGET target)
{
    int deleted = 0;
    long long afterId = 0;
    const bool isDone =
        RecoverRecorders() == 0 && world.Make(target, OLD + 300, 0, KEPT_MB, 0)->Start() == 0 &&
        (target == CAMERA ? DeleteMarkAsDelEvt(world.m_runFlag, 0, 0, deleted) == 0
                          : DeleteMarkedRecords(RotWorld::KindOf(target), 0, 4, afterId, deleted) >= 0 &&
                                DeleteMarkedRecords(RotWorld::KindOf(target), 0, 100, afterId, deleted) >= 0);
    return isDone ? 0 : 1;
}

/// Twelve recordings of a megabyte with real files, in a root of their own.
int Prepare(TARGET target)
{
    std::set<int> ids;
    RotWorld::AddMany(target, 12, OLD, false, true);
    // Makes the databases that a pass writes to besides.
    return GetAllCameraIds(ids) +
           (target == CAMERA ? AddBookmark(0, 3, OLD, "") + AddBookmark(0, 12, OLD, "") : 0);
}

/// @return what is wrong after the round; empty when it is as it must be
std::string Judge(TARGET target)
{
    std::set<int> left;
    for (const Recording& one : RotWorld::All(target)) {
        left.insert(one.id);
    }
    std::string wrong = left == std::set<int>{8, 9, 10, 11, 12} ? "" : "other recordings are left";
    wrong += RotWorld::FileCount() == KEPT_MB ? "" : ", files that no row names";
    RecCheckCounts counts;
    const int checked = CheckRecords(false, counts, [&wrong](const RecViolation& violation) {
        wrong += ", " + violation.object + " " + violation.problem;
    });
    return checked == 0 ? wrong : "the check failed";
}

class RotateKillTest : public ::testing::TestWithParam<TARGET> {};

// Catches: an orphan row or file after a kill, a recording that goes though no limit asks for it, or a round that
// does not go on where the killed one ended.
TEST_P(RotateKillTest, NextRoundComesToTheSameEnd)
{
    const TARGET target = GetParam();
    RotWorld world;
    const auto inChild = [](const auto& body) {
        return ChildProcess([&](Channel&) { return body(); }).Wait();
    };
    ASSERT_EQ(inChild([&] { return Prepare(target); }), 0);
    const std::filesystem::path root = world.m_root.Path();
    std::filesystem::copy(root, root.string() + ".prepared", std::filesystem::copy_options::recursive);
    int points = 0;
    for (bool isOver = false; !isOver; ++points) {
        for (const char* const folder : {"db", "rec"}) {
            std::filesystem::remove_all(root / folder);
            std::filesystem::copy(root.string() + ".prepared/" + folder, root / folder,
                                  std::filesystem::copy_options::recursive);
        }
        const int end = inChild([&] {
            ArmKillPoint(points);
            return Round(world, target);
        });
        ASSERT_LE(end, 0) << "failed by itself at " << points;
        isOver = end == 0;
        ASSERT_EQ(inChild([&] {
                      const std::string wrong =
                          Round(world, target) == 0 ? Judge(target) : "the round failed";
                      std::fprintf(stderr, "%s", wrong.empty() ? "" : (wrong + "\n").c_str());
                      return wrong.empty() ? 0 : 1;
                  }),
                  0)
            << "killed at call " << points;
    }
    std::filesystem::remove_all(root.string() + ".prepared");
    RecordProperty("points", points);
    EXPECT_GE(points, 20);
}

// Catches: a pass that fails, or marks twice, because somebody else writes just now.
TEST(RotateBesideOthersTest, PassWaitsForAWriterThatHoldsTheDatabase)
{
    RotWorld world;
    RotWorld::AddMany(CAMERA, 12, OLD);
    ChildProcess writer([](Channel& toParent) {
        VxDB::Transaction transaction(VxDB::DB_EVENT);
        const int begun = transaction.Begin();
        toParent.Send('L');
        ::usleep(300'000); // the pass has to meet the lock; when it comes later, it only meets none
        return begun + transaction.Commit();
    });
    ASSERT_EQ(writer.Receive(), 'L');
    const auto pRotator = world.Make(CAMERA, 0, 0, KEPT_MB, 0);
    EXPECT_EQ(pRotator->Start(), 0);
    EXPECT_EQ(pRotator->BySize().count, 7);
    EXPECT_EQ(writer.Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RotateKillTest, ::testing::Values(CAMERA, LAPSE), [](const auto& tested) {
    return std::string(tested.param == CAMERA ? "Camera" : "Lapse");
});

} // namespace
