// SPDX-License-Identifier: Apache-2.0
// tools/reach.h - whether this user gets at what is stored.
#pragma once

#include <string_view>

/// Ends the verb with one line where the folder of the databases may not be read by this user or cannot be made.
void ReachDatabases(std::string_view verb);
