// SPDX-License-Identifier: Apache-2.0
// bench/support/main.cpp - the main of every benchmark program.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "package/dbglog.h"
#include "support/root.h"

namespace {

DbgLogCfg g_quiet{}; // in place of the shared record: a benchmark must not depend on what an operator has set

} // namespace

BenchRoot::BenchRoot()
{
    char path[] = "/tmp/vxbench-XXXXXX";
    if (::mkdtemp(path) == nullptr) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    m_path = path;
    ::setenv("VX_ROOT", path, 1);
    std::fill(std::begin(g_quiet.threshold), std::end(g_quiet.threshold), 3);
    g_pDbgLogCfg = &g_quiet;
}

BenchRoot::~BenchRoot()
{
    std::error_code ignored; // what cannot be removed stays in /tmp
    std::filesystem::remove_all(m_path, ignored);
}

int main(int argc, char** argv)
{
    const BenchRoot root;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
