// SPDX-License-Identifier: Apache-2.0
// tools/elementary_track.cpp - one track of a source, brought into the form that the FIFO carries.
#include "elementary_track.h"

#include <cstring>
#include <span>

#include "shmfifo.h"

namespace {

constexpr AVRational MICROSECONDS = {1, 1000000};
constexpr AVCodecID CODECS[] = {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_AAC, AV_CODEC_ID_PCM_ALAW,
                                AV_CODEC_ID_PCM_MULAW};
constexpr const char* NAMES[] = {"H264", "H265", "MPEG4-GENERIC", "PCMA", "PCMU"};

const char* NameOf(AVCodecID codec)
{
    for (std::size_t i = 0; i < std::size(CODECS); ++i) {
        if (CODECS[i] == codec) {
            return NAMES[i];
        }
    }
    return nullptr;
}

const char* FilterOf(const AVCodecParameters& params)
{
    switch (params.codec_id) {
    case AV_CODEC_ID_H264:
        return "h264_mp4toannexb";
    case AV_CODEC_ID_HEVC:
        return "hevc_mp4toannexb";
    case AV_CODEC_ID_AAC:
        return "aac_adtstoasc"; // passes frames that have no transport header
    default:
        return "null";
    }
}

std::vector<unsigned char> AudioExtra(const AVCodecParameters& params)
{
    const std::string text =
        std::to_string(params.sample_rate) + "|" + std::to_string(params.ch_layout.nb_channels) + "|";
    std::vector<unsigned char> extra(text.begin(), text.end());
    if (params.codec_id == AV_CODEC_ID_AAC && params.extradata_size > 0) {
        extra.insert(extra.end(), params.extradata, params.extradata + params.extradata_size);
    }
    return extra;
}

int VideoFlags(bool key, int pictureType)
{
    if (key) {
        return FRAME_I; // the only pictures at which a reader may start
    }
    switch (pictureType) {
    case AV_PICTURE_TYPE_P:
    case AV_PICTURE_TYPE_S:
    case AV_PICTURE_TYPE_SP:
        return FRAME_P;
    case AV_PICTURE_TYPE_B:
    case AV_PICTURE_TYPE_BI:
        return FRAME_B;
    default:
        return FRAME_NON_KEY; // an I picture that references cross, or one that the parser does not know
    }
}

/// The filter's extra data with start codes. Encoders leave notes of their own in it, which may be longer
/// than what a decoder needs; those stay in the key frames.
std::vector<unsigned char> VideoExtra(const AVCodecParameters& params)
{
    const VideoCodec codec = params.codec_id == AV_CODEC_ID_H264 ? VideoCodec::H264 : VideoCodec::H265;
    const std::span<const unsigned char> all(params.extradata,
                                             static_cast<std::size_t>(params.extradata_size));
    std::vector<unsigned char> sets = ParameterSets(codec, all.data(), all.size());
    return sets.empty() ? std::vector<unsigned char>(all.begin(), all.end()) : sets;
}

Trouble Failed(const std::string& what, int error)
{
    return {EXIT_FOUND, what + ": " + AvErrorText(error)};
}

} // namespace

const char* const NAMEABLE_CODECS = "H.264, H.265, AAC, G.711 A-law and G.711 mu-law";

bool IsNameable(AVCodecID codec)
{
    return NameOf(codec) != nullptr;
}

Trouble ElementaryTrack::Open(const AVCodecParameters& params, AVRational timeBase, AVRational frameRate)
{
    m_timeBase = timeBase;
    m_nominalUs =
        frameRate.num > 0 && frameRate.den > 0 ? av_rescale_q(1, av_inv_q(frameRate), MICROSECONDS) : 0;
    if (Trouble trouble = OpenFilter(params)) {
        return trouble;
    }
    TrackFormat format;
    format.isVideo = params.codec_type == AVMEDIA_TYPE_VIDEO;
    format.codec = NameOf(params.codec_id);
    if (format.isVideo) {
        format.width = params.width;
        format.height = params.height;
        format.extra = VideoExtra(*m_pParams);
    } else {
        format.extra = AudioExtra(*m_pParams);
    }
    Adopt(std::move(format));
    return OpenParser();
}

Trouble ElementaryTrack::OpenFilter(const AVCodecParameters& params)
{
    AVBSFContext* pFilter = nullptr;
    const AVBitStreamFilter* const pKind = av_bsf_get_by_name(FilterOf(params));
    int error = pKind == nullptr ? AVERROR_BSF_NOT_FOUND : av_bsf_alloc(pKind, &pFilter);
    m_pFilter.reset(pFilter);
    if (error >= 0) {
        error = avcodec_parameters_copy(pFilter->par_in, &params);
    }
    if (error >= 0) {
        pFilter->time_base_in = m_timeBase;
        error = av_bsf_init(pFilter);
    }
    m_pParams.reset(avcodec_parameters_alloc());
    if (error >= 0) {
        error = avcodec_parameters_copy(m_pParams.get(), pFilter->par_out);
    }
    if (error < 0) {
        return Failed(std::string("cannot unpack ") + avcodec_get_name(params.codec_id), error);
    }
    return {};
}

Trouble ElementaryTrack::OpenParser()
{
    if (!m_pFormat->isVideo) {
        return {};
    }
    m_pParser.reset(av_parser_init(m_pParams->codec_id));
    m_pParserContext.reset(avcodec_alloc_context3(nullptr));
    if (m_pParser == nullptr || m_pParserContext == nullptr) {
        return {EXIT_FOUND, std::string("no parser for ") + avcodec_get_name(m_pParams->codec_id)};
    }
    m_pParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    const int error = avcodec_parameters_to_context(m_pParserContext.get(), m_pParams.get());
    return error < 0 ? Failed("no parser context", error) : Trouble{};
}

Trouble ElementaryTrack::Feed(AVPacket* pPacket, std::vector<MediaFrame>& out)
{
    TakeNewExtra(*pPacket);
    int error = av_bsf_send_packet(m_pFilter.get(), pPacket);
    if (error < 0) {
        av_packet_unref(pPacket);
        return Failed("broken packet", error);
    }
    for (;;) {
        MediaFrame frame;
        frame.packet.reset(av_packet_alloc());
        error = av_bsf_receive_packet(m_pFilter.get(), frame.packet.get());
        if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) {
            return {};
        }
        if (error < 0) {
            return Failed("broken packet", error);
        }
        if (frame.packet->size == 0) {
            continue;
        }
        frame.flags = Describe(*frame.packet);
        frame.format = m_pFormat;
        SetTimes(frame);
        out.push_back(std::move(frame));
    }
}

/// A container may replace the decoder configuration in the middle; the filter has to start again with it.
void ElementaryTrack::TakeNewExtra(const AVPacket& packet)
{
    std::size_t size = 0;
    const unsigned char* const pExtra = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (pExtra == nullptr || size == 0 || !m_pFormat->isVideo) {
        return;
    }
    AvParams pParams(avcodec_parameters_alloc());
    if (avcodec_parameters_copy(pParams.get(), m_pFilter->par_in) < 0) {
        return;
    }
    av_freep(&pParams->extradata);
    pParams->extradata = static_cast<unsigned char*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    pParams->extradata_size = static_cast<int>(size);
    std::memcpy(pParams->extradata, pExtra, size);
    if (!OpenFilter(*pParams)) {
        TrackFormat format = *m_pFormat;
        format.extra = VideoExtra(*m_pParams);
        Adopt(std::move(format));
    }
}

int ElementaryTrack::Describe(const AVPacket& packet)
{
    if (m_pFormat->isVideo) {
        return DescribeVideo(packet);
    }
    std::size_t size = 0;
    const unsigned char* const pExtra = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (pExtra != nullptr && m_pParams->codec_id == AV_CODEC_ID_AAC) {
        TrackFormat format = *m_pFormat;
        m_pParams->extradata_size = 0;
        format.extra = AudioExtra(*m_pParams);
        format.extra.insert(format.extra.end(), pExtra, pExtra + size);
        Adopt(std::move(format));
    }
    return FRAME_I; // a reader may start at any frame of sound
}

int ElementaryTrack::DescribeVideo(const AVPacket& packet)
{
    unsigned char* pFrame = nullptr;
    int frameSize = 0;
    av_parser_parse2(m_pParser.get(), m_pParserContext.get(), &pFrame, &frameSize, packet.data, packet.size,
                     packet.pts, packet.dts, packet.pos);
    const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0 || m_pParser->key_frame == 1;
    if (key) {
        TrackFormat format = *m_pFormat;
        const VideoCodec codec =
            m_pParams->codec_id == AV_CODEC_ID_H264 ? VideoCodec::H264 : VideoCodec::H265;
        std::vector<unsigned char> sets =
            ParameterSets(codec, packet.data, static_cast<std::size_t>(packet.size));
        if (!sets.empty()) {
            format.extra = std::move(sets);
        }
        if (m_pParser->width > 0 && m_pParser->height > 0) {
            format.width = m_pParser->width;
            format.height = m_pParser->height;
        }
        Adopt(std::move(format));
    }
    return VideoFlags(key, m_pParser->pict_type);
}

void ElementaryTrack::Adopt(TrackFormat&& format)
{
    if (format != *m_pFormat) {
        m_pFormat = std::make_shared<const TrackFormat>(std::move(format));
    }
}

/// Fills in what the source does not say: a decoding time by adding up durations, a presentation time by
/// taking the decoding time (sources that reorder pictures do say it).
void ElementaryTrack::SetTimes(MediaFrame& frame)
{
    const AVPacket& packet = *frame.packet;
    const auto toUs = [this](std::int64_t time) { return av_rescale_q(time, m_timeBase, MICROSECONDS); };
    frame.durationUs = packet.duration > 0 ? toUs(packet.duration) : m_nominalUs;
    if (packet.dts != AV_NOPTS_VALUE) {
        frame.dtsUs = toUs(packet.dts);
    } else if (m_lastDtsUs != AV_NOPTS_VALUE) {
        frame.dtsUs = m_lastDtsUs + m_lastDurationUs;
    } else {
        frame.dtsUs = packet.pts != AV_NOPTS_VALUE ? toUs(packet.pts) : 0;
    }
    frame.ptsUs = packet.pts != AV_NOPTS_VALUE ? toUs(packet.pts) : frame.dtsUs;
    m_lastDtsUs = frame.dtsUs;
    m_lastDurationUs = frame.durationUs;
}
