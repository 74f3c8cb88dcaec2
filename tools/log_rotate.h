// SPDX-License-Identifier: Apache-2.0
// tools/log_rotate.h - the verbs of vx log about logs that are kept in tables.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nouns.h"
#include "package/logrotatesettings.h"

/// The words for logs, in the order of their numbers: system, event, io-module ...
const std::vector<std::string>& LogWords();
/// The log of a word; ends the verb for another word.
VX_ROTATED_LOG ParseLog(std::string_view verb, const std::string& word);

void AddLogRotate(CLI::App& log);
void AddLogKeep(CLI::App& log);
void AddLogArchive(CLI::App& log);
void AddLogAdd(CLI::App& log);
