// SPDX-License-Identifier: Apache-2.0
// tools/stop_signal.h - a clean end on SIGINT, SIGTERM and SIGHUP.
#pragma once

#include <array>
#include <chrono>
#include <csignal>

/// While an object of this class lives, the first of the signals only sets a flag; a second one of the same
/// kind ends the process as usual, so that a verb that hangs can still be stopped. A signal that was ignored
/// when the program started (nohup) stays ignored.
///
/// One object at a time, made in main's thread.   Thread-safety: Stopped() and Fd() from any thread.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    [[nodiscard]] bool Stopped() const noexcept;
    /// The signal that came; 0 if none did.
    [[nodiscard]] int Signal() const noexcept;
    /// 1 until the signal comes, 0 from then on: what rotation reads before each batch.
    [[nodiscard]] const volatile int& RunFlag() const noexcept;
    /// Readable from the signal on, and never read: for poll() beside other descriptors.
    [[nodiscard]] int Fd() const noexcept;
    /// Sleeps, but not beyond the signal.
    ///
    /// @return true if the signal came.
    bool WaitFor(std::chrono::milliseconds time) const noexcept;

private:
    static constexpr std::array<int, 3> SIGNALS{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, SIGNALS.size()> m_before{};
};
