// SPDX-License-Identifier: Apache-2.0
// tools/log.cpp - vx log: thresholds of running processes.
#include "nouns.h"

void AddLogNoun(CLI::App& vx)
{
    vx.add_subcommand("log", "Show and change what running processes log");
}
