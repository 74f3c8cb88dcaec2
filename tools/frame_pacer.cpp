// SPDX-License-Identifier: Apache-2.0
// tools/frame_pacer.cpp - one growing time line for all sessions of a source, and frames at their time.
#include "frame_pacer.h"

#include <algorithm>

#include "frame_trace.h"

namespace {

constexpr long long LOOKAHEAD_US = 3000000; ///< a track that is silent for so long is not waited for
constexpr long long JUMP_US = 10000000;     ///< time stamps that leap further than this are not believed
constexpr std::int64_t NS_PER_US = 1000;
constexpr std::int64_t MAX_LATE_NS = 1000000000;

} // namespace

void FrameOrder::Reset(bool video, bool audio)
{
    m_present[0] = video;
    m_present[1] = audio;
    m_queues[0].clear();
    m_queues[1].clear();
}

void FrameOrder::Push(SourceFrame&& frame)
{
    m_queues[frame.track].push_back(std::move(frame));
}

std::optional<SourceFrame> FrameOrder::Pop(bool noMore)
{
    int next = m_queues[0].empty() ? 1 : 0;
    if (m_queues[next].empty()) {
        return std::nullopt;
    }
    const int other = 1 - next;
    if (!m_queues[other].empty()) {
        next = m_queues[1].front().frame.dtsUs < m_queues[0].front().frame.dtsUs ? 1 : 0;
    } else if (m_present[other] && !noMore) {
        const std::deque<SourceFrame>& queue = m_queues[next];
        if (queue.back().frame.dtsUs - queue.front().frame.dtsUs < LOOKAHEAD_US) {
            return std::nullopt;
        }
    }
    SourceFrame frame = std::move(m_queues[next].front());
    m_queues[next].pop_front();
    return frame;
}

void Timeline::StartSession(long long gapUs)
{
    m_sessionOffsetUs.reset();
    m_sessionStartUs = m_endUs + gapUs;
    m_tracks[0].started = m_tracks[1].started = false;
}

void Timeline::Map(SourceFrame& source)
{
    Track& track = m_tracks[source.track];
    MediaFrame& frame = source.frame;
    if (!m_sessionOffsetUs) {
        m_sessionOffsetUs = m_sessionStartUs - frame.dtsUs;
    }
    if (!track.started) {
        track.started = true;
        track.offsetUs = *m_sessionOffsetUs;
    } else {
        const long long dtsUs = frame.dtsUs + track.offsetUs;
        if (dtsUs < track.lastUs || dtsUs > track.lastUs + JUMP_US) {
            track.offsetUs = track.lastUs + track.lastDurationUs - frame.dtsUs; // the source's clock was set
        }
    }
    frame.dtsUs += track.offsetUs;
    frame.ptsUs += track.offsetUs;
    if (frame.dtsUs < track.lastUs) { // the tail of the session before reaches into this one
        frame.dtsUs = track.lastUs;
        frame.ptsUs = std::max(frame.ptsUs, frame.dtsUs);
    }
    track.lastUs = frame.dtsUs;
    track.lastDurationUs = frame.durationUs;
    m_endUs = std::max(m_endUs, frame.dtsUs + frame.durationUs);
}

bool Pacer::WaitFor(long long dtsUs)
{
    const std::int64_t now = MonotonicNs();
    if (!m_startNs || now - (*m_startNs + dtsUs * NS_PER_US) > MAX_LATE_NS) {
        m_startNs = now - dtsUs * NS_PER_US;
    }
    for (;;) {
        const std::int64_t leftNs = *m_startNs + dtsUs * NS_PER_US - MonotonicNs();
        if (leftNs <= 0) {
            return !m_stop.Stopped();
        }
        if (m_stop.WaitFor(std::chrono::milliseconds(leftNs / 1000000 + 1))) {
            return false;
        }
    }
}
