// SPDX-License-Identifier: Apache-2.0
// tests/support/kill_loop.h - work that is killed at each of its changes of a file in turn, and judged behind each.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "child_process.h"
#include "kill_points.h"

/// Runs in a child, so that each run has database connections and a fate of its own.
inline int RunInChild(const std::function<int()>& body)
{
    return ChildProcess([&](Channel&) { return body(); }).Wait();
}

/// Prepares what is in the root, then kills `work` on it at one change after the other, each time on what was prepared.
/// Behind each `judge` says what is wrong; empty if nothing. @return at how many changes it was killed
inline int KillAtEachPoint(const std::filesystem::path& root, const std::function<int()>& prepare,
                           const std::function<int()>& work, const std::function<std::string()>& judge)
{
    namespace fs = std::filesystem;
    EXPECT_EQ(RunInChild(prepare), 0);
    const fs::path prepared = root.string() + ".prepared";
    fs::copy(root, prepared, fs::copy_options::recursive);
    int points = 0;
    for (bool isOver = false; !isOver && !::testing::Test::HasFailure(); ++points) {
        for (const auto& entry : fs::directory_iterator(root)) {
            fs::remove_all(entry.path());
        }
        fs::copy(prepared, root, fs::copy_options::recursive);
        const int end = RunInChild([&] {
            ArmKillPoint(points);
            return work();
        });
        EXPECT_LE(end, 0) << "failed by itself at " << points;
        isOver = end == 0;
        EXPECT_EQ(RunInChild([&] {
                      const std::string wrong = judge();
                      std::fprintf(stderr, "%s", wrong.empty() ? "" : (wrong + "\n").c_str());
                      return wrong.empty() ? 0 : 1;
                  }),
                  0)
            << "killed at call " << points;
    }
    fs::remove_all(prepared);
    return points - 1;
}
