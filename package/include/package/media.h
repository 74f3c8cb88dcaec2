// SPDX-License-Identifier: Apache-2.0
// package/media.h - what the media layer and the stream FIFO tell each other about a stream.
#pragma once

#include <cstdint>

/// Kind of an elementary stream. Travels in every frame's header, so the values are fixed.
enum MediaES : std::int32_t {
    MEDIA_ES_NONE = 0,
    MEDIA_ES_VIDEO = 1,
    MEDIA_ES_AUDIO = 2,
};

/// Description of one elementary stream, filled for a consumer from a FIFO's header.
///
/// Owns its extra data: moves with the description, freed with it.
struct ESFormat {
    std::uint32_t codecTag = 0;         ///< four letters, the first in the highest byte; 0 = not set
    int width = 0;                      ///< video: pixels
    int height = 0;                     ///< video: pixels
    int sampleRate = 0;                 ///< audio: samples a second
    int channels = 0;                   ///< audio
    int extraSize = 0;                  ///< valid bytes in extraData
    unsigned char* extraData = nullptr; ///< array made with new[]; null = none

    ESFormat() noexcept = default;
    ~ESFormat() { Reset(); }
    ESFormat(ESFormat&& other) noexcept { Swap(other); }
    ESFormat& operator=(ESFormat&& other) noexcept
    {
        if (this != &other) {
            Reset();
            Swap(other);
        }
        return *this;
    }
    ESFormat(const ESFormat&) = delete;
    ESFormat& operator=(const ESFormat&) = delete;

    /// Back to the state of a new description; frees the extra data.
    void Reset() noexcept
    {
        delete[] extraData;
        extraData = nullptr;
        codecTag = 0;
        width = height = sampleRate = channels = extraSize = 0;
    }

private:
    void Swap(ESFormat& other) noexcept;
};

inline void ESFormat::Swap(ESFormat& other) noexcept
{
    const auto swapOne = [](auto& a, auto& b) {
        const auto kept = a;
        a = b;
        b = kept;
    };
    swapOne(codecTag, other.codecTag);
    swapOne(width, other.width);
    swapOne(height, other.height);
    swapOne(sampleRate, other.sampleRate);
    swapOne(channels, other.channels);
    swapOne(extraSize, other.extraSize);
    swapOne(extraData, other.extraData);
}
