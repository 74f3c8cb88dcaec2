// SPDX-License-Identifier: Apache-2.0
// tools/rotate_run.cpp - vx rotate run: the rotation daemon. Ends within one batch when it is told to.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

#include "fail.h"
#include "numbers.h"
#include "package/root.h"
#include "rotate_pass.h"
#include "rotate_room.h"
#include "stop_signal.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    bool once = false;
    bool noSweep = false;
    bool json = false;
    int intervalSec = 60;
    long long reserveMB = -1;
};

/// The right to rotate this box. Two that go by the same sizes would each remove the whole excess.
class RotateLock {
public:
    RotateLock()
    {
        const std::string path = GetPackagePath(PackageDir::RUN, "rotate.lock");
        m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (m_fd < 0) {
            Fail(EXIT_UNREACHABLE, "rotate run", "{}: cannot be opened ({}); check its folder", path,
                 std::strerror(errno));
        }
        if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(m_fd);
            Fail(EXIT_REFUSED, "rotate run",
                 "{}: another process rotates already; leave it to that one, or end it", path);
        }
    }
    ~RotateLock() { ::close(m_fd); }
    RotateLock(const RotateLock&) = delete;
    RotateLock& operator=(const RotateLock&) = delete;

private:
    int m_fd;
};

Json::Value RoundJson(const RoundResult& result)
{
    Json::Value json(Json::objectValue);
    AddVolumesJson(result.needs, json);
    json["targets"] = result.targets;
    json["alerts"] = result.alerts;
    json["swept"] = result.swept;
    json["failed"] = result.hasFailed;
    json["passes"] = Json::Value(Json::arrayValue);
    for (const RoundResult::Pass& pass : result.passes) {
        Json::Value& item = json["passes"].append(Json::Value(Json::objectValue));
        item["name"] = pass.name;
        item["by_volume"] = pass.byVolume;
        item["by_date"] = pass.byDate;
        item["by_size"] = pass.bySize;
        item["by_number"] = pass.byNumber;
        item["size_mb"] = Json::Int64{pass.sizeMB};
        item["failed"] = pass.hasFailed;
    }
    json["refused"] = Json::Value(Json::arrayValue);
    for (const std::string& refused : result.refused) {
        json["refused"].append(refused);
    }
    return json;
}

void Print(const RoundResult& result, bool asJson)
{
    if (asJson) {
        PrintJsonLine(RoundJson(result));
        return;
    }
    for (const VolumeNeed& need : result.needs) {
        if (need.neededMB > 0) {
            fmt::print("{}\n", VolumeText(need));
        }
    }
    for (const RoundResult::Pass& pass : result.passes) {
        fmt::print("{}: {} by volume, {} by date, {} by size, {} by number, {} MB{}\n", Printable(pass.name),
                   pass.byVolume, pass.byDate, pass.bySize, pass.byNumber, pass.sizeMB,
                   pass.hasFailed ? "; FAILED, see vx log tail" : "");
    }
    for (const std::string& refused : result.refused) {
        fmt::print("nothing of {}\n", Printable(refused));
    }
    fmt::print("{} target(s), {} alert(s) marked, {} record(s) deleted\n", result.targets, result.alerts,
               result.swept);
    std::fflush(stdout);
}

void Run(const Options& options)
{
    const RotateLock lock;
    const StopSignal stop;
    RotateRounds rounds(stop.RunFlag(), options.reserveMB, !options.noSweep);
    RoundResult result;
    do {
        GiveUpRoomWhenFull();
        result = rounds.Run();
        KeepRoomWhenPlenty();
        Print(result, options.json);
    } while (!options.once && !stop.WaitFor(std::chrono::seconds(options.intervalSec)));
    rounds.Finish();
    if (options.once && result.isStopped) {
        Fail(EXIT_FOUND, "rotate run", "told to stop before the round was over; the next one goes on");
    }
    if (options.once && result.hasFailed) {
        Fail(EXIT_FOUND, "rotate run", "not everything could be rotated; vx log tail says why");
    }
    if (options.once && !result.refused.empty()) {
        Fail(EXIT_REFUSED, "rotate run",
             "database and volume do not belong together: nothing of them is removed");
    }
}

} // namespace

void AddRotateRunVerb(CLI::App& rotate)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb =
        rotate.add_subcommand("run", "Keep every target within its limits: mark, sweep, report, wait, again");
    verb->add_flag("--once", options->once, "One round, then end");
    verb->add_option("--interval", options->intervalSec, "Seconds between two rounds")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    verb->add_option("--reserve", options->reserveMB,
                     "Megabytes to be left free, instead of what is configured")
        ->check(FROM_ZERO);
    verb->add_flag("--no-sweep", options->noSweep, "Only mark; vx event sweep deletes");
    verb->add_flag("--json", options->json, "Print one JSON object a round");
    verb->callback([options] { Run(*options); });
}
