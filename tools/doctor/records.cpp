// SPDX-License-Identifier: Apache-2.0
// tools/doctor/records.cpp - the six invariants of rows and files.
#include <fmt/format.h>

#include <array>
#include <filesystem>

#include "doctor/finding.h"
#include "package/reccheck.h"
#include "package/root.h"

namespace {

constexpr std::size_t EACH_AT_MOST = 5; // of one invariant; a volume that is gone breaks it a million times

struct Invariant {
    const char* id;
    const char* why;
};
constexpr std::array<Invariant, 6> INVARIANTS{{
    {"records.R1",
     "a recording that no row names is never shown or rotated; a row without a file offers nothing"},
    {"records.R2", "something deleted is still offered or counted"},
    {"records.R3", "space is lost to files that nobody will remove"},
    {"records.R4", "sizes are wrong, so limits are kept wrongly"},
    {"records.R5", "nothing is removed or mended while database and volume do not belong together"},
    {"records.R6", "an event without an end is shown as still going on"},
}};

} // namespace

void CheckRecordRows(Findings& findings)
{
    const std::string root = GetPackageRoot();
    std::error_code missing; // nothing recorded yet, nothing to compare
    if (!std::filesystem::exists(root + "/db/event.db", missing) &&
        std::filesystem::is_empty(root + "/rec", missing)) {
        return;
    }
    std::array<std::size_t, INVARIANTS.size()> told{};
    RecCheckCounts counts;
    const int result = CheckRecords(false, counts, [&](const RecViolation& violation) {
        const auto index = static_cast<std::size_t>(violation.rule - 1);
        if (index >= INVARIANTS.size() || told[index]++ >= EACH_AT_MOST) {
            return;
        }
        const bool isForPeople = violation.remedy.empty();
        findings.Add(INVARIANTS[index].id, fmt::format("{}: {}", violation.object, violation.problem),
                     INVARIANTS[index].why,
                     isForPeople ? "by hand: mount the volume that belongs to the database, restore the "
                                   "database's copy, or move the file away"
                                 : fmt::format("vx event repair ({})", violation.remedy));
    });
    for (std::size_t i = 0; i < told.size(); ++i) {
        if (told[i] > EACH_AT_MOST) {
            findings.Note(fmt::format("{}: {} more of these; vx event check lists them", INVARIANTS[i].id,
                                      told[i] - EACH_AT_MOST));
        }
    }
    if (result != 0) {
        findings.Add("records.unchecked", "rows and files could not be compared to the end",
                     "what is wrong with them stays unknown",
                     "vx log tail says why; vx doctor databases permissions");
    }
}
