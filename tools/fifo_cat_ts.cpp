// SPDX-License-Identifier: Apache-2.0
// tools/fifo_cat_ts.cpp - one or two FIFOs as a transport stream.
#include "fifo_cat_ts.h"

#include <array>
#include <memory>

#include "elementary_stream.h"
#include "fail.h"
#include "fifo_common.h"
#include "ts_output.h"

namespace {

/// One FIFO on its way into the transport stream.
struct TsTrack {
    explicit TsTrack(int fifoKey) : key(fifoKey), follower(fifoKey, FifoFollower::Start::KEY_FRAME) {}

    const int key;
    FifoFollower follower;
    ElementaryStream stream;
    TsOutput::Track format;
};

[[noreturn]] void Give(const std::string& problem, ExitCode exitCode = EXIT_FOUND)
{
    Fail(exitCode, "fifo cat", "{}", problem);
}

void AddSound(TsTrack& track)
{
    ESFormat format;
    if (!track.stream.IsVideo() && track.follower.Reader().FillAdoFmt(format) == 0) {
        track.format.sampleRate = format.sampleRate;
        track.format.channels = format.channels;
    }
}

/// @return false if a stop was asked for first.
bool Attach(TsTrack& track, bool wait, const StopSignal& stop)
{
    for (;;) {
        ExitCode exitCode = EXIT_DONE;
        std::string problem = track.follower.Attach(exitCode);
        if (problem.empty()) {
            track.format.codec = track.follower.Fifo().GetCodec();
            problem = track.format.codec.empty()
                          ? "key " + KeyText(track.key) + ": its writer has not named the codec yet"
                          : track.stream.Open(track.follower);
            exitCode = EXIT_FOUND;
        }
        if (problem.empty()) {
            AddSound(track);
            return true;
        }
        if (!wait) {
            Give(problem, exitCode);
        }
        if (stop.WaitFor(std::chrono::milliseconds(100))) {
            return false;
        }
    }
}

/// Moves one frame on. @return what the follower said.
FifoFollower::Step Move(TsTrack& track, TsOutput& output, FollowedFrame& frame, long long& pictures)
{
    const FifoFollower::Step step = track.follower.Next(frame);
    if (step != FifoFollower::Step::FRAME) {
        return step;
    }
    const std::vector<unsigned char> bytes = track.stream.Convert(track.follower, frame);
    if (!bytes.empty()) {
        const int number = track.stream.IsVideo() ? 0 : 1;
        const std::string problem =
            output.Write(number, bytes, frame.timestamp, (frame.flags & FRAME_I) != 0);
        if (!problem.empty()) {
            Give(problem);
        }
        ++pictures;
    }
    return step;
}

} // namespace

void CatTs(const CatTsOptions& options, const StopSignal& stop,
           const std::function<bool(const unsigned char* pData, std::size_t size)>& sink)
{
    std::vector<std::unique_ptr<TsTrack>> tracks;
    std::array<TsOutput::Track, 2> formats;
    for (const int key : {options.key, options.audioKey}) {
        if (key == 0) {
            continue;
        }
        tracks.push_back(std::make_unique<TsTrack>(key));
        if (!Attach(*tracks.back(), options.wait, stop)) {
            return;
        }
        TsOutput::Track& format = formats[tracks.back()->stream.IsVideo() ? 0 : 1];
        if (!format.codec.empty()) {
            Give("key " + KeyText(key) + ": is of the same kind as the other FIFO", EXIT_USAGE);
        }
        format = tracks.back()->format;
    }
    TsOutput output(sink);
    std::string problem = output.Open(formats);
    FollowedFrame frame;
    long long counts[2] = {0, 0};
    bool goOn = problem.empty();
    while (goOn && !stop.Stopped() && !output.Ended() && (options.count == 0 || counts[0] < options.count)) {
        bool moved = false;
        for (std::size_t i = 0; i < tracks.size(); ++i) {
            const FifoFollower::Step step = Move(*tracks[i], output, frame, counts[i]);
            moved = moved || step == FifoFollower::Step::FRAME;
            goOn = goOn && (step != FifoFollower::Step::GONE || i > 0);
        }
        if (!moved) {
            FifoFollower::Pause();
        }
    }
    if (problem.empty()) {
        problem = output.Close();
    }
    if (!problem.empty()) {
        Give(problem);
    }
}
