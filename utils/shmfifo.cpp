// SPDX-License-Identifier: Apache-2.0
// utils/shmfifo.cpp - makes the segments of a stream FIFO, writes frames into its slots, finds and claims
// them. What each side may rely on is stated in include/shmfifo.h.
#include "shmfifo.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "package/monoclock.h"
#include "shm_copy.h"
#include "shm_segment_internal.h"
#include "shm_sync.h"
#include "shmfifo_internal.h"
#include "vxlog.h"

namespace {

constexpr int NO_KEY = 0xFF; ///< key of a handle that has not been used

const char* FrameTypeName(int flags) noexcept
{
    if ((flags & FRAME_I) != 0) {
        return "I-frame";
    }
    if ((flags & FRAME_P) != 0) {
        return "P-frame";
    }
    if ((flags & FRAME_B) != 0) {
        return "B-frame";
    }
    if ((flags & FRAME_PB) != 0) {
        return "PB-frame";
    }
    return (flags & FRAME_NON_KEY) != 0 ? "Non-key-frame" : "Unknown";
}

/// The sum of words that another process may have scribbled over; a key past the end is negative, refused.
int AddWrapping(int a, int b) noexcept
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

} // namespace

void RetireFifo(int shmId, int key) noexcept
{
    if (!HasLength(shmId, sizeof(ShmStreamFifo))) {
        return;
    }
    if (auto* const pOld = static_cast<ShmStreamFifo*>(AttachSegment(shmId, sizeof(ShmStreamFifo)))) {
        pOld->Retire(key);
        DetachSegment(pOld);
    }
}

// --- one data segment -------------------------------------------------------------------------------------

ShmEntryHandler::ShmEntryHandler() noexcept : m_key(NO_KEY), m_shmId(-1), m_capacity(0), m_pEntry(nullptr) {}

ShmEntryHandler::~ShmEntryHandler()
{
    FreeMem();
}

DataEntry* ShmEntryHandler::GetDataEntry(int size, int idx) noexcept
{
    const std::size_t bytes = static_cast<std::size_t>(size) + sizeof(DataEntry);
    m_shmId = -1; // nothing is under the key
    const int shmId = CreateSegment(m_key, bytes);
    if (shmId < 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR,
               "Failed to allocate shared memory of size [%d] with errno [%d].\n", static_cast<int>(bytes),
               errno);
        return nullptr;
    }
    auto* const pEntry = static_cast<DataEntry*>(AttachSegment(shmId, bytes));
    if (pEntry == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to attach shared memory.\n");
        if (RemoveSegment(shmId) != 0) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to remove shm %m\n");
        }
        return nullptr;
    }
    m_shmId = shmId;
    m_capacity = size;
    m_pEntry = pEntry;
    pEntry->index = idx;
    pEntry->size = 0;
    pEntry->capacity = size;
    pEntry->id = 0;
    pEntry->frameCnt = 0;
    pEntry->flags = FRAME_I; // preset on purpose
    pEntry->timestamp = 0;
    pEntry->es = MEDIA_ES_NONE;
    return pEntry;
}

/// @return this handle's own segment, attached anew; null if it is too small or gone.
DataEntry* ShmEntryHandler::ReuseOwn(int size) noexcept
{
    DetachSegment(m_pEntry);
    m_pEntry = nullptr;
    if (size > m_capacity) {
        return nullptr;
    }
    const std::size_t bytes = static_cast<std::size_t>(size) + sizeof(DataEntry);
    m_pEntry = static_cast<DataEntry*>(AttachSegment(m_shmId, bytes));
    return m_pEntry;
}

DataEntry* ShmEntryHandler::GetDataEntry(int key, int size, int idx) noexcept
{
    if (key < 0 || idx < 0 || size < 1) {
        return nullptr;
    }
    if (key != m_key && SegmentBytesAt(m_pEntry) != 0) {
        FreeMem(); // moves to another key: what it had under the old one would be left behind
    }
    m_key = key;
    RetryPause pause;
    for (;;) {
        const int shmId = FindSegment(key);
        if (shmId < 0) {
            DetachSegment(m_pEntry); // removed by somebody else, and still mapped here
            m_pEntry = nullptr;
            return GetDataEntry(size, idx);
        }
        if (m_pEntry != nullptr && ReuseOwn(size) != nullptr) {
            return m_pEntry;
        }
        if (RemoveSegment(shmId) != 0) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Unable to remove previous shm %m\n");
            pause.Wait();
        }
    }
}

DataEntry* ShmEntryHandler::GetDataEntry() noexcept
{
    const int shmId = FindSegment(ShmLoad(m_key));
    if (shmId < 0) {
        return nullptr;
    }
    return static_cast<DataEntry*>(AttachSegment(shmId, sizeof(DataEntry)));
}

int ShmEntryHandler::GetKey() const noexcept
{
    return ShmLoad(m_key);
}

void ShmEntryHandler::DtDataEntry(DataEntry*& pEntry) noexcept
{
    if (pEntry != nullptr) {
        DetachSegment(pEntry);
        pEntry = nullptr;
    }
}

void ShmEntryHandler::FreeMem() noexcept
{
    DetachSegment(m_pEntry);
    if (m_shmId >= 0 && RemoveOwnSegment(m_shmId, m_key) != 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to remove shm %m\n");
    }
    m_shmId = -1;
    m_pEntry = nullptr;
}

void ShmEntryHandler::RemoveLeftover(int headerKey) const noexcept
{
    const int key = ShmLoad(m_key);
    if (key <= headerKey || std::int64_t{key} - headerKey > SHM_FIFO_MAX_COUNT) {
        return;
    }
    const int shmId = FindSegment(key);
    if (shmId >= 0 && shmId == ShmLoad(m_shmId)) {
        static_cast<void>(RemoveSegment(shmId)); // not ours to remove: who needs the key says so
    }
}

// --- the header: made and freed ---------------------------------------------------------------------------

void ShmStreamFifo::InitHeader(int keyBase) noexcept
{
    ShmStore(m_nextId, 0);
    ShmStore(m_keyBase, keyBase);
    ShmStore(m_lastIdx, -1);
    ShmStore(m_latestIframeIdx, -1);
    m_writeStat.Reset();
    m_readStat.Reset();
    ShmStore(m_width, 0);
    ShmStore(m_height, 0);
    ShmStore(m_connectCnt, 0);
    ShmStore(m_extraSize, 0);
    ShmStore(m_attached, std::uint8_t{1});
    std::memset(m_entryArr, 0, sizeof(m_entryArr));
    std::memset(m_codec, 0, sizeof(m_codec));
    std::memset(m_extra, 0, sizeof(m_extra));
    for (ShmEntryHandler& handler : m_handlerArr) {
        new (&handler) ShmEntryHandler;
    }
}

void ShmStreamFifo::Init(int keyBase, int entrySize, int fifoCnt) noexcept
{
    entrySize = std::min(entrySize, SHM_FIFO_MAX_ENTRY_SIZE);
    fifoCnt = std::clamp(fifoCnt, SHM_FIFO_MIN_COUNT, SHM_FIFO_MAX_COUNT);
    InitHeader(keyBase);
    int made = 0;
    for (int attempt = 0; attempt < fifoCnt; ++attempt) {
        DATA_ENTRY_INFO& slot = m_entryArr[made];
        ShmStore(slot.id, SHM_FIFO_NO_FRAME_ID);
        DataEntry* const pEntry =
            m_handlerArr[made].GetDataEntry(AddWrapping(keyBase, attempt), entrySize, made);
        if (pEntry == nullptr) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_NOTICE, "Init DataEntryArr failed [Idx:%d]\n", made);
            continue;
        }
        ShmStore(slot.generation, AddWrapping(ShmLoad(slot.generation), 1));
        ShmStore(slot.capacity, entrySize);
        ShmStore(slot.entry, pEntry);
        ++made;
    }
    ShmFullBarrier(); // pairs with GetFifoCnt(): who sees slots sees all else
    ShmStore(m_fifoCnt, made);
    static_cast<void>(m_lock.Init()); // says itself what failed; the frames do not need it
}

void ShmStreamFifo::Free() noexcept
{
    for (ShmEntryHandler& handler : m_handlerArr) {
        handler.FreeMem();
    }
    ShmStore(m_attached, std::uint8_t{0});
}

void ShmStreamFifo::Retire(int headerKey) noexcept
{
    ShmStore(m_attached, std::uint8_t{0});
    for (const ShmEntryHandler& handler : m_handlerArr) {
        handler.RemoveLeftover(headerKey);
    }
}

int ShmStreamFifo::MakeResident() noexcept
{
    const int count = SafeFifoCnt();
    for (int idx = 0; idx < count; ++idx) {
        if (TouchSegment(ShmLoad(m_entryArr[idx].entry)) != 0) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_NOTICE, "Slot [%d] cannot be made resident: %m\n", idx);
            return -1;
        }
    }
    return 0;
}

ShmFifoHandler::ShmFifoHandler() noexcept : m_key(NO_KEY), m_shmId(-1), m_pFifo(nullptr) {}

ShmFifoHandler::~ShmFifoHandler()
{
    FreeMem();
}

ShmStreamFifo* ShmFifoHandler::GetStreamFifo(int key, int entrySize, int fifoCnt) noexcept
{
    if (key < 0 || entrySize <= 0) {
        return nullptr;
    }
    FreeMem();
    m_key = key;
    RetryPause pause;
    for (int old = FindSegment(key); old >= 0; old = FindSegment(key)) {
        RetireFifo(old, key);
        if (RemoveSegment(old) != 0) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Unable to remove previous shm: %m\n");
            pause.Wait();
        }
    }
    const int shmId = CreateSegment(key, sizeof(ShmStreamFifo));
    if (shmId < 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to allocate shared memory with errno [%d].\n",
               errno);
        return nullptr;
    }
    m_pFifo = static_cast<ShmStreamFifo*>(AttachSegment(shmId, sizeof(ShmStreamFifo)));
    if (m_pFifo == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to attach shared memory with errno [%d].\n", errno);
        if (RemoveSegment(shmId) != 0) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to remove shm %m\n");
        }
        return nullptr;
    }
    m_shmId = shmId;
    m_pFifo->Init(AddWrapping(key, 1), entrySize, fifoCnt);
    if (m_prefault) {
        static_cast<void>(m_pFifo->MakeResident()); // logged there; slower at first, not wrong
    }
    return m_pFifo;
}

void ShmFifoHandler::FreeMem() noexcept
{
    if (m_pFifo == nullptr) {
        return;
    }
    m_pFifo->Free();
    DetachSegment(m_pFifo);
    if (RemoveOwnSegment(m_shmId, m_key) != 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to remove shm %m\n");
    }
    m_shmId = -1;
    m_pFifo = nullptr;
}

// --- writing ----------------------------------------------------------------------------------------------

int ShmStreamFifo::SafeFifoCnt() const noexcept
{
    const int count = ShmLoad(m_fifoCnt);
    return count < 0 || count > SHM_FIFO_MAX_COUNT ? 0 : count;
}

DATA_ENTRY_INFO* ShmStreamFifo::SlotAt(int idx) noexcept
{
    return idx >= 0 && idx < SHM_FIFO_MAX_COUNT ? &m_entryArr[idx] : nullptr;
}

int ShmStreamFifo::GetNextIdx(int idx) const noexcept
{
    return idx < 0 || idx >= SafeFifoCnt() - 1 ? 0 : idx + 1;
}

int ShmStreamFifo::GetPrevIdx(int idx) const noexcept
{
    const int count = SafeFifoCnt();
    return idx > 0 && idx < count ? idx - 1 : count - 1;
}

int ShmStreamFifo::MarkWrite(DATA_ENTRY_INFO& info) noexcept
{
    MarkWord mark(info.mark);
    const std::uint32_t now = mark.AddWriter();
    if (static_cast<std::int32_t>(now) > MarkWord::MAX_PENDING) {
        mark.TakeByForce();
        return 0;
    }
    return static_cast<int>(now & MarkWord::READER_MASK);
}

void ShmStreamFifo::DropWriterMarks(int idx) noexcept
{
    if (DATA_ENTRY_INFO* const pSlot = SlotAt(idx)) {
        MarkWord(pSlot->mark).ClearWriter();
    }
}

int ShmStreamFifo::GetWritableEntryIdx() noexcept
{
    const int iframeIdx = ShmLoad(m_latestIframeIdx);
    int idx = ShmLoad(m_lastIdx);
    const int count = SafeFifoCnt();
    for (int i = 0; i < count; ++i) {
        idx = GetNextIdx(idx);
        if (idx != iframeIdx && MarkWrite(m_entryArr[idx]) == 0) {
            return idx;
        }
    }
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to get writable entry.\n");
    return -1;
}

/// The key under which a slot is made anew: the slot's place behind the base. Where a failed creation moved
/// the slots on by some keys, that one may be another slot's, which must not be destroyed; then the slot
/// keeps its own.
///
/// @return -1: the words in the header cannot be right, and no segment is touched for them.
int ShmStreamFifo::KeyForResize(int idx) const noexcept
{
    const int ownKey = m_handlerArr[idx].GetKey();
    const int key = AddWrapping(ShmLoad(m_keyBase), idx);
    const std::int64_t ahead = std::int64_t{ownKey} - key;
    if (ahead < 0 || ahead >= SHM_FIFO_MAX_COUNT) {
        return -1;
    }
    const int count = SafeFifoCnt();
    for (int other = 0; other < count; ++other) {
        if (other != idx && m_handlerArr[other].GetKey() == key) {
            return ownKey;
        }
    }
    return key;
}

int ShmStreamFifo::ResizeEntryIfTooSmall(int idx, int size) noexcept
{
    DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    if (pSlot == nullptr) {
        return -1;
    }
    if (size >= SHM_FIFO_MAX_ENTRY_SIZE) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Try to resize from [%d] to [%d].\n",
               ShmLoad(pSlot->capacity), size);
        return -1;
    }
    if (ShmLoad(pSlot->capacity) >= size) {
        return 0;
    }
    DataEntry* const pEntry = m_handlerArr[idx].GetDataEntry(KeyForResize(idx), size, idx);
    ShmStore(pSlot->generation, AddWrapping(ShmLoad(pSlot->generation), 1));
    ShmFullBarrier();
    ShmStore(pSlot->capacity, pEntry != nullptr ? size : 0);
    ShmStore(pSlot->entry, pEntry);
    if (pEntry == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to resize share memory data entry.\n");
        return -1;
    }
    return 0;
}

/// The writer's own mapping of a slot. The address in the header is believed only if it is a mapping of this
/// process with room for the frame; otherwise the slot is made anew.
DataEntry* ShmStreamFifo::EntryForWrite(int idx, int size) noexcept
{
    DATA_ENTRY_INFO& slot = m_entryArr[idx];
    DataEntry* pEntry = ShmLoad(slot.entry);
    if (HasRoom(pEntry, size)) {
        return pEntry;
    }
    ShmStore(slot.capacity, 0);
    if (ResizeEntryIfTooSmall(idx, std::max(size, 1)) != 0) {
        return nullptr;
    }
    pEntry = ShmLoad(slot.entry);
    return HasRoom(pEntry, size) ? pEntry : nullptr;
}

DataEntry* ShmStreamFifo::TryStartWrite(int size) noexcept
{
    const int idx = GetWritableEntryIdx();
    if (idx < 0) {
        return nullptr;
    }
    DataEntry* pEntry = nullptr;
    if (ResizeEntryIfTooSmall(idx, size) == 0) {
        pEntry = EntryForWrite(idx, size);
    }
    if (pEntry == nullptr) {
        DropWriterMarks(idx);
        return nullptr;
    }
    ShmStore(pEntry->index, idx);
    return pEntry;
}

void ShmStreamFifo::TryStopWrite(DataEntry* pEntry, long long timestamp, MediaES es, int flags,
                                 int frameCnt) noexcept
{
    if (pEntry == nullptr) {
        return;
    }
    const int idx = ShmLoad(pEntry->index);
    DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    if (pSlot == nullptr) {
        return;
    }
    const int nextId = ShmLoad(m_nextId);
    const int id = nextId >= 0 && nextId <= SHM_FIFO_MAX_FRAME_ID ? nextId : 0;
    ShmStore(pSlot->id, id);
    ShmStore(pEntry->id, id);
    ShmStore(pEntry->frameCnt, frameCnt);
    StoreTimestamp(*pEntry, timestamp);
    ShmStore(pEntry->es, static_cast<std::int32_t>(es));
    ShmStore(pEntry->flags, flags);
    ShmFullBarrier(); // the indexes point to a frame that is complete
    ShmStore(m_lastIdx, idx);
    if ((flags & FRAME_I) != 0) {
        ShmStore(m_latestIframeIdx, idx);
    }
    MarkWord(pSlot->mark).ClearWriter();
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_TRACE, "[%s]: Write '%s'(%d) at idx[%d] of ID[%d], I-Idx[%d].\n",
           CodecText().text, FrameTypeName(flags), flags, idx, id, ShmLoad(m_latestIframeIdx));
    ShmStore(m_nextId, id < SHM_FIFO_MAX_FRAME_ID ? id + 1 : 0);
    m_writeStat.Update(pEntry);
}

int ShmStreamFifo::WriteData(unsigned char* data, int size, long long timestamp, MediaES es, int flags,
                             int frameCnt) noexcept
{
    DataEntry* const pEntry = TryStartWrite(size);
    if (pEntry == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_DEBUG, "pDataEntry is NULL.\n");
        return -1;
    }
    if (data == nullptr || size < 0 || size > ShmLoad(pEntry->capacity)) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to write data.\n");
        DropWriterMarks(ShmLoad(pEntry->index));
        return -1;
    }
    ShmStore(pEntry->size, size);
    ShmCopyIn(pEntry->data, data, static_cast<std::size_t>(size));
    TryStopWrite(pEntry, timestamp, es, flags, frameCnt);
    return 0;
}

// --- header -----------------------------------------------------------------------------------------------

void ShmStreamFifo::SetExtra(const unsigned char* data, int size) noexcept
{
    if (data == nullptr || size <= 0) {
        ShmStore(m_extraSize, 0);
        return;
    }
    if (size > SHM_FIFO_MAX_EXTRA_SIZE) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Exceed max extra data size[%d].\n",
               SHM_FIFO_MAX_EXTRA_SIZE);
        size = SHM_FIFO_MAX_EXTRA_SIZE;
    }
    const VxRbGuard guard(m_lock);
    if (guard.Held()) {
        ShmStore(m_extraSize, size);
        std::memcpy(m_extra, data, static_cast<std::size_t>(size));
    }
}

void ShmStreamFifo::GetExtra(unsigned char* buf, int& size) noexcept
{
    const VxRbGuard guard(m_lock);
    const int stored = guard.Held() ? std::min(ShmLoad(m_extraSize), SHM_FIFO_MAX_EXTRA_SIZE) : 0;
    if (stored <= 0 || size <= 0 || buf == nullptr) {
        size = 0;
        return;
    }
    if (stored <= size) {
        size = stored;
    } else {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Input buffer size is not enough\n");
    }
    std::memcpy(buf, m_extra, static_cast<std::size_t>(size));
}
