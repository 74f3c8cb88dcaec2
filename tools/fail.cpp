// SPDX-License-Identifier: Apache-2.0
#include "fail.h"

#include <CLI/CLI.hpp>
#include <cstdio>

void FailWith(ExitCode code, std::string_view verb, std::string_view text)
{
    const std::string line = fmt::format("vx {}: {}\n", verb, text);
    std::fputs(line.c_str(), stderr);
    throw CLI::RuntimeError(code);
}
