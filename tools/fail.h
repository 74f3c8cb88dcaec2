// SPDX-License-Identifier: Apache-2.0
// tools/fail.h - how a verb gives up: one line to standard error, then the exit code.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "nouns.h"

/// Prints "vx VERB: TEXT" to standard error and ends the verb.
///
/// @param verb    noun and verb as typed: "log set"
/// @param format  what failed, where, and what to do; no newline
template <typename... Args>
[[noreturn]] void Fail(ExitCode code, std::string_view verb, fmt::format_string<Args...> format,
                       Args&&... args)
{
    const std::string line =
        fmt::format("vx {}: {}\n", verb, fmt::format(format, std::forward<Args>(args)...));
    std::fputs(line.c_str(), stderr);
    throw CLI::RuntimeError(code);
}
