// SPDX-License-Identifier: Apache-2.0
// tools/fifo_ls.cpp - vx fifo ls: what exists on this box.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "fifo_common.h"
#include "fifo_json.h"
#include "fifo_table.h"

namespace {

void Run(bool json)
{
    const std::vector<FifoFacts> fifos = ListFifos(ListShm());
    if (json) {
        PrintJson(ToJson(fifos));
        return;
    }
    if (fifos.empty()) {
        std::puts("No FIFO on this box.");
        return;
    }
    FifoTable(fifos).Print();
    if (std::any_of(fifos.begin(), fifos.end(),
                    [](const FifoFacts& f) { return f.state == FifoState::LEFT_OVER; })) {
        std::puts("\nWhat is left over goes by: vx fifo rm KEY");
    }
}

} // namespace

void AddFifoLs(CLI::App& fifo)
{
    CLI::App* const verb =
        fifo.add_subcommand("ls", "What exists on this box, and whether its writer still runs");
    const auto json = std::make_shared<bool>(false);
    verb->add_flag("--json", *json, "Print an array of objects");
    verb->callback([json] { Run(*json); });
}
