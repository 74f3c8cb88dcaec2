// SPDX-License-Identifier: Apache-2.0
// tools/raw_encoder.cpp - packs pictures and sound that come unpacked.
#include "raw_encoder.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace {

bool IsRawSound(AVCodecID codec)
{
    return codec >= AV_CODEC_ID_FIRST_AUDIO && codec < AV_CODEC_ID_ADPCM_IMA_QT &&
           codec != AV_CODEC_ID_PCM_ALAW && codec != AV_CODEC_ID_PCM_MULAW;
}

} // namespace

RawEncoder::~RawEncoder()
{
    sws_freeContext(m_pScaler);
    swr_free(&m_pResampler);
    if (m_pSamples != nullptr) {
        av_audio_fifo_free(m_pSamples);
    }
}

bool RawEncoder::Wants(const AVCodecParameters& params)
{
    return params.codec_id == AV_CODEC_ID_RAWVIDEO || params.codec_id == AV_CODEC_ID_WRAPPED_AVFRAME ||
           params.codec_id == AV_CODEC_ID_MJPEG || IsRawSound(params.codec_id);
}

Trouble RawEncoder::Open(const AVCodecParameters& params, AVRational timeBase, AVRational frameRate)
{
    m_pFrame.reset(av_frame_alloc());
    if (Trouble trouble = OpenDecoder(params, timeBase)) {
        return trouble;
    }
    return OpenEncoder(frameRate);
}

Trouble RawEncoder::OpenDecoder(const AVCodecParameters& params, AVRational timeBase)
{
    const AVCodec* const pCodec = avcodec_find_decoder(params.codec_id);
    m_pDecoder.reset(avcodec_alloc_context3(pCodec));
    if (pCodec == nullptr || m_pDecoder == nullptr ||
        avcodec_parameters_to_context(m_pDecoder.get(), &params) < 0) {
        return {EXIT_FOUND, std::string("no decoder for ") + avcodec_get_name(params.codec_id)};
    }
    m_pDecoder->pkt_timebase = timeBase;
    const int error = avcodec_open2(m_pDecoder.get(), pCodec, nullptr);
    return error < 0 ? Trouble{EXIT_FOUND, "cannot decode: " + AvErrorText(error)} : Trouble{};
}

Trouble RawEncoder::OpenEncoder(AVRational frameRate)
{
    const bool video = m_pDecoder->codec_type == AVMEDIA_TYPE_VIDEO;
    const AVCodec* const pCodec =
        video ? avcodec_find_encoder_by_name("libx264") : avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (pCodec == nullptr) {
        return {EXIT_FOUND, std::string("comes unpacked, and the media library has no encoder for ") +
                                (video ? "H.264" : "AAC") + "; give an address that is encoded already"};
    }
    m_pEncoder.reset(avcodec_alloc_context3(pCodec));
    m_pEncoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (video) {
        SetUpVideo(frameRate);
    } else {
        SetUpAudio();
    }
    int error = avcodec_open2(m_pEncoder.get(), pCodec, nullptr);
    m_pParams.reset(avcodec_parameters_alloc());
    if (error >= 0) {
        error = avcodec_parameters_from_context(m_pParams.get(), m_pEncoder.get());
    }
    if (error >= 0 && !video) {
        m_pSamples = av_audio_fifo_alloc(m_pEncoder->sample_fmt, m_pEncoder->ch_layout.nb_channels, 4096);
        error = swr_alloc_set_opts2(&m_pResampler, &m_pEncoder->ch_layout, m_pEncoder->sample_fmt,
                                    m_pEncoder->sample_rate, &m_pDecoder->ch_layout, m_pDecoder->sample_fmt,
                                    m_pDecoder->sample_rate, 0, nullptr);
        error = error < 0 ? error : swr_init(m_pResampler);
    }
    return error < 0 ? Trouble{EXIT_FOUND, "cannot encode: " + AvErrorText(error)} : Trouble{};
}

void RawEncoder::SetUpVideo(AVRational frameRate)
{
    const AVRational rate = frameRate.num > 0 && frameRate.den > 0 ? frameRate : AVRational{25, 1};
    m_pEncoder->width = m_pDecoder->width & ~1;
    m_pEncoder->height = m_pDecoder->height & ~1;
    m_pEncoder->pix_fmt = AV_PIX_FMT_YUV420P;
    m_pEncoder->framerate = rate;
    m_pEncoder->time_base = {1, 90000};
    m_pEncoder->gop_size = 2 * (rate.num + rate.den - 1) / rate.den;
    m_pEncoder->max_b_frames = 0;
    av_opt_set(m_pEncoder->priv_data, "preset", "veryfast", 0);
    av_opt_set(m_pEncoder->priv_data, "tune", "zerolatency", 0);
    av_opt_set(m_pEncoder->priv_data, "forced-idr", "1", 0);
}

void RawEncoder::SetUpAudio()
{
    m_pEncoder->sample_rate = m_pDecoder->sample_rate;
    m_pEncoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    if (m_pDecoder->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&m_pDecoder->ch_layout, m_pDecoder->ch_layout.nb_channels);
    }
    av_channel_layout_copy(&m_pEncoder->ch_layout, &m_pDecoder->ch_layout);
    m_pEncoder->time_base = {1, m_pDecoder->sample_rate};
    m_pEncoder->bit_rate = 64000LL * m_pDecoder->ch_layout.nb_channels;
}

void RawEncoder::Feed(const AVPacket* pPacket, std::vector<AvPacket>& out)
{
    const bool video = m_pDecoder->codec_type == AVMEDIA_TYPE_VIDEO;
    if (avcodec_send_packet(m_pDecoder.get(), pPacket) >= 0) {
        while (avcodec_receive_frame(m_pDecoder.get(), m_pFrame.get()) >= 0) {
            video ? EncodeVideo(m_pFrame.get(), out) : EncodeAudio(m_pFrame.get(), out);
            av_frame_unref(m_pFrame.get());
        }
    }
    if (pPacket == nullptr) {
        if (!video) {
            EncodeSamples(av_audio_fifo_size(m_pSamples), out);
        }
        Encode(nullptr, out);
    }
}

void RawEncoder::EncodeVideo(AVFrame* pFrame, std::vector<AvPacket>& out)
{
    m_pScaler = sws_getCachedContext(
        m_pScaler, pFrame->width, pFrame->height, static_cast<AVPixelFormat>(pFrame->format),
        m_pEncoder->width, m_pEncoder->height, m_pEncoder->pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr);
    const AvFrame pScaled(av_frame_alloc());
    pScaled->format = m_pEncoder->pix_fmt;
    pScaled->width = m_pEncoder->width;
    pScaled->height = m_pEncoder->height;
    if (m_pScaler == nullptr || av_frame_get_buffer(pScaled.get(), 0) < 0) {
        return;
    }
    sws_scale(m_pScaler, pFrame->data, pFrame->linesize, 0, pFrame->height, pScaled->data, pScaled->linesize);
    pScaled->pts =
        av_rescale_q(pFrame->best_effort_timestamp, m_pDecoder->pkt_timebase, m_pEncoder->time_base);
    if (m_lastPts != AV_NOPTS_VALUE && pScaled->pts <= m_lastPts) {
        return; // two pictures of one moment
    }
    m_lastPts = pScaled->pts;
    Encode(pScaled.get(), out);
}

void RawEncoder::EncodeAudio(AVFrame* pFrame, std::vector<AvPacket>& out)
{
    if (m_nextSample == AV_NOPTS_VALUE) {
        m_nextSample =
            av_rescale_q(pFrame->best_effort_timestamp, m_pDecoder->pkt_timebase, m_pEncoder->time_base);
    }
    const AvFrame pConverted(av_frame_alloc());
    pConverted->format = m_pEncoder->sample_fmt;
    pConverted->sample_rate = m_pEncoder->sample_rate;
    av_channel_layout_copy(&pConverted->ch_layout, &m_pEncoder->ch_layout);
    if (swr_convert_frame(m_pResampler, pConverted.get(), pFrame) < 0) {
        return;
    }
    av_audio_fifo_write(m_pSamples, reinterpret_cast<void**>(pConverted->extended_data),
                        pConverted->nb_samples);
    while (av_audio_fifo_size(m_pSamples) >= m_pEncoder->frame_size) {
        EncodeSamples(m_pEncoder->frame_size, out);
    }
}

void RawEncoder::EncodeSamples(int count, std::vector<AvPacket>& out)
{
    const AvFrame pFrame(av_frame_alloc());
    pFrame->format = m_pEncoder->sample_fmt;
    pFrame->sample_rate = m_pEncoder->sample_rate;
    pFrame->nb_samples = count;
    av_channel_layout_copy(&pFrame->ch_layout, &m_pEncoder->ch_layout);
    if (count <= 0 || av_frame_get_buffer(pFrame.get(), 0) < 0) {
        return;
    }
    av_audio_fifo_read(m_pSamples, reinterpret_cast<void**>(pFrame->extended_data), count);
    pFrame->pts = m_nextSample;
    m_nextSample += count;
    Encode(pFrame.get(), out);
}

void RawEncoder::Encode(const AVFrame* pFrame, std::vector<AvPacket>& out)
{
    if (avcodec_send_frame(m_pEncoder.get(), pFrame) < 0) {
        return;
    }
    for (;;) {
        AvPacket pPacket(av_packet_alloc());
        if (avcodec_receive_packet(m_pEncoder.get(), pPacket.get()) < 0) {
            return;
        }
        out.push_back(std::move(pPacket));
    }
}
