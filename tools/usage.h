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

/// For every option that takes a number: an empty text, such as a script's variable that was never set, is none, where
/// the parser would read 0 ("any age"); nor is "nan". 030 is thirty, where it would read twenty-four.
void RefuseWhatIsNoNumber(CLI::App& app);
