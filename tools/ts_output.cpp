// SPDX-License-Identifier: Apache-2.0
// tools/ts_output.cpp - libavformat's transport stream writer behind a function.
#include "ts_output.h"

#include <cstring>

namespace {

constexpr AVRational MICROSECONDS{1, 1000000};

AVCodecID CodecOf(const std::string& codec)
{
    if (codec == "H264") {
        return AV_CODEC_ID_H264;
    }
    if (codec == "H265") {
        return AV_CODEC_ID_HEVC;
    }
    return codec == "MPEG4-GENERIC" ? AV_CODEC_ID_AAC : AV_CODEC_ID_NONE;
}

std::string ErrorText(const char* what, int error)
{
    return std::string("transport stream: ") + what + ": " + AvErrorText(error);
}

} // namespace

TsOutput::~TsOutput()
{
    if (m_pContext && m_pContext->pb != nullptr) {
        av_freep(&m_pContext->pb->buffer);
        avio_context_free(&m_pContext->pb);
    }
}

int TsOutput::OnBytes(void* pThis, unsigned char* pData, int size)
{
    TsOutput& self = *static_cast<TsOutput*>(pThis);
    self.m_ended = self.m_ended || !self.m_sink(pData, static_cast<std::size_t>(size));
    return self.m_ended ? AVERROR_EOF : size;
}

std::string TsOutput::AddStream(int track, const Track& format)
{
    const std::string& codec = format.codec;
    if (codec.empty()) {
        return {};
    }
    const AVCodecID id = CodecOf(codec);
    AVStream* const pStream =
        id == AV_CODEC_ID_NONE ? nullptr : avformat_new_stream(m_pContext.get(), nullptr);
    if (pStream == nullptr) {
        return "codec \"" + codec + "\": a transport stream cannot carry it; leave --ts out";
    }
    pStream->codecpar->codec_id = id;
    pStream->codecpar->codec_type = track == 0 ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    pStream->codecpar->sample_rate = format.sampleRate;
    if (format.channels > 0) {
        av_channel_layout_default(&pStream->codecpar->ch_layout, format.channels);
    }
    pStream->time_base = MICROSECONDS;
    m_streams[track] = pStream->index;
    return {};
}

std::string TsOutput::Open(const std::array<Track, 2>& tracks)
{
    constexpr int BUFFER_SIZE = 188 * 7 * 16;
    QuietAvLog();
    AVFormatContext* pContext = nullptr;
    int error = avformat_alloc_output_context2(&pContext, nullptr, "mpegts", nullptr);
    m_pContext.reset(pContext);
    if (error < 0) {
        return ErrorText("cannot be made", error);
    }
    for (int track = 0; track < 2; ++track) {
        std::string problem = AddStream(track, tracks[static_cast<std::size_t>(track)]);
        if (!problem.empty()) {
            return problem;
        }
    }
    unsigned char* const pBuffer = static_cast<unsigned char*>(av_malloc(BUFFER_SIZE));
    pContext->pb = avio_alloc_context(pBuffer, BUFFER_SIZE, 1, this, nullptr, &TsOutput::OnBytes, nullptr);
    pContext->flags |= AVFMT_FLAG_FLUSH_PACKETS | AVFMT_FLAG_CUSTOM_IO;
    pContext->max_interleave_delta =
        500000; // live: a silent track holds the other back for half a second at most
    error = avformat_write_header(pContext, nullptr);
    m_opened = error >= 0;
    return m_opened || m_ended ? std::string() : ErrorText("cannot be started", error);
}

std::string TsOutput::Put(AvPacket packet, long long ptsUs, long long dtsUs)
{
    const AVStream* const pStream = m_pContext->streams[packet->stream_index];
    packet->pts = av_rescale_q(ptsUs, MICROSECONDS, pStream->time_base);
    packet->dts = av_rescale_q(dtsUs, MICROSECONDS, pStream->time_base);
    const int error = av_interleaved_write_frame(m_pContext.get(), packet.get());
    return error >= 0 || m_ended ? std::string() : ErrorText("cannot be written", error);
}

std::string TsOutput::PutPrimed()
{
    std::vector<long long> times;
    for (const Picture& picture : m_first) {
        times.push_back(picture.ptsUs);
    }
    const std::vector<long long> dts = m_clock.Prime(times, 0);
    m_primed = true;
    std::string problem;
    for (std::size_t i = 0; i < m_first.size() && problem.empty(); ++i) {
        problem = Put(std::move(m_first[i].packet), m_first[i].ptsUs, dts[i]);
    }
    m_first.clear();
    return problem;
}

std::string TsOutput::Write(int track, const std::vector<unsigned char>& bytes, long long ptsUs, bool key)
{
    AvPacket packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0) {
        return "transport stream: out of memory";
    }
    std::memcpy(packet->data, bytes.data(), bytes.size());
    packet->stream_index = m_streams[track];
    packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    if (track == 1) {
        return Put(std::move(packet), ptsUs, ptsUs);
    }
    if (m_primed) {
        return Put(std::move(packet), ptsUs, m_clock.Next(ptsUs));
    }
    m_first.push_back({std::move(packet), ptsUs});
    return m_first.size() < DecodeClock::PicturesToPrime(0) ? std::string() : PutPrimed();
}

std::string TsOutput::Close()
{
    if (!m_opened || m_ended) {
        return {};
    }
    std::string problem = m_primed ? std::string() : PutPrimed();
    const int error = av_write_trailer(m_pContext.get());
    return !problem.empty() || error >= 0 || m_ended ? problem : ErrorText("cannot be ended", error);
}
