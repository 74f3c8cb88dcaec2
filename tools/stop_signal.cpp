// SPDX-License-Identifier: Apache-2.0
// tools/stop_signal.cpp - signal handlers that set a flag and wake a poll().
#include "stop_signal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace {

// Reached from the handler: lock-free, and alive as long as the program.
std::atomic<int> g_stopSignal{0};
std::atomic<int> g_stopFd{-1};
volatile std::sig_atomic_t g_runFlag = 1;
static_assert(std::atomic<int>::is_always_lock_free);

void OnStopSignal(int signal)
{
    const int keptErrno = errno;
    int none = 0;
    g_runFlag = 0;
    g_stopSignal.compare_exchange_strong(none, signal, std::memory_order_relaxed);
    const unsigned long long one = 1;
    // An eventfd that already counts is readable already: nothing to do about a failure.
    [[maybe_unused]] const ssize_t written =
        ::write(g_stopFd.load(std::memory_order_relaxed), &one, sizeof one);
    errno = keptErrno;
}

} // namespace

StopSignal::StopSignal()
{
    const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    g_stopSignal.store(0, std::memory_order_relaxed);
    g_runFlag = 1;
    g_stopFd.store(fd, std::memory_order_relaxed);
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // the second one ends the process
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        ::sigaction(SIGNALS[i], nullptr, &m_before[i]);
        if (m_before[i].sa_handler != SIG_IGN) {
            ::sigaction(SIGNALS[i], &action, nullptr);
        }
    }
}

StopSignal::~StopSignal()
{
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        ::sigaction(SIGNALS[i], &m_before[i], nullptr);
    }
    ::close(g_stopFd.exchange(-1, std::memory_order_relaxed));
}

bool StopSignal::Stopped() const noexcept
{
    return Signal() != 0;
}

int StopSignal::Signal() const noexcept
{
    return g_stopSignal.load(std::memory_order_relaxed);
}

const volatile int& StopSignal::RunFlag() const noexcept
{
    return g_runFlag;
}

int StopSignal::Fd() const noexcept
{
    return g_stopFd.load(std::memory_order_relaxed);
}

bool StopSignal::WaitFor(std::chrono::milliseconds time) const noexcept
{
    pollfd readable{Fd(), POLLIN, 0};
    const auto limit = std::chrono::steady_clock::now() + time;
    auto left = time;
    while (!Stopped() && left.count() > 0) {
        ::poll(&readable, 1, static_cast<int>(std::min<long long>(left.count(), 60'000)));
        left =
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - std::chrono::steady_clock::now());
    }
    return Stopped();
}
