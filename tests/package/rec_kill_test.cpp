// SPDX-License-Identifier: Apache-2.0
// tests/package/rec_kill_test.cpp - recorders, marking and sweeps that are killed at every call that changes a
// file. After one more pass rows and files agree, and nothing is gone that was not marked.
#include <algorithm>

#include "package/camera.h"
#include "support/kill_loop.h"
#include "support/rec_fixture.h"
#include "support/temp_root.h"

using namespace rec;

namespace {

constexpr int EVENTS = 6;

/// What a killed process was at.
struct Scenario {
    const char* name;
    std::function<int()> prepare;
    std::function<int()> work;
    std::function<bool(const std::vector<std::int64_t>&)> mayRemain; ///< live ids after one more pass
};

/// Every database is there before, so that no kill point is one of its making.
int AddEvents()
{
    std::set<int> ids;
    if (GetAllCameraIds(ids) != 0 || AddBookmark(0, 1, 120, "thief") != 0) {
        return 1;
    }
    for (int i = 1; i <= EVENTS; ++i) {
        const std::string path = std::to_string(i % 2 + 1) + "/0/d" + std::to_string(i) + "/e.mp4";
        if (AddEvent(i % 2 + 1, 100 * i, i == 5 ? 0 : 100 * i + 50, path) != i) {
            return 1;
        }
    }
    return 0;
}

int MarkOld()
{
    EventFilterParam filter;
    filter.stopBefore = 450;
    return MarkEvtAsDel(filter, nullptr);
}

int Record()
{
    EventRecorder recorder;
    if (recorder.Start(1, 0, nullptr) != REC_START::OK) {
        return 1;
    }
    for (int i = 0; i < 2; ++i) {
        int fd = -1;
        std::string path;
        if (recorder.Create(1800000000 + i, ".mp4", fd, path) != 0 || ::write(fd, "frame", 5) != 5 ||
            recorder.Progress() != 0) {
            return 2;
        }
        ::close(fd);
        if (recorder.Close(1800000060) != 0) {
            return 3;
        }
    }
    return 0;
}

bool Contains(const std::vector<std::int64_t>& ids, const std::vector<std::int64_t>& wanted)
{
    return std::ranges::includes(ids, wanted);
}

const Scenario SCENARIOS[] = {
    {"record", AddEvents, Record,
     [](const auto& live) {
         return Contains(live, {1, 2, 3, 4, 5, 6}) && live.size() <= EVENTS + 2;
     }},
    // Oldest first: of camera 2 event 3 never goes before event 1.
    {"mark", AddEvents, MarkOld,
     [](const auto& live) {
         return Contains(live, {4, 5, 6}) && (Contains(live, {3}) || !Contains(live, {1}));
     }},
    {"sweep", [] { return AddEvents() + MarkOld(); }, [] { return Sweep(2) == 3 ? 0 : 1; },
     [](const auto& live) {
         return live == std::vector<std::int64_t>{4, 5, 6};
     }},
};

/// The pass after: what recorders left, then the sweep, then the check.
std::string PassAndJudge(const Scenario& scenario)
{
    if (RecoverRecorders() != 0 || Sweep() < 0) {
        return "the pass failed";
    }
    for (const std::string& violation : Check()) {
        return violation;
    }
    std::vector<std::int64_t> live;
    EventFilterParam all;
    std::list<Event> events;
    if (EventListGetAll(all, events) != 0) {
        return "the events cannot be listed";
    }
    for (const Event& event : events) {
        live.push_back(event.GetId());
    }
    if (static_cast<int>(live.size()) != CountFiles()) {
        return "rows and files differ";
    }
    return scenario.mayRemain(live) ? "" : "live: " + Live();
}

} // namespace

// Catches: an orphan row or file, an event that goes without having been marked or out of order, after a kill
// at any call.
TEST(RecKillTest, OnePassMendsWhatAKillLeft)
{
    for (const Scenario& scenario : SCENARIOS) {
        SCOPED_TRACE(scenario.name);
        const TempRoot root;
        EXPECT_GE(KillAtEachPoint(root.Path(), scenario.prepare, scenario.work,
                                  [&] { return PassAndJudge(scenario); }),
                  13);
    }
}
