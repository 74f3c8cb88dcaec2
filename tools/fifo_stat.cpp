// SPDX-License-Identifier: Apache-2.0
// tools/fifo_stat.cpp - vx fifo stat: one FIFO with its slots and holders.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "fail.h"
#include "fifo_common.h"
#include "fifo_json.h"
#include "fifo_table.h"
#include "nouns.h"
#include "shmfifo.h"

namespace {

struct Options {
    int key = 0;
    bool json = false;
};

void PrintLine(const char* what, const std::string& text)
{
    fmt::print("{:<12}{}\n", what, text);
}

void PrintHeader(const FifoFacts& facts)
{
    const ShmFifoSnapshot& s = facts.snapshot;
    PrintLine("key", KeyText(facts.key));
    PrintLine("state",
              facts.headerGone ? "left over: the header is gone, slots are there" : TextOf(facts.state));
    PrintLine("creator", CreatorText(facts));
    PrintLine("memory", fmt::format("{} in {} segments", SizeText(facts.Bytes()),
                                    facts.slotRows.size() + (facts.headerGone ? 0 : 1)));
    if (!facts.known) {
        return;
    }
    PrintLine("codec",
              fmt::format("{}, {} bytes of extra data", s.codec.empty() ? "not set" : s.codec, s.extraSize));
    PrintLine("picture", PictureText(facts));
    PrintLine("write rate", s.writeFPS < 0 ? "not yet measured" : fmt::format("{} frames/s", s.writeFPS));
    PrintLine("read rate", fmt::format("{} frames/s, {}/s, all readers together", s.readFPS,
                                       SizeText(static_cast<std::uint64_t>(std::max(0, s.readBPS)))));
    PrintLine("frames", fmt::format("newest {}, newest key frame {}, next {}", facts.NewestId(),
                                    facts.KeyFrameId(), s.nextId));
    PrintLine("readers", fmt::format("{} now, {} connections so far", facts.Readers(), s.connectCnt));
}

void PrintHolders(const FifoFacts& facts)
{
    if (facts.headerGone) {
        return;
    }
    std::string text;
    for (const ShmHolder& holder : HoldersOf(facts.header.shmId)) {
        text += fmt::format("{}{} {}{}", text.empty() ? "" : ", ", holder.pid, holder.name,
                            holder.pid == facts.header.creator ? " (writer)" : "");
    }
    PrintLine("held by", text.empty() ? "nobody whose maps can be read" : text);
}

std::string FrameText(int value, bool there)
{
    return there ? std::to_string(value) : "-";
}

void PrintSlots(const FifoFacts& facts)
{
    Table table(
        {">SLOT", ">ID", "TYPE", ">SIZE", ">TIMESTAMP", ">ROOM", ">GENERATION", ">MARKS", ">READERS", ""});
    int index = 0;
    for (const ShmSlotSnapshot& slot : facts.snapshot.slots) {
        const bool written = slot.id != SHM_FIFO_NO_FRAME_ID;
        const bool shown = written && slot.frameRead;
        table.AddRow({std::to_string(index), FrameText(slot.id, written),
                      shown ? FrameType(slot.frameFlags) : "-", FrameText(slot.frameSize, shown),
                      shown ? std::to_string(slot.timestamp) : "-", std::to_string(slot.capacity),
                      std::to_string(slot.generation), std::to_string(slot.writerMarks),
                      std::to_string(slot.readers),
                      fmt::format("{}{}", index == facts.snapshot.lastIdx ? "newest " : "",
                                  index == facts.snapshot.latestIframeIdx ? "key frame" : "")});
        ++index;
    }
    std::puts("");
    table.Print();
}

void Run(const Options& options)
{
    FifoFacts facts;
    if (!FindFifo(ListShm(), options.key, facts)) {
        ExitCode exitCode = EXIT_UNREACHABLE;
        const std::string why = WhyUnreadable(options.key, exitCode);
        Fail(exitCode, "fifo stat", "{}",
             why.empty() ? KeyText(options.key) + " came up just now; try again" : why);
    }
    if (options.json) {
        Json::Value json = ToJson(facts);
        json["holders"] = HoldersJson(facts);
        json["slotTable"] = SlotsJson(facts.snapshot);
        PrintJson(json);
        return;
    }
    PrintHeader(facts);
    PrintHolders(facts);
    if (facts.known) {
        PrintSlots(facts);
        return;
    }
    ExitCode exitCode = EXIT_DONE;
    const std::string why = facts.headerGone ? "" : WhyUnreadable(options.key, exitCode);
    if (!why.empty()) {
        Fail(exitCode, "fifo stat", "{}", why);
    }
}

} // namespace

void AddFifoStat(CLI::App& fifo)
{
    CLI::App* const verb =
        fifo.add_subcommand("stat", "One FIFO: stream, rates, slots with their marks, holders");
    const auto options = std::make_shared<Options>();
    AddKeyArgument(*verb, options->key);
    verb->add_flag("--json", options->json, "Print one object");
    verb->callback([options] { Run(*options); });
}
