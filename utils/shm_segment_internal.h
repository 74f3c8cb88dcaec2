// SPDX-License-Identifier: Apache-2.0
// utils/shm_segment_internal.h - what the kernel lends: System V segments and their mappings.
#pragma once

#include <sys/shm.h>

#include <cstddef>

/// Finds the segment under a key. @return its id; -1 with errno.
[[nodiscard]] int FindSegment(int key) noexcept;

/// Makes a new segment under a key, mode 0666. @return its id; -1 with errno.
[[nodiscard]] int CreateSegment(int key, std::size_t bytes) noexcept;

/// Removes a segment for everybody; mappings stay until they are detached. @return 0; -1 with errno.
[[nodiscard]] int RemoveSegment(int shmId) noexcept;

/// Removes a segment if it is (still) the one under a key: an id that somebody wrote over removes nothing.
/// @return 0; -1 with errno.
[[nodiscard]] int RemoveOwnSegment(int shmId, int key) noexcept;

/// Whether a segment is exactly so long.
[[nodiscard]] bool HasLength(int shmId, std::size_t bytes) noexcept;

/// Backs a mapping with memory, all of it, without changing a byte. @return 0; -1 with errno.
[[nodiscard]] int TouchSegment(const void* pAddr) noexcept;

/// What the kernel knows of a segment. @return 0; -1 with errno.
[[nodiscard]] int StatSegment(int shmId, shmid_ds& stat) noexcept;

/// Maps a segment of at least `minBytes` and remembers how long it really is.
///
/// @return the mapping, to be given to DetachSegment(); null with errno (EINVAL: too short), nothing mapped.
[[nodiscard]] void* AttachSegment(int shmId, std::size_t minBytes, bool readOnly = false) noexcept;

/// Unmaps what AttachSegment() gave; anything else is left alone.
void DetachSegment(const void* pAddr) noexcept;

/// The real length of the mapping that starts at an address; 0: this process has no such mapping.
///
/// Cost: a few loads, no lock. Thread-safety: any thread, also in a child after fork().
[[nodiscard]] std::size_t SegmentBytesAt(const void* pAddr) noexcept;

/// Pauses before another try: 1 ms at first, twice as long each time, 1 s at most.
class RetryPause {
public:
    void Wait() noexcept;

private:
    int m_ms = 1;
};
