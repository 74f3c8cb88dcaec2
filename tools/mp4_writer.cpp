// SPDX-License-Identifier: Apache-2.0
// tools/mp4_writer.cpp - one fragmented MP4 file that is playable whenever its writer dies.
#include "mp4_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "annexb.h"

namespace {

constexpr int IO_BUFFER = 64 * 1024;
constexpr AVRational MICROSECONDS = {1, 1000000};
constexpr AVRational VIDEO_TIME = {1, 90000}; // microseconds round back to the exact value of the usual rates

AVCodecID CodecOf(const std::string& name)
{
    if (name == "H264") {
        return AV_CODEC_ID_H264;
    }
    if (name == "H265") {
        return AV_CODEC_ID_HEVC;
    }
    if (name == "MPEG4-GENERIC") {
        return AV_CODEC_ID_AAC;
    }
    return name == "PCMA" ? AV_CODEC_ID_PCM_ALAW : AV_CODEC_ID_PCM_MULAW;
}

VideoCodec VideoCodecOf(AVCodecID codec)
{
    return codec == AV_CODEC_ID_H264 ? VideoCodec::H264 : VideoCodec::H265;
}

int SetExtra(AVCodecParameters& params, const std::vector<unsigned char>& extra)
{
    params.extradata = static_cast<unsigned char*>(av_mallocz(extra.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (params.extradata == nullptr) {
        return AVERROR(ENOMEM);
    }
    std::copy(extra.begin(), extra.end(), params.extradata);
    params.extradata_size = static_cast<int>(extra.size());
    return 0;
}

int FillVideo(AVCodecParameters& params, const StreamFormat& format)
{
    params.codec_type = AVMEDIA_TYPE_VIDEO;
    params.codec_id = CodecOf(format.codec);
    if (params.codec_id == AV_CODEC_ID_HEVC) {
        params.codec_tag =
            MKTAG('h', 'v', 'c', '1'); // parameter sets in the header alone, as most players want it
    }
    params.width = format.width;
    params.height = format.height;
    return SetExtra(params, format.extra);
}

int FillAudio(AVCodecParameters& params, const StreamFormat& format)
{
    params.codec_type = AVMEDIA_TYPE_AUDIO;
    params.codec_id = CodecOf(format.codec);
    params.sample_rate = format.sampleRate;
    av_channel_layout_default(&params.ch_layout, format.channels);
    if (params.codec_id == AV_CODEC_ID_AAC) {
        params.frame_size = 1024;
        return SetExtra(params, format.extra);
    }
    params.bits_per_coded_sample = 8;
    params.block_align = format.channels;
    return 0;
}

} // namespace

bool NeedsQuickTime(const StreamFormat* pAudio)
{
    return pAudio != nullptr && (pAudio->codec == "PCMA" || pAudio->codec == "PCMU");
}

Mp4Writer::~Mp4Writer()
{
    static_cast<void>(Close()); // a caller that wants to know closes itself
}

Trouble Mp4Writer::Failed(int error)
{
    const std::string why = m_writeErrno != 0 ? std::strerror(m_writeErrno) : AvErrorText(error);
    const std::string advice = m_writeErrno == ENOSPC || m_writeErrno == EDQUOT
                                   ? "; make room on the disk (what was written until now is playable)"
                                   : "";
    return {EXIT_FOUND, m_path + ": cannot write: " + why + advice};
}

Trouble Mp4Writer::Open(int fd, const std::string& path, const StreamFormat* pVideo,
                        const StreamFormat* pAudio)
{
    m_fd = fd;
    m_path = path;
    m_bytes = 0;
    m_writeErrno = 0;
    m_lastDts[0] = m_lastDts[1] = -1;
    int error =
        avformat_alloc_output_context2(&m_pOutput, nullptr, NeedsQuickTime(pAudio) ? "mov" : "mp4", nullptr);
    if (error < 0) {
        return Failed(error);
    }
    auto* const pBuffer = static_cast<unsigned char*>(av_malloc(IO_BUFFER));
    m_pIo =
        avio_alloc_context(pBuffer, IO_BUFFER, 1, this, nullptr, &Mp4Writer::WriteOut, &Mp4Writer::SeekOut);
    m_pOutput->pb = m_pIo;
    m_pOutput->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    m_pOutput->avoid_negative_ts =
        AVFMT_AVOID_NEG_TS_DISABLED; // they are not negative; shifting would part the tracks
    if (Trouble trouble = AddStreams(pVideo, pAudio)) {
        return trouble;
    }
    AvOptions options;
    options.Set("movflags", "frag_keyframe+empty_moov+default_base_moof+frag_discont");
    options.Set("use_editlist", "0");           // together with frag_discont: each track keeps its own start
    options.Set("frag_duration", "900000");     // with one more frame still a second at most
    options.Set("min_frag_duration", "500000"); // a stream of key frames is not cut at each of them
    error = avformat_write_header(m_pOutput, options.Pointer());
    avio_flush(m_pIo);
    m_wholeBytes = m_bytes;
    return error < 0 || m_writeErrno != 0 ? Failed(error) : Trouble{};
}

Trouble Mp4Writer::AddStreams(const StreamFormat* pVideo, const StreamFormat* pAudio)
{
    int error = 0;
    if (pVideo != nullptr) {
        m_pVideo = avformat_new_stream(m_pOutput, nullptr);
        m_pVideo->time_base = VIDEO_TIME;
        error = FillVideo(*m_pVideo->codecpar, *pVideo);
    }
    if (pAudio != nullptr && error >= 0) {
        m_pAudio = avformat_new_stream(m_pOutput, nullptr);
        m_pAudio->time_base = {1, pAudio->sampleRate};
        error = FillAudio(*m_pAudio->codecpar, *pAudio);
    }
    return error < 0 ? Failed(error) : Trouble{};
}

Trouble Mp4Writer::Write(RecordFrame& frame, long long dtsUs, long long ptsUs)
{
    AVStream* const pStream = frame.isVideo ? m_pVideo : m_pAudio;
    if (pStream == nullptr) {
        return {};
    }
    AVPacket& packet = *frame.packet;
    if (frame.isVideo && frame.key) {
        const std::size_t dropped = DropParameterSets(VideoCodecOf(pStream->codecpar->codec_id), packet.data,
                                                      static_cast<std::size_t>(packet.size));
        packet.data += dropped;
        packet.size -= static_cast<int>(dropped);
    }
    packet.stream_index = pStream->index;
    packet.flags = frame.key ? AV_PKT_FLAG_KEY : 0;
    std::int64_t& last = m_lastDts[pStream->index];
    packet.dts = std::max<std::int64_t>(av_rescale_q(dtsUs, MICROSECONDS, pStream->time_base), last + 1);
    packet.pts = std::max(av_rescale_q(ptsUs, MICROSECONDS, pStream->time_base), packet.dts);
    last = packet.dts;
    const int error = av_write_frame(m_pOutput, &packet);
    if (error < 0 || m_writeErrno != 0) {
        return Failed(error);
    }
    m_wholeBytes = m_bytes;
    return {};
}

Trouble Mp4Writer::Close()
{
    if (m_pOutput == nullptr) {
        return {};
    }
    Trouble trouble;
    if (m_writeErrno == 0 && m_pOutput->pb != nullptr && m_pOutput->nb_streams > 0) {
        const int error = av_write_trailer(m_pOutput);
        if (error < 0 || m_writeErrno != 0) {
            trouble = Failed(error);
        }
    }
    avformat_free_context(m_pOutput);
    m_pOutput = nullptr;
    m_pVideo = m_pAudio = nullptr;
    av_freep(&m_pIo->buffer);
    avio_context_free(&m_pIo);
    if (m_writeErrno != 0 && ::ftruncate(m_fd, static_cast<off_t>(m_wholeBytes)) == 0) {
        m_bytes = m_wholeBytes; // half a fragment is of no use to a player
    }
    if ((::fsync(m_fd) != 0 && errno != EINVAL) || ::close(m_fd) != 0) {
        m_writeErrno = trouble ? m_writeErrno : errno;
        trouble = trouble ? trouble : Failed(0);
    }
    m_fd = -1;
    return trouble;
}

int Mp4Writer::WriteOut(void* pWriter, unsigned char* pData, int size)
{
    auto* const pThis = static_cast<Mp4Writer*>(pWriter);
    int done = 0;
    while (done < size) {
        const ssize_t written = ::write(pThis->m_fd, pData + done, static_cast<std::size_t>(size - done));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            pThis->m_writeErrno = pThis->m_writeErrno != 0 ? pThis->m_writeErrno : errno;
            return AVERROR(errno);
        }
        done += static_cast<int>(written);
    }
    pThis->m_bytes += size;
    return size;
}

std::int64_t Mp4Writer::SeekOut(void* pWriter, std::int64_t offset, int whence)
{
    const auto* const pThis = static_cast<const Mp4Writer*>(pWriter);
    if ((whence & AVSEEK_SIZE) != 0) {
        return AVERROR(ENOSYS);
    }
    const off_t result = ::lseek(pThis->m_fd, static_cast<off_t>(offset), whence & ~AVSEEK_FORCE);
    return result < 0 ? AVERROR(errno) : result;
}

int ReorderDepth(const StreamFormat& video, const AVPacket& keyFrame)
{
    const AVCodec* const pCodec = avcodec_find_decoder(CodecOf(video.codec));
    const AvCodec pContext(avcodec_alloc_context3(pCodec));
    if (pCodec == nullptr || pContext == nullptr) {
        return 0;
    }
    const AvParams pParams(avcodec_parameters_alloc());
    const AvFrame pPicture(av_frame_alloc());
    if (FillVideo(*pParams, video) < 0 || avcodec_parameters_to_context(pContext.get(), pParams.get()) < 0) {
        return 0;
    }
    pContext->thread_count = 1;
    if (avcodec_open2(pContext.get(), pCodec, nullptr) < 0) {
        return 0;
    }
    if (avcodec_send_packet(pContext.get(), &keyFrame) >= 0) {
        static_cast<void>(
            avcodec_receive_frame(pContext.get(), pPicture.get())); // may need more; its header is read
    }
    return std::max(pContext->has_b_frames, 0);
}
