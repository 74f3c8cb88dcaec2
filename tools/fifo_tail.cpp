// SPDX-License-Identifier: Apache-2.0
// tools/fifo_tail.cpp - vx fifo tail: one line a frame.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "fail.h"
#include "fifo_common.h"
#include "fifo_follow.h"
#include "frame_trace.h"
#include "stop_signal.h"
#include "table.h"

namespace {

struct Options {
    int key = 0;
    long long count = 0;
    bool fromKey = false;
    bool once = false;
    bool wait = false;
    bool json = false;
    bool quiet = false;
    std::string trace;
};

/// What tail prints: for people, or one JSON object a line.
class TailPrinter {
public:
    explicit TailPrinter(const Options& options) : m_json(options.json), m_quiet(options.quiet) {}

    void Attached(int key)
    {
        Json::Value json = Event("attached");
        json["key"] = key;
        Say(json, fmt::format("-- attached to {}", KeyText(key)));
    }

    void Gone(const char* why)
    {
        Json::Value json = Event("closed");
        json["why"] = why;
        Say(json, fmt::format("-- {}", why));
    }

    void Jump(const FollowedFrame& frame)
    {
        Json::Value json = Event("jump");
        json["from"] = frame.first ? Json::Value() : Json::Value(frame.previousId);
        json["to"] = frame.id;
        json["lost"] = frame.lost;
        Say(json, fmt::format("-- jumped from {} to {}: {} lost",
                              frame.first ? "the start" : fmt::format("frame {}", frame.previousId), frame.id,
                              frame.lost));
    }

    void Frame(const FollowedFrame& frame)
    {
        if (m_quiet) {
            return;
        }
        if (!m_json) {
            fmt::print("{:>5}  {:<2}  {:>7}  {}\n", frame.id, FrameType(frame.flags), frame.bytes.size(),
                       frame.timestamp);
            std::fflush(stdout);
            return;
        }
        Json::Value json(Json::objectValue);
        json["id"] = frame.id;
        json["type"] = FrameType(frame.flags);
        json["size"] = static_cast<Json::UInt64>(frame.bytes.size());
        json["timestamp"] = static_cast<Json::Int64>(frame.timestamp);
        PrintJsonLine(json);
    }

    void End(long long frames, long long jumps, long long lost, double firstMs, bool firstIsKey)
    {
        Json::Value json = Event("end");
        json["frames"] = static_cast<Json::Int64>(frames);
        json["jumps"] = static_cast<Json::Int64>(jumps);
        json["lost"] = static_cast<Json::Int64>(lost);
        json["firstFrameMs"] = frames == 0 ? Json::Value() : Json::Value(firstMs);
        json["firstIsKey"] = firstIsKey;
        const std::string first = frames == 0
                                      ? std::string()
                                      : fmt::format("; the first, {}, {:.3f} ms after attaching",
                                                    firstIsKey ? "a key frame" : "no key frame", firstMs);
        Say(json, fmt::format("-- {} frames, {} jumps, {} lost{}", frames, jumps, lost, first));
    }

private:
    static Json::Value Event(const char* name)
    {
        Json::Value json(Json::objectValue);
        json["event"] = name;
        return json;
    }

    void Say(const Json::Value& json, const std::string& text) const
    {
        if (m_json) {
            PrintJsonLine(json);
        } else {
            std::puts(text.c_str());
            std::fflush(stdout);
        }
    }

    bool m_json;
    bool m_quiet;
};

class Tail {
public:
    explicit Tail(const Options& options)
        : m_options(options), m_printer(options),
          m_follower(options.key,
                     options.fromKey ? FifoFollower::Start::KEY_FRAME : FifoFollower::Start::NEWEST)
    {
        if (options.once) {
            m_follower.EndWithWriter();
        }
    }

    void Run()
    {
        if (!m_options.trace.empty() && m_trace.Open(m_options.trace) != 0) {
            Fail(EXIT_UNREACHABLE, "fifo tail", "{}: cannot make the trace file: {}", m_options.trace,
                 std::strerror(errno));
        }
        bool mayWait = m_options.wait;
        while (!Enough() && m_follower.Attach("fifo tail", mayWait, m_stop)) {
            m_printer.Attached(m_options.key);
            FollowOne();
            mayWait = true;
            if (m_options.once) {
                break;
            }
        }
        m_printer.End(m_frames, m_jumps, m_lost, m_firstMs, m_firstIsKey);
        if (m_trace.Close() != 0) {
            Fail(EXIT_FOUND, "fifo tail", "{}: the trace is not whole: {}", m_options.trace,
                 std::strerror(errno));
        }
    }

private:
    bool Enough() const { return m_options.count > 0 && m_frames >= m_options.count; }

    void FollowOne()
    {
        FollowedFrame frame;
        while (!m_stop.Stopped() && !Enough()) {
            switch (m_follower.Next(frame)) {
            case FifoFollower::Step::FRAME:
                Take(frame);
                break;
            case FifoFollower::Step::NOTHING:
                FifoFollower::Pause();
                break;
            case FifoFollower::Step::GONE:
                m_printer.Gone(m_follower.WhyGone());
                m_follower.Detach();
                return;
            }
        }
    }

    void Take(const FollowedFrame& frame)
    {
        if (m_frames == 0) {
            m_firstMs = static_cast<double>(frame.foundNs - m_follower.AttachedNs()) / 1e6;
            m_firstIsKey = (frame.flags & FRAME_I) != 0;
        }
        if (frame.lost > 0) {
            ++m_jumps;
            m_lost += frame.lost;
            m_printer.Jump(frame);
        }
        ++m_frames;
        m_trace.Add(m_options.key, frame.id, frame.timestamp, frame.bytes.data(), frame.bytes.size(),
                    frame.flags, frame.foundNs);
        m_printer.Frame(frame);
    }

    const Options& m_options;
    StopSignal m_stop;
    TailPrinter m_printer;
    FifoFollower m_follower;
    FrameTrace m_trace;
    long long m_frames = 0;
    long long m_jumps = 0;
    long long m_lost = 0;
    double m_firstMs = 0;
    bool m_firstIsKey = false;
};

} // namespace

void AddFifoTail(CLI::App& fifo)
{
    CLI::App* const verb =
        fifo.add_subcommand("tail", "One line a frame: ID, type, size, timestamp; and each jump");
    const auto options = std::make_shared<Options>();
    AddKeyArgument(*verb, options->key);
    verb->add_option("-n,--count", options->count, "End after so many frames")->check(CLI::Range(1, INT_MAX));
    verb->add_flag("--from-key", options->fromKey,
                   "Start with the newest key frame instead of the newest frame");
    verb->add_flag("--wait", options->wait, "Wait for the FIFO if it is not there yet");
    verb->add_flag("--once", options->once,
                   "End with the writer, however it ends, instead of waiting for its return");
    verb->add_flag("--json", options->json, "Print one object a line");
    verb->add_flag("--quiet", options->quiet, "Print no frames, only what else happens");
    verb->add_option("--trace", options->trace,
                     "Also write a line with a hash and a time for each frame to FILE")
        ->type_name("FILE");
    verb->callback([options] { Tail(*options).Run(); });
}
