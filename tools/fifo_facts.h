// SPDX-License-Identifier: Apache-2.0
// tools/fifo_facts.h - the FIFOs of this box as vx fifo shows them: what their headers say, what the kernel
// says. Everything here looks only; a scribbled header gives odd numbers, never a crash.
#pragma once

#include <string>
#include <vector>

#include "shmfifoinspect.h"
#include "sysv_shm.h"

enum class FifoState {
    LIVE,        ///< its creator runs and keeps it
    CLOSED,      ///< its creator has let it go, and runs
    LEFT_OVER,   ///< its creator is gone without having removed it
    OTHER_WIDTH, ///< cannot be read by this build
    BROKEN,      ///< something has written over the header
    NO_ACCESS,   ///< not ours to read
};

/// One FIFO, or (headerGone) the slots of one whose header is no more.
struct FifoFacts {
    int key = 0;
    bool headerGone = false;
    ShmRow header; ///< without a header: the first slot's row
    std::vector<ShmRow> slotRows;
    bool creatorAlive = false;
    FifoState state = FifoState::LEFT_OVER;
    bool known = false; ///< whether `snapshot` could be taken
    ShmFifoSnapshot snapshot;

    std::uint64_t Bytes() const;
    /// Mappings of the header besides the writer's own.
    int Readers() const;
    /// ID of the newest frame, or -1.
    int NewestId() const;
    /// ID of the newest key frame, or -1.
    int KeyFrameId() const;
};

/// "live", "left over", ...; as words for people and, with "_", for --json.
const char* TextOf(FifoState state);

/// Is this as long as a header that a process of the other width makes?
bool IsOtherWidth(const ShmRow& row);
/// "32-bit" or "64-bit": not ours.
const char* OtherWidth();

/// @return every FIFO of the box and every left-over run of slots, by key.
std::vector<FifoFacts> ListFifos(const std::vector<ShmRow>& rows);

/// @return true and the facts, if there is a FIFO, or what is left of one, under the key.
bool FindFifo(const std::vector<ShmRow>& rows, int key, FifoFacts& facts);
