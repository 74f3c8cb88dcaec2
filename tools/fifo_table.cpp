// SPDX-License-Identifier: Apache-2.0
// tools/fifo_table.cpp - aligned columns.
#include "fifo_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

std::string SizeText(std::uint64_t bytes)
{
    static constexpr std::array<const char*, 4> UNITS{"B", "KiB", "MiB", "GiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < UNITS.size()) {
        value /= 1024.0;
        ++unit;
    }
    return fmt::format("{:.{}f} {}", value, unit == 0 ? 0 : 1, UNITS[unit]);
}

std::string PictureText(const FifoFacts& facts)
{
    const ShmFifoSnapshot& s = facts.snapshot;
    return s.width == 0 && s.height == 0 ? "-" : fmt::format("{}x{}", s.width, s.height);
}

std::string CreatorText(const FifoFacts& facts)
{
    return fmt::format("{}{}", facts.header.creator, facts.creatorAlive ? "" : " (dead)");
}

Table FifoTable(const std::vector<FifoFacts>& fifos)
{
    Table table({">KEY", "CODEC", "PICTURE", ">SLOTS", ">NEWEST", ">FPS", ">READ FPS", ">READ/S", ">MEMORY",
                 ">READERS", ">CREATOR", "STATE"});
    for (const FifoFacts& facts : fifos) {
        const ShmFifoSnapshot& s = facts.snapshot;
        const auto shown = [&facts](bool there, int value) {
            return facts.known && there ? std::to_string(value) : std::string("-");
        };
        table.AddRow({std::to_string(facts.key), s.codec.empty() ? "-" : s.codec, PictureText(facts),
                      facts.known ? std::to_string(s.fifoCnt) : std::to_string(facts.slotRows.size()),
                      shown(facts.NewestId() >= 0, facts.NewestId()), shown(s.writeFPS >= 0, s.writeFPS),
                      shown(true, s.readFPS),
                      facts.known ? SizeText(static_cast<std::uint64_t>(std::max(0, s.readBPS))) : "-",
                      SizeText(facts.Bytes()), std::to_string(facts.Readers()), CreatorText(facts),
                      facts.headerGone ? "left over, no header" : TextOf(facts.state)});
    }
    return table;
}
