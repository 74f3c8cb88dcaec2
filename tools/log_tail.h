// SPDX-License-Identifier: Apache-2.0
// tools/log_tail.h - vx log tail.
#pragma once

#include "nouns.h"

/// Adds the verb to the noun log.
void AddLogTail(CLI::App& log);
