// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_kill_test.cpp - a pass with its sweep, killed at every call that changes a file. The next
// round comes to exactly what an undisturbed one comes to.
#include "package/reccheck.h"
#include "rot_world.h"
#include "support/kill_loop.h"

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

} // namespace

// Catches: an orphan row or file after a kill, a recording that goes though no limit asks for it, or a round that
// does not go on where the killed one ended.
TEST(RotateKillTest, NextRoundComesToTheSameEnd)
{
    for (const TARGET target : {CAMERA, LAPSE}) {
        SCOPED_TRACE(target);
        RotWorld world;
        EXPECT_GE(KillAtEachPoint(
                      world.m_root.Path(), [=] { return Prepare(target); },
                      [&] { return Round(world, target); },
                      [&] { return Round(world, target) == 0 ? Judge(target) : "the round failed"; }),
                  19);
    }
}
