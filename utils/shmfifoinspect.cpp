// SPDX-License-Identifier: Apache-2.0
// utils/shmfifoinspect.cpp - looks at stream FIFOs from outside: read-only, without lock or claim.
#include "shmfifoinspect.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "shm_segment_internal.h"
#include "shm_sync.h"
#include "shmfifo.h"
#include "shmfifo_internal.h"
#include "vxlog.h"

namespace {

/// A read-only mapping for a scope.
class View {
public:
    View(int shmId, std::size_t minBytes) noexcept : m_pAddr(AttachSegment(shmId, minBytes, true)) {}
    ~View() { DetachSegment(m_pAddr); }
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    template <typename T>
    const T* As() const noexcept
    {
        return static_cast<const T*>(m_pAddr);
    }

private:
    const void* const m_pAddr;
};

/// @return whether there is a segment; without the right to read it, only key and id are filled (see errno).
bool LookUp(int key, ShmSegmentInfo& info) noexcept
{
    info = ShmSegmentInfo();
    info.key = key;
    info.id = key <= 0 ? -1 : FindSegment(key);
    shmid_ds stat{};
    if (info.id < 0 || StatSegment(info.id, stat) != 0) {
        return info.id >= 0;
    }
    info.bytes = stat.shm_segsz;
    info.attachCnt = stat.shm_nattch;
    info.creatorPid = stat.shm_cpid;
    info.lastPid = stat.shm_lpid;
    info.uid = stat.shm_perm.uid;
    info.mode = stat.shm_perm.mode & 0777U;
    info.marked = (stat.shm_perm.mode & SHM_DEST) != 0;
    return true;
}

bool InRange(int value, int low, int high) noexcept
{
    return value >= low && value <= high;
}

std::string Printable(const char* text, std::size_t room)
{
    std::string out;
    for (std::size_t i = 0; i < room && text[i] != '\0'; ++i) {
        out += text[i] > ' ' && text[i] <= '~' ? text[i] : '?';
    }
    return out;
}

} // namespace

/// Reads the words of a header; a friend of the records, so that nobody else needs to be.
struct ShmFifoPeek {
    static void Header(const ShmStreamFifo& fifo, ShmFifoSnapshot& out)
    {
        out.attached = ShmLoad(fifo.m_attached) != 0;
        out.codec = Printable(fifo.CodecText().text, SHM_FIFO_CODEC_SIZE);
        out.nextId = ShmLoad(fifo.m_nextId);
        out.keyBase = ShmLoad(fifo.m_keyBase);
        out.lastIdx = ShmLoad(fifo.m_lastIdx);
        out.latestIframeIdx = ShmLoad(fifo.m_latestIframeIdx);
        out.fifoCnt = ShmLoad(fifo.m_fifoCnt);
        out.width = ShmLoad(fifo.m_width);
        out.height = ShmLoad(fifo.m_height);
        out.connectCnt = ShmLoad(fifo.m_connectCnt);
        out.extraSize = ShmLoad(fifo.m_extraSize);
        out.writeFPS = fifo.m_writeStat.PeekFPS();
        out.readFPS = fifo.m_readStat.PeekFPS();
        out.readBPS = fifo.m_readStat.PeekBPS();
    }

    /// Whether these can be the words of a FIFO under this key.
    static bool Plausible(const ShmFifoSnapshot& s)
    {
        return InRange(s.fifoCnt, 0, SHM_FIFO_MAX_COUNT) && InRange(s.nextId, 0, SHM_FIFO_MAX_FRAME_ID) &&
               InRange(s.lastIdx, -1, s.fifoCnt - 1) && InRange(s.latestIframeIdx, -1, s.fifoCnt - 1) &&
               InRange(s.extraSize, 0, SHM_FIFO_MAX_EXTRA_SIZE) &&
               static_cast<unsigned>(s.keyBase) - static_cast<unsigned>(s.header.key) == 1U;
    }

    static void Slot(const ShmStreamFifo& fifo, int idx, ShmSlotSnapshot& out)
    {
        const DATA_ENTRY_INFO& slot = fifo.m_entryArr[idx];
        const std::uint32_t mark = ShmLoad(slot.mark);
        out.id = ShmLoad(slot.id);
        out.generation = ShmLoad(slot.generation);
        out.writerMarks = static_cast<int>(mark >> 28U);
        out.readers = static_cast<int>(mark & MarkWord::READER_MASK);
        out.capacity = ShmLoad(slot.capacity);
        if (!LookUp(fifo.m_handlerArr[idx].GetKey(), out.segment)) {
            return;
        }
        const View view(out.segment.id, sizeof(DataEntry));
        if (const auto* const pEntry = view.As<DataEntry>()) {
            out.frameRead = true;
            out.frameSize = ShmLoad(pEntry->size);
            out.frameFlags = ShmLoad(pEntry->flags);
            out.timestamp = LoadTimestamp(*pEntry);
            out.es = ShmLoad(pEntry->es);
        }
    }
};

namespace {

ShmInspectResult Look(int key, ShmFifoSnapshot& out, bool withSlots)
{
    if (!LookUp(key, out.header)) {
        return errno == EACCES ? ShmInspectResult::NO_ACCESS : ShmInspectResult::NO_SEGMENT;
    }
    if (out.header.bytes == 0) {
        return ShmInspectResult::NO_ACCESS;
    }
    if (out.header.bytes != sizeof(ShmStreamFifo)) {
        return ShmInspectResult::OTHER_LENGTH;
    }
    const View view(out.header.id, sizeof(ShmStreamFifo));
    const auto* const pFifo = view.As<ShmStreamFifo>();
    if (pFifo == nullptr) {
        return ShmInspectResult::NO_ACCESS;
    }
    ShmFifoPeek::Header(*pFifo, out);
    if (!ShmFifoPeek::Plausible(out)) {
        return ShmInspectResult::NOT_A_FIFO;
    }
    if (withSlots) {
        out.slots.resize(static_cast<std::size_t>(out.fifoCnt));
        for (int idx = 0; idx < out.fifoCnt; ++idx) {
            ShmFifoPeek::Slot(*pFifo, idx, out.slots[static_cast<std::size_t>(idx)]);
        }
    }
    return ShmInspectResult::OK;
}

bool RemoveLogged(const ShmSegmentInfo& segment) noexcept
{
    if (segment.id < 0 || RemoveSegment(segment.id) == 0) {
        return true;
    }
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to remove shm %m\n");
    return false;
}

} // namespace

ShmInspectResult ShmFifoInspector::Inspect(int key, ShmFifoSnapshot& snapshot) noexcept
try {
    snapshot = ShmFifoSnapshot();
    errno = 0;
    return Look(key, snapshot, true);
} catch (const std::exception&) {
    return ShmInspectResult::NO_MEMORY;
}

std::vector<int> ShmFifoInspector::ListKeys() noexcept
try {
    std::vector<int> keys;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(std::fopen("/proc/sysvipc/shm", "re"),
                                                               &std::fclose);
    if (list == nullptr) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed to open [/proc/sysvipc/shm] with errno [%d].\n",
               errno);
        return keys;
    }
    char line[512];
    while (std::fgets(line, sizeof(line), list.get()) != nullptr) {
        long long key = 0;
        unsigned long long bytes = 0;
        ShmFifoSnapshot snapshot;
        if (std::sscanf(line, "%lld %*d %*o %llu", &key, &bytes) == 2 && bytes == sizeof(ShmStreamFifo) &&
            Look(static_cast<int>(key), snapshot, false) == ShmInspectResult::OK) {
            keys.push_back(static_cast<int>(key));
        }
    }
    std::sort(keys.begin(), keys.end());
    return keys;
} catch (const std::exception&) {
    return {};
}

int ShmFifoInspector::Remove(int key) noexcept
try {
    ShmFifoSnapshot snapshot;
    if (Look(key, snapshot, true) != ShmInspectResult::OK) {
        VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "No stream fifo at [%d] to remove.\n", key);
        return -1;
    }
    RetireFifo(snapshot.header.id, key);
    bool good = RemoveLogged(snapshot.header);
    for (const ShmSlotSnapshot& slot : snapshot.slots) {
        ShmSegmentInfo left;
        const bool isOurs =
            slot.segment.key > key && std::int64_t{slot.segment.key} - key <= SHM_FIFO_MAX_COUNT;
        if (isOurs && LookUp(slot.segment.key, left) && left.id == slot.segment.id) {
            good = RemoveLogged(left) && good;
        }
    }
    return good ? 0 : -1;
} catch (const std::exception&) {
    return -1;
}
