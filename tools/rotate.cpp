// SPDX-License-Identifier: Apache-2.0
// tools/rotate.cpp - the noun rotate, and what its verbs share.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <ctime>

#include "fail.h"
#include "nouns.h"
#include "package/recsweep.h"
#include "rotate_common.h"
#include "time_text.h"
#include "webhook_common.h"

bool IsVolumeOfTarget(const RotateTarget& target, std::string& why)
{
    const REC_VOLUME volume = CheckRecVolume(target.dbPath, &why);
    // A database that was made by being asked has no mark yet. That of events is never taken for one: it may
    // have been lost.
    if (volume == REC_VOLUME::UNBOUND || (volume == REC_VOLUME::NEW_DB && target.type != EVT_TYPE_CAMERA)) {
        why.clear();
    }
    return volume == REC_VOLUME::SAME;
}

namespace {

Json::Value VolumeJson(const VolumeNeed& need)
{
    Json::Value json(Json::objectValue);
    json["share"] = need.share;
    json["total_mb"] = Json::Int64{need.totalMB};
    json["free_mb"] = Json::Int64{need.freeMB};
    json["reserve_mb"] = Json::Int64{need.reserveMB};
    json["coming_mb"] = Json::Int64{need.comingMB};
    json["needed_mb"] = Json::Int64{need.neededMB};
    json["found_mb"] = Json::Int64{need.foundMB};
    json["bound_time"] = Json::Int64{need.boundTime};
    json["stuck"] = Json::Value(Json::arrayValue);
    for (const std::string& line : need.stuck) {
        json["stuck"].append(line);
    }
    return json;
}

} // namespace

void AddVolumesJson(const std::vector<VolumeNeed>& needs, Json::Value& json)
{
    json["volume"] = VolumeJson(needs[0]);
    json["shares"] = Json::Value(Json::arrayValue);
    for (std::size_t i = 1; i < needs.size(); ++i) {
        json["shares"].append(VolumeJson(needs[i]));
    }
}

std::string VolumeText(const VolumeNeed& need)
{
    const std::string name = need.share.empty() ? "volume" : "share " + Printable(need.share);
    if (need.totalMB == 0) {
        return name + ": not there, or nothing was recorded yet";
    }
    std::string text = fmt::format("{}: {} of {} MB free, {} MB to be left free, {} MB marked already", name,
                                   need.freeMB, need.totalMB, need.reserveMB, need.comingMB);
    if (need.neededMB == 0) {
        return text + ": enough";
    }
    text += fmt::format("; {} MB are missing", need.neededMB);
    if (need.boundTime > 0) {
        text +=
            fmt::format(", what ended before {} makes {} MB", RotateTimeText(need.boundTime), need.foundMB);
    }
    if (need.foundMB < need.neededMB) {
        text += "; the rest is not taken by old recordings";
        text += need.stuck.empty() ? "" : " that can be deleted";
    }
    for (const std::string& line : need.stuck) {
        text += "\nno room of " + Printable(line);
    }
    return text;
}

long VolumeBoundOf(const RotateTarget& target, const std::vector<VolumeNeed>& needs)
{
    return target.makesRoom ? needs[target.volume].boundTime : 0;
}

std::string RotateTimeText(long long time)
{
    return time > 0 ? LocalTimeText(static_cast<std::time_t>(time)) : "-";
}

void AddRotateNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("rotate", "What is old goes, within the limits of each target");
    noun->require_subcommand(1);
    AddRotatePlanVerb(*noun);
    AddRotateRunVerb(*noun);
}
