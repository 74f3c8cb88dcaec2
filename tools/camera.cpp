// SPDX-License-Identifier: Apache-2.0
// tools/camera.cpp - vx camera: the cameras of this box, and how long their recordings are kept.
#include "package/camera.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "agree.h"
#include "camera_group.h"
#include "fail.h"
#include "limit_options.h"
#include "nouns.h"
#include "numbers.h"
#include "package/db.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    int id = 0;
    std::string name;
    std::string group = CameraGroupName(CAM_REC_GROUP_CONTINUOUS);
    LimitOptions limits;
    bool enable = false;
    bool disable = false;
    bool yes = false;
    bool json = false;
};

[[noreturn]] void FailOnDatabase(std::string_view verb)
{
    Fail(EXIT_UNREACHABLE, verb, "{}: the cameras cannot be read or stored; vx log tail says why",
         VxDB::GetDBPath(VxDB::DB_SYSTEM));
}

std::set<int> AllIds(std::string_view verb)
{
    std::set<int> ids;
    if (GetAllCameraIds(ids) != 0) {
        FailOnDatabase(verb);
    }
    return ids;
}

Camera Find(std::string_view verb, int id)
{
    if (AllIds(verb).count(id) == 0) {
        Fail(EXIT_FOUND, verb, "camera {}: there is none; see vx camera list", id);
    }
    Camera camera;
    if (camera.Load(id) != 0) {
        FailOnDatabase(verb);
    }
    return camera;
}

Json::Value CameraJson(const Camera& camera)
{
    Json::Value json(Json::objectValue);
    json["id"] = camera.GetId();
    json["name"] = camera.GetName();
    json["enabled"] = camera.IsEnabled();
    for (int i = 0; i < CAM_REC_GROUP_COUNT; ++i) {
        const auto group = static_cast<CAM_REC_GROUP>(i);
        Json::Value& value = json["groups"][CameraGroupName(group)] = LimitsJson(camera.GetLimits(group));
        value["occupied_mb"] = Json::Int64{camera.GetOccupiedSizeMB(group)};
    }
    return json;
}

void Print(const std::vector<Camera>& cameras)
{
    Table table({">ID", "NAME", "ENABLED", "GROUP", ">OCCUPIED MB", "KEPT"});
    for (const Camera& camera : cameras) {
        for (int i = 0; i < CAM_REC_GROUP_COUNT; ++i) {
            const auto group = static_cast<CAM_REC_GROUP>(i);
            table.AddRow(
                {i == 0 ? std::to_string(camera.GetId()) : "", i == 0 ? Printable(camera.GetName()) : "",
                 i == 0 ? (camera.IsEnabled() ? "yes" : "no") : "", CameraGroupName(group),
                 std::to_string(camera.GetOccupiedSizeMB(group)), LimitsText(camera.GetLimits(group))});
        }
    }
    table.Print();
}

void List(const Options& options)
{
    std::vector<Camera> cameras;
    Json::Value json(Json::arrayValue);
    for (const int id : AllIds("camera list")) {
        Camera camera;
        if (camera.Load(id) == 0) { // else it was removed just now
            json.append(CameraJson(camera));
            cameras.push_back(camera);
        }
    }
    options.json ? PrintJson(json) : Print(cameras);
}

void Show(const Options& options)
{
    const Camera camera = Find("camera show", options.id);
    options.json ? PrintJson(CameraJson(camera)) : Print({camera});
}

void Store(const char* verb, const Options& options, Camera& camera, int (Camera::*save)() noexcept)
{
    const CAM_REC_GROUP group = ParseCameraGroup(verb, options.group);
    RotLimits limits = camera.GetLimits(group);
    options.limits.Apply(limits);
    camera.SetLimits(group, limits);
    camera.SetEnabled((camera.IsEnabled() && !options.disable) || options.enable);
    if (!options.name.empty()) {
        camera.SetName(options.name);
    }
    if ((camera.*save)() != 0) {
        FailOnDatabase(verb);
    }
    options.json ? PrintJson(CameraJson(camera)) : Print({camera});
}

void Add(const Options& options)
{
    if (options.name.empty()) {
        Fail(EXIT_USAGE, "camera add", "NAME: a camera needs one");
    }
    if (options.id > 0 && AllIds("camera add").count(options.id) != 0) {
        Fail(EXIT_FOUND, "camera add", "camera {}: there is one already; see vx camera list", options.id);
    }
    Camera camera;
    camera.SetId(options.id);
    Store("camera add", options, camera, options.id > 0 ? &Camera::Restore : &Camera::Save);
}

void Edit(const Options& options)
{
    Camera camera = Find("camera edit", options.id);
    Store("camera edit", options, camera, &Camera::Save);
}

void Remove(const Options& options)
{
    const Camera camera = Find("camera rm", options.id);
    if (!Agreed("camera rm",
                fmt::format("Remove camera {} \"{}\"? Its recordings stay, without limits.", camera.GetId(),
                            Printable(camera.GetName())),
                options.yes)) {
        return;
    }
    if (Camera::Remove(options.id) != 0) {
        FailOnDatabase("camera rm");
    }
}

void AddStoreOptions(CLI::App& verb, Options& options)
{
    options.limits.AddTo(verb, false);
    verb.add_option("--group", options.group, "Recording group that --days and --size are for")
        ->check(
            CLI::IsMember({CameraGroupName(CAM_REC_GROUP_CONTINUOUS), CameraGroupName(CAM_REC_GROUP_EVENT)}))
        ->capture_default_str();
    verb.add_flag("--disable", options.disable, "Switch the camera off");
    verb.add_flag("--json", options.json, "Print JSON");
}

} // namespace

std::string CameraGroupName(CAM_REC_GROUP group)
{
    switch (group) {
    case CAM_REC_GROUP_CONTINUOUS:
        return "continuous";
    case CAM_REC_GROUP_EVENT:
        return "event";
    default:
        return std::to_string(group);
    }
}

CAM_REC_GROUP ParseCameraGroup(std::string_view verb, const std::string& name)
{
    for (int i = 0; i < CAM_REC_GROUP_COUNT; ++i) {
        const auto group = static_cast<CAM_REC_GROUP>(i);
        if (name == CameraGroupName(group) || name == std::to_string(i)) {
            return group;
        }
    }
    Fail(EXIT_USAGE, verb, "group [{}]: continuous or event is expected", name);
}

void AddCameraNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("camera", "Cameras, and how long their recordings are kept");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    CLI::App* const list = noun->add_subcommand("list", "List all cameras with their limits");
    list->add_flag("--json", options->json, "Print JSON");
    list->callback([options] { List(*options); });
    CLI::App* const show = noun->add_subcommand("show", "Show one camera");
    show->add_option("ID", options->id, "Its id")->required();
    show->add_flag("--json", options->json, "Print JSON");
    show->callback([options] { Show(*options); });
    CLI::App* const add = noun->add_subcommand("add", "Add a camera");
    add->add_option("NAME", options->name, "Its name")->required();
    add->add_option("--id", options->id,
                    "Make a camera of a lost database anew, under the number of its recordings")
        ->check(ABOVE_ZERO);
    AddStoreOptions(*add, *options);
    add->callback([options] { Add(*options); });
    CLI::App* const edit = noun->add_subcommand("edit", "Change a camera; what is not named stays");
    edit->add_option("ID", options->id, "Its id")->required();
    edit->add_option("--name", options->name, "A new name");
    AddStoreOptions(*edit, *options);
    edit->add_flag("--enable", options->enable, "Switch the camera on")->excludes("--disable");
    edit->callback([options] { Edit(*options); });
    CLI::App* const remove = noun->add_subcommand("rm", "Remove a camera; its recordings stay");
    remove->add_option("ID", options->id, "Its id")->required();
    remove->add_flag("--yes", options->yes, "Do not ask");
    remove->callback([options] { Remove(*options); });
}
