// SPDX-License-Identifier: Apache-2.0
// tools/media_source.h - an address that libavformat opens, read frame by frame.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "av_handles.h"
#include "elementary_track.h"
#include "raw_encoder.h"
#include "stop_signal.h"
#include "trouble.h"

struct SourceOptions {
    std::string address;
    std::string format;                    ///< libavformat's name of the input format; empty = guessed
    std::vector<std::string> inputOptions; ///< NAME=VALUE for libavformat
    bool wantVideo = true;
    bool wantAudio = false;
};

/// One frame with the track that it is of.
struct SourceFrame {
    int track = 0; ///< 0 video, 1 audio
    MediaFrame frame;
};

enum class SourceRead {
    FRAMES,  ///< zero or more frames were appended
    END,     ///< the source is complete
    DROPPED, ///< a live source went away
    STOPPED, ///< a stop was asked for
};

/// Opens an address, chooses one track of video and one of audio, and hands out their frames in the order in
/// which the source has them. Blocking calls end at a stop request, and after ten seconds without data. One
/// thread at a time.
class MediaSource {
public:
    MediaSource(SourceOptions options, const StopSignal& stop);

    /// Opens, or opens again after an end or a drop.
    Trouble Open();
    void Close();

    [[nodiscard]] SourceRead Read(std::vector<SourceFrame>& out);

    /// Whether the source gives its frames at their own pace (a camera), so that nobody needs to wait for
    /// their time.
    bool IsLive() const { return m_live; }
    /// Whether the source is worth opening again when it goes away.
    bool IsNetwork() const { return m_network; }
    bool HasVideo() const { return m_tracks[0].pTrack != nullptr; }
    bool HasAudio() const { return m_tracks[1].pTrack != nullptr; }
    const TrackFormat& Format(int track) const { return m_tracks[track].pTrack->Format(); }
    /// Why the last DROPPED happened.
    const std::string& LastError() const { return m_lastError; }
    /// Packets that came damaged or cut short, since the first Open().
    long long Damaged() const { return m_damaged; }
    /// The address as messages name it: without the password.
    std::string Shown() const;

private:
    struct Track {
        int stream = -1;
        std::unique_ptr<RawEncoder> pEncoder; ///< for pictures and sound that come unpacked
        std::unique_ptr<ElementaryTrack> pTrack;
    };

    Trouble CheckAddress() const;
    const char* Advice() const;
    Trouble OpenInput();
    Trouble ChooseTracks();
    Trouble OpenTrack(int track, int stream);
    SourceRead OnReadError(int error, std::vector<SourceFrame>& out);
    void Feed(int track, AVPacket* pPacket, std::vector<SourceFrame>& out);
    void Drain(std::vector<SourceFrame>& out);
    static int Interrupted(void* pSource);
    void StartClock();

    SourceOptions m_options;
    const StopSignal& m_stop;
    bool m_live = false;
    bool m_network = false;
    AvInput m_pInput;
    AvPacket m_pPacket;
    Track m_tracks[2];
    std::int64_t m_deadlineNs = 0;
    std::string m_lastError;
    long long m_damaged = 0;
};
