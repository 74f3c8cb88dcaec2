// SPDX-License-Identifier: Apache-2.0
// tools/raw_encoder.h - packs pictures and sound that come unpacked (a test source, a camera without an
// encoder).
#pragma once

#include <cstdint>
#include <vector>

#include "av_handles.h"
#include "trouble.h"

struct SwsContext;
struct SwrContext;
struct AVAudioFifo;

/// Decodes packets of raw or motion-JPEG pictures, or of raw sound, and encodes them as H.264 or AAC for live
/// use (no reordering, a key frame each two seconds). One thread at a time.
class RawEncoder {
public:
    RawEncoder() = default;
    ~RawEncoder();
    RawEncoder(const RawEncoder&) = delete;
    RawEncoder& operator=(const RawEncoder&) = delete;

    /// Whether a track is of a kind that has to be encoded.
    static bool Wants(const AVCodecParameters& params);

    Trouble Open(const AVCodecParameters& params, AVRational timeBase, AVRational frameRate);
    /// Takes a packet (null: the last was fed) and appends what the encoder gives for it.
    void Feed(const AVPacket* pPacket, std::vector<AvPacket>& out);

    const AVCodecParameters& Params() const { return *m_pParams; }
    AVRational TimeBase() const { return m_pEncoder->time_base; }

private:
    Trouble OpenDecoder(const AVCodecParameters& params, AVRational timeBase);
    Trouble OpenEncoder(AVRational frameRate);
    void SetUpVideo(AVRational frameRate);
    void SetUpAudio();
    void EncodeVideo(AVFrame* pFrame, std::vector<AvPacket>& out);
    void EncodeAudio(AVFrame* pFrame, std::vector<AvPacket>& out);
    void EncodeSamples(int count, std::vector<AvPacket>& out);
    void Encode(const AVFrame* pFrame, std::vector<AvPacket>& out);

    AvCodec m_pDecoder;
    AvCodec m_pEncoder;
    AvParams m_pParams;
    AvFrame m_pFrame;
    SwsContext* m_pScaler = nullptr;
    SwrContext* m_pResampler = nullptr;
    AVAudioFifo* m_pSamples = nullptr;
    std::int64_t m_nextSample = AV_NOPTS_VALUE;
    std::int64_t m_lastPts = AV_NOPTS_VALUE;
};
