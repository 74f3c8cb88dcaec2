// SPDX-License-Identifier: Apache-2.0
// tools/doctor/kernel.cpp - limits of the kernel and of this session that a FIFO or a recording would meet.
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <vector>

#include "doctor/finding.h"
#include "shmfifo.h"
#include "sysv_shm.h"

namespace {

/// The first number in a file of /proc; -1 if there is none. A limit above 63 bits is as good as none.
long long NumberIn(const char* path)
{
    unsigned long long number = 0;
    if (!(std::ifstream(path) >> number)) {
        return -1;
    }
    return number > static_cast<unsigned long long>(INT64_MAX) ? INT64_MAX : static_cast<long long>(number);
}

std::string Raise(const char* name, long long value)
{
    return fmt::format(
        "sysctl -w kernel.{0}={1}; to keep it: echo 'kernel.{0} = {1}' >/etc/sysctl.d/60-vx.conf", name,
        value);
}

void CheckSegmentSize(Findings& findings)
{
    constexpr auto NEEDED = static_cast<long long>(SHM_FIFO_MAX_ENTRY_SIZE + sizeof(DataEntry));
    const long long limit = NumberIn("/proc/sys/kernel/shmmax");
    if (limit >= 0 && limit < NEEDED) {
        findings.Add("kernel.shmmax",
                     fmt::format("a segment may have {} bytes; the largest frame needs {}", limit, NEEDED),
                     "large key frames cannot be stored and are lost", Raise("shmmax", 8 * NEEDED));
    }
}

void CheckSegmentCount(const std::vector<ShmRow>& rows, Findings& findings)
{
    constexpr long long NEEDED = SHM_FIFO_MAX_COUNT + 1;
    const long long limit = NumberIn("/proc/sys/kernel/shmmni");
    const auto used = static_cast<long long>(rows.size());
    if (limit >= 0 && limit - used < NEEDED) {
        findings.Add(
            "kernel.shmmni",
            fmt::format("{} of {} segments are in use; one more FIFO needs up to {}", used, limit, NEEDED),
            "the next camera's FIFO cannot be made", Raise("shmmni", std::max(4096LL, 2 * (used + NEEDED))));
    }
}

void CheckSegmentPages(const std::vector<ShmRow>& rows, Findings& findings)
{
    constexpr long long NEEDED_BYTES = 32LL * 1024 * 1024; // 30 slots as a 4K camera fills them
    const long long pageSize = ::sysconf(_SC_PAGESIZE);
    const long long limit = NumberIn("/proc/sys/kernel/shmall");
    long long used = 0;
    for (const ShmRow& row : rows) {
        used += static_cast<long long>(row.bytes) / pageSize + 1;
    }
    if (limit >= 0 && limit - used < NEEDED_BYTES / pageSize) {
        findings.Add("kernel.shmall", fmt::format("{} of {} pages of shared memory are in use", used, limit),
                     "slots of the next FIFO cannot be made or grown: frames are lost",
                     Raise("shmall", 2 * (used + NEEDED_BYTES / pageSize)));
    }
}

void CheckSessionLimits(Findings& findings)
{
    rlimit files{};
    constexpr rlim_t FILES_NEEDED = 256; // databases, logs, segments of recordings, streams of many cameras
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < FILES_NEEDED) {
        findings.Add("kernel.nofile",
                     fmt::format("a process of this session may open {} files",
                                 static_cast<unsigned long long>(files.rlim_cur)),
                     "databases and recordings cannot be opened when several cameras run",
                     "ulimit -n 1024, or LimitNOFILE=1024 in the unit");
    }
    rlimit size{};
    if (::getrlimit(RLIMIT_FSIZE, &size) == 0 && size.rlim_cur != RLIM_INFINITY) {
        findings.Add("kernel.fsize",
                     fmt::format("a file of this session ends at {} bytes",
                                 static_cast<unsigned long long>(size.rlim_cur)),
                     "a recorder is killed by SIGXFSZ when a recording reaches it",
                     "ulimit -f unlimited, or LimitFSIZE=infinity in the unit");
    }
}

} // namespace

void CheckKernel(Findings& findings)
{
    const std::vector<ShmRow> rows = ListShm();
    CheckSegmentSize(findings);
    CheckSegmentCount(rows, findings);
    CheckSegmentPages(rows, findings);
    CheckSessionLimits(findings);
}
