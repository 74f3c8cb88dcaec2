// SPDX-License-Identifier: Apache-2.0
// bench/support/root.h - a package root of the benchmark's own, and thresholds that suppress all but
// failures.
#pragma once

#include <string>

/// Makes a temporary package root, points VX_ROOT at it and loads thresholds that let only failures through.
/// The destructor removes it; in a forked child nothing does.   Thread-safety: one, in main().
class BenchRoot {
public:
    BenchRoot();
    ~BenchRoot();
    BenchRoot(const BenchRoot&) = delete;
    BenchRoot& operator=(const BenchRoot&) = delete;

private:
    std::string m_path;
};
