// SPDX-License-Identifier: Apache-2.0
// shmfifoinspect.h - looks at the stream FIFOs of this machine from outside, without taking part in them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "package/export.h"
#include "package/media.h"

/// One segment as the kernel knows it. id is -1 when there is none under the key.
struct ShmSegmentInfo {
    int key = -1;
    int id = -1;
    std::uint64_t bytes = 0;
    std::uint64_t attachCnt = 0;
    pid_t creatorPid = 0;
    pid_t lastPid = 0;
    uid_t uid = 0;
    unsigned mode = 0;
    bool marked = false; ///< removed already, waiting for its last detach
};

/// One slot at one moment.
struct ShmSlotSnapshot {
    int id = 0; ///< SHM_FIFO_NO_FRAME_ID = never written
    int generation = 0;
    int writerMarks = 0;
    int readers = 0;
    int capacity = 0;
    ShmSegmentInfo segment;
    bool frameRead = false; ///< whether the four below could be read
    int frameSize = 0;
    int frameFlags = 0;
    long long timestamp = 0;
    int es = MEDIA_ES_NONE;
};

/// One FIFO at one moment. The words are read one after another while others write: each is right, all
/// together need not be of one instant.
struct ShmFifoSnapshot {
    ShmSegmentInfo header;
    bool attached = false; ///< false once the writer has freed it
    std::string codec;     ///< printable letters only
    int nextId = 0;
    int keyBase = 0;
    int lastIdx = -1;
    int latestIframeIdx = -1;
    int fifoCnt = 0;
    int width = 0;
    int height = 0;
    int connectCnt = 0;
    int extraSize = 0;
    int writeFPS = -1;
    int readFPS = 0;
    int readBPS = 0;
    std::vector<ShmSlotSnapshot> slots; ///< as many as fifoCnt
};

/// Why a FIFO could not be looked at.
enum class ShmInspectResult {
    OK,
    NO_SEGMENT,   ///< nothing under the key
    NO_ACCESS,    ///< not ours to read
    OTHER_LENGTH, ///< not as long as a header of this build: another width, or no FIFO at all
    NOT_A_FIFO,   ///< as long as a header, but the content cannot be one
    NO_MEMORY,
};

/// Attaches read-only, takes no lock and claims no slot, so that it neither hangs nor disturbs.
/// Thread-safety: any thread.
class ShmFifoInspector {
public:
    VX_API static ShmInspectResult Inspect(int key, ShmFifoSnapshot& snapshot) noexcept;

    /// Keys of everything on this machine that is a FIFO of this build's width, in ascending order.
    VX_API static std::vector<int> ListKeys() noexcept;

    /// Removes a FIFO whose writer is gone: header and data segments. Says nothing about who still uses it;
    /// the caller looks first.
    ///
    /// @return 0; -1: at least one segment could not be removed (logged); the others are.
    VX_API static int Remove(int key) noexcept;
};
