// SPDX-License-Identifier: Apache-2.0
// tools/record_run.h - one recording: a thread that reads FIFOs, a thread that writes files.
#pragma once

#include <atomic>
#include <optional>

#include "fifo_subscription.h"
#include "frame_queue.h"
#include "segment_recorder.h"
#include "stop_signal.h"

struct RecordOptions {
    std::optional<int> keys[2]; ///< video, audio
    RecorderOptions recorder;
    double waitSec = 30; ///< for a FIFO that is not there, or whose writer has gone; negative = for ever
    bool once = false;   ///< end when the FIFOs that were recorded have gone
    std::string tracePath;
};

/// Run() reads on the calling thread and writes on one of its own, so that a slow disk costs memory, not frames.
class RecordRun {
public:
    RecordRun(RecordOptions options, const StopSignal& stop);

    /// Looks at the keys and the place first.
    Trouble Check() const;
    Trouble Run();

    const RecorderCounts& Written() const { return m_recorder.Counts(); }
    const std::optional<FifoSubscription>& Subscription(int track) const { return m_subscriptions[track]; }
    long long Overrun() const { return m_overrun; }

private:
    Trouble ReadFrames();
    void WriteFrames();
    bool PollAll();
    bool WaitIsOver();
    void Push(RecordFrame&& frame);

    RecordOptions m_options;
    const StopSignal& m_stop;
    FrameTrace m_trace;
    std::optional<FifoSubscription> m_subscriptions[2];
    FrameQueue m_queue;
    SegmentRecorder m_recorder;
    Trouble m_readTrouble;
    Trouble m_writeTrouble;
    std::atomic<bool> m_writerDone{false};
    bool m_overrunGap[2] = {false, false};
    long long m_overrun = 0; ///< frames that the full queue did not take
    std::int64_t m_orphanedNs = 0;
    std::int64_t m_nextLookNs = 0;
    bool m_attached = false; ///< a frame has come
};
