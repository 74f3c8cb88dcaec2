// SPDX-License-Identifier: Apache-2.0
// tools/log_keep.cpp - vx log keep: how long logs are kept.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <charconv>
#include <memory>
#include <optional>

#include "fail.h"
#include "log_rotate.h"
#include "numbers.h"
#include "reach.h"
#include "table.h"
#include "vxlogrotate.h"

namespace {

struct KeepOptions {
    std::string log;
    bool on = false;
    bool off = false;
    int days = 0;
    std::optional<std::string> sizeMB;
    std::optional<std::string> count;
    std::optional<std::string> archiveDir;
    bool json = false;
};

/// "off", or a limit of 1 or more.
void SetLimit(const char* option, const std::optional<std::string>& text, bool& isOn, int& limit)
{
    if (text) {
        isOn = text != "off";
    }
    if (!text || !isOn) {
        return;
    }
    int number = 0;
    const char* const pEnd = text->data() + text->size();
    const auto [end, error] = std::from_chars(text->data(), pEnd, number);
    if (error != std::errc() || end != pEnd || number < 1) {
        Fail(EXIT_USAGE, "log keep", "{} {}: a number of 1 or more, or off", option,
             text->empty() ? "''" : *text);
    }
    limit = number;
}

bool IsChange(const KeepOptions& options)
{
    return options.on || options.off || options.days > 0 || options.sizeMB || options.count ||
           options.archiveDir;
}

void Change(VX_ROTATED_LOG log, const KeepOptions& options)
{
    VxLogRotateSettings settings;
    if (settings.Load(log) != 0 && !options.on) {
        Fail(EXIT_UNREACHABLE, "log keep",
             "{}: its settings cannot be read; --on with new ones replaces them", options.log);
    }
    settings.enabled = (settings.enabled || options.on) && !options.off;
    settings.days = options.days > 0 ? options.days : settings.days;
    SetLimit("--size-mb", options.sizeMB, settings.sizeLimitEnabled, settings.sizeLimitMB);
    SetLimit("--count", options.count, settings.countLimitEnabled, settings.countLimit);
    if (options.archiveDir) {
        if (options.archiveDir->empty()) {
            Fail(EXIT_USAGE, "log keep", "--archive-dir '': a folder, or default");
        }
        settings.archiveDir = options.archiveDir == "default" ? "" : *options.archiveDir;
    }
    if (const char* const problem = settings.Problem(); problem != nullptr) {
        Fail(EXIT_USAGE, "log keep", "{}", problem);
    }
    if (settings.Save(log) != 0) {
        Fail(EXIT_UNREACHABLE, "log keep", "{}: the settings cannot be stored; vx log tail says why",
             options.log);
    }
}

void Keep(const KeepOptions& options)
{
    ReachDatabases("log keep");
    std::vector<std::string> words = LogWords();
    if (!options.log.empty()) {
        const VX_ROTATED_LOG log = ParseLog("log keep", options.log);
        words = {options.log};
        if (IsChange(options)) {
            Change(log, options);
        }
    } else if (IsChange(options)) {
        Fail(EXIT_USAGE, "log keep", "which log: one of {}", fmt::join(words, ", "));
    }
    Json::Value list(Json::arrayValue);
    Table table({"LOG", "ROTATED", ">DAYS", ">MB", ">ROWS", "ARCHIVES"});
    for (const std::string& word : words) {
        VxLogRotateSettings settings;
        if (settings.Load(ParseLog("log keep", word)) != 0) {
            Fail(EXIT_UNREACHABLE, "log keep",
                 "{}: its settings cannot be read or make no sense; set them anew", word);
        }
        Json::Value json = settings.ToJson();
        json["log"] = word;
        list.append(json);
        table.AddRow({word, settings.enabled ? "yes" : "no", std::to_string(settings.days),
                      settings.sizeLimitEnabled ? std::to_string(settings.sizeLimitMB) : "-",
                      settings.countLimitEnabled ? std::to_string(settings.countLimit) : "-",
                      settings.GetArchiveDir()});
    }
    if (options.json) {
        PrintJson(list);
    } else {
        table.Print();
    }
}

} // namespace

void AddLogKeep(CLI::App& log)
{
    const auto options = std::make_shared<KeepOptions>();
    CLI::App* const verb = log.add_subcommand("keep", "Show and change how long logs are kept");
    verb->add_option("LOG", options->log, "One of " + fmt::format("{}", fmt::join(LogWords(), ", ")));
    CLI::Option* const on = verb->add_flag("--on", options->on, "Rotate this log");
    verb->add_flag("--off", options->off, "Keep everything of this log")->excludes(on);
    verb->add_option("--days", options->days, "Keep at most this many days")->check(ABOVE_ZERO);
    verb->add_option("--size-mb", options->sizeMB, "Keep at most this many megabytes, or off");
    verb->add_option("--count", options->count, "Keep at most this many rows, or off");
    verb->add_option("--archive-dir", options->archiveDir, "Where archives go, or default");
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { Keep(*options); });
}
