// SPDX-License-Identifier: Apache-2.0
// tools/doctor/doctor.cpp - vx doctor: runs the checks and prints what they found.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <memory>
#include <set>

#include "doctor/finding.h"
#include "fail.h"
#include "nouns.h"
#include "table.h"

namespace {

struct Check {
    const char* name;
    const char* what;
    void (*run)(Findings&);
};

/// In the order in which a person would look: what everything else rests on comes first.
constexpr Check CHECKS[] = {
    {"permissions", "the package's folders and its key", CheckPermissions},
    {"space", "volumes", CheckSpace},
    {"clock", "the clock", CheckClock},
    {"kernel", "the kernel's limits", CheckKernel},
    {"segments", "shared memory and its owners", CheckSegments},
    {"leftovers", "what dead processes left", CheckLeftovers},
    {"log", "the log's configuration", CheckLogConfig},
    {"databases", "databases and their versions", CheckDatabases},
    {"limits", "limits of recordings against their volume", CheckLimits},
    {"recording", "whether cameras are still being recorded", CheckRecording},
    {"records", "rows and files of recordings (R1 to R6)", CheckRecordRows},
};

struct Options {
    std::vector<std::string> only;
    bool json = false;
};

void PrintAsJson(const Findings& findings)
{
    Json::Value json(Json::objectValue);
    Json::Value& found = json["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : findings.Found()) {
        Json::Value entry;
        entry["id"] = finding.id;
        entry["what"] = finding.what;
        entry["why"] = finding.why;
        entry["mend"] = finding.mend;
        found.append(entry);
    }
    Json::Value& notes = json["notes"] = Json::Value(Json::arrayValue);
    for (const std::string& note : findings.Notes()) {
        notes.append(note);
    }
    PrintJson(json);
}

void Print(const Findings& findings, std::size_t checks)
{
    for (const Finding& finding : findings.Found()) {
        fmt::print("{}: {}\n    why:  {}\n    mend: {}\n", finding.id, finding.what, finding.why,
                   finding.mend);
    }
    for (const std::string& note : findings.Notes()) {
        fmt::print("note: {}\n", note);
    }
    if (findings.Found().empty()) {
        fmt::print("{} {}, nothing found.\n", checks, checks == 1 ? "kind of check" : "kinds of checks");
    } else {
        fmt::print("{} {}.\n", findings.Found().size(),
                   findings.Found().size() == 1 ? "finding" : "findings");
    }
}

void Doctor(const Options& options)
{
    const std::set<std::string> only(options.only.begin(), options.only.end());
    Findings findings;
    std::size_t checks = 0;
    for (const Check& check : CHECKS) {
        if (only.empty() || only.contains(check.name)) {
            check.run(findings);
            ++checks;
        }
    }
    if (options.json) {
        PrintAsJson(findings);
    } else {
        Print(findings, checks);
    }
    if (!findings.Found().empty()) {
        throw CLI::RuntimeError(EXIT_FOUND);
    }
}

} // namespace

void AddDoctorNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand(
        "doctor", "Look for what is wrong with this box; says why it matters and what mends it");
    const auto options = std::make_shared<Options>();
    std::vector<std::string> names;
    std::string list;
    for (const Check& check : CHECKS) {
        names.emplace_back(check.name);
        list += fmt::format("\n  {:<12} {}", check.name, check.what);
    }
    noun->add_option("CHECK", options->only, "Only these checks")->check(CLI::IsMember(names));
    noun->add_flag("--json", options->json, "Print JSON");
    noun->footer("Changes nothing. Checks:" + list);
    noun->callback([options] { Doctor(*options); });
}
