// SPDX-License-Identifier: Apache-2.0
// tools/fifo_rm.cpp - vx fifo rm: removes the segments that a dead writer left.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "agree.h"
#include "fail.h"
#include "fifo_common.h"
#include "fifo_facts.h"
#include "fifo_table.h"

namespace {

struct Options {
    int key = 0;
    bool yes = false;
    bool force = false;
    bool dryRun = false;
    bool json = false;
};

std::vector<ShmRow> SegmentsOf(const FifoFacts& facts)
{
    std::vector<ShmRow> segments = facts.slotRows;
    if (!facts.headerGone) {
        segments.push_back(facts.header); // last: as long as it is there, rm finds the slots again
    }
    return segments;
}

int AttachedTo(const std::vector<ShmRow>& segments)
{
    int attached = 0;
    for (const ShmRow& row : segments) {
        attached += row.attached;
    }
    return attached;
}

FifoFacts Look(int key)
{
    FifoFacts facts;
    const std::vector<ShmRow> rows = ListShm();
    if (FindFifo(rows, key, facts)) {
        return facts;
    }
    const ShmRow* const row = FindKey(rows, key);
    if (row == nullptr) {
        Fail(EXIT_UNREACHABLE, "fifo rm", "key {}: there is nothing; see vx fifo ls", KeyText(key));
    }
    Fail(EXIT_REFUSED, "fifo rm",
         "key {}: not a FIFO: {} bytes, made by process {}; ipcrm -M {} removes it all the same",
         KeyText(key), row->bytes, row->creator, key);
}

void RefuseIfUsed(const FifoFacts& facts, const std::vector<ShmRow>& segments)
{
    if (facts.creatorAlive) {
        Fail(EXIT_REFUSED, "fifo rm", "key {}: process {}, which made it, is alive; end it, or use --force",
             KeyText(facts.key), facts.header.creator);
    }
    if (AttachedTo(segments) == 0) {
        return;
    }
    std::string who;
    for (const ShmHolder& holder : HoldersOf(facts.header.shmId)) {
        who += fmt::format("{}{} {}", who.empty() ? "" : ", ", holder.pid, holder.name);
    }
    Fail(EXIT_REFUSED, "fifo rm", "key {}: still attached by {}; end them, or use --force",
         KeyText(facts.key), who.empty() ? "processes of other users" : who);
}

void Print(const FifoFacts& facts, const std::vector<ShmRow>& segments, const char* verb)
{
    fmt::print("{} the FIFO under {}: {} segments, {}, made by process {}\n", verb, KeyText(facts.key),
               segments.size(), SizeText(facts.Bytes()), CreatorText(facts));
}

void PrintRemoved(const FifoFacts& facts, const std::vector<ShmRow>& segments, bool removed)
{
    Json::Value json(Json::objectValue);
    json["key"] = facts.key;
    json["removed"] = removed;
    json["bytes"] = static_cast<Json::UInt64>(facts.Bytes());
    json["segments"] = Json::Value(Json::arrayValue);
    for (const ShmRow& row : segments) {
        json["segments"].append(row.key);
    }
    PrintJson(json);
}

void Remove(const FifoFacts& facts, const std::vector<ShmRow>& segments)
{
    if (!facts.headerGone) {
        CloseForReaders(facts.header);
    }
    for (const ShmRow& row : segments) {
        if (!RemoveShm(row.shmId)) {
            Fail(errno == EPERM ? EXIT_UNREACHABLE : EXIT_FOUND, "fifo rm",
                 "segment {} (key {}): cannot be removed: {}", row.shmId, row.key, std::strerror(errno));
        }
    }
}

void Run(const Options& options)
{
    const FifoFacts facts = Look(options.key);
    const std::vector<ShmRow> segments = SegmentsOf(facts);
    if (!options.force) {
        RefuseIfUsed(facts, segments);
    }
    if (!options.json) {
        Print(facts, segments, options.dryRun ? "Would remove" : "To be removed:");
    }
    const bool go = !options.dryRun &&
                    Agreed("fifo rm", fmt::format("Remove {} segments?", segments.size()), options.yes);
    if (go) {
        Remove(facts, segments);
    }
    if (options.json) {
        PrintRemoved(facts, segments, go);
    }
}

} // namespace

void AddFifoRm(CLI::App& fifo)
{
    CLI::App* const verb =
        fifo.add_subcommand("rm", "Remove what a writer that is gone has left under a key");
    const auto options = std::make_shared<Options>();
    AddKeyArgument(*verb, options->key);
    verb->add_flag("--yes", options->yes, "Do not ask");
    verb->add_flag("--dry-run", options->dryRun, "Only say what would be removed");
    verb->add_flag("--force", options->force, "Even if the writer is alive or readers are attached");
    verb->add_flag("--json", options->json, "Print one object");
    verb->callback([options] { Run(*options); });
}
