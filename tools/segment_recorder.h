// SPDX-License-Identifier: Apache-2.0
// tools/segment_recorder.h - turns frames of a video and an audio FIFO into files that start at key frames.
#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "decode_clock.h"
#include "mp4_writer.h"
#include "record_frame.h"
#include "segment_files.h"

class EventRecorder;

struct RecorderOptions {
    SegmentPlace place;
    EventRecorder* pEvents = nullptr; ///< makes the files and their rows instead of `place`; borrowed
    bool hasVideo = true;
    bool hasAudio = false;
    double segmentSec = 0;  ///< 0 = no cut by time
    double durationSec = 0; ///< 0 = no end by time
};

struct RecorderCounts {
    long long frames[2] = {0, 0}; ///< written, video and audio
    long long bytes = 0;          ///< of the files
    long long skipped = 0;        ///< video frames between a loss and the next key frame
    long long lateAudio =
        0; ///< sound that had no place: before the first picture, or while its format changed
    int segments = 0;
};

/// Collects the first pictures of each segment, until their decoding times are certain, then writes. A
/// segment ends before a key frame: when its time is over, when the format changes, or (in a folder) when the
/// FIFO was made anew. One thread at a time.
class SegmentRecorder {
public:
    explicit SegmentRecorder(RecorderOptions options) : m_options(std::move(options)) {}

    Trouble Add(RecordFrame&& frame);
    /// Ends the last file.
    Trouble Finish();

    /// Whether the wanted duration is recorded.
    bool IsComplete() const { return m_complete; }
    const RecorderCounts& Counts() const { return m_counts; }

private:
    Trouble AddVideo(RecordFrame&& frame);
    Trouble AddAudio(RecordFrame&& frame);
    void JoinTimes(RecordFrame& frame);
    bool StartsSegment(const RecordFrame& frame) const;
    bool IsEnough(const RecordFrame& frame);
    bool CanStart() const;
    Trouble StartSegment();
    Trouble OpenFile(const RecordFrame& first, const StreamFormat* pVideo, const StreamFormat* pAudio);
    Trouble CloseFile();
    Trouble AddSound(RecordFrame& frame);
    Trouble FlushAudio(long long untilUs);
    Trouble Write(RecordFrame& frame, long long dtsUs);
    void NoteProgress(long long wallSec);

    struct Times {
        int epoch = 0;
        long long offsetUs = 0;
        long long lastUs = 0;
        bool started = false;
    };

    RecorderOptions m_options;
    Mp4Writer m_writer;
    DecodeClock m_clock;
    bool m_holding = true; ///< pictures of the next segment are being collected
    bool m_needKey = true; ///< nothing can be decoded until the next key frame
    int m_depth = 0;
    bool m_cutSoon = false; ///< the sound has changed
    std::vector<RecordFrame> m_held;
    std::deque<RecordFrame> m_audio; ///< waits for the start of a segment
    std::shared_ptr<const StreamFormat> m_pVideoFormat;
    std::shared_ptr<const StreamFormat> m_pAudioFormat;
    Times m_times[2];
    long long m_baseUs = 0;  ///< time stamp that is 0 in the file
    long long m_startUs = 0; ///< of the segment's first picture
    std::optional<long long> m_firstUs;
    int m_segmentEpoch = 0;
    long long m_lastWallSec = 0;  ///< of the last frame that was written
    long long m_notedWallSec = 0; ///< when the event's size was last noted
    bool m_isRotated = false; ///< the open event was marked or deleted: what follows belongs into a new one
    bool m_complete = false;
    RecorderCounts m_counts;
};
