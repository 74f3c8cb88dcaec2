// SPDX-License-Identifier: Apache-2.0
// tools/task.cpp - vx task: tasks whose recordings are rotated, and the limits of the whole box.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <set>
#include <vector>

#include "agree.h"
#include "fail.h"
#include "limit_options.h"
#include "nouns.h"
#include "numbers.h"
#include "package/alertevent.h"
#include "package/camera.h"
#include "package/db.h"
#include "package/recsweep.h"
#include "package/rectask.h"
#include "table.h"
#include "webhook_common.h"

namespace {

constexpr const char* KIND_NAMES[RecTask::KIND_COUNT] = {"archive", "lapse", "iva", "face"};

struct Options {
    std::string kind;
    int id = 0;
    std::string name;
    std::optional<int> camera;
    std::optional<std::string> share;
    std::optional<bool> onCamera;
    std::optional<int> alertDays;
    std::optional<long long> reserveMB;
    LimitOptions limits;
    bool yes = false;
    bool json = false;
};

[[noreturn]] void FailOnDatabase(std::string_view verb)
{
    Fail(EXIT_UNREACHABLE, verb, "{}: the tasks cannot be read or stored; vx log tail says why",
         VxDB::GetDBPath(VxDB::DB_SYSTEM));
}

RecTask::KIND KindOf(const Options& options)
{
    int kind = 0;
    while (kind < RecTask::KIND_COUNT - 1 && options.kind != KIND_NAMES[kind]) { // checked by the parser
        ++kind;
    }
    return static_cast<RecTask::KIND>(kind);
}

std::list<RecTask> AllOf(std::string_view verb, RecTask::KIND kind)
{
    std::list<RecTask> tasks;
    if (RecTask::List(kind, tasks) != 0) {
        FailOnDatabase(verb);
    }
    return tasks;
}

RecTask Find(std::string_view verb, const Options& options)
{
    for (const RecTask& task : AllOf(verb, KindOf(options))) {
        if (task.GetId() == options.id) {
            return task;
        }
    }
    Fail(EXIT_FOUND, verb, "{} task {}: there is none; see vx task list", options.kind, options.id);
}

Json::Value TaskJson(const RecTask& task)
{
    Json::Value json(Json::objectValue);
    json["kind"] = KIND_NAMES[task.GetKind()];
    json["id"] = task.GetId();
    json["name"] = task.GetName();
    json["camera"] = task.GetCamId();
    json["share"] = task.GetSharePath();
    if (task.GetKind() == RecTask::IVA) {
        json["on_camera"] = task.IsOnCamera();
    }
    json["limits"] = LimitsJson(task.GetLimits());
    json["occupied_mb"] = Json::Int64{task.GetOccupiedSizeMB()};
    return json;
}

void Print(const std::list<RecTask>& tasks, bool asJson, bool asList)
{
    Json::Value json(Json::arrayValue);
    Table table({"KIND", ">ID", "NAME", ">CAMERA", ">OCCUPIED MB", "KEPT", "SHARE"});
    for (const RecTask& task : tasks) {
        json.append(TaskJson(task));
        table.AddRow({KIND_NAMES[task.GetKind()], std::to_string(task.GetId()), Printable(task.GetName()),
                      std::to_string(task.GetCamId()), std::to_string(task.GetOccupiedSizeMB()),
                      LimitsText(task.GetLimits()), Printable(task.GetSharePath())});
    }
    if (asJson) {
        PrintJson(asList ? json : json[0]);
    } else {
        table.Print();
    }
}

void List(const Options& options)
{
    std::list<RecTask> tasks;
    for (int kind = 0; kind < RecTask::KIND_COUNT; ++kind) {
        if (options.kind.empty() || options.kind == KIND_NAMES[kind]) {
            tasks.splice(tasks.end(), AllOf("task list", static_cast<RecTask::KIND>(kind)));
        }
    }
    Print(tasks, options.json, true);
}

void CheckShare(std::string_view verb, const std::string& share)
{
    if (!share.empty() && (share.front() == '/' || ("/" + share + "/").find("/../") != std::string::npos)) {
        Fail(EXIT_USAGE, verb, "share [{}]: a folder below rec is expected, without .. in it", share);
    }
}

void CheckCamera(std::string_view verb, const std::optional<int>& camera)
{
    std::set<int> ids;
    if (camera.value_or(0) == 0) {
        return;
    }
    if (GetAllCameraIds(ids) != 0) {
        FailOnDatabase(verb);
    }
    if (ids.count(*camera) == 0) {
        Fail(EXIT_FOUND, verb, "camera {}: there is none; see vx camera list", *camera);
    }
}

void Store(std::string_view verb, const Options& options, RecTask task, int (RecTask::*save)() noexcept)
{
    RotLimits limits = task.GetLimits();
    options.limits.Apply(limits);
    task.SetLimits(limits);
    if (!options.name.empty()) {
        task.SetName(options.name);
    }
    task.SetCamId(options.camera.value_or(task.GetCamId()));
    task.SetSharePath(options.share.value_or(task.GetSharePath()));
    task.SetOnCamera(options.onCamera.value_or(task.IsOnCamera()));
    CheckShare(verb, task.GetSharePath());
    CheckCamera(verb, options.camera);
    if ((task.*save)() != 0) {
        FailOnDatabase(verb);
    }
    Print({task}, options.json, false);
}

void Add(const Options& options)
{
    if (options.name.empty()) {
        Fail(EXIT_USAGE, "task add", "NAME: a task needs one");
    }
    RecTask task(KindOf(options));
    for (const RecTask& other : AllOf("task add", task.GetKind())) {
        if (other.GetId() == options.id) {
            Fail(EXIT_FOUND, "task add", "{} task {}: there is one already; see vx task list", options.kind,
                 options.id);
        }
    }
    task.SetId(options.id);
    Store("task add", options, task, options.id > 0 ? &RecTask::Restore : &RecTask::Save);
}

void Remove(const Options& options)
{
    RecTask task = Find("task rm", options);
    if (Agreed("task rm",
               fmt::format("Remove {} task {} \"{}\"? Its recordings stay, without limits.", options.kind,
                           task.GetId(), Printable(task.GetName())),
               options.yes) &&
        task.Remove() != 0) {
        FailOnDatabase("task rm");
    }
}

void BoxLimits(const Options& options)
{
    AlertAdvSetting alerts;
    if (alerts.Load() != 0) {
        FailOnDatabase("task limits");
    }
    alerts.SetDaysLimit(options.alertDays.value_or(alerts.GetDaysLimit()));
    if ((options.alertDays && alerts.Save() != 0) ||
        (options.reserveMB && SetRecReserveMB(*options.reserveMB) != 0)) {
        FailOnDatabase("task limits");
    }
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["alert_days"] = alerts.GetDaysLimit();
        json["reserve_mb"] = Json::Int64{GetRecReserveMB()};
        PrintJson(json);
        return;
    }
    fmt::print("alerts are kept {}\n{} MB are left free on the volume of recordings\n",
               alerts.GetDaysLimit() > 0 ? fmt::format("{} days", alerts.GetDaysLimit()) : "for ever",
               GetRecReserveMB());
}

CLI::Option* AddKind(CLI::App& verb, Options& options, const std::string& description)
{
    return verb.add_option("KIND", options.kind, description)
        ->check(CLI::IsMember(std::vector<std::string>(std::begin(KIND_NAMES), std::end(KIND_NAMES))));
}

void AddWhich(CLI::App& verb, Options& options)
{
    AddKind(verb, options, "archive, lapse, iva or face")->required();
}

void AddStoreOptions(CLI::App& verb, Options& options)
{
    verb.add_option("--camera", options.camera, "Camera that it works on; 0 for none")->check(FROM_ZERO);
    verb.add_option("--share", options.share, "Folder of its recordings, below rec");
    verb.add_option("--on-camera", options.onCamera,
                    "iva: whether it runs on the camera itself (true, false)");
    options.limits.AddTo(verb, true);
    verb.add_flag("--json", options.json, "Print JSON");
}

void AddChangingVerbs(CLI::App& noun, const std::shared_ptr<Options>& options)
{
    CLI::App* const add = noun.add_subcommand("add", "Add a task");
    AddWhich(*add, *options);
    add->add_option("NAME", options->name, "Its name")->required();
    add->add_option("--id", options->id,
                    "Make a task of a lost database anew, under the number of its recordings")
        ->check(ABOVE_ZERO);
    AddStoreOptions(*add, *options);
    add->callback([options] { Add(*options); });
    CLI::App* const edit = noun.add_subcommand("edit", "Change a task; what is not named stays");
    AddWhich(*edit, *options);
    edit->add_option("ID", options->id, "Its id")->required();
    edit->add_option("--name", options->name, "A new name");
    AddStoreOptions(*edit, *options);
    edit->callback([options] { Store("task edit", *options, Find("task edit", *options), &RecTask::Save); });
    CLI::App* const remove = noun.add_subcommand("rm", "Remove a task; its recordings stay");
    AddWhich(*remove, *options);
    remove->add_option("ID", options->id, "Its id")->required();
    remove->add_flag("--yes", options->yes, "Do not ask");
    remove->callback([options] { Remove(*options); });
}

} // namespace

void AddTaskNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("task", "Tasks whose recordings are rotated");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    CLI::App* const list = noun->add_subcommand("list", "List tasks with their limits");
    AddKind(*list, *options, "Only archive, lapse, iva or face tasks");
    list->add_flag("--json", options->json, "Print JSON");
    list->callback([options] { List(*options); });
    CLI::App* const show = noun->add_subcommand("show", "Show one task");
    AddWhich(*show, *options);
    show->add_option("ID", options->id, "Its id")->required();
    show->add_flag("--json", options->json, "Print JSON");
    show->callback([options] { Print({Find("task show", *options)}, options->json, false); });
    AddChangingVerbs(*noun, options);
    CLI::App* const limits = noun->add_subcommand("limits", "Show or set the limits of the whole box");
    limits->add_option("--alert-days", options->alertDays, "Keep alerts so many days; 0 = for ever")
        ->check(CLI::Range(0, 36500));
    limits
        ->add_option("--reserve", options->reserveMB, "Megabytes that recordings leave free on their volume")
        ->check(FROM_ZERO);
    limits->add_flag("--json", options->json, "Print JSON");
    limits->callback([options] { BoxLimits(*options); });
}
