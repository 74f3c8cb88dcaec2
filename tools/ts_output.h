// SPDX-License-Identifier: Apache-2.0
// tools/ts_output.h - elementary streams as one MPEG transport stream.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "av_handles.h"
#include "decode_clock.h"

/// Makes a transport stream of at most one video and one audio stream and hands its bytes to a function, a
/// part of a second after the frames came. One thread at a time.
class TsOutput {
public:
    /// @return false if nobody takes the bytes any more.
    using Sink = std::function<bool(const unsigned char* pData, std::size_t size)>;

    explicit TsOutput(Sink sink) : m_sink(std::move(sink)) {}
    ~TsOutput();
    TsOutput(const TsOutput&) = delete;
    TsOutput& operator=(const TsOutput&) = delete;

    /// What goes into it. An empty codec: there is no such stream.
    struct Track {
        std::string codec; ///< as in a FIFO's header
        int sampleRate = 0;
        int channels = 0;
    };

    /// @param tracks  video first, audio second
    /// @return an empty text; else what is wrong.
    std::string Open(const std::array<Track, 2>& tracks);

    /// @param track   0 video, 1 audio
    /// @param bytes   Annex B or ADTS
    /// @return an empty text; else what is wrong.
    std::string Write(int track, const std::vector<unsigned char>& bytes, long long ptsUs, bool key);

    /// Writes what is held back. @return as above.
    std::string Close();

    /// Whether the sink refused.
    bool Ended() const noexcept { return m_ended; }

private:
    struct ContextDeleter {
        void operator()(AVFormatContext* pContext) const { avformat_free_context(pContext); }
    };
    struct Picture {
        AvPacket packet;
        long long ptsUs = 0;
    };

    static int OnBytes(void* pThis, unsigned char* pData, int size);
    std::string AddStream(int track, const Track& format);
    std::string Put(AvPacket packet, long long ptsUs, long long dtsUs);
    std::string PutPrimed();

    Sink m_sink;
    bool m_ended = false;
    bool m_opened = false;
    std::unique_ptr<AVFormatContext, ContextDeleter> m_pContext;
    int m_streams[2] = {-1, -1};
    DecodeClock m_clock;
    bool m_primed = false;
    std::vector<Picture> m_first; ///< pictures that wait until the order is known
};
