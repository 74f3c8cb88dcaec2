// SPDX-License-Identifier: Apache-2.0
// tools/completion.h - what shells complete, as their own scripts.
#pragma once

namespace CLI {
class App;
}

void PrintBash(const CLI::App& vx);
void PrintZsh(const CLI::App& vx);
void PrintFish(const CLI::App& vx);
