// SPDX-License-Identifier: Apache-2.0
// tools/fail.h - how a verb gives up: one line to standard error, then the exit code.
#pragma once

#include <fmt/core.h>

#include <string>
#include <string_view>

#include "exit_code.h"

/// Prints "vx VERB: TEXT" to standard error and ends the verb by throwing CLI::RuntimeError(code).
[[noreturn]] void FailWith(ExitCode code, std::string_view verb, std::string_view text);

/// The same with a text that is formatted.
///
/// @param verb    noun and verb as typed: "log set"
/// @param format  what failed, where, and what to do; no newline
template <typename... Args>
[[noreturn]] void Fail(ExitCode code, std::string_view verb, fmt::format_string<Args...> format,
                       Args&&... args)
{
    FailWith(code, verb, fmt::vformat(format, fmt::make_format_args(args...)));
}
