// SPDX-License-Identifier: Apache-2.0
// tools/fifo.cpp - vx fifo: the FIFOs of this box, and what flows through them.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>

#include "fifo_common.h"
#include "fifo_facts.h"
#include "nouns.h"
#include "package/root.h"
#include "package/shmcommoncfg.h"
#include "shmfifo.h"

namespace {

/// @return an empty text, or what is wrong with it.
std::string KeyProblem(const std::string& text, int& key)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char* const first = text.data() + (hex ? 2 : 0);
    const char* const last = text.data() + text.size();
    long long value = -1;
    const auto [end, error] = std::from_chars(first, last, value, hex ? 16 : 10);
    if (error != std::errc() || end != last) {
        return fmt::format("{}: not a key; keys are numbers, in decimal or with 0x in front", text);
    }
    constexpr long long LAST_KEY = 0x7FFFFFFF - SHM_FIFO_MAX_COUNT; // the slots need the keys behind it
    if (value < 1 || value > LAST_KEY) {
        return fmt::format("{}: keys are 1 to {}", text, LAST_KEY);
    }
    key = static_cast<int>(value);
    return {};
}

} // namespace

void AddKeyArgument(CLI::App& verb, int& key)
{
    AddKeyOption(verb, "KEY", key, "Key of the FIFO, in decimal or with 0x in front")
        ->required()
        ->type_name("");
}

CLI::Option* AddKeyOption(CLI::App& verb, const std::string& name, int& key, const std::string& description)
{
    const auto parse = [&key, name](const std::string& text) {
        const std::string problem = KeyProblem(text, key);
        if (!problem.empty()) {
            throw CLI::ValidationError(name, problem);
        }
    };
    return verb.add_option_function<std::string>(name, parse, description);
}

std::string KeyText(int key)
{
    return fmt::format("{} (0x{:x})", key, static_cast<unsigned>(key));
}

std::string WhyUnreadable(int key, ExitCode& exitCode)
{
    ShmFifoSnapshot snapshot;
    exitCode = EXIT_UNREACHABLE;
    switch (ShmFifoInspector::Inspect(key, snapshot)) {
    case ShmInspectResult::OK:
        return {};
    case ShmInspectResult::NO_SEGMENT:
        return fmt::format("key {}: there is no FIFO; start its capture process, or see vx fifo ls",
                           KeyText(key));
    case ShmInspectResult::NO_ACCESS:
        return fmt::format("key {}: no permission to read the segment; run as its owner", KeyText(key));
    case ShmInspectResult::OTHER_LENGTH: {
        const std::vector<ShmRow> rows = ListShm();
        const ShmRow* const row = FindKey(rows, key);
        if (row != nullptr && IsOtherWidth(*row)) {
            return fmt::format("key {}: a {} process made this FIFO; use the {} build of vx", KeyText(key),
                               OtherWidth(), OtherWidth());
        }
        return fmt::format("key {}: the segment is not a FIFO: {} bytes long, made by process {}",
                           KeyText(key), row != nullptr ? row->bytes : 0, row != nullptr ? row->creator : 0);
    }
    case ShmInspectResult::NOT_A_FIFO:
        exitCode = EXIT_FOUND;
        return fmt::format(
            "key {}: the header makes no sense; something has written over it: restart its writer",
            KeyText(key));
    case ShmInspectResult::NO_MEMORY:
        break;
    }
    exitCode = EXIT_FOUND;
    return fmt::format("key {}: out of memory", KeyText(key));
}

std::string WhyNoFrames()
{
    if (VxShmCommonCfgAt() != nullptr) {
        return {};
    }
    return fmt::format("{}/run/shmcommon: this user can neither use nor make it, and no frame is read "
                       "without it; run as the recorder's user, or set VX_ROOT to a folder of your own",
                       GetPackageRoot());
}

const char* FrameType(int flags)
{
    if ((flags & FRAME_I) != 0) {
        return "I";
    }
    if ((flags & FRAME_P) != 0) {
        return "P";
    }
    if ((flags & FRAME_B) != 0) {
        return "B";
    }
    if ((flags & FRAME_PB) != 0) {
        return "PB";
    }
    return (flags & FRAME_NON_KEY) != 0 ? "N" : "-";
}

void AddFifoNoun(CLI::App& vx)
{
    CLI::App* const fifo = vx.add_subcommand("fifo", "See, watch and clean up the frame FIFOs of this box");
    fifo->require_subcommand(1);
    AddFifoCat(*fifo);
    AddFifoLs(*fifo);
    AddFifoRm(*fifo);
    AddFifoStat(*fifo);
    AddFifoTail(*fifo);
    AddFifoTop(*fifo);
}
