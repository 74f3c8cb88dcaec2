// SPDX-License-Identifier: Apache-2.0
// tools/segment_recorder.cpp - turns frames of a video and an audio FIFO into files that start at key frames.
#include "segment_recorder.h"

#include <algorithm>
#include <climits>

#include "package/recorder.h"

namespace {

constexpr long long AUDIO_LEAD_US = 100000;      ///< sound that starts this little before the picture is kept
constexpr long long SOUND_PATIENCE_US = 2000000; ///< how long the first file waits for the first sound
constexpr long long REJOIN_STEP_US = 40000;      ///< between two epochs in one file
constexpr std::size_t MAX_WAITING_AUDIO =
    2000;                         ///< frames; a picture that never comes is not waited for with more
constexpr long long NOTE_SEC = 5; ///< how old the size of an open event may be
constexpr double US_PER_SEC = 1e6;

} // namespace

Trouble SegmentRecorder::Add(RecordFrame&& frame)
{
    JoinTimes(frame);
    return frame.isVideo ? AddVideo(std::move(frame)) : AddAudio(std::move(frame));
}

/// A FIFO that was made anew starts its time stamps anew; they are moved behind what is there already. The
/// other track of the same capture is moved by the same distance.
void SegmentRecorder::JoinTimes(RecordFrame& frame)
{
    Times& own = m_times[frame.isVideo ? 0 : 1];
    const Times& other = m_times[frame.isVideo ? 1 : 0];
    if (own.started && frame.epoch != own.epoch) {
        const long long endUs =
            std::max(own.lastUs, other.started ? other.lastUs : own.lastUs) + REJOIN_STEP_US;
        own.offsetUs = other.epoch == frame.epoch ? other.offsetUs : endUs - frame.ptsUs;
    }
    own.epoch = frame.epoch;
    own.started = true;
    frame.ptsUs += own.offsetUs;
    own.lastUs = std::max(own.lastUs, frame.ptsUs);
}

bool SegmentRecorder::IsEnough(const RecordFrame& frame)
{
    if (!m_firstUs) {
        m_firstUs = frame.ptsUs;
    }
    const double passedSec = static_cast<double>(frame.ptsUs - *m_firstUs) / US_PER_SEC;
    m_complete = m_complete || (m_options.durationSec > 0 && passedSec >= m_options.durationSec);
    return m_complete;
}

Trouble SegmentRecorder::AddVideo(RecordFrame&& frame)
{
    m_needKey = (m_needKey || frame.afterGap) && !frame.key;
    if (m_needKey) {
        m_counts.skipped += m_firstUs ? 1 : 0;
        return {};
    }
    if (IsEnough(frame)) {
        return {};
    }
    if (m_pVideoFormat == nullptr || StartsSegment(frame)) {
        if (m_holding && !m_held.empty()) {
            if (Trouble trouble = StartSegment()) {
                return trouble;
            }
        }
        m_holding = true;
        m_pVideoFormat = frame.format;
        m_segmentEpoch = frame.epoch;
        m_startUs = frame.ptsUs;
        m_depth = ReorderDepth(*m_pVideoFormat, *frame.packet);
    }
    if (!m_holding) {
        const long long dtsUs = m_clock.Next(frame.ptsUs);
        return Write(frame, dtsUs);
    }
    m_held.push_back(std::move(frame));
    return CanStart() ? StartSegment() : Trouble{};
}

/// Whether enough pictures are held, and sound has come if there should be any (a silent track is not waited
/// for long).
bool SegmentRecorder::CanStart() const
{
    if (m_held.size() < DecodeClock::PicturesToPrime(m_depth)) {
        return false;
    }
    const bool waitForSound = m_options.hasAudio && m_pAudioFormat == nullptr && m_audio.empty();
    return !waitForSound || m_held.back().ptsUs - m_held.front().ptsUs > SOUND_PATIENCE_US;
}

bool SegmentRecorder::StartsSegment(const RecordFrame& frame) const
{
    if (!frame.key) {
        return false;
    }
    const bool timeIsOver = m_options.segmentSec > 0 &&
                            static_cast<double>(frame.ptsUs - m_startUs) / US_PER_SEC >= m_options.segmentSec;
    const bool changed = frame.format != m_pVideoFormat && *frame.format != *m_pVideoFormat;
    return timeIsOver || changed || m_cutSoon || m_isRotated ||
           (m_options.place.file.empty() && frame.epoch != m_segmentEpoch);
}

Trouble SegmentRecorder::AddAudio(RecordFrame&& frame)
{
    if (m_options.hasVideo) {
        if (m_complete) {
            return {};
        }
        if (!m_holding) {
            return AddSound(frame);
        }
        m_audio.push_back(std::move(frame));
        if (!m_held.empty() && CanStart()) {
            return StartSegment();
        }
        if (m_audio.size() > MAX_WAITING_AUDIO) {
            m_audio.pop_front();
            ++m_counts.lateAudio;
        }
        return {};
    }
    if (IsEnough(frame)) {
        return {};
    }
    const bool timeIsOver = m_options.segmentSec > 0 && m_writer.IsOpen() &&
                            static_cast<double>(frame.ptsUs - m_startUs) / US_PER_SEC >= m_options.segmentSec;
    const bool changed =
        m_pAudioFormat != nullptr && frame.format != m_pAudioFormat && *frame.format != *m_pAudioFormat;
    if (!m_writer.IsOpen() || timeIsOver || changed || m_isRotated) {
        m_baseUs = m_startUs = frame.ptsUs;
        m_pAudioFormat = frame.format;
        if (Trouble trouble = OpenFile(frame, nullptr, m_pAudioFormat.get())) {
            return trouble;
        }
    }
    return Write(frame, frame.ptsUs);
}

/// All held pictures are of the new segment; sound from before its start still goes to the old one.
Trouble SegmentRecorder::StartSegment()
{
    std::vector<long long> pts;
    for (const RecordFrame& frame : m_held) {
        pts.push_back(frame.ptsUs);
    }
    const std::vector<long long> dts = m_clock.Prime(pts, m_depth);
    if (Trouble trouble = FlushAudio(dts.front())) {
        return trouble;
    }
    m_baseUs = dts.front();
    m_cutSoon = false;
    if (!m_audio.empty()) {
        m_baseUs = std::min(m_baseUs, m_audio.front().ptsUs);
        m_pAudioFormat = m_audio.front().format;
    }
    const bool withAudio = m_options.hasAudio && m_pAudioFormat != nullptr;
    Trouble trouble =
        OpenFile(m_held.front(), m_pVideoFormat.get(), withAudio ? m_pAudioFormat.get() : nullptr);
    for (std::size_t i = 0; i < m_held.size() && !trouble; ++i) {
        trouble = Write(m_held[i], dts[i]);
    }
    m_held.clear();
    m_holding = false;
    while (!m_audio.empty() && !trouble) {
        trouble = AddSound(m_audio.front());
        m_audio.pop_front();
    }
    return trouble;
}

/// Sound into the open file, if it is what the file says it is; else the next key frame starts a new one.
Trouble SegmentRecorder::AddSound(RecordFrame& frame)
{
    if (frame.format != m_pAudioFormat && (m_pAudioFormat == nullptr || *frame.format != *m_pAudioFormat)) {
        m_pAudioFormat = frame.format;
        m_cutSoon = true;
    }
    if (m_cutSoon) {
        ++m_counts.lateAudio;
        return {};
    }
    return Write(frame, frame.ptsUs);
}

/// Sound before a time: into the file that is open, or away (but for a short lead) if there is none.
Trouble SegmentRecorder::FlushAudio(long long untilUs)
{
    const long long limitUs = m_writer.IsOpen() ? untilUs : untilUs - AUDIO_LEAD_US;
    while (!m_audio.empty() && m_audio.front().ptsUs < limitUs) {
        if (!m_writer.IsOpen()) {
            ++m_counts.lateAudio;
        } else if (Trouble trouble = AddSound(m_audio.front())) {
            return trouble;
        }
        m_audio.pop_front();
    }
    return {};
}

Trouble SegmentRecorder::OpenFile(const RecordFrame& first, const StreamFormat* pVideo,
                                  const StreamFormat* pAudio)
{
    if (Trouble trouble = CloseFile()) {
        return trouble;
    }
    int fd = -1;
    std::string path;
    const bool quickTime = NeedsQuickTime(pAudio);
    Trouble trouble =
        m_options.pEvents != nullptr
            ? MakeEventSegment(*m_options.pEvents, first.wallSec, quickTime, fd, path)
            : MakeSegment(m_options.place, m_counts.segments, first.wallSec, quickTime, fd, path);
    if (trouble) {
        return trouble;
    }
    m_lastWallSec = m_notedWallSec = first.wallSec;
    m_isRotated = false;
    ++m_counts.segments;
    return m_writer.Open(fd, path, pVideo, pAudio);
}

Trouble SegmentRecorder::CloseFile()
{
    Trouble trouble = m_writer.Close();
    m_counts.bytes += m_writer.Bytes();
    m_writer.ForgetBytes();
    if (m_options.pEvents != nullptr && m_options.pEvents->EventId() != 0 &&
        m_options.pEvents->Close(m_lastWallSec) != 0) {
        Note("record", "an event could not be closed; the next start closes it");
    }
    return trouble;
}

Trouble SegmentRecorder::Write(RecordFrame& frame, long long dtsUs)
{
    m_lastWallSec = frame.wallSec;
    NoteProgress(frame.wallSec);
    m_counts.frames[frame.isVideo ? 0 : 1] += m_writer.HasTrack(frame.isVideo) ? 1 : 0;
    return m_writer.Write(frame, dtsUs - m_baseUs, frame.ptsUs - m_baseUs);
}

/// Rotation goes by the sizes in the rows.
void SegmentRecorder::NoteProgress(long long wallSec)
{
    if (m_options.pEvents != nullptr && wallSec - m_notedWallSec >= NOTE_SEC) {
        m_notedWallSec = wallSec;
        m_isRotated =
            m_options.pEvents->Progress() == 1; // -1 is logged; the next note, or the end, makes up for it
    }
}

Trouble SegmentRecorder::Finish()
{
    Trouble trouble;
    if (m_holding && !m_held.empty()) {
        trouble = StartSegment();
    } else if (m_writer.IsOpen()) {
        trouble = FlushAudio(LLONG_MAX);
    }
    const Trouble closing = CloseFile();
    return trouble ? trouble : closing;
}
