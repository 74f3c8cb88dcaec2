// SPDX-License-Identifier: Apache-2.0
// tools/nouns.h - what each file of this folder adds to vx, and how a verb ends.
#pragma once

#include <CLI/CLI.hpp>

/// How vx ends. A verb that ends other than DONE throws CLI::RuntimeError(code) after its message.
enum ExitCode : int {
    EXIT_DONE = 0,        ///< did what was asked
    EXIT_FOUND = 1,       ///< found a problem, or failed
    EXIT_USAGE = 2,       ///< called wrongly
    EXIT_UNREACHABLE = 3, ///< cannot reach what it needs
    EXIT_REFUSED = 4,     ///< refused for safety
};

/// One function a noun, in the file that is named after it.
#ifdef VX_WITH_MEDIA
void AddCaptureNoun(CLI::App& vx);
void AddRecordNoun(CLI::App& vx);
#endif
void AddDbNoun(CLI::App& vx);
void AddFifoNoun(CLI::App& vx);
void AddHistoryNoun(CLI::App& vx);
void AddLogNoun(CLI::App& vx);
void AddMsgNoun(CLI::App& vx);
void AddRuleNoun(CLI::App& vx);
void AddWebhookNoun(CLI::App& vx);
