// SPDX-License-Identifier: Apache-2.0
// tools/fifo_follow.h - one frame after another out of a FIFO that may jump, close, vanish and come back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exit_code.h"
#include "nouns.h"
#include "shmfiforeader.h"
#include "stop_signal.h"

/// A frame copied out of the ring.
struct FollowedFrame {
    int id = SHM_FIFO_NO_FRAME_ID;
    int flags = 0;
    int es = MEDIA_ES_NONE;
    long long timestamp = 0; ///< as the writer gave it
    std::int64_t foundNs = 0;
    bool first = true;                     ///< of this attachment
    int previousId = SHM_FIFO_NO_FRAME_ID; ///< of the frame before in this attachment
    int lost = 0;                          ///< frames between the two, or before the first
    std::vector<unsigned char> bytes;
};

/// Frames from the one with ID `from` to the one with ID `to`, both left out. IDs run 0..10000.
int FramesBetween(int from, int to);

/// A reader of one key. Attached before the first frame it starts with that one. It copies each frame before
/// anybody looks at it, so that a slow terminal or pipe never holds a slot; a frame that was overwritten meanwhile
/// counts as lost.
class FifoFollower {
public:
    enum class Start {
        NEWEST,    ///< with the newest frame
        KEY_FRAME, ///< with the newest key frame of a video stream; other streams as above
    };
    enum class Step {
        FRAME,
        NOTHING, ///< none yet
        GONE,    ///< closed, removed, or made anew by another writer: Detach() and Attach()
    };

    FifoFollower(int key, Start start) noexcept : m_key(key), m_start(start) {}

    /// From now on a FIFO whose writer was killed counts as gone once all of its frames are read.
    void EndWithWriter() noexcept { m_endWithWriter = true; }

    /// @return an empty text; else why there is nothing to attach to, and the exit code for it.
    std::string Attach(ExitCode& exitCode);
    /// Attaches for a verb, which ends with the reason if it cannot.
    ///
    /// @param mayWait  tries until it can instead
    /// @return false if a stop was asked for first.
    bool Attach(std::string_view verb, bool mayWait, const StopSignal& stop);
    void Detach();
    Step Next(FollowedFrame& frame);
    /// What happened to the FIFO, after Step::GONE.
    const char* WhyGone() const noexcept { return m_whyGone; }

    /// When Attach() succeeded, on the clock of FollowedFrame::foundNs.
    std::int64_t AttachedNs() const noexcept { return m_attachedNs; }
    ShmStreamFifo& Fifo() const noexcept { return *m_reader.GetFifo(); }
    ShmFifoReader& Reader() noexcept { return m_reader; }

    /// What a follower sleeps between two looks at an empty FIFO: short against a frame, long against a look.
    static void Pause();

private:
    static void Copy(void* ctx, DataEntry* pEntry, unsigned char* data, int size);
    bool MayHaveKeyFrames();
    bool IsGone();

    const int m_key;
    const Start m_start;
    ShmFifoReader m_reader;
    int m_shmId = -1;
    bool m_fromFirst = false; ///< attached before the first frame, which has not been read yet
    bool m_any = false;       ///< a frame has been read since Attach()
    bool m_wantKeyFrame = false;
    bool m_endWithWriter = false;
    const char* m_whyGone = "";
    int m_previousId = SHM_FIFO_NO_FRAME_ID;
    std::int64_t m_attachedNs = 0;
    std::int64_t m_lookedNs = 0;
    FollowedFrame* m_pFrame = nullptr; ///< during a read
    bool m_intact = false;
};
