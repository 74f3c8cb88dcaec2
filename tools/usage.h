// SPDX-License-Identifier: Apache-2.0
// tools/usage.h - what vx says when it is called wrongly.
#pragma once

#include <string>

namespace CLI {
class App;
class Error;
} // namespace CLI

/// "vx fifo stat: KEY is required; see vx fifo stat --help": the noun and verb as far as they were understood, what
/// is wrong, and what there is instead.
std::string UsageText(const CLI::App& vx, const CLI::Error& error);
