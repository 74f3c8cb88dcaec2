// SPDX-License-Identifier: Apache-2.0
// tools/mp4_writer.h - one fragmented MP4 file that is playable whenever its writer dies.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "av_handles.h"
#include "decode_clock.h"
#include "record_frame.h"
#include "trouble.h"

/// Whether the sound can only be stored in QuickTime's flavour of the format: MP4 has no name for G.711.
bool NeedsQuickTime(const StreamFormat* pAudio);

/// Writes packets of a video and an audio track into a file that exists already (made by the caller, O_EXCL).
/// A fragment of at most a second goes to the kernel as soon as it is complete. One thread at a time.
class Mp4Writer {
public:
    Mp4Writer() = default;
    ~Mp4Writer();
    Mp4Writer(const Mp4Writer&) = delete;
    Mp4Writer& operator=(const Mp4Writer&) = delete;

    /// @param fd owned from here on
    /// @param pVideo, pAudio formats; null = no such track
    Trouble Open(int fd, const std::string& path, const StreamFormat* pVideo, const StreamFormat* pAudio);

    /// Writes a frame. Time stamps are in microseconds from the start of the file and not below 0.
    Trouble Write(RecordFrame& frame, long long dtsUs, long long ptsUs);

    /// Ends the file, syncs it to the disk and closes it. A file without this is playable too, up to its last
    /// fragment.
    Trouble Close();

    bool IsOpen() const { return m_pOutput != nullptr; }
    bool HasTrack(bool video) const { return (video ? m_pVideo : m_pAudio) != nullptr; }
    const std::string& Path() const { return m_path; }
    /// Bytes in the file, until they are forgotten.
    long long Bytes() const { return m_bytes; }
    void ForgetBytes() { m_bytes = 0; }

private:
    Trouble AddStreams(const StreamFormat* pVideo, const StreamFormat* pAudio);
    Trouble Failed(int error);
    static int WriteOut(void* pWriter, unsigned char* pData, int size);
    static std::int64_t SeekOut(void* pWriter, std::int64_t offset, int whence);

    AVFormatContext* m_pOutput = nullptr;
    AVIOContext* m_pIo = nullptr;
    AVStream* m_pVideo = nullptr;
    AVStream* m_pAudio = nullptr;
    int m_fd = -1;
    int m_writeErrno = 0; ///< of the first failed write(2)
    std::string m_path;
    long long m_bytes = 0;
    long long m_wholeBytes = 0; ///< up to the last complete fragment
    std::int64_t m_lastDts[2] = {-1, -1};
};

/// How many pictures a stream may reorder, as its parameter sets announce it; 0 if they do not. The key frame
/// is decoded for that, once a segment.
int ReorderDepth(const StreamFormat& video, const AVPacket& keyFrame);
