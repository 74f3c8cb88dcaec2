// SPDX-License-Identifier: Apache-2.0
// tools/frame_trace.cpp - one text line a frame.
#include "frame_trace.h"

#include <cinttypes>
#include <ctime>
#include <utility>

std::uint64_t FrameHash(const unsigned char* pData, std::size_t size)
{
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ pData[i]) * 0x100000001b3u;
    }
    return hash;
}

std::int64_t MonotonicNs()
{
    struct timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

int FrameTrace::Open(const std::string& path)
{
    Close();
    m_pFile = std::fopen(path.c_str(), "we");
    if (m_pFile == nullptr) {
        return -1;
    }
    static_cast<void>(
        std::setvbuf(m_pFile, nullptr, _IOLBF, BUFSIZ)); // each line can be seen at once; else later
    return 0;
}

void FrameTrace::Add(int key, int id, long long timestampUs, const unsigned char* pData, std::size_t size,
                     int flags, std::int64_t ns)
{
    if (m_pFile != nullptr) {
        std::fprintf(m_pFile, "%d %d %lld %zu %02x %016" PRIx64 " %" PRId64 "\n", key, id, timestampUs, size,
                     static_cast<unsigned>(flags), FrameHash(pData, size), ns);
    }
}

int FrameTrace::Close()
{
    if (m_pFile == nullptr) {
        return 0;
    }
    std::FILE* const pFile = std::exchange(m_pFile, nullptr);
    const bool lost = std::ferror(pFile) != 0;
    return std::fclose(pFile) == 0 && !lost ? 0 : -1;
}
