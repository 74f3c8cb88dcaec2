// SPDX-License-Identifier: Apache-2.0
// utils/shmfifocopy.cpp - hands frames out: the view in place, the checked copy, and the release of a claim.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "package/monoclock.h"
#include "package/shmcommoncfg.h"
#include "shm_sync.h"
#include "shmfifo.h"
#include "shmfifo_internal.h"

namespace {

constexpr std::int64_t SEC_PER_DAY = 86400;

/// Whether this package lets frames out: its shared configuration is there, does not hold frames back, and
/// was kept fresh within a day of now.
bool FramesAllowed() noexcept
{
    ShmCommonCfg* const pCfg = VxShmCommonCfgAt();
    if (pCfg == nullptr || ShmLoad(pCfg->holdFrames) != 0) {
        return false;
    }
    return std::llabs(std::int64_t{GetMonoTimeSec()} - ShmLoad(pCfg->freshMonoSec)) <= SEC_PER_DAY;
}

/// The copy that may run against the writer when a claim was taken by force. Its result is believed only
/// after StillHolds().
void CopyFrameBytes(unsigned char* dst, const unsigned char* src, int size) noexcept
{
    std::memcpy(dst, src, static_cast<std::size_t>(size));
}

/// The slot of a frame: where the reader's table has it, else what the frame says.
int SlotOf(const DataEntry* pEntry, const DATA_ENTRY_INFO* table) noexcept
{
    const int idx = ShmLoad(pEntry->index);
    if (table == nullptr || (idx >= 0 && idx < SHM_FIFO_MAX_COUNT && table[idx].entry == pEntry)) {
        return idx;
    }
    const DATA_ENTRY_INFO* const pEnd = table + SHM_FIFO_MAX_COUNT;
    const DATA_ENTRY_INFO* const pFound =
        std::find_if(table, pEnd, [=](const DATA_ENTRY_INFO& record) { return record.entry == pEntry; });
    return pFound == pEnd ? idx : static_cast<int>(pFound - table);
}

} // namespace

/// What a copying reader has: where the bytes go, and the frame's header as it was before the copy.
struct ShmStreamFifo::FrameCopy {
    unsigned char*& buf;
    int& size;
    int id = SHM_FIFO_NO_FRAME_ID;
    int flags = 0;
    int es = MEDIA_ES_NONE;
    long long timestamp = 0;

    int Fill(int& toId, long long& toTimestamp, MediaES& toEs, int& toFlags) const noexcept
    {
        toId = id;
        toTimestamp = timestamp;
        toEs = static_cast<MediaES>(es);
        toFlags = flags;
        return 0;
    }
};

bool ShmStreamFifo::GetValidFrame(DataEntry* pEntry, unsigned char*& data, int& size) noexcept
{
    data = nullptr;
    size = 0;
    if (pEntry == nullptr || !FramesAllowed()) {
        return false;
    }
    const int stored = ShmLoad(pEntry->size);
    const bool isMapping = SegmentBytesAt(pEntry) != 0; // else the caller's own memory
    data = pEntry->data;
    size = stored;
    if (stored < 1 || stored > SHM_FIFO_MAX_FRAME_SIZE || (isMapping && !HasRoom(pEntry, stored))) {
        data = nullptr;
        size = 0;
        return false;
    }
    return true;
}

void ShmStreamFifo::ReadDataEntry(DataEntry* pEntry, unsigned char*& buf, int& size) noexcept
{
    unsigned char* data = nullptr;
    int frameSize = 0;
    if (!GetValidFrame(pEntry, data, frameSize)) {
        return;
    }
    if (buf == nullptr) {
        buf = new (std::nothrow) unsigned char[static_cast<std::size_t>(frameSize)];
        size = buf != nullptr ? frameSize : 0;
    } else {
        size = std::clamp(size, 0, frameSize);
    }
    if (size > 0) {
        CopyFrameBytes(buf, data, size);
    }
}

/// Whether a slot has been left alone since frame `id` of this generation was claimed in it.
///
/// A writer that takes a slot by force throws the readers' counts away first, then overwrites the bytes, then
/// changes the ID, then clears its mark. So while it writes, the count is 0; once it has written, the ID is
/// another one. A count above 0 together with the old ID means that not one byte has been touched. A pending
/// writer mark alone means nothing: it waits for the readers.
bool ShmStreamFifo::StillHolds(int idx, const DataEntry* pEntry, int id, int generation) noexcept
{
    if (idx < 0 || idx >= SHM_FIFO_MAX_COUNT) {
        return false;
    }
    DATA_ENTRY_INFO& slot = m_entryArr[idx];
    const std::uint32_t mark = MarkWord(slot.mark).LoadAfterCopy();
    return (mark & MarkWord::READER_MASK) != 0 && ShmLoad(pEntry->id) == id &&
           ShmLoad(slot.generation) == generation;
}

bool ShmStreamFifo::IsIntact(const DataEntry* pEntry, int id) noexcept
{
    if (pEntry == nullptr) {
        return false;
    }
    const int idx = ShmLoad(pEntry->index);
    return idx >= 0 && idx < SHM_FIFO_MAX_COUNT &&
           StillHolds(idx, pEntry, id, ShmLoad(m_entryArr[idx].generation));
}

/// Copies a claimed frame and releases the claim. What was copied counts only if the slot held still.
int ShmStreamFifo::CopyOut(DataEntry* pEntry, FrameCopy& frame, bool updateStat,
                           DATA_ENTRY_INFO* table) noexcept
{
    if (pEntry == nullptr) {
        frame.size = 0;
        return -1;
    }
    const int idx = SlotOf(pEntry, table);
    const int generation = idx >= 0 && idx < SHM_FIFO_MAX_COUNT ? ShmLoad(m_entryArr[idx].generation) : 0;
    const int frameCnt = ShmLoad(pEntry->frameCnt);
    const int storedSize = ShmLoad(pEntry->size);
    frame.id = ShmLoad(pEntry->id);
    frame.flags = ShmLoad(pEntry->flags);
    frame.es = ShmLoad(pEntry->es);
    frame.timestamp = LoadTimestamp(*pEntry);

    unsigned char* const callersBuf = frame.buf;
    int copied = frame.size;
    unsigned char* data = nullptr;
    int validSize = 0;
    bool good = GetValidFrame(pEntry, data, validSize);
    if (good) {
        ReadDataEntry(pEntry, frame.buf, copied);
        good = frame.buf != nullptr && StillHolds(idx, pEntry, frame.id, generation) &&
               ShmLoad(pEntry->size) == storedSize && LoadTimestamp(*pEntry) == frame.timestamp;
    }
    if (!good && callersBuf == nullptr) {
        delete[] frame.buf;
        frame.buf = nullptr;
    }
    frame.size = good ? copied : 0;
    if (good && updateStat) {
        m_readStat.Add(frameCnt, storedSize);
    }
    Release(idx, pEntry, frame.id, generation, table);
    return good ? 0 : -1;
}

/// Counts this reader out, unless its count was thrown away with the frame: what the slot counts now are others.
void ShmStreamFifo::Release(int idx, DataEntry* pEntry, int id, int generation,
                            DATA_ENTRY_INFO* table) noexcept
{
    DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    if (pSlot != nullptr && ShmLoad(pEntry->id) == id && ShmLoad(pSlot->generation) == generation) {
        MarkWord(pSlot->mark).DropReader();
    }
    if (table == nullptr) {
        ShmEntryHandler::DtDataEntry(pEntry);
    }
}

void ShmStreamFifo::ReadFinish(DataEntry* pEntry, bool updateStat, DATA_ENTRY_INFO* table) noexcept
{
    if (pEntry == nullptr) {
        return;
    }
    if (updateStat) {
        m_readStat.Update(pEntry);
    }
    const int idx = SlotOf(pEntry, table);
    const bool known = table != nullptr && idx >= 0 && idx < SHM_FIFO_MAX_COUNT && table[idx].entry == pEntry;
    const DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    const int id = known ? table[idx].id : ShmLoad(pEntry->id);
    const int generation =
        known ? table[idx].generation : (pSlot != nullptr ? ShmLoad(pSlot->generation) : 0);
    Release(idx, pEntry, id, generation, table);
}

// --- copying readers --------------------------------------------------------------------------------------

int ShmStreamFifo::ReadLatest(int& id, unsigned char*& buf, int& size, long long& ts, MediaES& es, int& flags,
                              bool updateStat) noexcept
{
    FrameCopy frame{buf, size};
    return CopyOut(ReadLatest(id, nullptr), frame, updateStat, nullptr) == 0 ? frame.Fill(id, ts, es, flags)
                                                                             : -1;
}

int ShmStreamFifo::ReadLatest(int& id, unsigned char*& buf, int& size, bool updateStat) noexcept
{
    FrameCopy frame{buf, size};
    if (CopyOut(ReadLatest(id, nullptr), frame, updateStat, nullptr) != 0) {
        return -1;
    }
    id = frame.id;
    return 0;
}

int ShmStreamFifo::ReadLatest(unsigned char*& buf, int& size) noexcept
{
    int id = SHM_FIFO_NO_FRAME_ID;
    return ReadLatest(id, buf, size, false);
}

int ShmStreamFifo::ReadNext(int& id, unsigned char*& buf, int& size, long long& ts, MediaES& es, int& flags,
                            bool updateStat) noexcept
{
    FrameCopy frame{buf, size};
    return CopyOut(ReadNext(id, nullptr), frame, updateStat, nullptr) == 0 ? frame.Fill(id, ts, es, flags)
                                                                           : -1;
}

int ShmStreamFifo::ReadLatestIFrame(int& id, unsigned char*& buf, int& size, DATA_ENTRY_INFO* table) noexcept
{
    FrameCopy frame{buf, size};
    if (CopyOut(ReadLatestIFrame(id, table), frame, false, table) != 0) {
        return -1;
    }
    id = frame.id;
    return 0;
}

int ShmStreamFifo::ReadLatestIFrame(unsigned char*& buf, int& size) noexcept
{
    int id = SHM_FIFO_NO_FRAME_ID;
    return ReadLatestIFrame(id, buf, size, nullptr);
}
