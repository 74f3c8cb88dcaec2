// SPDX-License-Identifier: Apache-2.0
// shmfifo.h - the stream FIFO: a ring of media frames in shared memory, one writer, many readers.
//
// A FIFO is one header segment under an IPC key K and one data segment a slot under the keys behind K. The
// capture process makes it with ShmFifoHandler and calls ShmStreamFifo::WriteData() for each frame; readers
// attach to the header (ShmFifoReader in shmfiforeader.h does it all) and claim slots.
//
// The records below are shared between processes. They are exact for 32-bit little-endian processes; a 64-bit
// build keeps the order of the fields at natural widths, and a header that is not exactly as long as one's
// own is refused when it is attached, so that processes of different widths never share a FIFO.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <type_traits>

#include "package/export.h"
#include "package/media.h"
#include "vxrbmutex.h"

constexpr int SHM_FIFO_MIN_COUNT = 10;            ///< fewest slots of a FIFO
constexpr int SHM_FIFO_MAX_COUNT = 30;            ///< most slots of a FIFO
constexpr int SHM_FIFO_MAX_ENTRY_SIZE = 0x400000; ///< frames of this size and more are never stored
constexpr int SHM_FIFO_MAX_FRAME_ID = 10000;      ///< the ID after this one is 0
constexpr int SHM_FIFO_NO_FRAME_ID = 10001;       ///< a slot never written; a reader that has no frame yet
constexpr int SHM_FIFO_CODEC_SIZE = 20;           ///< codec name with its NUL
constexpr int SHM_FIFO_MAX_EXTRA_SIZE = 1024;     ///< bytes of codec extra data

/// Bits of a frame's flags.
enum FRAME_FLAG : std::int32_t {
    FRAME_I = 0x02,
    FRAME_P = 0x04,
    FRAME_B = 0x08,
    FRAME_PB = 0x10,
    FRAME_NON_KEY = 0x80,
};

/// One frame in its own segment, sizeof(DataEntry) + capacity bytes long.
///
/// Written by the writer, read by readers that hold a claim on the slot.
///
///   offset size field       unit / range
///   0x00   4    index       slot that owns this segment
///   0x04   4    size        bytes of the frame; a valid frame has 1..0x3FFFFF
///   0x08   4    capacity    bytes of payload that fit
///   0x0C   4    id          frame ID
///   0x10   4    frameCnt    frames that this entry stands for; feeds the rates
///   0x14   4    flags       FRAME_FLAG bits
///   0x18   8    timestamp   presentation time as the writer gave it
///   0x20   4    es          MediaES
///   0x24        data        the frame; four spare bytes end the segment
///
/// The 64-bit time stamp is at a multiple of eight, so its offset is the same where it is aligned to four.
struct DataEntry {
    std::int32_t index;
    std::int32_t size;
    std::int32_t capacity;
    std::int32_t id;
    std::int32_t frameCnt;
    std::int32_t flags;
    std::int64_t timestamp;
    std::int32_t es;
    unsigned char data[4];
};

/// One slot of the ring, in the header; each reader keeps a private table of them for its attachments.
///
///   offset size field       unit / range                               written by
///   0x00   4    id          0..10000; 10001 = never written            writer
///   0x04   4    generation  +1 for each (re)created segment            writer
///   0x08   4    mark        bits 28..31 writer marks, 0..27 readers    both, atomically
///   0x0C   4    capacity    bytes; 0 = growing the slot failed         writer
///   0x10   4    entry       address in ONE process                     the process that attached
///
/// Invariant S1: slot and frame change only while a writer mark is set.
/// Invariant S2: the address of another process is never used; a slot is attached by its key.
struct DATA_ENTRY_INFO {
    std::int32_t id;
    std::int32_t generation;
    std::uint32_t mark;
    std::int32_t capacity;
    DataEntry* entry;
};
static_assert(std::is_trivially_copyable_v<DATA_ENTRY_INFO>);

/// Handle of one data segment. The handles lie in the header: readers use the key, and nothing else of them;
/// the address is valid in the writer only.
///
///   offset size field       meaning
///   0x00   4    m_key       IPC key; 0xFF = none yet
///   0x04   4    m_shmId     segment id; -1 = none
///   0x08   4    m_capacity  payload bytes that the segment was made for
///   0x0C   4    m_pEntry    address; null = not attached
class ShmEntryHandler {
public:
    VX_API ShmEntryHandler() noexcept;
    VX_API ~ShmEntryHandler();
    ShmEntryHandler(const ShmEntryHandler&) = delete;
    ShmEntryHandler& operator=(const ShmEntryHandler&) = delete;

    /// Makes the data segment under a key, or uses again the one that this handle made, when it is large
    /// enough. Any other segment under the key is removed.
    ///
    /// @return the attached segment, owned by this handle; null (logged) if it cannot be made.
    VX_API DataEntry* GetDataEntry(int key, int size, int idx) noexcept;

    /// Attaches the segment under this handle's key, for reading.
    ///
    /// @return the caller's own attachment, given back with DtDataEntry(); null if there is none.
    VX_API DataEntry* GetDataEntry() noexcept;

    /// Detaches what GetDataEntry() gave and sets the pointer to null. A null pointer is left alone.
    VX_API static void DtDataEntry(DataEntry*& pEntry) noexcept;

    /// Detaches and removes this handle's segment. Readers that have it attached keep their mapping.
    VX_API void FreeMem() noexcept;

    /// The key under which this slot is attached; as it stands in the header, so not to be believed.
    VX_API int GetKey() const noexcept;

    /// Removes the segment of a FIFO whose writer is gone, if the handle's words are right about it.
    VX_API void RemoveLeftover(int headerKey) const noexcept;

private:
    friend struct ShmLayout;

    DataEntry* GetDataEntry(int size, int idx) noexcept;
    DataEntry* ReuseOwn(int size) noexcept;

    std::int32_t m_key;
    std::int32_t m_shmId;
    std::int32_t m_capacity;
    DataEntry* m_pEntry;
};

/// The header of a FIFO. An object of this class lies in the header segment, shared by all processes.
///
///   offset size field             meaning
///   0x000  24   m_lock            guards codec and extra data, nothing else
///   0x018  4    m_nextId          ID of the next frame, 0..10000
///   0x01C  4    m_keyBase         key of slot 0's data segment
///   0x020  4    m_lastIdx         slot of the newest complete frame; -1 = none
///   0x024  4    m_latestIframeIdx slot of the newest complete I-frame; -1 = none
///   0x028  4    m_fifoCnt         slots in use
///   0x02C  12   m_writeStat       kept by the writer
///   0x038  20   m_readStat        kept by the readers that ask for it
///   0x04C  4    m_width
///   0x050  4    m_height
///   0x054  4    m_connectCnt      atomic counter
///   0x058  4    m_extraSize       valid bytes of m_extra
///   0x05C  600  m_entryArr        the slots
///   0x2B4  20   m_codec           text with its NUL
///   0x2C8  1024 m_extra           codec extra data
///   0x6C8  480  m_handlerArr      handles of the data segments
///   0x8A8  1    m_attached        1 while the writer keeps the FIFO, 0 once it has freed it
///   0x8A9  3    padding
///
/// Nothing in it is believed: any process may write over it. Indexes, counts and sizes are copied, checked
/// against the real length of the segment, and then used.
///
/// Thread-safety: one writer thread; any number of reader threads and processes, each with a table of its own.
class ShmStreamFifo {
public:
    /// Frames a second as the writer puts them in, measured over periods of more than ten seconds.
    class WriteStat {
    public:
        VX_API void Reset() noexcept;
        VX_API void Update(const DataEntry* pEntry) noexcept;
        /// @return frames a second; -1 = not measured yet; 0 after 20 seconds without a period.
        VX_API int GetFPS() noexcept;
        /// The same, without storing anything.
        VX_API int PeekFPS() const noexcept;

    private:
        friend struct ShmLayout;

        bool IsStale() const noexcept;

        std::int32_t m_frames;
        std::int32_t m_fps;
        std::int32_t m_startSec;
    };

    /// Frames and bytes a second as all readers together take them out, measured as above by the wall clock.
    class ReadStat {
    public:
        VX_API void Reset() noexcept;
        VX_API void Update(const DataEntry* pEntry) noexcept;
        VX_API int GetFPS() noexcept;
        VX_API int GetBPS() noexcept;
        VX_API int PeekFPS() const noexcept;
        VX_API int PeekBPS() const noexcept;

    private:
        friend struct ShmLayout;
        friend class ShmStreamFifo;

        void Add(int frames, int bytes) noexcept;
        bool IsStale() const noexcept;

        std::int32_t m_frames;
        std::int32_t m_bytes;
        std::int32_t m_fps;
        std::int32_t m_bps;
        std::int32_t m_startSec;
    };

    // --- writer -----------------------------------------------------------------------------------------

    /// Initialises a freshly made header and makes the data segments. The slots that could be made count.
    VX_API void Init(int keyBase, int entrySize, int fifoCnt) noexcept;

    /// Removes all data segments and tells the readers that the FIFO is gone.
    VX_API void Free() noexcept;

    /// Puts an end to a FIFO that its writer left behind: tells the readers, removes the data segments.
    VX_API void Retire(int headerKey) noexcept;

    /// Puts one frame into the ring and makes it the newest.
    ///
    /// @param data      frame bytes; borrowed for the call only; null is refused
    /// @param size      bytes, 0..0x3FFFFF
    /// @param timestamp presentation time as given by the source, not interpreted here
    /// @param flags     FRAME_FLAG bits; FRAME_I also makes this the newest key frame
    /// @param frameCnt  frames that this entry stands for; feeds the rate statistics only
    /// @return 0; -1 if every slot is held, the frame is too large, or growing the slot failed.
    ///         On -1 no reader can see any part of the frame, and the next call may succeed.
    /// Log:           category 62; levels 1 and 5 for a lost frame, 6 for each frame written.
    /// Cost:          one copy of `size` bytes; system calls only when a slot grows.
    /// Thread-safety: one writer thread per FIFO; any number of reader processes meanwhile.
    VX_API int WriteData(unsigned char* data, int size, long long timestamp, MediaES es, int flags,
                         int frameCnt) noexcept;

    /// Chooses and marks a slot for a frame of `size` bytes.
    ///
    /// @return the slot's frame, to be filled and given to TryStopWrite(); null: nothing is marked.
    VX_API DataEntry* TryStartWrite(int size) noexcept;
    /// Publishes the frame in a slot that TryStartWrite() gave, and takes the mark away.
    VX_API void TryStopWrite(DataEntry* pEntry, long long timestamp, MediaES es, int flags,
                             int frameCnt) noexcept;
    /// @return a marked slot; -1 (logged): every slot is held or protected. Marks on held slots stay.
    VX_API int GetWritableEntryIdx() noexcept;
    /// @return 0: the slot is marked and may be written; else the number of readers that hold it.
    VX_API int MarkWrite(DATA_ENTRY_INFO& info) noexcept;
    /// @return 0: the slot holds `size` bytes; -1 (logged).
    VX_API int ResizeEntryIfTooSmall(int idx, int size) noexcept;
    VX_API int GetNextIdx(int idx) const noexcept;
    VX_API int GetPrevIdx(int idx) const noexcept;
    VX_API int GetWriteFPS() noexcept;

    /// Backs every slot with memory now, so that no first write into a page costs a fault later.
    ///
    /// @return 0; -1 (logged) if the system cannot give the memory; the FIFO works all the same.
    VX_API int MakeResident() noexcept;

    // --- header -----------------------------------------------------------------------------------------

    /// Stores the codec name, cut to 19 letters.
    VX_API void SetCodec(const std::string& codec) noexcept;
    VX_API std::string GetCodec() noexcept;
    /// Stores the first 1024 bytes of the extra data; null or a size of 0 and less stores none.
    VX_API void SetExtra(const unsigned char* data, int size) noexcept;
    /// Copies the extra data out.
    ///
    /// @param size in: bytes that fit into `buf`; out: bytes stored, if they fit; 0 if there are none;
    ///             unchanged if they do not fit (the first `size` bytes are copied then).
    VX_API void GetExtra(unsigned char* buf, int& size) noexcept;
    VX_API void SetResolution(int width, int height) noexcept;
    VX_API int GetWidth() const noexcept;
    VX_API int GetHeight() const noexcept;
    VX_API void AccConnectCnt() noexcept;
    VX_API int GetConnectCnt() const noexcept;
    VX_API void ClearLatestIframeIdx() noexcept;
    VX_API bool IsIFrameReady() const noexcept;
    /// @return slots; 0: the header is still being made, and its other words mean nothing yet.
    VX_API int GetFifoCnt() const noexcept;
    /// @return ID of the newest complete frame; SHM_FIFO_NO_FRAME_ID: none yet.
    VX_API int GetNewestId() const noexcept;
    VX_API bool IsAttached() const noexcept;

    // --- readers ----------------------------------------------------------------------------------------

    /// Copies the slots into a reader's table of 30, without the addresses.
    VX_API void StartRead(DATA_ENTRY_INFO* table) const noexcept;
    /// Detaches everything that the table holds.
    VX_API void StopRead(DATA_ENTRY_INFO* table) noexcept;
    /// @return 0: the slot is claimed; 1: the writer has marked it.
    VX_API int MarkRead(DATA_ENTRY_INFO& info) noexcept;
    /// Lists the slots that hold the frame after `lastId` or a later one, the nearest first.
    VX_API void SearchNearIdx(int lastId, std::list<int>& out) noexcept;
    /// @return the claimed slot of the next frame that can be had; -1: none.
    VX_API int GetReadableEntryIdx(int lastId) noexcept;
    /// Attaches a slot that the caller has claimed, through the table if there is one.
    ///
    /// @return the frame; null: the claim has been released.
    VX_API DataEntry* GetDataEntryForRead(int idx, DATA_ENTRY_INFO* table) noexcept;

    /// The frame after `lastId`; the newest when `lastId` is 10001 or the reader has been lapped.
    ///
    /// @return the claimed frame, to be given to ReadFinish() on every path; null: none.
    /// Frames are read in place. A reader that holds a frame through five passes of the writer loses it: what
    /// it reads then may change under it. The copying readers below notice that; a reader in place asks IsIntact().
    VX_API DataEntry* ReadNext(int lastId, DATA_ENTRY_INFO* table) noexcept;
    /// The newest frame, unless it is `lastId`.
    VX_API DataEntry* ReadLatest(int lastId, DATA_ENTRY_INFO* table) noexcept;
    VX_API DataEntry* ReadLatest() noexcept;
    /// The newest I-frame, unless it is `lastId`.
    VX_API DataEntry* ReadLatestIFrame(int lastId, DATA_ENTRY_INFO* table) noexcept;
    VX_API DataEntry* ReadLatestIFrame() noexcept;

    /// The bytes of a frame, if it is valid and frames may be handed out at all.
    VX_API bool GetValidFrame(DataEntry* pEntry, unsigned char*& data, int& size) noexcept;
    /// Copies a valid frame out; into an array made with new[] (the caller's) if `buf` is null.
    VX_API void ReadDataEntry(DataEntry* pEntry, unsigned char*& buf, int& size) noexcept;
    /// Releases the claim on a frame. A null frame is left alone.
    VX_API void ReadFinish(DataEntry* pEntry, bool updateStat, DATA_ENTRY_INFO* table) noexcept;
    /// Whether the bytes of a claimed frame are still those of frame `id`: asked after they have been used.
    [[nodiscard]] VX_API bool IsIntact(const DataEntry* pEntry, int id) noexcept;

    // Copying readers: claim, copy, release. 0; -1 with size 0 when there is no frame. `size` is the room in
    // `buf` on the way in; with a null `buf` an array of the frame's size is made, which the caller frees.
    VX_API int ReadLatest(int& id, unsigned char*& buf, int& size, long long& ts, MediaES& es, int& flags,
                          bool updateStat) noexcept;
    VX_API int ReadLatest(int& id, unsigned char*& buf, int& size, bool updateStat) noexcept;
    VX_API int ReadLatest(unsigned char*& buf, int& size) noexcept;
    VX_API int ReadNext(int& id, unsigned char*& buf, int& size, long long& ts, MediaES& es, int& flags,
                        bool updateStat) noexcept;
    VX_API int ReadLatestIFrame(int& id, unsigned char*& buf, int& size, DATA_ENTRY_INFO* table) noexcept;
    VX_API int ReadLatestIFrame(unsigned char*& buf, int& size) noexcept;

    VX_API int GetReadFPS() noexcept;
    VX_API int GetReadBPS() noexcept;

private:
    friend struct ShmLayout;
    friend struct ShmFifoPeek;

    /// The codec name as it is in this moment, for a log line: no lock, always ended by a NUL.
    struct CodecName {
        char text[SHM_FIFO_CODEC_SIZE];
    };
    struct Candidates;
    struct FrameCopy;

    void InitHeader(int keyBase) noexcept;
    int SafeFifoCnt() const noexcept;
    DATA_ENTRY_INFO* SlotAt(int idx) noexcept;
    void DropWriterMarks(int idx) noexcept;
    CodecName CodecText() const noexcept;
    int KeyForResize(int idx) const noexcept;
    DataEntry* EntryForWrite(int idx, int size) noexcept;
    void SearchNearIdx(int lastId, Candidates& out) noexcept;
    DataEntry* ClaimSlot(int idx, int lastId, DATA_ENTRY_INFO* table) noexcept;
    DataEntry* AttachSlot(int idx) noexcept;
    void UpdateEntryIfChanged(int idx, DATA_ENTRY_INFO& record) noexcept;
    bool StillHolds(int idx, const DataEntry* pEntry, int id, int generation) noexcept;
    void Release(int idx, DataEntry* pEntry, int id, int generation, DATA_ENTRY_INFO* table) noexcept;
    int CopyOut(DataEntry* pEntry, FrameCopy& frame, bool updateStat, DATA_ENTRY_INFO* table) noexcept;

    VxRbMutex m_lock;
    std::int32_t m_nextId;
    std::int32_t m_keyBase;
    std::int32_t m_lastIdx;
    std::int32_t m_latestIframeIdx;
    std::int32_t m_fifoCnt;
    WriteStat m_writeStat;
    ReadStat m_readStat;
    std::int32_t m_width;
    std::int32_t m_height;
    std::int32_t m_connectCnt;
    std::int32_t m_extraSize;
    DATA_ENTRY_INFO m_entryArr[SHM_FIFO_MAX_COUNT];
    char m_codec[SHM_FIFO_CODEC_SIZE];
    unsigned char m_extra[SHM_FIFO_MAX_EXTRA_SIZE];
    ShmEntryHandler m_handlerArr[SHM_FIFO_MAX_COUNT];
    std::uint8_t m_attached;
};
static_assert(std::is_standard_layout_v<ShmStreamFifo>);

/// The writer's own handle of a FIFO: makes it, and removes it when it goes.
///
/// Not to be carried across fork(): the copy in the child would remove the parent's segments.
class ShmFifoHandler {
public:
    VX_API ShmFifoHandler() noexcept;
    VX_API ~ShmFifoHandler();
    ShmFifoHandler(const ShmFifoHandler&) = delete;
    ShmFifoHandler& operator=(const ShmFifoHandler&) = delete;

    /// Asks for slots that are backed with memory from the start (see ShmStreamFifo::MakeResident()). Said
    /// before GetStreamFifo(); off at first.
    void SetPrefault(bool prefault) noexcept { m_prefault = prefault; }

    /// Makes a FIFO; whatever segments lie under its keys are removed before.
    ///
    /// @param key       IPC key of the header; the keys up to key + 30 are used for the slots
    /// @param entrySize payload bytes of a slot at first, 1..4 MiB (larger is cut)
    /// @param fifoCnt   slots, brought into 10..30
    /// @return the FIFO, owned by this handle; null (logged) if it cannot be made.
    /// Waits without limit for a foreign segment under the key that it has no right to remove.
    VX_API ShmStreamFifo* GetStreamFifo(int key, int entrySize, int fifoCnt) noexcept;

    /// Removes the FIFO. Readers keep what they have attached and see that it is closed.
    VX_API void FreeMem() noexcept;

private:
    std::int32_t m_key;
    std::int32_t m_shmId;
    ShmStreamFifo* m_pFifo;
    bool m_prefault = false;
};

/// The shared layout, drawn once: every field of every shared record with its offset in a 32-bit process.
/// A visitor gets (record, field, offset, size) of each field in this build.
struct ShmLayout {
    template <typename Visitor>
    static void ForEachField(Visitor&& visit)
    {
#define VX_SHM_FIELD(type, field, offset32)                                                                  \
    static_assert(sizeof(void*) != 4 || offsetof(type, field) == (offset32));                                \
    visit(#type, #field, offsetof(type, field), sizeof(type::field))
#define VX_SHM_SIZE(type, size32)                                                                            \
    static_assert(sizeof(void*) != 4 || sizeof(type) == (size32));                                           \
    visit(#type, "(all)", std::size_t{0}, sizeof(type))

        VX_SHM_FIELD(ShmStreamFifo, m_lock, 0x000);
        VX_SHM_FIELD(ShmStreamFifo, m_nextId, 0x018);
        VX_SHM_FIELD(ShmStreamFifo, m_keyBase, 0x01C);
        VX_SHM_FIELD(ShmStreamFifo, m_lastIdx, 0x020);
        VX_SHM_FIELD(ShmStreamFifo, m_latestIframeIdx, 0x024);
        VX_SHM_FIELD(ShmStreamFifo, m_fifoCnt, 0x028);
        VX_SHM_FIELD(ShmStreamFifo, m_writeStat, 0x02C);
        VX_SHM_FIELD(ShmStreamFifo, m_readStat, 0x038);
        VX_SHM_FIELD(ShmStreamFifo, m_width, 0x04C);
        VX_SHM_FIELD(ShmStreamFifo, m_height, 0x050);
        VX_SHM_FIELD(ShmStreamFifo, m_connectCnt, 0x054);
        VX_SHM_FIELD(ShmStreamFifo, m_extraSize, 0x058);
        VX_SHM_FIELD(ShmStreamFifo, m_entryArr, 0x05C);
        VX_SHM_FIELD(ShmStreamFifo, m_codec, 0x2B4);
        VX_SHM_FIELD(ShmStreamFifo, m_extra, 0x2C8);
        VX_SHM_FIELD(ShmStreamFifo, m_handlerArr, 0x6C8);
        VX_SHM_FIELD(ShmStreamFifo, m_attached, 0x8A8);
        VX_SHM_SIZE(ShmStreamFifo, 0x8AC);

        VX_SHM_FIELD(ShmStreamFifo::WriteStat, m_frames, 0x00);
        VX_SHM_FIELD(ShmStreamFifo::WriteStat, m_fps, 0x04);
        VX_SHM_FIELD(ShmStreamFifo::WriteStat, m_startSec, 0x08);
        VX_SHM_SIZE(ShmStreamFifo::WriteStat, 12);

        VX_SHM_FIELD(ShmStreamFifo::ReadStat, m_frames, 0x00);
        VX_SHM_FIELD(ShmStreamFifo::ReadStat, m_bytes, 0x04);
        VX_SHM_FIELD(ShmStreamFifo::ReadStat, m_fps, 0x08);
        VX_SHM_FIELD(ShmStreamFifo::ReadStat, m_bps, 0x0C);
        VX_SHM_FIELD(ShmStreamFifo::ReadStat, m_startSec, 0x10);
        VX_SHM_SIZE(ShmStreamFifo::ReadStat, 20);

        VX_SHM_FIELD(DATA_ENTRY_INFO, id, 0x00);
        VX_SHM_FIELD(DATA_ENTRY_INFO, generation, 0x04);
        VX_SHM_FIELD(DATA_ENTRY_INFO, mark, 0x08);
        VX_SHM_FIELD(DATA_ENTRY_INFO, capacity, 0x0C);
        VX_SHM_FIELD(DATA_ENTRY_INFO, entry, 0x10);
        VX_SHM_SIZE(DATA_ENTRY_INFO, 20);

        VX_SHM_FIELD(ShmEntryHandler, m_key, 0x00);
        VX_SHM_FIELD(ShmEntryHandler, m_shmId, 0x04);
        VX_SHM_FIELD(ShmEntryHandler, m_capacity, 0x08);
        VX_SHM_FIELD(ShmEntryHandler, m_pEntry, 0x0C);
        VX_SHM_SIZE(ShmEntryHandler, 16);

        VX_SHM_FIELD(DataEntry, index, 0x00);
        VX_SHM_FIELD(DataEntry, size, 0x04);
        VX_SHM_FIELD(DataEntry, capacity, 0x08);
        VX_SHM_FIELD(DataEntry, id, 0x0C);
        VX_SHM_FIELD(DataEntry, frameCnt, 0x10);
        VX_SHM_FIELD(DataEntry, flags, 0x14);
        VX_SHM_FIELD(DataEntry, timestamp, 0x18);
        VX_SHM_FIELD(DataEntry, es, 0x20);
        VX_SHM_FIELD(DataEntry, data, 0x24);
        VX_SHM_SIZE(DataEntry, 0x28);

#undef VX_SHM_SIZE
#undef VX_SHM_FIELD
    }
};
