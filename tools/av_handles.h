// SPDX-License-Identifier: Apache-2.0
// tools/av_handles.h - owners of what libavformat and libavcodec hand out.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <memory>
#include <string>

struct AvDeleter {
    void operator()(AVFormatContext* pInput) const { avformat_close_input(&pInput); }
    void operator()(AVBSFContext* pFilter) const { av_bsf_free(&pFilter); }
    void operator()(AVCodecContext* pCodec) const { avcodec_free_context(&pCodec); }
    void operator()(AVCodecParserContext* pParser) const { av_parser_close(pParser); }
    void operator()(AVCodecParameters* pParams) const { avcodec_parameters_free(&pParams); }
    void operator()(AVPacket* pPacket) const { av_packet_free(&pPacket); }
    void operator()(AVFrame* pFrame) const { av_frame_free(&pFrame); }
};

using AvInput = std::unique_ptr<AVFormatContext, AvDeleter>;
using AvFilter = std::unique_ptr<AVBSFContext, AvDeleter>;
using AvCodec = std::unique_ptr<AVCodecContext, AvDeleter>;
using AvParser = std::unique_ptr<AVCodecParserContext, AvDeleter>;
using AvParams = std::unique_ptr<AVCodecParameters, AvDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter>;
using AvFrame = std::unique_ptr<AVFrame, AvDeleter>;

/// A dictionary of options; what is left in it after a call was not understood.
class AvOptions {
public:
    AvOptions() = default;
    ~AvOptions() { av_dict_free(&m_pDict); }
    AvOptions(const AvOptions&) = delete;
    AvOptions& operator=(const AvOptions&) = delete;

    void Set(const std::string& name, const std::string& value)
    {
        av_dict_set(&m_pDict, name.c_str(), value.c_str(), 0);
    }
    AVDictionary** Pointer() { return &m_pDict; }

private:
    AVDictionary* m_pDict = nullptr;
};

/// The library's text of an error number.
inline std::string AvErrorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

/// Keeps the media library off standard error: only its fatal lines pass, unless VX_AV_LOG names a level
/// (-8..56).
void QuietAvLog();
