// SPDX-License-Identifier: Apache-2.0
// tools/frame_pacer.h - one growing time line for all sessions of a source, and frames at their time.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "media_source.h"

/// Puts frames of two tracks into the order of their decoding times. Containers store long runs of one track;
/// written as stored, they would burst through the ring.
class FrameOrder {
public:
    /// @param tracks which of the two tracks there are
    void Reset(bool video, bool audio);
    void Push(SourceFrame&& frame);
    /// The next frame, if it is certain to be the next, or if there will be no more.
    std::optional<SourceFrame> Pop(bool noMore);

private:
    bool m_present[2] = {false, false};
    std::deque<SourceFrame> m_queues[2];
};

/// Maps the time stamps of a source, which start anew when a file is looped or a camera comes back, to
/// microseconds that start at 0 and never run backwards in decoding order.
class Timeline {
public:
    /// The frames that follow are of a new session that starts `gapUs` after the end of the one before.
    void StartSession(long long gapUs);
    void Map(SourceFrame& frame);
    long long EndUs() const { return m_endUs; }

private:
    struct Track {
        long long offsetUs = 0;
        long long lastUs = -1; ///< decoding time of the last frame, mapped
        long long lastDurationUs = 0;
        bool started = false; ///< in this session
    };

    Track m_tracks[2];
    std::optional<long long> m_sessionOffsetUs;
    long long m_sessionStartUs = 0;
    long long m_endUs = 0;
};

/// Waits until a frame's decoding time has come. A source that falls behind by more than a second is not
/// chased: the clock starts again from where it is.
class Pacer {
public:
    explicit Pacer(const StopSignal& stop) : m_stop(stop) {}
    /// @return false if a stop was asked for meanwhile.
    bool WaitFor(long long dtsUs);

private:
    const StopSignal& m_stop;
    std::optional<std::int64_t> m_startNs;
};
