// SPDX-License-Identifier: Apache-2.0
// bench/support/processes.cpp - fork, pin, measure; see processes.h.
#include "support/processes.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <utility>

namespace {

std::int64_t ClockNs(clockid_t clock) noexcept
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

cpu_set_t AllowedCpus() noexcept
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    ::sched_getaffinity(0, sizeof allowed, &allowed);
    return allowed;
}

const cpu_set_t g_allowed = AllowedCpus(); // before anything is pinned
const int g_cpuCount = CPU_COUNT(&g_allowed);

} // namespace

std::int64_t NowNs() noexcept
{
    return ClockNs(CLOCK_MONOTONIC);
}

std::int64_t ThreadCpuNs() noexcept
{
    return ClockNs(CLOCK_THREAD_CPUTIME_ID);
}

void SpinTurn() noexcept
{
    constexpr unsigned TURNS_TO_YIELD =
        1024; // some 20 microseconds: a side that runs is never waited for longer
    static thread_local unsigned turns = 0;
    if (g_cpuCount < 2 || ++turns % TURNS_TO_YIELD == 0) {
        ::sched_yield();
        return;
    }
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

void PinTo(unsigned nth) noexcept
{
    if (g_cpuCount < 2) {
        return;
    }
    unsigned left = nth % static_cast<unsigned>(g_cpuCount);
    for (unsigned cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &g_allowed) && left-- == 0) {
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(cpu, &one);
            ::sched_setaffinity(0, sizeof one, &one);
            return;
        }
    }
}

RunPageOwner::RunPageOwner() : m_page(nullptr)
{
    void* const memory = ::mmap(nullptr, sizeof(RunPage), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("mmap");
        std::abort();
    }
    m_page = new (memory) RunPage{};
}

RunPageOwner::~RunPageOwner()
{
    ::munmap(m_page, sizeof(RunPage));
}

Forked::Forked(const std::function<int()>& body, unsigned limitSec) : m_pid(-1)
{
    std::fflush(nullptr);
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid != 0) {
        return;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(1);
    }
    if (limitSec > 0) {
        ::alarm(limitSec);
    }
    ::_exit(body());
}

Forked::~Forked()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        static_cast<void>(Wait()); // its status was either taken before or does not matter any more
    }
}

Forked::Forked(Forked&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}

int Forked::Wait() noexcept
{
    if (m_pid <= 0) {
        return -1;
    }
    int status = 0;
    const pid_t reaped = ::waitpid(m_pid, &status, 0);
    m_pid = -1;
    return reaped > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool Forked::WaitStopped() noexcept
{
    int status = 0;
    return m_pid > 0 && ::waitpid(m_pid, &status, WUNTRACED) > 0 && WIFSTOPPED(status);
}

void Forked::Signal(int signal) noexcept
{
    if (m_pid > 0) {
        ::kill(m_pid, signal);
    }
}

double Quantile(std::vector<std::uint32_t>& samples, double p)
{
    if (samples.empty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<std::size_t>(p * static_cast<double>(samples.size() - 1))];
}
