// SPDX-License-Identifier: Apache-2.0
// tools/fifo_cat.cpp - vx fifo cat: the stream itself to standard output.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <memory>

#include "elementary_stream.h"
#include "fail.h"
#include "fifo_cat_ts.h"
#include "fifo_common.h"
#include "fifo_follow.h"
#include "stop_signal.h"

namespace {

struct Options {
    int key = 0;
    long long count = 0;
    bool once = false;
    bool wait = false;
    bool ts = false;
    int audioKey = 0;
};

/// @return false if nobody reads any more.
bool WriteAll(const unsigned char* pData, std::size_t size, const StopSignal& stop)
{
    std::size_t done = 0;
    while (done < size && !stop.Stopped()) {
        const ssize_t written = ::write(STDOUT_FILENO, pData + done, size - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno == EPIPE) {
            return false;
        } else if (errno != EINTR) {
            Fail(EXIT_FOUND, "fifo cat", "standard output: cannot write: {}", std::strerror(errno));
        }
    }
    return true;
}

class Cat {
public:
    explicit Cat(const Options& options)
        : m_options(options), m_follower(options.key, FifoFollower::Start::KEY_FRAME)
    {
        if (options.once) {
            m_follower.EndWithWriter();
        }
    }

    void Run()
    {
        bool mayWait = m_options.wait;
        while (m_follower.Attach("fifo cat", mayWait, m_stop)) {
            if (!FollowOne() || m_options.once) {
                return;
            }
            mayWait = true;
        }
    }

private:
    /// @return true if the FIFO went away; false if all is done.
    bool FollowOne()
    {
        FollowedFrame frame;
        bool opened = false;
        while (!m_stop.Stopped()) {
            const FifoFollower::Step step = m_follower.Next(frame);
            if (step == FifoFollower::Step::GONE) {
                m_follower.Detach();
                return true;
            }
            if (step == FifoFollower::Step::NOTHING) {
                FifoFollower::Pause();
                continue;
            }
            if (!opened) { // not before a frame came: the codec is named by then
                Open();
                opened = true;
            }
            if (!Put(frame)) {
                return false;
            }
        }
        return false;
    }

    void Open()
    {
        const std::string problem = m_stream.Open(m_follower);
        if (!problem.empty()) {
            Fail(EXIT_FOUND, "fifo cat", "key {}: {}", KeyText(m_options.key), problem);
        }
    }

    bool Put(const FollowedFrame& frame)
    {
        const std::vector<unsigned char> bytes = m_stream.Convert(m_follower, frame);
        if (bytes.empty()) {
            return true;
        }
        ++m_frames;
        return WriteAll(bytes.data(), bytes.size(), m_stop) &&
               (m_options.count == 0 || m_frames < m_options.count);
    }

    const Options& m_options;
    StopSignal m_stop;
    FifoFollower m_follower;
    ElementaryStream m_stream;
    long long m_frames = 0;
};

void Run(const Options& options)
{
    if (::isatty(STDOUT_FILENO) != 0) {
        Fail(EXIT_REFUSED, "fifo cat",
             "standard output is a terminal; pipe it into a player or a file: vx fifo cat {} | ffplay -",
             options.key);
    }
    std::signal(SIGPIPE, SIG_IGN); // write() tells
#ifdef VX_WITH_MEDIA
    if (options.ts) {
        const StopSignal stop;
        CatTs({options.key, options.audioKey, options.count, options.wait}, stop,
              [&stop](const unsigned char* pData, std::size_t size) { return WriteAll(pData, size, stop); });
        return;
    }
#endif
    Cat(options).Run();
}

} // namespace

void AddFifoCat(CLI::App& fifo)
{
    CLI::App* const verb = fifo.add_subcommand(
        "cat",
        "The elementary stream to standard output, from the newest key frame on: vx fifo cat KEY | ffplay -");
    const auto options = std::make_shared<Options>();
    AddKeyArgument(*verb, options->key);
    verb->add_option("-n,--count", options->count, "End after so many frames")->check(CLI::Range(1, INT_MAX));
    verb->add_flag("--wait", options->wait, "Wait for the FIFO if it is not there yet");
    verb->add_flag("--once", options->once,
                   "End with the writer, however it ends, instead of waiting for its return");
#ifdef VX_WITH_MEDIA
    CLI::Option* const pTs =
        verb->add_flag("--ts", options->ts, "As MPEG transport stream; ends when the FIFO goes");
    AddKeyOption(*verb, "--audio-key", options->audioKey, "With --ts: key of the FIFO with the sound")
        ->needs(pTs);
#endif
    verb->callback([options] { Run(*options); });
}
