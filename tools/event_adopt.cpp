// SPDX-License-Identifier: Apache-2.0
// tools/event_adopt.cpp - vx event adopt: another disk in place of one that is lost for good.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "agree.h"
#include "event_common.h"
#include "fail.h"
#include "package/recsweep.h"
#include "package/root.h"

namespace {

struct Options {
    bool dryRun = false;
    bool yes = false;
};

/// Ends the verb unless there is something to adopt. @return whether there is.
bool IsToAdopt(REC_ADOPT state, const std::string& rec)
{
    switch (state) {
    case REC_ADOPT::OK:
        return true;
    case REC_ADOPT::SAME:
        fmt::print("{}: it belongs to the databases already\n", rec);
        return false;
    case REC_ADOPT::UNBOUND:
        fmt::print("{}: no database has a volume yet; the first recording binds them\n", rec);
        return false;
    case REC_ADOPT::MIXED:
        Fail(EXIT_REFUSED, "event adopt",
             "{}/db: the databases belong to different volumes; restore those that belong together",
             GetPackageRoot());
    case REC_ADOPT::FAILED:
        break;
    }
    Fail(EXIT_UNREACHABLE, "event adopt",
         "{}: it or a database cannot be read or changed; vx log tail says why", rec);
}

void Adopt(const Options& options)
{
    const std::string rec = GetPackageRoot() + "/rec";
    RecAdoption adoption;
    if (!IsToAdopt(AdoptRecVolume(false, adoption), rec)) {
        return;
    }
    fmt::print("{} becomes the volume of the databases{}.\n"
               "{} of {} recordings have no file there; vx event repair gives those up, nothing else does.\n"
               "If their volume is only not mounted, mount it instead.\n",
               rec, adoption.hasMark ? "; the mark that it bears, of other databases, is lost" : "",
               adoption.missing, adoption.rows);
    if (options.dryRun || !Agreed("event adopt", "Is their own volume lost for good?", options.yes)) {
        return;
    }
    RecAdoption again;
    if (IsToAdopt(AdoptRecVolume(true, again), rec)) {
        fmt::print("{} is the volume of the databases now\n", rec);
    }
}

} // namespace

void AddEventAdoptVerb(CLI::App& event)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = event.add_subcommand(
        "adopt",
        "Record on another volume in place of one that is lost for good; changes no row and no file");
    verb->add_flag("--dry-run", options->dryRun, "Only say what would follow");
    verb->add_flag("--yes", options->yes, "Do not ask");
    verb->callback([options] { Adopt(*options); });
}
