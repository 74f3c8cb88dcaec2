// SPDX-License-Identifier: Apache-2.0
// tools/capture_run.h - moves a source's frames into FIFOs until it ends or a stop is asked for.
#pragma once

#include <chrono>
#include <optional>

#include "fifo_publisher.h"
#include "frame_pacer.h"
#include "media_source.h"

struct CaptureOptions {
    SourceOptions source;
    std::optional<FifoPlan> plans[2]; ///< video, audio
    enum class Pace { AUTO, REALTIME, FAST } pace = Pace::AUTO;
    bool loop = false;
    bool prefault = false;
    int waitReaders = 0; ///< readers that each FIFO must have before the first frame
    std::string tracePath;
};

struct CaptureCounts {
    int reconnects = 0;
    int loops = 0;
    long long durationUs = 0;
};

/// One capture from opening the source to its end. One thread.
class CaptureRun {
public:
    CaptureRun(CaptureOptions options, const StopSignal& stop);

    /// Opens the source and makes the FIFOs. Nothing is left behind if there is trouble.
    Trouble Start();
    /// Runs to the end. The FIFOs are removed when it returns.
    Trouble Run();

    const CaptureCounts& Counts() const { return m_counts; }
    const std::optional<FifoPublisher>& Publisher(int track) const { return m_publishers[track]; }

private:
    Trouble CreateFifos();
    void WaitForReaders() const;
    void Linger();
    void BeginSession(long long gapUs);
    bool Publish(bool noMore);
    bool SpreadBurst(int track) const;
    bool Loop();
    bool Reconnect();
    bool ShouldPace() const;

    CaptureOptions m_options;
    const StopSignal& m_stop;
    MediaSource m_source;
    FrameTrace m_trace;
    std::optional<FifoPublisher> m_publishers[2];
    FrameOrder m_order;
    Timeline m_timeline;
    Pacer m_pacer;
    CaptureCounts m_counts;
    Trouble m_trouble;
    std::int64_t m_lastFrameNs = 0;
    std::int64_t m_lastTrackNs[2] = {0, 0};
    long long m_loopStartUs = 0;
    std::chrono::milliseconds m_pause{0}; ///< before the next try; 0 = frames came since the last
};
