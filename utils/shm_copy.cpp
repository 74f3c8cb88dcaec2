// SPDX-License-Identifier: Apache-2.0
// utils/shm_copy.cpp - see utils/shm_copy.h.
#include "shm_copy.h"

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <x86intrin.h>

#include <algorithm>
#include <bit>

namespace {

constexpr std::size_t LINE = 64;

/// Whole lines only; `dst` is at the start of a line.
void StreamLines(unsigned char* dst, const unsigned char* src, std::size_t lines) noexcept
{
    for (; lines > 0; --lines, dst += LINE, src += LINE) {
        const __m128i* const from = reinterpret_cast<const __m128i*>(src);
        __m128i* const to = reinterpret_cast<__m128i*>(dst);
        const __m128i a = _mm_loadu_si128(from);
        const __m128i b = _mm_loadu_si128(from + 1);
        const __m128i c = _mm_loadu_si128(from + 2);
        const __m128i d = _mm_loadu_si128(from + 3);
        _mm_stream_si128(to, a);
        _mm_stream_si128(to + 1, b);
        _mm_stream_si128(to + 2, c);
        _mm_stream_si128(to + 3, d);
    }
    _mm_sfence(); // such stores are weakly ordered: all before the mark word that hands the frame over
}

/// Past the caches; `size` is at least a line.
void CopyPastCache(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    const std::size_t head = (LINE - reinterpret_cast<std::uintptr_t>(dst) % LINE) % LINE;
    const std::size_t lines = (size - head) / LINE;
    const std::size_t done = head + lines * LINE;
    std::memcpy(dst, src, head);
    StreamLines(dst + head, src + head, lines);
    std::memcpy(dst + done, src + done, size - done);
}

// Decision: frames of 1 MiB and more go past the caches. A ring of them is larger than the caches, so that storing
// through them reads each line first and pushes it out again. Frames of 2 KiB and more go the way that costs the writer
// less: a slot that nobody reads lies in its own cache, where storing is fastest; one that was read lies in the
// reader's, and each line has to be fetched from there, on some machines many times as slow as storing past the caches,
// and once more by the reader. Nothing tells but the time.
constexpr std::size_t CHOOSE_FROM = std::size_t{1} << 11;
constexpr std::size_t STREAM_FROM = std::size_t{1} << 20;

/// The way of frames of about one size. A turn: a lap through the cache, so that the slots are as that leaves them,
/// some frames of it that are timed, some past it that are timed, and all others the better way.
///
/// Thread-safety: one thread each.
class CopyWay {
public:
    void Copy(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
    {
        const std::uint32_t at = m_frame++;
        if (at >= LAP && at < LAP + CACHE_TIMED + PAST_TIMED) {
            CopyTimed(dst, src, size, at - LAP);
        } else if (m_past) {
            CopyPastCache(dst, src, size);
        } else {
            std::memcpy(dst, src, size);
        }
        if (m_frame >= m_turn) {
            m_frame = 0;
            m_past = false;
        }
    }

private:
    static constexpr std::uint32_t LAP = 32; ///< frames; a ring has at most 30 slots
    static constexpr std::uint32_t CACHE_TIMED = 9;
    static constexpr std::uint32_t PAST_TIMED = 3;
    // A reader that comes is noticed soon at first. Frames that go past the cache for nothing are dear, and their slots
    // have to be fetched again: the turns of a writer without readers grow.
    static constexpr std::uint32_t SHORTEST_TURN = 512;
    static constexpr std::uint32_t LONGEST_TURN = 4096;
    static constexpr std::uint32_t PAST_TURN = 8192; ///< a lap through the cache is dear while somebody reads
    static constexpr std::uint32_t MARGIN = 2; ///< when they are near each other, the cache serves better

    void CopyTimed(unsigned char* dst, const unsigned char* src, std::size_t size,
                   std::uint32_t sample) noexcept
    {
        const std::uint64_t start = __rdtsc();
        if (sample < CACHE_TIMED) {
            std::memcpy(dst, src, size);
        } else {
            CopyPastCache(dst, src, size);
        }
        m_cost[sample] = static_cast<std::uint32_t>((__rdtsc() - start) * 1024 / size);
        if (sample + 1 == CACHE_TIMED + PAST_TIMED) { // medians, as any of them may have been interrupted
            std::uint32_t* const past = m_cost + CACHE_TIMED;
            std::nth_element(m_cost, m_cost + CACHE_TIMED / 2, past);
            std::nth_element(past, past + PAST_TIMED / 2, past + PAST_TIMED);
            m_past = m_cost[CACHE_TIMED / 2] > past[PAST_TIMED / 2] * MARGIN;
            m_turn = m_past                ? PAST_TURN
                     : m_turn == PAST_TURN ? SHORTEST_TURN
                                           : std::min(m_turn * 2, LONGEST_TURN);
        }
    }

    std::uint32_t m_frame = 0;
    std::uint32_t m_turn = SHORTEST_TURN;
    bool m_past = false;
    std::uint32_t m_cost[CACHE_TIMED + PAST_TIMED] = {}; ///< ticks for 1 KiB
};

constinit thread_local CopyWay t_ways[std::bit_width(STREAM_FROM / CHOOSE_FROM)]; // by powers of two

} // namespace

void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    if (size < CHOOSE_FROM) {
        std::memcpy(dst, src, size);
    } else if (size < STREAM_FROM) {
        t_ways[std::bit_width(size / CHOOSE_FROM) - 1].Copy(dst, src, size);
    } else {
        CopyPastCache(dst, src, size);
    }
}

#else

void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    std::memcpy(dst, src, size);
}

#endif
