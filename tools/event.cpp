// SPDX-License-Identifier: Apache-2.0
// tools/event.cpp - vx event ls and mark: recorded events, and marking some as deleted.
#include "package/event.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <ctime>
#include <memory>

#include "agree.h"
#include "camera_group.h"
#include "event_common.h"
#include "fail.h"
#include "nouns.h"
#include "numbers.h"
#include "package/idtext.h"
#include "table.h"
#include "time_text.h"
#include "webhook_common.h"

namespace {

struct Options {
    std::string ids;
    int camera = 0;
    int archive = 0;
    std::string group;
    std::string before;
    long long after = 0;
    int limit = 50;
    bool marked = false;
    bool all = false;
    bool dryRun = false;
    bool yes = false;
    bool json = false;
};

EventFilterParam FilterOf(const char* verb, const Options& options)
{
    EventFilterParam filter;
    filter.archTaskId = options.archive;
    filter.camId = options.camera;
    filter.recGroup = options.group.empty() ? -1 : ParseCameraGroup(verb, options.group);
    filter.stopBefore = options.before.empty() ? 0 : ParseTime(verb, options.before);
    std::list<int> ids;
    if (!options.ids.empty() && StringToIdList(options.ids, ids) != 0) {
        Fail(EXIT_USAGE, verb, "[{}]: ids joined by commas are expected, such as 3,5", options.ids);
    }
    filter.ids.assign(ids.begin(), ids.end());
    return filter;
}

std::string UtcText(long long seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    char text[32] = "";
    if (::gmtime_r(&time, &utc) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    }
    return text;
}

Json::Value EventJson(const Event& event)
{
    Json::Value json(Json::objectValue);
    json["id"] = Json::Int64{event.GetId()};
    json["camera"] = event.GetCamId();
    json["group"] = event.GetRecGroup();
    json["start"] = Json::Int64{event.GetStartTime()};
    json["end"] = Json::Int64{event.IsClosed() ? event.GetStopTime() : 0};
    json["size"] = Json::Int64{event.GetSize()};
    json["path"] = event.GetPath();
    json["marked"] = event.IsMarkAsDel();
    return json;
}

void List(const Options& options)
{
    EventFilterParam filter = FilterOf("event ls", options);
    filter.afterId = options.after;
    filter.limit = options.limit;
    filter.mark = options.all      ? EventFilterParam::MARK_ANY
                  : options.marked ? EventFilterParam::MARK_DELETED
                                   : EventFilterParam::MARK_LIVE;
    std::list<Event> events;
    if (HasDatabase(filter.GetDBPath()) && EventListGetAll(filter, events) != 0) {
        FailOnEvents("event ls", filter.GetDBPath());
    }
    Json::Value json(Json::arrayValue);
    Table table({">ID", ">CAMERA", "GROUP", "START", "END", ">BYTES", "FILE"});
    for (const Event& event : events) {
        if (options.json) {
            json.append(EventJson(event));
            continue;
        }
        table.AddRow({std::to_string(event.GetId()), std::to_string(event.GetCamId()),
                      CameraGroupName(static_cast<CAM_REC_GROUP>(event.GetRecGroup())),
                      UtcText(event.GetStartTime()), event.IsClosed() ? UtcText(event.GetStopTime()) : "open",
                      std::to_string(event.GetSize()),
                      Printable(event.GetPath()) + (event.IsMarkAsDel() ? " (deleted)" : "")});
    }
    options.json ? PrintJson(json) : table.Print();
}

void Mark(const Options& options)
{
    const EventFilterParam filter = FilterOf("event mark", options);
    if (filter.ids.empty() && filter.stopBefore <= 0) {
        Fail(EXIT_USAGE, "event mark", "which events: IDS or --before, perhaps with --camera and --group");
    }
    RefuseUnlessSame("event mark", filter.GetDBPath());
    long long count = 0;
    if (HasDatabase(filter.GetDBPath()) && EventCntGetAll(filter, count) != 0) {
        FailOnEvents("event mark", filter.GetDBPath());
    }
    if (!options.json) {
        fmt::print("{} {} event(s)\n", options.dryRun ? "Would mark" : "To be marked as deleted:", count);
    }
    RotInfo info;
    const bool go = !options.dryRun && count > 0 &&
                    Agreed("event mark", "Mark them? Their files go with the next sweep.", options.yes);
    if (go && MarkEvtAsDel(filter, &info) != 0) {
        Fail(EXIT_FOUND, "event mark", "{} of {} were marked; vx log tail says why not all", info.count,
             count);
    }
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["count"] = Json::Int64{count};
        json["marked"] = info.count;
        json["size_mb"] = Json::Int64{info.sizeMB};
        PrintJson(json);
    }
}

void AddWhich(CLI::App& verb, Options& options)
{
    verb.add_option("--camera", options.camera, "Only of this camera")->check(ABOVE_ZERO);
    verb.add_option("--group", options.group, "Only of this recording group: continuous or event");
    verb.add_option("--archive", options.archive, "Of this archive task instead of the box itself")
        ->check(ABOVE_ZERO);
    verb.add_option("--before", options.before,
                    "Only those that ended before: \"2026-11-21 08:30\" or seconds since 1970");
    verb.add_flag("--json", options.json, "Print JSON");
}

} // namespace

void AddEventNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("event", "Recorded events, their rows and their files");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    CLI::App* const list =
        noun->add_subcommand("ls", "List events in the order in which they were made, by id");
    AddWhich(*list, *options);
    list->add_option("--limit", options->limit, "At most so many; 0 for all")
        ->check(FROM_ZERO)
        ->capture_default_str();
    list->add_option("--after", options->after, "Only events with a larger id: the next page");
    list->add_flag("--marked", options->marked, "Those that are marked as deleted instead");
    list->add_flag("--all", options->all, "Marked or not");
    list->callback([options] { List(*options); });
    CLI::App* const mark =
        noun->add_subcommand("mark", "Mark events as deleted; the sweep removes their files");
    mark->add_option("IDS", options->ids, "Their ids, joined by commas");
    AddWhich(*mark, *options);
    mark->add_flag("--dry-run", options->dryRun, "Only count them");
    mark->add_flag("--yes", options->yes, "Do not ask");
    mark->callback([options] { Mark(*options); });
    AddEventSweepVerbs(*noun);
    AddEventAdoptVerb(*noun);
}
