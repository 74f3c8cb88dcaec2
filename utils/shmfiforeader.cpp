// SPDX-License-Identifier: Apache-2.0
// utils/shmfiforeader.cpp - finds, claims and attaches frames for a reader; the reader that drives a callback.
#include "shmfiforeader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "package/monoclock.h"
#include "shm_segment_internal.h"
#include "shm_sync.h"
#include "shmfifo_internal.h"
#include "vxlog.h"

// --- claiming a slot --------------------------------------------------------------------------------------

/// Slots that may be read, the best first. Filled from the back, since each one found is better than those before.
struct ShmStreamFifo::Candidates {
    int idx[SHM_FIFO_MAX_COUNT];
    int first = SHM_FIFO_MAX_COUNT;

    void PushFront(int found) noexcept
    {
        if (first > 0) {
            idx[--first] = found;
        }
    }
};

void ShmStreamFifo::StartRead(DATA_ENTRY_INFO* table) const noexcept
{
    for (int i = 0; i < SHM_FIFO_MAX_COUNT; ++i) {
        const DATA_ENTRY_INFO& slot = m_entryArr[i];
        table[i] = {ShmLoad(slot.id), ShmLoad(slot.generation), ShmLoad(slot.mark), ShmLoad(slot.capacity),
                    nullptr};
    }
}

void ShmStreamFifo::StopRead(DATA_ENTRY_INFO* table) noexcept
{
    for (int i = 0; i < SHM_FIFO_MAX_COUNT; ++i) {
        ShmEntryHandler::DtDataEntry(table[i].entry);
    }
}

int ShmStreamFifo::MarkRead(DATA_ENTRY_INFO& info) noexcept
{
    return MarkWord(info.mark).AddReader() ? 0 : 1;
}

void ShmStreamFifo::SearchNearIdx(int lastId, Candidates& out) noexcept
{
    const int count = SafeFifoCnt();
    const int lastIdx = ShmLoad(m_lastIdx);
    ShmFullBarrier(); // pairs with TryStopWrite(): the slot's ID is as new as the index
    if (lastIdx < 0 || lastIdx >= count) {
        return;
    }
    const int newestId = ShmLoad(m_entryArr[lastIdx].id);
    if (newestId == lastId || newestId < 0 || newestId > SHM_FIFO_MAX_FRAME_ID) {
        return;
    }
    int wanted = newestId;
    if (lastId != SHM_FIFO_NO_FRAME_ID) {
        wanted = lastId >= SHM_FIFO_MAX_FRAME_ID ? 0 : lastId + 1;
        if (FrameDistance(wanted, newestId) > count) {
            VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_INFO,
                   "[%s]: NextID change[%d]->[%d], PreID[%d], LatestIdx[%d].\n", CodecText().text, wanted,
                   newestId, lastId, lastIdx);
            wanted = newestId;
        }
    }
    std::int64_t best = count;
    int idx = lastIdx;
    for (int i = 0; i < count && best > 0; ++i, idx = GetPrevIdx(idx)) {
        const int id = ShmLoad(m_entryArr[idx].id);
        if (id < 0 || id > SHM_FIFO_MAX_FRAME_ID) {
            continue; // never written
        }
        const std::int64_t distance = FrameDistance(wanted, id);
        if (distance < best) {
            out.PushFront(idx);
            best = distance;
        }
    }
}

void ShmStreamFifo::SearchNearIdx(int lastId, std::list<int>& out) noexcept
try {
    Candidates found;
    SearchNearIdx(lastId, found);
    out.insert(out.begin(), found.idx + found.first, found.idx + SHM_FIFO_MAX_COUNT);
} catch (const std::bad_alloc&) {
    out.clear();
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "No memory for the list of slots.\n");
}

int ShmStreamFifo::GetReadableEntryIdx(int lastId) noexcept
{
    Candidates found;
    SearchNearIdx(lastId, found);
    for (int i = found.first; i < SHM_FIFO_MAX_COUNT; ++i) {
        if (MarkRead(m_entryArr[found.idx[i]]) == 0) {
            return found.idx[i];
        }
    }
    return -1;
}

// --- attaching a claimed slot -----------------------------------------------------------------------------

/// Attaches a slot by its key, the only word of its handle that a reader uses. Once a FIFO is closed, the
/// next one's segments are under its keys, which nobody marks here: asked after the attachment, since a FIFO
/// is closed before the next one is made.
DataEntry* ShmStreamFifo::AttachSlot(int idx) noexcept
{
    DataEntry* pEntry = m_handlerArr[idx].GetDataEntry();
    if (!IsAttached()) {
        ShmEntryHandler::DtDataEntry(pEntry);
    }
    return pEntry;
}

void ShmStreamFifo::UpdateEntryIfChanged(int idx, DATA_ENTRY_INFO& record) noexcept
{
    const int generation = ShmLoad(m_entryArr[idx].generation);
    if (record.generation == generation && record.entry != nullptr) {
        return;
    }
    record.generation = generation;
    ShmEntryHandler::DtDataEntry(record.entry);
    record.entry = AttachSlot(idx);
}

DataEntry* ShmStreamFifo::GetDataEntryForRead(int idx, DATA_ENTRY_INFO* table) noexcept
{
    DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    if (pSlot == nullptr) {
        return nullptr;
    }
    DataEntry* pEntry = nullptr;
    if (table != nullptr) {
        UpdateEntryIfChanged(idx, table[idx]);
        pEntry = table[idx].entry;
    } else {
        pEntry = AttachSlot(idx);
    }
    if (pEntry == nullptr) {
        MarkWord(pSlot->mark).DropReader();
        return nullptr;
    }
    const int entryIdx = ShmLoad(pEntry->index);
    if (entryIdx != idx) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Invalid DataEntry[%d], Idx[%d].\n", entryIdx, idx);
        MarkWord(pSlot->mark).DropReader();
        ShmEntryHandler::DtDataEntry(table != nullptr ? table[idx].entry : pEntry);
        return nullptr;
    }
    const int slotId = ShmLoad(pSlot->id);
    const int entryId = ShmLoad(pEntry->id);
    if (slotId != entryId) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_NOTICE, "[%s]: Id mismatch, Idx[%d], m_ID[%d], ID[%d].\n",
               CodecText().text, idx, slotId, entryId);
        ShmStore(pSlot->id, entryId); // the reader repairs the slot on purpose
    }
    if (table != nullptr) {
        table[idx].id = entryId; // what the claim is on; ReadFinish() asks whether it still is
    }
    return pEntry;
}

/// Claims one certain slot, unless its frame is the one that the reader has.
DataEntry* ShmStreamFifo::ClaimSlot(int idx, int lastId, DATA_ENTRY_INFO* table) noexcept
{
    ShmFullBarrier(); // between the index, which came first, and the slot's ID
    DATA_ENTRY_INFO* const pSlot = SlotAt(idx);
    if (pSlot == nullptr || ShmLoad(pSlot->id) == lastId || MarkRead(*pSlot) != 0) {
        return nullptr;
    }
    return GetDataEntryForRead(idx, table);
}

DataEntry* ShmStreamFifo::ReadNext(int lastId, DATA_ENTRY_INFO* table) noexcept
{
    return GetDataEntryForRead(GetReadableEntryIdx(lastId), table);
}

DataEntry* ShmStreamFifo::ReadLatest(int lastId, DATA_ENTRY_INFO* table) noexcept
{
    return ClaimSlot(ShmLoad(m_lastIdx), lastId, table);
}

DataEntry* ShmStreamFifo::ReadLatest() noexcept
{
    return ReadLatest(SHM_FIFO_NO_FRAME_ID, nullptr);
}

DataEntry* ShmStreamFifo::ReadLatestIFrame(int lastId, DATA_ENTRY_INFO* table) noexcept
{
    return ClaimSlot(ShmLoad(m_latestIframeIdx), lastId, table);
}

DataEntry* ShmStreamFifo::ReadLatestIFrame() noexcept
{
    return ReadLatestIFrame(SHM_FIFO_NO_FRAME_ID, nullptr);
}

// --- the reader with a callback ---------------------------------------------------------------------------

ShmFifoReader::ShmFifoReader() noexcept = default;

ShmFifoReader::~ShmFifoReader()
{
    Free();
}

namespace {

ShmStreamFifo* AttachHeader(int key) noexcept
{
    const int shmId = FindSegment(key);
    if (shmId < 0 || !HasLength(shmId, sizeof(ShmStreamFifo))) {
        return nullptr; // nothing there, or not a header of this width
    }
    return static_cast<ShmStreamFifo*>(AttachSegment(shmId, sizeof(ShmStreamFifo)));
}

constexpr int NO_DATA_SEC = 10;

} // namespace

int ShmFifoReader::Init(int key, bool updateStat) noexcept
{
    m_lastId = SHM_FIFO_NO_FRAME_ID;
    m_updateStat = updateStat;
    if (key == m_key) {
        return 0;
    }
    Free();
    if (key == -1) {
        return 0;
    }
    m_pFifo = AttachHeader(key);
    if (m_pFifo == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_INFO, "Failed to attach shm stream fifo at [%d].\n", key);
        return -1;
    }
    m_key = key;
    m_lastReadValid = false;
    m_noDataSinceSec = 0; // this FIFO has not been waited for yet
    m_pFifo->StartRead(m_table);
    return 0;
}

bool ShmFifoReader::StartAtFirst() noexcept
{
    if (m_pFifo == nullptr || m_lastId != SHM_FIFO_NO_FRAME_ID) {
        return false;
    }
    const bool isMade = m_pFifo->GetFifoCnt() != 0; // asked first: its other words mean nothing before
    if (isMade && m_pFifo->GetNewestId() != SHM_FIFO_NO_FRAME_ID) {
        return false;
    }
    m_lastId = SHM_FIFO_MAX_FRAME_ID; // the ID after this one is 0, which the first frame will have
    return true;
}

bool ShmFifoReader::Read(void* ctx, Callback callback, ReadFn readFn) noexcept
{
    if (m_pFifo == nullptr) {
        return false;
    }
    DataEntry* const pEntry = (m_pFifo->*readFn)(m_lastId, m_table);
    unsigned char* data = nullptr;
    int size = 0;
    m_lastReadValid = m_pFifo->GetValidFrame(pEntry, data, size);
    if (m_lastReadValid) {
        m_noDataSinceSec = 0;
        m_lastId = ShmLoad(pEntry->id);
        callback(ctx, pEntry, data, size);
    }
    m_pFifo->ReadFinish(pEntry, m_updateStat, m_table);
    return m_lastReadValid;
}

bool ShmFifoReader::IsClose() const noexcept
{
    return m_pFifo == nullptr || !m_pFifo->IsAttached();
}

bool ShmFifoReader::IsNoData() noexcept
{
    if (m_lastReadValid) {
        return false;
    }
    if (IsClose()) {
        return true;
    }
    const int now = GetMonoTimeSec();
    if (m_noDataSinceSec == 0) {
        m_noDataSinceSec = now;
        return false;
    }
    if (now - m_noDataSinceSec <= NO_DATA_SEC) {
        return false;
    }
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_INFO, "IpcKey[%d]: No data timeout.\n", m_key);
    return true;
}

void ShmFifoReader::Free() noexcept
{
    m_key = -1;
    if (m_pFifo != nullptr) {
        m_pFifo->StopRead(m_table);
        DetachSegment(m_pFifo);
        m_pFifo = nullptr;
    }
}

// --- media formats ----------------------------------------------------------------------------------------

namespace {

constexpr std::uint32_t TAG_H264 = 0x68323634;
constexpr std::uint32_t TAG_HEVC = 0x68657663;

/// Gives the format its own copy of a block. @return false: no memory.
bool CopyExtra(ESFormat& format, const unsigned char* extra, int size) noexcept
{
    if (size <= 0) {
        return true;
    }
    format.extraData = new (std::nothrow) unsigned char[static_cast<std::size_t>(size)];
    if (format.extraData == nullptr) {
        return false;
    }
    std::memcpy(format.extraData, extra, static_cast<std::size_t>(size));
    format.extraSize = size;
    return true;
}

std::uint32_t VideoTag(const std::string& codec) noexcept
{
    if (codec == "H264") {
        return TAG_H264;
    }
    return codec == "H265" ? TAG_HEVC : 0;
}

bool IsAudio(const std::string& codec) noexcept
{
    return codec == "MPEG4-GENERIC" || codec == "PCMA" || codec == "PCMU";
}

} // namespace

int ShmFifoReader::FillVdoFmt(ESFormat& format) noexcept
{
    format.Reset();
    const std::string codec = m_pFifo != nullptr ? m_pFifo->GetCodec() : std::string();
    format.codecTag = VideoTag(codec);
    if (m_pFifo == nullptr || format.codecTag == 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Unknown VodFmt[%s]\n", codec.c_str());
        return -1;
    }
    format.width = m_pFifo->GetWidth();
    format.height = m_pFifo->GetHeight();
    if (format.width == 0 || format.height == 0) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Invalid Width[%d] Height[%d]\n", format.width,
               format.height);
        return -1;
    }
    unsigned char extra[SHM_FIFO_MAX_EXTRA_SIZE];
    int size = SHM_FIFO_MAX_EXTRA_SIZE;
    m_pFifo->GetExtra(extra, size);
    if (!CopyExtra(format, extra, size)) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Memory size[%d]\n", size);
        return -1;
    }
    return 0;
}

int ShmFifoReader::FillAdoFmt(ESFormat& format) noexcept
{
    format.Reset();
    const std::string codec = m_pFifo != nullptr ? m_pFifo->GetCodec() : std::string();
    if (m_pFifo == nullptr || !IsAudio(codec)) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Unknown AdoFmt[%s]\n", codec.c_str());
        return -1;
    }
    unsigned char extra[SHM_FIFO_MAX_EXTRA_SIZE + 1] = {}; // ended by a NUL for the text in front
    int size = SHM_FIFO_MAX_EXTRA_SIZE;
    m_pFifo->GetExtra(extra, size);
    const char* const pText = reinterpret_cast<const char*>(extra);
    int textSize = -1;
    int sampleRate = 0;
    int channels = 0;
    if (std::sscanf(pText, "%d|%d|%n", &sampleRate, &channels, &textSize) != 2 || textSize < 0 ||
        textSize > size) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Broken extra, size[%d]\n", size);
        return -1;
    }
    format.sampleRate = sampleRate;
    format.channels = channels;
    if (!CopyExtra(format, extra + textSize, size - textSize)) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Memory size[%d]\n", size - textSize);
        return -1;
    }
    return 0;
}
