// SPDX-License-Identifier: Apache-2.0
// utils/shm_copy.cpp - see utils/shm_copy.h.
#include "shm_copy.h"

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>

namespace {

// Decision: from 1 MiB on. A ring of such frames is larger than the caches, so that storing through them
// reads each line first and pushes it out again: past them it takes two thirds of the time, and the reader,
// which would fetch changed lines out of the writer's cache one by one, less than half. Below, storing
// through the cache is faster.
constexpr std::size_t STREAM_FROM = std::size_t{1} << 20;
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
    _mm_sfence(); // such stores are weakly ordered: all of them before the mark word that hands the frame
                  // over
}

} // namespace

void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    if (size < STREAM_FROM) {
        std::memcpy(dst, src, size);
        return;
    }
    const std::size_t head = (LINE - reinterpret_cast<std::uintptr_t>(dst) % LINE) % LINE;
    const std::size_t lines = (size - head) / LINE;
    const std::size_t done = head + lines * LINE;
    std::memcpy(dst, src, head);
    StreamLines(dst + head, src + head, lines);
    std::memcpy(dst + done, src + done, size - done);
}

#else

void ShmCopyIn(unsigned char* dst, const unsigned char* src, std::size_t size) noexcept
{
    std::memcpy(dst, src, size);
}

#endif
