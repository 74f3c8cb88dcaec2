// SPDX-License-Identifier: Apache-2.0
// tools/agree.h - asking before something is removed.
#pragma once

#include <string>
#include <string_view>

/// Asks "QUESTION [y/N] " on standard error. Ends the verb when there is nobody to ask.
///
/// @param yes  the option --yes: do not ask
/// @return whether to go on.
bool Agreed(std::string_view verb, const std::string& question, bool yes);
