// SPDX-License-Identifier: Apache-2.0
// tools/log.cpp - vx log show, set and filter: what running processes write, and changing it while they run.
#include <CLI/CLI.hpp>
#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "fail.h"
#include "log_names.h"
#include "log_rotate.h"
#include "log_tail.h"
#include "nouns.h"
#include "package/dbglogctl.h"
#include "package/root.h"
#include "table.h"
#include "vxlog.h"

namespace {

std::string CfgPath()
{
    return GetPackageRoot() + "/run/dbglog.cfg";
}

bool CfgExists()
{
    return ::access(CfgPath().c_str(), F_OK) == 0 || errno == EACCES; // a closed folder may hold it
}

/// The record, or null where there is none. A file that is there but of no use ends the verb.
DbgLogCfg* LoadCfg(std::string_view verb)
{
    ReinitDbgLogCfg();
    if (g_pDbgLogCfg == nullptr && CfgExists()) {
        Fail(EXIT_UNREACHABLE, verb,
             "{} is shorter than its record or cannot be read, so every process writes everything; run this "
             "as the user of the recorder, or make it anew with 'vx log set all LEVEL'",
             CfgPath());
    }
    return g_pDbgLogCfg;
}

std::string ProcessName(int pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(file, name);
    return name.empty() ? "(not running)" : name;
}

std::vector<int> ListedPids(DbgLogCfg& cfg)
{
    const int count = std::clamp(VxLogLoad(cfg.pidCount), 0, DbgLogCfg::MAX_PID_COUNT);
    std::vector<int> pids;
    for (int i = 0; i < count; ++i) {
        pids.push_back(VxLogLoad(cfg.pid[i]));
    }
    return pids;
}

/// The threshold that most categories have.
int UsualThreshold(DbgLogCfg& cfg)
{
    std::map<int, int> counts;
    for (std::int32_t& threshold : cfg.threshold) {
        ++counts[VxLogLoad(threshold)];
    }
    const auto more = [](const auto& a, const auto& b) { return a.second < b.second; };
    return std::max_element(counts.begin(), counts.end(), more)->first;
}

/// Categories with a name, and those without one whose threshold was set apart from all others.
std::vector<int> ShownCategories(DbgLogCfg& cfg, bool all)
{
    std::vector<int> shown = NamedCategories();
    const int usual = UsualThreshold(cfg);
    for (int i = 0; i < DbgLogCfg::CATEG_COUNT; ++i) {
        if (all || VxLogLoad(cfg.threshold[i]) != usual) {
            shown.push_back(i);
        }
    }
    std::sort(shown.begin(), shown.end());
    shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
    return shown;
}

void ShowJson(DbgLogCfg* pCfg, bool all)
{
    Json::Value out;
    out["file"] = CfgPath();
    out["configured"] = pCfg != nullptr;
    out["categories"] = Json::Value(Json::arrayValue);
    out["pids"] = Json::Value(Json::arrayValue);
    if (pCfg != nullptr) {
        for (const int categ : ShownCategories(*pCfg, all)) {
            Json::Value row;
            row["number"] = categ;
            row["name"] = CategoryName(categ);
            row["threshold"] = VxLogLoad(pCfg->threshold[categ]);
            out["categories"].append(row);
        }
        for (const int pid : ListedPids(*pCfg)) {
            out["pids"].append(pid);
        }
    }
    PrintJson(out);
}

void ShowTable(DbgLogCfg* pCfg, bool all)
{
    if (pCfg == nullptr) {
        fmt::print("No configuration at {}: every process writes everything.\n"
                   "'vx log set CATEGORY LEVEL' makes one.\n",
                   CfgPath());
        return;
    }
    Table table({"CATEGORY", ">NUMBER", ">THRESHOLD", "LEVEL"});
    for (const int categ : ShownCategories(*pCfg, all)) {
        const int threshold = VxLogLoad(pCfg->threshold[categ]);
        table.AddRow(
            {CategoryName(categ), std::to_string(categ), std::to_string(threshold), LevelName(threshold)});
    }
    table.Print();
    const std::vector<int> pids = ListedPids(*pCfg);
    fmt::print("\n{}\n", pids.empty()
                             ? "No pid list: the thresholds apply to every process."
                             : "The thresholds apply to these processes; all others write everything:");
    for (const int pid : pids) {
        fmt::print("  {}  {}\n", pid, ProcessName(pid));
    }
}

void EnsureCfg(std::string_view verb)
{
    // 7: what is not named goes on being written, as it was without a configuration.
    if (CreateDbgLogCfg(LOG_LEVEL_ALL) != 0) {
        Fail(EXIT_UNREACHABLE, verb,
             "cannot make {}: {}; run this as the user of the recorder, or set VX_ROOT", CfgPath(),
             std::strerror(errno));
    }
}

void Set(const std::string& category, const std::string& levelText)
{
    const bool all = category == "all";
    const std::optional<int> categ = all ? DBGLOG_ALL_CATEGS : ParseCategory(category);
    if (!categ) {
        Fail(EXIT_USAGE, "log set",
             "'{}' is no category; take a name from 'vx log show', a number of 0..511, or all", category);
    }
    const std::optional<int> level = ParseLevel(levelText);
    if (!level) {
        Fail(EXIT_USAGE, "log set",
             "'{}' is no level; take 0..7, or off, err, warn, notice, info, debug, trace, all", levelText);
    }
    EnsureCfg("log set");
    if (SetDbgLogThreshold(*categ, *level) != 0) {
        Fail(EXIT_UNREACHABLE, "log set", "cannot change {}: {}", CfgPath(), std::strerror(errno));
    }
    fmt::print("{}: threshold {} ({})\n", all ? "all categories" : CategoryName(*categ), *level,
               LevelName(*level));
}

std::vector<std::int32_t> ParsePids(const std::vector<std::string>& texts)
{
    std::vector<std::int32_t> pids;
    for (const std::string& text : texts) {
        std::int32_t pid = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
        if (error != std::errc{} || end != text.data() + text.size() || pid <= 0) {
            Fail(EXIT_USAGE, "log filter", "'{}' is no process id; take a number above 0", text);
        }
        if (std::find(pids.begin(), pids.end(), pid) == pids.end()) {
            pids.push_back(pid);
        }
    }
    if (pids.size() > static_cast<std::size_t>(DbgLogCfg::MAX_PID_COUNT)) {
        Fail(EXIT_USAGE, "log filter", "{} process ids are too many; the list holds {}", pids.size(),
             DbgLogCfg::MAX_PID_COUNT);
    }
    return pids;
}

void Filter(const std::vector<std::string>& texts, bool clear)
{
    if (clear && !texts.empty()) {
        Fail(EXIT_USAGE, "log filter", "--clear takes no process ids");
    }
    const std::vector<std::int32_t> pids = ParsePids(texts);
    if (pids.empty() && LoadCfg("log filter") == nullptr) {
        fmt::print("No configuration, so there is no pid list.\n");
        return;
    }
    EnsureCfg("log filter");
    if (SetDbgLogPids(pids.data(), static_cast<int>(pids.size())) != 0) {
        Fail(EXIT_UNREACHABLE, "log filter", "cannot change {}: {}", CfgPath(), std::strerror(errno));
    }
    for (const std::int32_t pid : pids) {
        if (::access(("/proc/" + std::to_string(pid)).c_str(), F_OK) != 0) {
            fmt::print(stderr, "vx log filter: note: no process {} is running now\n", pid);
        }
    }
    fmt::print("{}\n", pids.empty()
                           ? std::string("Pid list cleared: the thresholds apply to every process.")
                           : fmt::format("The thresholds apply to {} process{}; all others write everything.",
                                         pids.size(), pids.size() == 1 ? "" : "es"));
}

void AddShow(CLI::App& log)
{
    struct Options {
        bool json = false;
        bool all = false;
    };
    auto options = std::make_shared<Options>();
    CLI::App* const verb = log.add_subcommand("show", "The thresholds and the pid list");
    verb->add_flag("--json", options->json, "Print JSON");
    verb->add_flag("--all", options->all, "All 512 categories, also those without a name");
    verb->callback([options] {
        DbgLogCfg* const pCfg = LoadCfg("log show");
        (options->json ? ShowJson : ShowTable)(pCfg, options->all);
    });
}

void AddSet(CLI::App& log)
{
    auto words = std::make_shared<std::pair<std::string, std::string>>();
    CLI::App* const verb =
        log.add_subcommand("set", "Change a threshold; running processes obey at their next line");
    verb->add_option("CATEGORY", words->first, "Name or number of a category, or all")->required();
    verb->add_option("LEVEL", words->second, "Highest level that is written: 0 (off) to 7 (all), or its name")
        ->required();
    verb->callback([words] { Set(words->first, words->second); });
}

void AddFilter(CLI::App& log)
{
    auto pids = std::make_shared<std::vector<std::string>>();
    auto clear = std::make_shared<bool>(false);
    CLI::App* const verb = log.add_subcommand(
        "filter", "Apply the thresholds to these processes only; without PID, to every process");
    verb->add_option("PID", *pids, "Processes that the thresholds apply to; all others write everything");
    verb->add_flag("--clear", *clear, "Same as no PID");
    verb->callback([pids, clear] { Filter(*pids, *clear); });
}

} // namespace

void AddLogNoun(CLI::App& vx)
{
    CLI::App* const log = vx.add_subcommand("log", "What running processes log, and the logs that are kept");
    log->require_subcommand(1);
    AddShow(*log);
    AddSet(*log);
    AddFilter(*log);
    AddLogTail(*log);
    AddLogAdd(*log);
    AddLogArchive(*log);
    AddLogKeep(*log);
    AddLogRotate(*log);
}
