// SPDX-License-Identifier: Apache-2.0
// bench/support/processes.h - what the processes of one measurement share, and how they start and end.
// One parent (the benchmark program) forks the others; a page of anonymous shared memory carries the figures.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/// Nanoseconds of the monotonic clock, the same for every process.
std::int64_t NowNs() noexcept;

/// Processor time of the calling thread in nanoseconds.
std::int64_t ThreadCpuNs() noexcept;

/// One turn of a polling loop: a pause instruction, at times giving the processor away. On a quiet machine nobody takes
/// it; on a busy one the other side may be waiting for it, and contenders that yield in their own waits would win by
/// that alone. With a single processor every turn is given away.
void SpinTurn() noexcept;

/// Binds the calling process to the n-th processor that it may use. Does nothing when there is only one.
void PinTo(unsigned nth) noexcept;

/// The page that the processes of one run share. Each word stands in a cache line of its own: the
/// acknowledgements are the back-pressure of contenders that have none, and must not slow each other.
///
/// All words are seq_cst: they are handshakes, not the thing that is measured, save `acked`, which the
/// reader releases after it is done with a frame and the writer acquires before it goes on.
struct RunPage {
    static constexpr std::size_t MAX_SAMPLES = 1u << 15;

    alignas(64) std::atomic<int> writerReady;
    alignas(64) std::atomic<int> readersReady;
    alignas(64) std::atomic<std::uint64_t> acked; ///< frames that the (first) reader is done with
    alignas(64) std::atomic<int> stop;
    alignas(64) std::atomic<int> failed; ///< frames missing, torn or out of order; any failed call
    std::uint64_t frames;
    std::uint64_t lost;
    std::uint32_t writerSamples[MAX_SAMPLES]; ///< nanoseconds each
    alignas(64) std::atomic<std::uint32_t> sampleCount;
    std::uint32_t samples[MAX_SAMPLES]; ///< of the readers, nanoseconds each
};

/// Owns one RunPage, zeroed, mapped shared.   Thread-safety: one thread.
class RunPageOwner {
public:
    RunPageOwner();
    ~RunPageOwner();
    RunPageOwner(const RunPageOwner&) = delete;
    RunPageOwner& operator=(const RunPageOwner&) = delete;
    RunPage* operator->() const noexcept { return m_page; }
    RunPage& operator*() const noexcept { return *m_page; }

private:
    RunPage* m_page;
};

/// One forked process. It ends with its body (0) or by its own alarm; the destructor kills and reaps what is
/// left.
class Forked {
public:
    /// @param body      runs in the child; its result is the exit status
    /// @param limitSec  the child is ended by SIGALRM after so many seconds
    explicit Forked(const std::function<int()>& body, unsigned limitSec = 30);
    ~Forked();
    Forked(Forked&& other) noexcept;
    Forked& operator=(Forked&&) = delete;
    Forked(const Forked&) = delete;
    Forked& operator=(const Forked&) = delete;

    /// Waits for the end. @return exit status; -1 when a signal ended it.
    int Wait() noexcept;
    /// Waits until it has stopped itself. @return false when it ended instead.
    bool WaitStopped() noexcept;
    void Signal(int signal) noexcept;

private:
    pid_t m_pid;
};

/// The p-quantile (0..1) of the samples; sorts them. 0 when there is none.
double Quantile(std::vector<std::uint32_t>& samples, double p);
