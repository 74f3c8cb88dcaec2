// SPDX-License-Identifier: Apache-2.0
// tools/frame_trace.h - one text line a frame, so that what was read can be joined with what was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

/// 64-bit FNV-1a of a frame's bytes.
std::uint64_t FrameHash(const unsigned char* pData, std::size_t size);

/// Nanoseconds of CLOCK_MONOTONIC, the same clock in every process of one machine.
std::int64_t MonotonicNs();

/// A text file with one line a frame:
///
///     KEY ID TIMESTAMP SIZE FLAGS HASH NS
///
/// KEY is the FIFO's key, ID the frame ID, TIMESTAMP in microseconds, SIZE in bytes, FLAGS two hexadecimal
/// digits, HASH 16 hexadecimal digits of FrameHash(), NS the moment just before the frame was written (a
/// writer) or just after it was found (a reader). Buffered; complete after Close(). One thread at a time.
class FrameTrace {
public:
    FrameTrace() = default;
    ~FrameTrace() { Close(); }
    FrameTrace(const FrameTrace&) = delete;
    FrameTrace& operator=(const FrameTrace&) = delete;

    /// Makes or empties the file. @return 0; -1 with errno.
    [[nodiscard]] int Open(const std::string& path);
    bool IsOpen() const { return m_pFile != nullptr; }
    void Add(int key, int id, long long timestampUs, const unsigned char* pData, std::size_t size, int flags,
             std::int64_t ns);
    /// Writes out what is buffered. @return 0; -1 with errno if any line was lost.
    int Close();

private:
    std::FILE* m_pFile = nullptr;
};
