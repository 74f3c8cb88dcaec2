// SPDX-License-Identifier: Apache-2.0
// bench/support/frame.h - the frame that every contender carries, and the one rule of reading it:
// the reader adds up all 64-bit words of the payload where they lie and compares.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// A frame as it comes from a capture source: bytes in private memory, with a sequence number and the
/// time of publication in the first two words.
class SourceFrame {
public:
    /// @param size  bytes, a multiple of 8, at least 16
    explicit SourceFrame(std::size_t size) : m_bytes(size)
    {
        std::uint64_t word = 0x9E3779B97F4A7C15u;
        for (std::size_t at = 16; at < size; at += 8) {
            word ^= word << 13;
            word ^= word >> 7;
            word ^= word << 17;
            std::memcpy(&m_bytes[at], &word, 8);
            m_sum += word;
        }
    }

    void Stamp(std::uint64_t sequence, std::int64_t timeNs) noexcept
    {
        std::memcpy(m_bytes.data(), &sequence, 8);
        std::memcpy(m_bytes.data() + 8, &timeNs, 8);
    }
    unsigned char* Data() noexcept { return m_bytes.data(); }
    std::size_t Size() const noexcept { return m_bytes.size(); }
    /// Sum of the words behind the stamp; the same for every frame of one run.
    std::uint64_t Sum() const noexcept { return m_sum; }

private:
    std::vector<unsigned char> m_bytes;
    std::uint64_t m_sum = 0;
};

/// What a reader found in a frame.
struct FrameSeen {
    std::uint64_t sequence;
    std::int64_t timeNs;
    std::uint64_t sum;
};

/// Lines that another processor has just written come late; they are asked for so many bytes ahead, as the
/// kernel's own copying does.
constexpr std::size_t READ_AHEAD = 2048;

inline FrameSeen ReadFrame(const unsigned char* data, std::size_t size) noexcept
{
    FrameSeen seen{};
    std::memcpy(&seen.sequence, data, 8);
    std::memcpy(&seen.timeNs, data + 8, 8);
    std::uint64_t sum = 0;
    for (std::size_t at = 16; at < size;) {
        const std::size_t end = size - at > 64 ? at + 64 : size;
        __builtin_prefetch(data + (at + READ_AHEAD < size ? at + READ_AHEAD : at));
        for (; at < end; at += 8) {
            std::uint64_t word;
            std::memcpy(&word, data + at, 8);
            sum += word;
        }
    }
    seen.sum = sum;
    return seen;
}

/// Touches only the stamp and the last byte: what a reader does that hands the frame on in place.
inline FrameSeen GlanceAtFrame(const unsigned char* data, std::size_t size) noexcept
{
    FrameSeen seen{};
    std::memcpy(&seen.sequence, data, 8);
    std::memcpy(&seen.timeNs, data + 8, 8);
    seen.sum = data[size - 1];
    return seen;
}
