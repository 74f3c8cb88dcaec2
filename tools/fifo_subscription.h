// SPDX-License-Identifier: Apache-2.0
// tools/fifo_subscription.h - follows one FIFO from key frame to key frame, also when it goes and comes back.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "frame_trace.h"
#include "record_frame.h"
#include "shmfiforeader.h"
#include "trouble.h"

/// What one FIFO gave, and what it did not.
struct ReadCounts {
    long long frames = 0;
    long long bytes = 0;
    long long jumps = 0;
    long long lost = 0; ///< frames that the jumps cost
    int attached = 0;   ///< how often the FIFO was attached
};

/// One reader of one FIFO. One thread at a time.
class FifoSubscription {
public:
    /// @param pTrace null, or where each frame gets a line; borrowed
    FifoSubscription(int key, bool isVideo, FrameTrace* pTrace);

    /// The next frame, if there is one. Attaches and attaches again by itself. Starts with the first frame if
    /// it was attached before, else video starts at the newest key frame and sound with the newest frame.
    std::optional<RecordFrame> Poll();

    /// Why no frame of this FIFO will ever do: it holds the other kind of stream.
    const Trouble& Problem() const { return m_problem; }

    bool IsAttached() const { return m_attached; }
    /// Whether there is nobody who could write: no FIFO, or one whose writer is dead.
    bool IsOrphaned();
    int Key() const { return m_key; }
    const ReadCounts& Counts() const { return m_counts; }

private:
    using Clock = std::chrono::steady_clock;

    bool Attach();
    void Detach();
    void LookForNewFifo();
    ShmFifoReader::ReadFn ChooseFrame();
    bool ReadOne(ShmFifoReader::ReadFn readFn);
    static void OnFrame(void* pThis, DataEntry* pEntry, unsigned char* pData, int size);
    void CopyFrame(DataEntry* pEntry, const unsigned char* pData, int size);
    bool Count(RecordFrame& frame);
    bool UpdateFormat(const RecordFrame& frame);
    bool ReadFormat(StreamFormat& format);

    int m_key;
    bool m_isVideo;
    FrameTrace* m_pTrace;
    ShmFifoReader m_reader;
    bool m_attached = false;
    int m_shmId = -1;         ///< of the header that is, or was last, attached
    bool m_fromFirst = false; ///< attached before the first frame, which has not been read yet
    int m_lastId = SHM_FIFO_NO_FRAME_ID;
    int m_frameId = 0;
    int m_frameFlags = 0;
    bool m_torn = false; ///< the writer took the slot while it was copied
    bool m_gap = false;  ///< frames were lost since the last that was handed out
    int m_sinceFormat = 0;
    std::optional<RecordFrame> m_frame;
    std::shared_ptr<const StreamFormat> m_pFormat;
    Clock::time_point m_nextLook;
    ReadCounts m_counts;
    Trouble m_problem;
};

/// @return why a stream with this codec cannot be recorded from the key given for video or for sound.
Trouble CheckKind(int key, bool isVideo, const std::string& codec);
