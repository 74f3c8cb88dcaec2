// SPDX-License-Identifier: Apache-2.0
// tools/exit_code.h - how vx ends.
#pragma once

/// How vx ends. A verb that ends other than DONE throws CLI::RuntimeError(code) after its message.
enum ExitCode : int {
    EXIT_DONE = 0,        ///< did what was asked
    EXIT_FOUND = 1,       ///< found a problem, or failed
    EXIT_USAGE = 2,       ///< called wrongly
    EXIT_UNREACHABLE = 3, ///< cannot reach what it needs
    EXIT_REFUSED = 4,     ///< refused for safety
};
