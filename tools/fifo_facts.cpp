// SPDX-License-Identifier: Apache-2.0
// tools/fifo_facts.cpp - joins the kernel's list of segments with what the headers say.
#include "fifo_facts.h"

#include <algorithm>
#include <cstddef>

#include "shmfifo.h"

namespace {

constexpr std::uint64_t HEADER_BYTES_32 = 2220;
constexpr std::uint64_t HEADER_BYTES_64 = 2608;
static_assert(sizeof(ShmStreamFifo) == (sizeof(void*) == 4 ? HEADER_BYTES_32 : HEADER_BYTES_64));

/// A slot says how long its segment is and which slot it is; nothing else looks like that by chance.
bool IsSlot(const ShmRow& row, int& index)
{
    DataEntry entry{};
    if (row.bytes <= sizeof(DataEntry) || row.bytes > SHM_FIFO_MAX_ENTRY_SIZE + sizeof(DataEntry) ||
        !PeekSegment(row.shmId, &entry, offsetof(DataEntry, data))) {
        return false;
    }
    index = entry.index;
    return index >= 0 && index < SHM_FIFO_MAX_COUNT && entry.capacity > 0 &&
           static_cast<std::uint64_t>(entry.capacity) + sizeof(DataEntry) == row.bytes;
}

/// The slots that a FIFO of this key and this creator has, or had.
std::vector<ShmRow> SlotsBehind(const std::vector<ShmRow>& rows, int key, pid_t creator)
{
    std::vector<ShmRow> slots;
    for (const ShmRow& row : rows) {
        const long long distance = static_cast<long long>(row.key) - key;
        int index = 0;
        if (distance >= 1 && distance <= SHM_FIFO_MAX_COUNT && row.creator == creator && IsSlot(row, index)) {
            slots.push_back(row);
        }
    }
    return slots;
}

FifoState StateOf(const FifoFacts& facts, ShmInspectResult result)
{
    if (IsOtherWidth(facts.header)) {
        return FifoState::OTHER_WIDTH;
    }
    if (!facts.creatorAlive) {
        return FifoState::LEFT_OVER;
    }
    if (result == ShmInspectResult::NO_ACCESS) {
        return FifoState::NO_ACCESS;
    }
    if (result != ShmInspectResult::OK) {
        return FifoState::BROKEN;
    }
    return facts.snapshot.attached ? FifoState::LIVE : FifoState::CLOSED;
}

/// Fills the facts if the row is the header of a FIFO. One that cannot be understood is known by its slots.
bool FromHeader(const std::vector<ShmRow>& rows, const ShmRow& row, FifoFacts& facts)
{
    if (row.bytes != sizeof(ShmStreamFifo) && !IsOtherWidth(row)) {
        return false;
    }
    const ShmInspectResult result = ShmFifoInspector::Inspect(row.key, facts.snapshot);
    facts.known = result == ShmInspectResult::OK;
    facts.key = row.key;
    facts.header = row;
    facts.slotRows = SlotsBehind(rows, row.key, row.creator);
    facts.creatorAlive = CreatorAlive(row);
    facts.state = StateOf(facts, result);
    return facts.known || !facts.slotRows.empty() || result == ShmInspectResult::NO_ACCESS;
}

bool BelongsToOne(const std::vector<FifoFacts>& fifos, const ShmRow& row)
{
    return std::any_of(fifos.begin(), fifos.end(), [&row](const FifoFacts& facts) {
        return std::any_of(facts.slotRows.begin(), facts.slotRows.end(),
                           [&row](const ShmRow& slot) { return slot.shmId == row.shmId; });
    });
}

/// Slots whose header is gone are shown under the key that the header had (when no key was skipped in making it).
void AddHeaderless(const std::vector<ShmRow>& rows, std::vector<FifoFacts>& fifos)
{
    for (const ShmRow& row : rows) {
        int index = 0;
        if (BelongsToOne(fifos, row) || !IsSlot(row, index)) {
            continue;
        }
        FifoFacts facts;
        facts.key = row.key - index - 1;
        facts.headerGone = true;
        facts.header = row;
        facts.slotRows = SlotsBehind(rows, facts.key, row.creator);
        facts.creatorAlive = CreatorAlive(row);
        facts.state = facts.creatorAlive ? FifoState::CLOSED : FifoState::LEFT_OVER;
        fifos.push_back(facts);
    }
}

} // namespace

std::uint64_t FifoFacts::Bytes() const
{
    std::uint64_t sum = headerGone ? 0 : header.bytes;
    for (const ShmRow& row : slotRows) {
        sum += row.bytes;
    }
    return sum;
}

int FifoFacts::Readers() const
{
    if (headerGone) {
        return 0;
    }
    const bool writerHasIt = creatorAlive && state != FifoState::CLOSED;
    return std::max(0, header.attached - (writerHasIt ? 1 : 0));
}

int FifoFacts::NewestId() const
{
    const std::size_t idx = static_cast<std::size_t>(snapshot.lastIdx);
    return known && snapshot.lastIdx >= 0 && idx < snapshot.slots.size() ? snapshot.slots[idx].id : -1;
}

int FifoFacts::KeyFrameId() const
{
    const std::size_t idx = static_cast<std::size_t>(snapshot.latestIframeIdx);
    return known && snapshot.latestIframeIdx >= 0 && idx < snapshot.slots.size() ? snapshot.slots[idx].id
                                                                                 : -1;
}

const char* TextOf(FifoState state)
{
    switch (state) {
    case FifoState::LIVE:
        return "live";
    case FifoState::CLOSED:
        return "closed";
    case FifoState::LEFT_OVER:
        return "left over";
    case FifoState::OTHER_WIDTH:
        return OtherWidth();
    case FifoState::BROKEN:
        return "broken header";
    case FifoState::NO_ACCESS:
        return "no permission";
    }
    return "unknown";
}

bool IsOtherWidth(const ShmRow& row)
{
    return row.bytes == (sizeof(void*) == 4 ? HEADER_BYTES_64 : HEADER_BYTES_32);
}

const char* OtherWidth()
{
    return sizeof(void*) == 4 ? "64-bit" : "32-bit";
}

std::vector<FifoFacts> ListFifos(const std::vector<ShmRow>& rows)
{
    std::vector<FifoFacts> fifos;
    for (const ShmRow& row : rows) {
        FifoFacts facts;
        if (FromHeader(rows, row, facts)) {
            fifos.push_back(facts);
        }
    }
    AddHeaderless(rows, fifos);
    std::sort(fifos.begin(), fifos.end(),
              [](const FifoFacts& a, const FifoFacts& b) { return a.key < b.key; });
    return fifos;
}

bool FindFifo(const std::vector<ShmRow>& rows, int key, FifoFacts& facts)
{
    for (const FifoFacts& one : ListFifos(rows)) {
        if (one.key == key) {
            facts = one;
            return true;
        }
    }
    return false;
}
