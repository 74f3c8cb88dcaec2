// SPDX-License-Identifier: Apache-2.0
// tools/elementary_stream.cpp - Annex B and ADTS out of frames.
#include "elementary_stream.h"

#include <fmt/format.h>

namespace {

std::vector<unsigned char> ExtraOf(ShmStreamFifo& fifo)
{
    std::vector<unsigned char> extra(SHM_FIFO_MAX_EXTRA_SIZE);
    int size = SHM_FIFO_MAX_EXTRA_SIZE;
    fifo.GetExtra(extra.data(), size);
    extra.resize(static_cast<std::size_t>(size));
    return extra;
}

unsigned char Byte(std::size_t value)
{
    return static_cast<unsigned char>(value & 0xFFu);
}

} // namespace

std::vector<unsigned char> AdtsHeader(const std::vector<unsigned char>& config, std::size_t size)
{
    constexpr std::size_t HEADER_SIZE = 7;
    const std::size_t length = size + HEADER_SIZE;
    if (config.size() < 2 || length > 0x1FFF) {
        return {};
    }
    std::size_t objectType = config[0] >> 3u;
    const std::size_t rateIndex = ((config[0] & 7u) << 1u) | (config[1] >> 7u);
    const std::size_t channels = (config[1] >> 3u) & 0xFu;
    if (objectType == 5 || objectType == 29) {
        objectType = 2; // spectral band replication and parametric stereo: the core is low complexity
    }
    if (objectType < 1 || objectType > 4 || rateIndex == 0xF) {
        return {};
    }
    return {0xFF,
            0xF1, // MPEG-4, no checksum
            Byte(((objectType - 1) << 6u) | (rateIndex << 2u) | (channels >> 2u)),
            Byte(((channels & 3u) << 6u) | (length >> 11u)),
            Byte(length >> 3u),
            Byte(((length & 7u) << 5u) | 0x1Fu),
            0xFC};
}

std::string ElementaryStream::Open(FifoFollower& follower)
{
    const std::string codec = follower.Fifo().GetCodec();
    m_needKeyFrame = true;
    m_extra.clear();
    if (codec == "H264" || codec == "H265") {
        m_kind = Kind::VIDEO;
        return {};
    }
    if (codec == "PCMA" || codec == "PCMU") {
        m_kind = Kind::RAW;
        return {};
    }
    if (codec != "MPEG4-GENERIC") {
        return fmt::format("codec \"{}\": no elementary stream is known for it", codec);
    }
    m_kind = Kind::AAC;
    ESFormat format;
    if (follower.Reader().FillAdoFmt(format) != 0) {
        return "the extra data of the AAC stream makes no sense; restart its capture process";
    }
    m_extra.assign(format.extraData, format.extraData + format.extraSize);
    return AdtsHeader(m_extra, 1).empty() ? "the AAC stream is of a kind that ADTS cannot carry" : "";
}

bool ElementaryStream::Usable(const FollowedFrame& frame)
{
    if (frame.lost > 0) {
        m_needKeyFrame = true;
    }
    if (!m_needKeyFrame) {
        return true;
    }
    if ((frame.flags & FRAME_I) == 0) {
        ++m_leftOut;
        return false;
    }
    m_needKeyFrame = false;
    return true;
}

std::vector<unsigned char> ElementaryStream::Convert(FifoFollower& follower, const FollowedFrame& frame)
{
    std::vector<unsigned char> out;
    if (m_kind == Kind::AAC) {
        out = AdtsHeader(m_extra, frame.bytes.size());
        if (out.empty()) {
            ++m_leftOut;
            return out;
        }
    }
    if (m_kind == Kind::VIDEO) {
        const bool first = m_needKeyFrame || frame.lost > 0;
        if (!Usable(frame)) {
            return out;
        }
        if ((frame.flags & FRAME_I) != 0) {
            std::vector<unsigned char> extra = ExtraOf(follower.Fifo());
            if (first || extra != m_extra) {
                out = extra;
                m_extra = std::move(extra);
            }
        }
    }
    out.insert(out.end(), frame.bytes.begin(), frame.bytes.end());
    return out;
}
