// SPDX-License-Identifier: Apache-2.0
// shmfiforeader.h - a reader that attaches to a stream FIFO and hands each frame to a callback.
#pragma once

#include <cstdint>

#include "package/export.h"
#include "package/media.h"
#include "shmfifo.h"

/// One reader of one FIFO. Init() attaches, Read() hands over one frame at a time, Free() detaches.
///
/// Thread-safety: one thread at a time; any number of readers beside each other.
class ShmFifoReader {
public:
    /// Gets the caller's context, the claimed frame, its bytes and their number. Reads in place: the pointers
    /// are valid during the call only.
    using Callback = void (*)(void* ctx, DataEntry* pEntry, unsigned char* data, int size);
    /// ReadNext, ReadLatest or ReadLatestIFrame of ShmStreamFifo.
    using ReadFn = DataEntry* (ShmStreamFifo::*)(int lastId, DATA_ENTRY_INFO* table);

    VX_API ShmFifoReader() noexcept;
    VX_API ~ShmFifoReader();
    ShmFifoReader(const ShmFifoReader&) = delete;
    ShmFifoReader& operator=(const ShmFifoReader&) = delete;

    /// Attaches to the FIFO under a key. The same key again only forgets the last frame; -1 detaches.
    ///
    /// @param updateStat whether this reader counts in the FIFO's read rates
    /// @return 0; -1 (logged): there is no FIFO of this build's width under the key.
    VX_API int Init(int key, bool updateStat) noexcept;

    /// Asks for the frames from the very first on, where none has been written yet. A reader that has read
    /// nothing starts with the newest frame otherwise, and so passes over what came between Init() and its
    /// first Read(). Said after Init(), with ReadNext.
    ///
    /// @return false: there are frames already; nothing is changed.
    VX_API bool StartAtFirst() noexcept;

    /// Hands one frame to the callback, if there is one.
    ///
    /// @return whether the callback was called.
    VX_API bool Read(void* ctx, Callback callback, ReadFn readFn) noexcept;

    /// Whether there is no FIFO, or its writer has freed it.
    VX_API bool IsClose() const noexcept;

    /// Whether no valid frame has come for more than ten seconds, or the FIFO is closed. The first call after
    /// a frame starts the time.
    VX_API bool IsNoData() noexcept;

    VX_API void Free() noexcept;

    /// Describes the video or audio of this FIFO.
    ///
    /// @return 0; -1 (logged): the format is reset, or filled as far as it was understood.
    VX_API int FillVdoFmt(ESFormat& format) noexcept;
    VX_API int FillAdoFmt(ESFormat& format) noexcept;

    /// The attached FIFO; null when there is none. Stays this reader's.
    ShmStreamFifo* GetFifo() const noexcept { return m_pFifo; }
    /// ID of the last frame handed over; SHM_FIFO_NO_FRAME_ID before the first.
    int GetLastId() const noexcept { return m_lastId; }

private:
    std::int32_t m_key = -1;
    std::int32_t m_lastId = SHM_FIFO_NO_FRAME_ID;
    ShmStreamFifo* m_pFifo = nullptr;
    DATA_ENTRY_INFO m_table[SHM_FIFO_MAX_COUNT] = {};
    std::int32_t m_noDataSinceSec = 0;
    bool m_lastReadValid = false;
    bool m_updateStat = false;
};
