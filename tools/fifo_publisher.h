// SPDX-License-Identifier: Apache-2.0
// tools/fifo_publisher.h - writes the frames of one track into one FIFO.
#pragma once

#include <memory>

#include "elementary_track.h"
#include "fifo_keys.h"
#include "frame_trace.h"
#include "shmfifo.h"

/// What went into a FIFO, and what did not.
struct PublishCounts {
    long long frames = 0;
    long long keyFrames = 0;
    long long bytes = 0;
    long long dropped = 0; ///< no slot was free, or it could not grow
    long long refused = 0; ///< too large for any slot
    int resolutions = 0;   ///< how often the resolution was set
};

/// Owns one FIFO from Create() on; the destructor removes it. One thread at a time.
class FifoPublisher {
public:
    /// @param pTrace null, or where each frame gets a line; borrowed
    FifoPublisher(FifoPlan plan, bool prefault, FrameTrace* pTrace);

    /// Makes the FIFO and announces the format. PrepareKeys() has been asked before.
    Trouble Create(const TrackFormat& format);

    /// Writes a frame; a changed format is announced first. A FIFO that somebody has removed or written over
    /// is made anew within a second.
    ///
    /// @return trouble only if that cannot be: another process has the key now, say.
    Trouble Publish(const MediaFrame& frame);

    /// Removes the FIFO: every segment that this process has made under its keys.
    void Remove();

    const PublishCounts& Counts() const { return m_counts; }
    const FifoPlan& Plan() const { return m_plan; }
    int Slots() const { return m_pFifo != nullptr ? m_pFifo->GetFifoCnt() : 0; }
    /// Readers that are there and have said by AccConnectCnt() that they miss no frame from then on. Who only
    /// looks at the FIFO (vx fifo stat) attaches to it as well, for a moment, and says nothing.
    int Readers() const;

private:
    void Announce(const TrackFormat& format);
    bool IsTooLarge(int size);
    bool IsLost();
    Trouble MakeAnewIfLost();

    FifoPlan m_plan;
    FrameTrace* m_pTrace;
    std::unique_ptr<ShmFifoHandler> m_pHandler;
    ShmStreamFifo* m_pFifo = nullptr;
    bool m_prefault;
    std::shared_ptr<const TrackFormat> m_pLastFormat;
    int m_shmId = -1;
    std::int64_t m_nextLookNs = 0;
    long long m_droppedAtLook = 0;
    int m_nextId = 0; ///< as the FIFO counts: one up for each frame written
    PublishCounts m_counts;
};
