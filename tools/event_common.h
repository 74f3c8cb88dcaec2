// SPDX-License-Identifier: Apache-2.0
// tools/event_common.h - what the verbs of vx event share.
#pragma once

#include <string>
#include <string_view>

#include "nouns.h"

/// Whether a database was made yet; asking one that was not would make it.
bool HasDatabase(const std::string& dbPath);

/// Ends the verb because a database cannot be read or changed.
[[noreturn]] void FailOnEvents(std::string_view verb, const std::string& dbPath);

/// Ends the verb when the volume of a database is not there, or another one is.
void RefuseUnlessSame(std::string_view verb, const std::string& dbPath);

/// adopt.
void AddEventAdoptVerb(CLI::App& event);

/// sweep, check and repair.
void AddEventSweepVerbs(CLI::App& event);
