// SPDX-License-Identifier: Apache-2.0
// tools/elementary_stream.h - frames of a FIFO as the bytes of an elementary stream that a decoder can start
// with.
#pragma once

#include <string>
#include <vector>

#include "fifo_follow.h"

/// The seven bytes before an AAC frame of `size` bytes. Source: ISO/IEC 13818-7, 6.2 (ADTS).
///
/// @param config  AudioSpecificConfig of the stream, at least two bytes
/// @return empty if the stream or the frame cannot be described by such bytes.
std::vector<unsigned char> AdtsHeader(const std::vector<unsigned char>& config, std::size_t size);

/// H264 and H265 as Annex B, AAC as ADTS, PCMA and PCMU as they are.
///
/// Video starts at a key frame with the parameter sets before it. After frames were lost nothing is given
/// until the next key frame, so that a decoder never sees a frame whose reference is missing; changed
/// parameter sets are given again before the key frame that needs them.
class ElementaryStream {
public:
    /// Takes codec and extra data from the FIFO that is attached. To be called after each Attach().
    ///
    /// @return an empty text; else what is wrong with the stream.
    std::string Open(FifoFollower& follower);

    /// @return what to put out for the frame, maybe nothing.
    std::vector<unsigned char> Convert(FifoFollower& follower, const FollowedFrame& frame);

    /// Frames that were left out because a decoder could not use them.
    long long LeftOut() const noexcept { return m_leftOut; }
    bool IsVideo() const noexcept { return m_kind == Kind::VIDEO; }

private:
    enum class Kind { VIDEO, AAC, RAW };

    bool Usable(const FollowedFrame& frame);

    Kind m_kind = Kind::RAW;
    bool m_needKeyFrame = true;
    std::vector<unsigned char> m_extra; ///< last put out, or the AAC configuration
    long long m_leftOut = 0;
};
