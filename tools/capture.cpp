// SPDX-License-Identifier: Apache-2.0
// tools/capture.cpp - vx capture: from any address that libavformat opens into a FIFO for video and one for audio.
#include "capture_run.h"
#include "exit_code.h"
#include "nouns.h"
#include "table.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

#include <CLI/CLI.hpp>
#include <csignal>
#include <json/value.h>

#include <memory>

namespace {

constexpr int VIDEO_ENTRY_SIZE = 256 * 1024;
constexpr int AUDIO_ENTRY_SIZE = 8 * 1024;

struct Arguments {
    CaptureOptions capture;
    int key = -1;
    int audioKey = -1;
    int entrySize = VIDEO_ENTRY_SIZE;
    int slots = SHM_FIFO_MAX_COUNT;
    bool realtime = false;
    bool fast = false;
    bool json = false;
};

Trouble PlanFifos(const CLI::App& verb, Arguments& arguments)
{
    CaptureOptions& capture = arguments.capture;
    capture.source.wantVideo = verb.count("--key") > 0;
    capture.source.wantAudio = verb.count("--audio-key") > 0;
    if (!capture.source.wantVideo && !capture.source.wantAudio) {
        return {EXIT_USAGE, "give --key for the video, --audio-key for the sound, or both"};
    }
    if (capture.source.wantVideo) {
        capture.plans[0] = {"--key", arguments.key, arguments.entrySize, arguments.slots};
    }
    if (capture.source.wantAudio) {
        capture.plans[1] = {"--audio-key", arguments.audioKey, AUDIO_ENTRY_SIZE, arguments.slots};
    }
    for (const std::optional<FifoPlan>& plan : capture.plans) {
        if (plan) {
            if (Trouble trouble = CheckKeyNumber(*plan)) {
                return trouble;
            }
        }
    }
    if (capture.plans[0] && capture.plans[1] && KeysOverlap(arguments.key, arguments.audioKey)) {
        return {EXIT_USAGE, "--key and --audio-key: each FIFO uses its key and the 30 behind it; keep them "
                            "at least 31 apart"};
    }
    return {};
}

Json::Value CountsAsJson(const FifoPublisher& publisher)
{
    const PublishCounts& counts = publisher.Counts();
    Json::Value value;
    value["key"] = publisher.Plan().key;
    value["frames"] = Json::Int64{counts.frames};
    value["key_frames"] = Json::Int64{counts.keyFrames};
    value["bytes"] = Json::Int64{counts.bytes};
    value["dropped"] = Json::Int64{counts.dropped};
    value["refused"] = Json::Int64{counts.refused};
    return value;
}

void PrintSummary(const CaptureRun& run, bool json)
{
    constexpr const char* KINDS[2] = {"video", "audio"};
    Json::Value summary;
    summary["duration_us"] = Json::Int64{run.Counts().durationUs};
    summary["reconnects"] = run.Counts().reconnects;
    summary["loops"] = run.Counts().loops;
    Table table({"TRACK", ">KEY", ">FRAMES", ">KEY FRAMES", ">BYTES", ">DROPPED", ">TOO LARGE"});
    for (int track = 0; track < 2; ++track) {
        const std::optional<FifoPublisher>& publisher = run.Publisher(track);
        if (!publisher) {
            continue;
        }
        summary[KINDS[track]] = CountsAsJson(*publisher);
        const PublishCounts& counts = publisher->Counts();
        table.AddRow({KINDS[track], std::to_string(publisher->Plan().key), std::to_string(counts.frames),
                      std::to_string(counts.keyFrames), std::to_string(counts.bytes),
                      std::to_string(counts.dropped), std::to_string(counts.refused)});
    }
    if (json) {
        PrintJson(summary);
    } else {
        table.Print();
    }
}

void RunCapture(const CLI::App& verb, Arguments& arguments)
{
    EndIf(PlanFifos(verb, arguments), "capture");
    if (arguments.realtime || arguments.fast) {
        arguments.capture.pace = arguments.fast ? CaptureOptions::Pace::FAST : CaptureOptions::Pace::REALTIME;
    }
    QuietAvLog();
    avdevice_register_all();
    avformat_network_init();
    const StopSignal stop;
    std::signal(SIGPIPE, SIG_IGN); // whoever reads our messages may go; the FIFOs are still removed
    CaptureRun run(arguments.capture, stop);
    EndIf(run.Start(), "capture");
    const Trouble trouble = run.Run();
    PrintSummary(run, arguments.json);
    EndIf(trouble, "capture");
}

void AddSourceOptions(CLI::App& verb, Arguments& arguments)
{
    CaptureOptions& capture = arguments.capture;
    verb.add_option(
            "ADDRESS", capture.source.address,
            "A file, rtsp://, http://, /dev/videoN, lavfi:GRAPH, or anything else that libavformat opens")
        ->required();
    verb.add_option("--format", capture.source.format,
                    "Name of the input format, where the address does not say it");
    verb.add_option("--input-option", capture.source.inputOptions,
                    "NAME=VALUE for the input (rtsp_transport=tcp)");
    auto* const pRealtime = verb.add_flag("--realtime", arguments.realtime,
                                          "Write each frame at its time (the default but for cameras)");
    verb.add_flag("--fast", arguments.fast,
                  "Write as fast as frames come; readers that cannot follow lose frames")
        ->excludes(pRealtime);
    verb.add_flag("--loop", capture.loop, "Start again at the end; time stamps go on growing");
}

void AddFifoOptions(CLI::App& verb, Arguments& arguments)
{
    CaptureOptions& capture = arguments.capture;
    verb.add_option("--key", arguments.key,
                    "IPC key of the video's FIFO; the 30 keys behind it are used too");
    verb.add_option("--audio-key", arguments.audioKey,
                    "IPC key of the sound's FIFO; the 30 behind it are used too");
    verb.add_option("--entry-size", arguments.entrySize,
                    "Bytes of a video slot at first (K and M understood); slots grow up to 4M")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(1, SHM_FIFO_MAX_ENTRY_SIZE))
        ->capture_default_str();
    verb.add_option("--slots", arguments.slots, "Slots of each FIFO")
        ->check(CLI::Range(SHM_FIFO_MIN_COUNT, SHM_FIFO_MAX_COUNT))
        ->capture_default_str();
    verb.add_flag("--prefault", capture.prefault, "Back the slots with memory before the first frame");
    verb.add_option("--wait-readers", capture.waitReaders,
                    "Hold the first frame back until N readers of each FIFO have counted themselves as "
                    "connected (30 s at most)");
    verb.add_option("--trace", capture.tracePath,
                    "Write one line a frame to FILE: key, ID, time stamp, size, flags, hash, monotonic ns");
    verb.add_flag("--json", arguments.json, "Print the summary as JSON");
}

} // namespace

void AddCaptureNoun(CLI::App& vx)
{
    const auto pArguments = std::make_shared<Arguments>();
    CLI::App* const pVerb =
        vx.add_subcommand("capture", "Move live frames from an address into stream FIFOs");
    pVerb->footer(
        "Time stamps in a FIFO are presentation times in microseconds. They start near 0 and grow, also over "
        "--loop and over a camera that was away. Pictures that come unpacked are encoded as H.264, sound as "
        "AAC. Ends at the end of the source or at SIGINT or SIGTERM, and removes its FIFOs.");
    AddSourceOptions(*pVerb, *pArguments);
    AddFifoOptions(*pVerb, *pArguments);
    pVerb->callback([pVerb, pArguments] { RunCapture(*pVerb, *pArguments); });
}
