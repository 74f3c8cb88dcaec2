// SPDX-License-Identifier: Apache-2.0
// utils/shmfifo_internal.h - what the files of the stream FIFO share about frames and slots.
#pragma once

#include <cstddef>
#include <cstdint>

#include "shm_segment_internal.h"
#include "shmfifo.h"

/// Whether an address is the start of a mapping of this process with room for a frame of `size` bytes.
inline bool HasRoom(const DataEntry* pEntry, int size) noexcept
{
    const std::size_t payload = size > 0 ? static_cast<std::size_t>(size) : 0;
    return SegmentBytesAt(pEntry) >= sizeof(DataEntry) + payload;
}

/// The time stamp is the one 64-bit word: not read and written in one piece on 32-bit processors, so a reader
/// that lost its claim may see half of each; StillHolds() then says so.
inline void StoreTimestamp(DataEntry& entry, long long timestamp) noexcept
{
    entry.timestamp = timestamp;
}

inline long long LoadTimestamp(const DataEntry& entry) noexcept
{
    return entry.timestamp;
}

/// How far ID `to` lies ahead of ID `from`. One short across the wrap (from 9999 to 0 it is 1): the
/// arithmetic that writer and readers of all builds agree on.
inline std::int64_t FrameDistance(int from, int to) noexcept
{
    const std::int64_t distance = std::int64_t{to} - from;
    return distance < 0 ? distance + SHM_FIFO_MAX_FRAME_ID : distance;
}

/// The longest frame that is valid.
constexpr int SHM_FIFO_MAX_FRAME_SIZE = SHM_FIFO_MAX_ENTRY_SIZE - 1;

/// Puts an end to a FIFO that its writer (killed, say) left behind: tells its readers and removes its data
/// segments. A header segment that is not one of this build is left alone.
void RetireFifo(int shmId, int key) noexcept;
