// SPDX-License-Identifier: Apache-2.0
// tools/doctor/clock.cpp - a clock that was never set, or that ran backwards under what is stored.
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/timex.h>

#include <ctime>
#include <filesystem>

#include "doctor/finding.h"
#include "package/root.h"

namespace {

constexpr std::time_t FIRST_SEC = 1735689600; // 2025-01-01: this software did not exist before
constexpr std::time_t SLACK_SEC = 60;         // volumes on other machines have clocks of their own
const char* const SET_CLOCK = "timedatectl set-ntp true, or date --set";

/// The newest of what is written all the time; its time is a time that this clock has shown.
void FindFuture(const std::string& folder, std::time_t now, Findings& findings)
{
    std::string newest;
    std::time_t newestSec = 0;
    std::error_code none; // no folder, no file
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
        struct stat info {};
        if (::stat(entry.path().c_str(), &info) == 0 && info.st_mtime > newestSec) {
            newestSec = info.st_mtime;
            newest = entry.path().string();
        }
    }
    if (newestSec > now + SLACK_SEC) {
        findings.Add(
            "clock.back",
            fmt::format("{} was written {} s in the future", newest, static_cast<long long>(newestSec - now)),
            "the clock was set back: recordings overlap in time, and what is oldest is judged wrongly",
            SET_CLOCK);
    }
}

} // namespace

void CheckClock(Findings& findings)
{
    const std::time_t now = std::time(nullptr);
    if (now < FIRST_SEC) {
        findings.Add("clock.unset",
                     fmt::format("the clock says {} s after 1970", static_cast<long long>(now)),
                     "recordings get times of the past and are the first to be rotated away", SET_CLOCK);
    }
    for (const char* const folder : {"/log", "/db", "/rec"}) {
        FindFuture(GetPackageRoot() + folder, now, findings);
    }
    timex state{};
    if (::adjtimex(&state) == TIME_ERROR) {
        findings.Note(
            "the kernel does not know of a time server that keeps the clock right (timedatectl says more)");
    }
}
