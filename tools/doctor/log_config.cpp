// SPDX-License-Identifier: Apache-2.0
// tools/doctor/log_config.cpp - log configurations that silence what should be heard, or let everything through.
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "doctor/finding.h"
#include "log_names.h"
#include "package/dbglog.h"
#include "package/root.h"

namespace {

/// The record as it is in the file now. Null without a file; `size` is the file's.
std::unique_ptr<DbgLogCfg> ReadConfig(const std::string& path, long long& size)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    auto cfg = std::make_unique<DbgLogCfg>();
    struct stat info {};
    size = ::fstat(fd, &info) == 0 ? static_cast<long long>(info.st_size) : 0;
    const ssize_t got = ::pread(fd, cfg.get(), sizeof(DbgLogCfg), 0);
    ::close(fd);
    size = got == static_cast<ssize_t>(sizeof(DbgLogCfg)) ? size : std::min<long long>(size, got);
    return cfg;
}

void CheckThresholds(const DbgLogCfg& cfg, Findings& findings)
{
    std::string silent;
    std::string odd;
    for (int categ = 0; categ < DbgLogCfg::CATEG_COUNT; ++categ) {
        const int level = cfg.threshold[categ];
        std::string& list = level == 0 ? silent : odd;
        if (level <= 0 || level > 7) {
            list += (list.empty() ? "" : ", ") + std::to_string(categ);
        }
    }
    if (!silent.empty()) {
        findings.Add("log.silent", fmt::format("categories {} have threshold 0", silent),
                     "not even their errors are written: a failure leaves no trace", "vx log set CATEGORY 4");
    }
    if (!odd.empty()) {
        findings.Add("log.threshold", fmt::format("categories {} have a threshold outside of 0 to 7", odd),
                     "they log nothing, or everything; something else wrote into the record",
                     "vx log set CATEGORY 4");
    }
}

void CheckPids(const DbgLogCfg& cfg, Findings& findings)
{
    if (cfg.pidCount < 0 || cfg.pidCount > DbgLogCfg::MAX_PID_COUNT) {
        findings.Add("log.pid-count", fmt::format("the pid list says that it holds {} ids", cfg.pidCount),
                     "thresholds apply to the wrong processes; something else wrote into the record",
                     "vx log filter --clear");
        return;
    }
    const std::int32_t* const end = cfg.pid + cfg.pidCount;
    const bool isAnyAlive = std::any_of(
        cfg.pid, end, [](std::int32_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); });
    if (cfg.pidCount > 0 && !isAnyAlive) {
        findings.Add("log.pids-dead",
                     fmt::format("none of the {} processes of the pid list runs", cfg.pidCount),
                     "thresholds apply to listed processes only: every other one writes everything",
                     "vx log filter --clear");
    }
}

void CheckSize(Findings& findings)
{
    const std::string path = GetPackageRoot() + "/log/vx.log";
    struct stat info {};
    const char* const set = std::getenv("VX_LOG_MAX_BYTES");
    const long long cap = set != nullptr ? std::max(4096LL, std::atoll(set)) : 8LL * 1024 * 1024;
    if (::stat(path.c_str(), &info) == 0 && info.st_size > 2 * cap) {
        findings.Add(
            "log.too-large",
            fmt::format("{} has {} bytes; it should be rotated at {}", path,
                        static_cast<long long>(info.st_size), cap),
            "nobody rotates it, and it fills the volume; its folder may be closed to those who write it",
            fmt::format("mv '{0}' '{0}.old', then check who may write in its folder (vx doctor permissions)",
                        path));
    }
}

} // namespace

void CheckLogConfig(Findings& findings)
{
    const std::string path = GetPackageRoot() + "/run/dbglog.cfg";
    long long size = 0;
    if (const auto cfg = ReadConfig(path, size)) {
        if (size < static_cast<long long>(sizeof(DbgLogCfg))) {
            findings.Add("log.config-short",
                         fmt::format("{} has {} bytes instead of {}", path, size, sizeof(DbgLogCfg)),
                         "it is not used, so every process writes everything", "vx log set all 4");
        } else {
            CheckThresholds(*cfg, findings);
            CheckPids(*cfg, findings);
        }
    }
    CheckSize(findings);
}
