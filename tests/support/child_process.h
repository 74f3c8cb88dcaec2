// SPDX-License-Identifier: Apache-2.0
// tests/support/child_process.h - a forked child and a pipe on which it says how far it is.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <utility>

/// Where a child sends single letters, so that its parent waits for a message and not for a time.
class Channel {
public:
    explicit Channel(int fd) noexcept : m_fd(fd) {}
    void Send(char letter) const noexcept { static_cast<void>(!::write(m_fd, &letter, 1)); }

private:
    const int m_fd;
};

/// Runs a function in a forked child, which ends by _exit() with what the function returns. Killed and reaped
/// with this object, so that no test leaves one behind.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int(Channel&)>& body)
    {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0) {
            return;
        }
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ends[0]);
            Channel channel(ends[1]);
            ::_exit(body(channel));
        }
        ::close(ends[1]);
        m_fd = ends[0];
    }
    ~ChildProcess()
    {
        Kill(SIGKILL);
        ::close(m_fd);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// @return the next letter; 0 when none came within ten seconds or the child has gone.
    char Receive(int timeoutMs = 10000) const noexcept
    {
        pollfd waited{m_fd, POLLIN, 0};
        char letter = 0;
        return ::poll(&waited, 1, timeoutMs) == 1 && ::read(m_fd, &letter, 1) == 1 ? letter : '\0';
    }

    pid_t Pid() const noexcept { return m_pid; }

    void Signal(int signal) const noexcept
    {
        if (m_pid > 0) {
            ::kill(m_pid, signal);
        }
    }

    /// Ends the child and reaps it.
    void Kill(int signal) noexcept
    {
        Signal(signal);
        static_cast<void>(Wait());
    }

    /// Waits for the child's end. @return its exit code; -1 if a signal ended it, or it has been reaped
    /// before.
    int Wait() noexcept
    {
        int status = 0;
        const pid_t pid = std::exchange(m_pid, -1);
        return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t m_pid = -1;
    int m_fd = -1;
};
