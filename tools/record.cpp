// SPDX-License-Identifier: Apache-2.0
// tools/record.cpp - vx record: from stream FIFOs into fragmented MP4.
#include <CLI/CLI.hpp>
#include <json/value.h>

#include <csignal>
#include <memory>
#include <set>

#include "camera_group.h"
#include "exit_code.h"
#include "fail.h"
#include "fifo_keys.h"
#include "nouns.h"
#include "numbers.h"
#include "package/db.h"
#include "package/recorder.h"
#include "record_run.h"
#include "table.h"

namespace {

constexpr double EVENT_SEC = 60; ///< length of a camera's events unless --segment says otherwise

struct Arguments {
    RecordOptions record;
    int keys[2] = {-1, -1};
    int camera = 0;
    std::string group = CameraGroupName(CAM_REC_GROUP_CONTINUOUS);
    bool json = false;
};

Trouble Complete(const CLI::App& verb, Arguments& arguments)
{
    constexpr const char* OPTIONS[2] = {"--key", "--audio-key"};
    RecordOptions& record = arguments.record;
    for (int track = 0; track < 2; ++track) {
        if (verb.count(OPTIONS[track]) > 0) {
            if (Trouble trouble = CheckKeyNumber({OPTIONS[track], arguments.keys[track], 0, 0})) {
                return trouble;
            }
            record.keys[track] = arguments.keys[track];
        }
    }
    record.recorder.hasVideo = record.keys[0].has_value();
    record.recorder.hasAudio = record.keys[1].has_value();
    if (!record.keys[0] && !record.keys[1]) {
        return {EXIT_USAGE, "give --key for the video, --audio-key for the sound, or both"};
    }
    const int places = (record.recorder.place.file.empty() ? 0 : 1) +
                       (record.recorder.place.folder.empty() ? 0 : 1) + (arguments.camera > 0 ? 1 : 0);
    if (places != 1) {
        return {EXIT_USAGE, "give one of OUT.mp4, --dir DIR --segment SECONDS, and --camera ID"};
    }
    if (arguments.camera > 0 && record.recorder.segmentSec <= 0) {
        record.recorder.segmentSec = EVENT_SEC;
    }
    if (!record.recorder.place.folder.empty() && record.recorder.segmentSec <= 0) {
        return {EXIT_USAGE, "--dir needs --segment SECONDS"};
    }
    return {};
}

Json::Value Summary(const RecordRun& run)
{
    constexpr const char* KINDS[2] = {"video", "audio"};
    Json::Value summary;
    summary["segments"] = run.Written().segments;
    summary["file_bytes"] = Json::Int64{run.Written().bytes};
    summary["overrun"] = Json::Int64{run.Overrun()};
    for (int track = 0; track < 2; ++track) {
        if (!run.Subscription(track)) {
            continue;
        }
        const ReadCounts& counts = run.Subscription(track)->Counts();
        Json::Value& value = summary[KINDS[track]];
        value["key"] = run.Subscription(track)->Key();
        value["frames"] = Json::Int64{counts.frames};
        value["written"] = Json::Int64{run.Written().frames[track]};
        value["bytes"] = Json::Int64{counts.bytes};
        value["jumps"] = Json::Int64{counts.jumps};
        value["lost"] = Json::Int64{counts.lost};
        value["left_out"] = Json::Int64{track == 0 ? run.Written().skipped : run.Written().lateAudio};
        value["attached"] = counts.attached;
    }
    return summary;
}

void PrintSummary(const RecordRun& run, bool json)
{
    const Json::Value summary = Summary(run);
    if (json) {
        PrintJson(summary);
        return;
    }
    Table table({"TRACK", ">KEY", ">READ", ">WRITTEN", ">BYTES", ">JUMPS", ">LOST", ">LEFT OUT"});
    for (const char* const kind : {"video", "audio"}) {
        const Json::Value& value = summary[kind];
        if (!value.isNull()) {
            table.AddRow({kind, value["key"].asString(), value["frames"].asString(),
                          value["written"].asString(), value["bytes"].asString(), value["jumps"].asString(),
                          value["lost"].asString(), value["left_out"].asString()});
        }
    }
    table.Print();
    std::printf("%d file%s, %lld bytes\n", run.Written().segments, run.Written().segments == 1 ? "" : "s",
                run.Written().bytes);
}

/// Takes the place of the camera's recorder.
void StartEvents(Arguments& arguments, EventRecorder& events)
{
    std::set<int> cameras;
    if (GetAllCameraIds(cameras) != 0) {
        Fail(EXIT_UNREACHABLE, "record", "{}: the cameras cannot be read; vx log tail says why",
             VxDB::GetDBPath(VxDB::DB_SYSTEM));
    }
    if (cameras.count(arguments.camera) == 0) {
        Fail(EXIT_FOUND, "record", "camera {}: there is none; make it with vx camera add", arguments.camera);
    }
    std::string why;
    const REC_START start = events.Start(arguments.camera, ParseCameraGroup("record", arguments.group), &why);
    if (start != REC_START::OK) {
        FailWith(start == REC_START::FAILED ? EXIT_UNREACHABLE : EXIT_REFUSED, "record", why);
    }
    arguments.record.recorder.pEvents = &events;
}

void RunRecord(const CLI::App& verb, Arguments& arguments)
{
    EndIf(Complete(verb, arguments), "record");
    QuietAvLog();
    const StopSignal stop;
    std::signal(SIGPIPE, SIG_IGN); // whoever reads our messages may go; the recording is still finished
    EventRecorder events;
    if (arguments.camera > 0) {
        StartEvents(arguments, events);
    }
    RecordRun run(arguments.record, stop);
    EndIf(run.Check(), "record");
    const Trouble trouble = run.Run();
    PrintSummary(run, arguments.json);
    EndIf(trouble, "record");
}

} // namespace

void AddRecordNoun(CLI::App& vx)
{
    const auto pArguments = std::make_shared<Arguments>();
    RecordOptions& record = pArguments->record;
    CLI::App* const pVerb = vx.add_subcommand("record", "Record stream FIFOs into MP4 files");
    pVerb->footer(
        "Recording starts at a key frame, and after a loss goes on at the next one. Files are fragmented: "
        "what was written a second ago is playable whatever happens. Names are in UTC, and no file is ever "
        "overwritten. With G.711 sound the files are QuickTime's (.mov), which MP4 has no name for.");
    pVerb->add_option("OUT", record.recorder.place.file, "The file to make; it must not exist");
    pVerb->add_option("--dir", record.recorder.place.folder,
                      "Folder for segments, named by the UTC time of their start");
    pVerb
        ->add_option("--camera", pArguments->camera,
                     "Record events of this camera into rec, with rows that rotation goes by")
        ->check(ABOVE_ZERO);
    pVerb->add_option("--group", pArguments->group, "Recording group of the events: continuous or event")
        ->capture_default_str();
    pVerb
        ->add_option("--segment", record.recorder.segmentSec,
                     "Start a new segment at the first key frame after SECONDS")
        ->check(ABOVE_ZERO);
    pVerb->add_option("--key", pArguments->keys[0], "IPC key of the video's FIFO");
    pVerb->add_option("--audio-key", pArguments->keys[1], "IPC key of the sound's FIFO");
    pVerb->add_option("--duration", record.recorder.durationSec, "End after SECONDS of recording")
        ->check(ABOVE_ZERO);
    pVerb
        ->add_option("--wait", record.waitSec,
                     "Wait SECONDS for a FIFO that is not there, or whose writer has gone; -1 = for ever")
        ->capture_default_str();
    pVerb->add_flag("--once", record.once, "End when the FIFOs have gone, instead of waiting for new ones");
    pVerb->add_option("--trace", record.tracePath,
                      "Write one line a frame to FILE: key, ID, time stamp, size, flags, hash, monotonic ns");
    pVerb->add_flag("--json", pArguments->json, "Print the summary as JSON");
    pVerb->callback([pVerb, pArguments] { RunRecord(*pVerb, *pArguments); });
}
