// SPDX-License-Identifier: Apache-2.0
// tools/elementary_track.h - one track of a source, brought into the form that the FIFO carries.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "annexb.h"
#include "av_handles.h"
#include "trouble.h"

/// What a track is, in the FIFO's words.
struct TrackFormat {
    bool isVideo = false;
    std::string codec; ///< "H264", "H265", "MPEG4-GENERIC", "PCMA" or "PCMU"
    std::vector<unsigned char>
        extra; ///< video: parameter sets; audio: "RATE|CHANNELS|" and the decoder configuration
    int width = 0;
    int height = 0;

    bool operator==(const TrackFormat&) const = default;
};

/// One frame as the FIFO carries it. The packet owns the bytes.
struct MediaFrame {
    AvPacket packet;
    std::shared_ptr<const TrackFormat> format; ///< as it is from this frame on; changes are new objects
    long long ptsUs = 0;
    long long dtsUs = 0;
    long long durationUs = 0;
    int flags = 0; ///< FRAME_FLAG
};

/// Whether the FIFO has a name for a codec; the names that it has, for a message.
bool IsNameable(AVCodecID codec);
extern const char* const NAMEABLE_CODECS;

/// Turns packets of one track into frames: video with start codes, its parameter sets kept as extra data, its
/// picture types and size read by a parser; audio without transport headers. One thread at a time.
class ElementaryTrack {
public:
    /// @param frameRate of video, for sources that give no duration; 0/1 if it is not known
    Trouble Open(const AVCodecParameters& params, AVRational timeBase, AVRational frameRate);

    /// Takes one packet and appends the frames that it makes (at times none). The packet is left empty.
    Trouble Feed(AVPacket* pPacket, std::vector<MediaFrame>& out);

    const TrackFormat& Format() const { return *m_pFormat; }

private:
    Trouble OpenFilter(const AVCodecParameters& params);
    Trouble OpenParser();
    void TakeNewExtra(const AVPacket& packet);
    int Describe(const AVPacket& packet);
    int DescribeVideo(const AVPacket& packet);
    void Adopt(TrackFormat&& format);
    void SetTimes(MediaFrame& frame);

    AvFilter m_pFilter;
    AvCodec m_pParserContext;
    AvParser m_pParser;
    AvParams m_pParams;
    AVRational m_timeBase = {1, 1000000};
    long long m_nominalUs = 0;
    long long m_lastDtsUs = AV_NOPTS_VALUE;
    long long m_lastDurationUs = 0;
    std::shared_ptr<const TrackFormat> m_pFormat = std::make_shared<TrackFormat>();
};
