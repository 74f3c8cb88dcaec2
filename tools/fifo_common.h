// SPDX-License-Identifier: Apache-2.0
// tools/fifo_common.h - what the verbs of vx fifo share: keys, refusals, names.
#pragma once

#include <string>

#include "exit_code.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

/// The key of a verb, in decimal or with 0x in front.
void AddKeyArgument(CLI::App& verb, int& key);
/// A further key, as an option.
CLI::Option* AddKeyOption(CLI::App& verb, const std::string& name, int& key, const std::string& description);

/// "4711 (0x1267)", as messages name a key.
std::string KeyText(int key);

/// What stands between this build and the FIFO under a key, with what to do about it; an empty text if nothing does.
std::string WhyUnreadable(int key, ExitCode& exitCode);

/// Why no reader gets a frame on this box, with what to do about it; an empty text if nothing stands in the way.
std::string WhyNoFrames();

/// "I", "P", "B", "PB", "-" by the first flag that is set; "N" for a frame that is only known not to be a key frame.
const char* FrameType(int flags);

/// One function a verb, in the file that is named after it.
void AddFifoCat(CLI::App& fifo);
void AddFifoLs(CLI::App& fifo);
void AddFifoRm(CLI::App& fifo);
void AddFifoStat(CLI::App& fifo);
void AddFifoTail(CLI::App& fifo);
void AddFifoTop(CLI::App& fifo);
