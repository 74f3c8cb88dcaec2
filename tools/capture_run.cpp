// SPDX-License-Identifier: Apache-2.0
// tools/capture_run.cpp - moves a source's frames into FIFOs until it ends or a stop is asked for.
#include "capture_run.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::chrono::milliseconds FIRST_PAUSE{1000};
constexpr std::chrono::milliseconds LONGEST_PAUSE{30000};
constexpr std::chrono::milliseconds READER_PATIENCE{30000};
constexpr std::chrono::milliseconds READER_POLL{2};
constexpr std::chrono::milliseconds LINGER{500};
constexpr std::chrono::milliseconds LIVE_GAP{2}; ///< between two frames of a track of a live source

} // namespace

CaptureRun::CaptureRun(CaptureOptions options, const StopSignal& stop)
    : m_options(std::move(options)), m_stop(stop), m_source(m_options.source, stop), m_pacer(stop)
{}

Trouble CaptureRun::Start()
{
    if (!m_options.tracePath.empty() && m_trace.Open(m_options.tracePath) != 0) {
        return {EXIT_UNREACHABLE,
                m_options.tracePath + ": cannot make the trace file: " + std::strerror(errno)};
    }
    if (Trouble trouble = m_source.Open()) {
        return trouble;
    }
    if (m_options.plans[1] && !m_source.HasAudio()) {
        Note("capture",
             m_source.Shown() + ": has no audio track; " + m_options.plans[1]->option + " is not used");
    }
    return CreateFifos();
}

Trouble CaptureRun::CreateFifos()
{
    const bool present[2] = {m_source.HasVideo(), m_source.HasAudio()};
    for (int track = 0; track < 2; ++track) {
        if (!m_options.plans[track] || !present[track]) {
            continue;
        }
        Trouble trouble = PrepareKeys(*m_options.plans[track]);
        if (!trouble) {
            m_publishers[track].emplace(*m_options.plans[track], m_options.prefault,
                                        m_trace.IsOpen() ? &m_trace : nullptr);
            trouble = m_publishers[track]->Create(m_source.Format(track));
        }
        if (trouble) {
            m_publishers[0].reset();
            m_publishers[1].reset();
            return trouble;
        }
    }
    return {};
}

Trouble CaptureRun::Run()
{
    WaitForReaders();
    BeginSession(0);
    bool more = true;
    while (more) {
        std::vector<SourceFrame> frames;
        const SourceRead result = m_source.Read(frames);
        for (SourceFrame& frame : frames) {
            m_order.Push(std::move(frame));
        }
        more = result != SourceRead::STOPPED && Publish(result != SourceRead::FRAMES);
        if (more && result == SourceRead::END) {
            more = m_options.loop && Loop();
            if (!more) {
                Linger();
            }
        } else if (more && result == SourceRead::DROPPED) {
            more = Reconnect();
        }
    }
    m_counts.durationUs = m_timeline.EndUs();
    for (std::optional<FifoPublisher>& publisher : m_publishers) {
        if (publisher) {
            publisher->Remove();
        }
    }
    if (m_trace.Close() != 0 && !m_trouble) {
        return {EXIT_FOUND, m_options.tracePath + ": the trace is not complete: " + std::strerror(errno)};
    }
    if (!m_trouble && !m_source.IsNetwork() && m_source.Damaged() > 0) {
        return {EXIT_FOUND, m_source.Shown() + ": damaged packets: " + std::to_string(m_source.Damaged()) +
                                "; frames are missing, take a whole file"};
    }
    return m_trouble;
}

void CaptureRun::WaitForReaders() const
{
    const auto limit = std::chrono::steady_clock::now() + READER_PATIENCE;
    const auto tooFew = [this](const std::optional<FifoPublisher>& publisher) {
        return publisher && publisher->Readers() < m_options.waitReaders;
    };
    while (tooFew(m_publishers[0]) || tooFew(m_publishers[1])) {
        if (std::chrono::steady_clock::now() > limit) {
            Note("capture", "--wait-readers: not all have come; going on without them");
            return;
        }
        if (m_stop.WaitFor(READER_POLL)) {
            return;
        }
    }
}

/// Gives the last frames their time before the FIFOs go: readers cannot attach a slot that is removed.
void CaptureRun::Linger()
{
    const auto read = [](const std::optional<FifoPublisher>& publisher) {
        return publisher && publisher->Readers() > 0;
    };
    if (read(m_publishers[0]) || read(m_publishers[1])) {
        m_stop.WaitFor(LINGER);
    }
}

void CaptureRun::BeginSession(long long gapUs)
{
    m_order.Reset(m_publishers[0] && m_source.HasVideo(), m_publishers[1] && m_source.HasAudio());
    m_timeline.StartSession(gapUs);
}

bool CaptureRun::ShouldPace() const
{
    return m_options.pace == CaptureOptions::Pace::REALTIME ||
           (m_options.pace == CaptureOptions::Pace::AUTO && !m_source.IsLive());
}

/// Writes what is certain to be next. @return false if it is to end: a stop was asked for, or trouble came.
bool CaptureRun::Publish(bool noMore)
{
    const bool unordered = m_source.IsLive() && !ShouldPace(); // a camera's frames are not held back
    while (std::optional<SourceFrame> next = m_order.Pop(noMore || unordered)) {
        m_timeline.Map(*next);
        if (ShouldPace() && !m_pacer.WaitFor(next->frame.dtsUs)) {
            return false;
        }
        if (unordered && !SpreadBurst(next->track)) {
            return false;
        }
        if (m_publishers[next->track]) {
            m_trouble = m_publishers[next->track]->Publish(next->frame);
            if (m_trouble) {
                return false;
            }
        }
        m_lastFrameNs = m_lastTrackNs[next->track] = MonotonicNs();
        m_pause = std::chrono::milliseconds::zero();
    }
    return !m_stop.Stopped();
}

/// What was received while a live source was looked at comes at once, more than a ring holds: a little apart, so
/// that readers can follow. @return false if a stop was asked for.
bool CaptureRun::SpreadBurst(int track) const
{
    const std::chrono::nanoseconds passed(MonotonicNs() - m_lastTrackNs[track]);
    return passed >= LIVE_GAP || !m_stop.WaitFor(LIVE_GAP);
}

bool CaptureRun::Loop()
{
    const bool gaveFrames = m_timeline.EndUs() > m_loopStartUs;
    m_loopStartUs = m_timeline.EndUs();
    if (!gaveFrames) {
        Note("capture", m_source.Shown() + ": has no frames to loop");
        return false;
    }
    if (Trouble trouble = m_source.Open()) {
        Note("capture", trouble.text);
        return false;
    }
    ++m_counts.loops;
    BeginSession(0);
    return true;
}

/// Opens a source that went away again and again, with growing pauses. The FIFOs stay, and so do their readers.
bool CaptureRun::Reconnect()
{
    Note("capture", m_source.Shown() + ": lost (" + m_source.LastError() + "); trying again");
    for (;;) {
        m_pause = std::clamp(m_pause * 2, FIRST_PAUSE, LONGEST_PAUSE);
        m_source.Close();
        if (m_stop.WaitFor(m_pause)) {
            return false;
        }
        const Trouble trouble = m_source.Open();
        if (!trouble) {
            break;
        }
        Note("capture", trouble.text);
    }
    ++m_counts.reconnects;
    Note("capture", m_source.Shown() + ": is back");
    BeginSession(m_lastFrameNs == 0 ? 0 : (MonotonicNs() - m_lastFrameNs) / 1000);
    return true;
}
