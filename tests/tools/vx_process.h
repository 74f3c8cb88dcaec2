// SPDX-License-Identifier: Apache-2.0
// tests/tools/vx_process.h - runs vx as its users do, and takes what it prints.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <json/writer.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "package/json.h"

/// What a run of vx came to.
struct VxResult {
    int exitCode = -1; ///< -1: a signal ended it
    int signal = 0;
    std::string out;
    std::string err;
};

/// One running vx. Ended and reaped with this object.
class VxProcess {
public:
    /// @param stdoutFd what it gets as standard output instead of a pipe; -1 = a pipe
    explicit VxProcess(const std::vector<std::string>& args, int stdoutFd = -1)
    {
        int out[2] = {-1, -1};
        int err[2] = {-1, -1};
        if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
            return;
        }
        m_pid = ::fork();
        if (m_pid == 0) {
            Exec(args, stdoutFd >= 0 ? stdoutFd : out[1], err[1]);
        }
        ::close(out[1]);
        ::close(err[1]);
        m_out = out[0];
        m_err = err[0];
    }
    ~VxProcess()
    {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_out);
        ::close(m_err);
    }
    VxProcess(const VxProcess&) = delete;
    VxProcess& operator=(const VxProcess&) = delete;

    pid_t Pid() const { return m_pid; }
    void Signal(int signal) const { ::kill(m_pid, signal); }

    /// Sends the signal; expects that vx ends by itself, and well.
    VxResult End(int signal = SIGTERM)
    {
        Signal(signal);
        return Finish(20000, 0);
    }

    /// Reads until `text` has been printed to standard output. @return false after ten seconds without it.
    bool WaitForOutput(const std::string& text)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_result.out.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > limit || !ReadSome(200)) {
                return false;
            }
        }
        return true;
    }

    /// Closes the reading end of the pipe that is its standard output.
    void CloseOutput() { ::close(std::exchange(m_out, -1)); }

    /// Takes all output and waits for the end. A process that does not end in time is killed: signal 9 shows
    /// it. The exit code is expected if one is given.
    VxResult Finish(int timeoutMs = 20000, int exitCode = ANY_EXIT_CODE)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (ReadSome(100) || m_out >= 0 || m_err >= 0) {
            if (std::chrono::steady_clock::now() > limit) {
                ::kill(m_pid, SIGKILL);
                break;
            }
        }
        int status = 0;
        ::waitpid(std::exchange(m_pid, -1), &status, 0);
        m_result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        m_result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        EXPECT_TRUE(exitCode == ANY_EXIT_CODE || exitCode == m_result.exitCode)
            << "exit code " << m_result.exitCode << ", signal " << m_result.signal << ": " << m_result.err;
        return m_result;
    }

    static constexpr int ANY_EXIT_CODE = -2;

private:
    [[noreturn]] static void Exec(const std::vector<std::string>& args, int out, int err)
    {
        std::vector<char*> argv{const_cast<char*>(VX_PROGRAM)};
        for (const std::string& arg : args) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        const int in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::dup2(in, STDIN_FILENO);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(err, STDERR_FILENO);
        ::execv(VX_PROGRAM, argv.data());
        ::_exit(127);
    }

    /// @return true if there may be more.
    bool ReadSome(int timeoutMs)
    {
        pollfd fds[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
        ::poll(fds, 2, timeoutMs);
        Drain(fds[0], m_out, m_result.out);
        Drain(fds[1], m_err, m_result.err);
        return m_out >= 0 || m_err >= 0;
    }

    static void Drain(const pollfd& ready, int& fd, std::string& text)
    {
        if (ready.revents == 0 || fd < 0) {
            return;
        }
        char buffer[65536];
        const ssize_t got = ::read(fd, buffer, sizeof(buffer));
        if (got > 0) {
            text.append(buffer, static_cast<std::size_t>(got));
        } else {
            ::close(std::exchange(fd, -1));
        }
    }

    pid_t m_pid = -1;
    int m_out = -1;
    int m_err = -1;
    VxResult m_result;
};

inline VxResult RunVx(const std::vector<std::string>& args)
{
    return VxProcess(args).Finish();
}

/// Runs vx and expects its exit code, and a text somewhere in what it prints.
inline VxResult ExpectVx(const std::vector<std::string>& args, int exitCode = 0, const std::string& says = "")
{
    VxResult result = RunVx(args);
    const std::string all = result.out + result.err;
    EXPECT_TRUE(result.exitCode == exitCode && all.find(says) != all.npos)
        << ::testing::PrintToString(args) << " ends with " << result.exitCode << " and says:\n"
        << all << "instead of " << exitCode << " and: " << says;
    return result;
}

/// What a use of vx that succeeds prints.
inline std::string VxOut(const std::vector<std::string>& args)
{
    return ExpectVx(args).out;
}

/// A use of vx, how it has to end, and what it has to say.
struct VxUse {
    std::vector<std::string> args;
    int exitCode;
    std::string says;
};
inline void ExpectUses(const std::vector<VxUse>& uses)
{
    for (const VxUse& use : uses) {
        ExpectVx(use.args, use.exitCode, use.says);
    }
}
inline Json::Value ParseJson(const std::string& text)
{
    Json::Value json;
    std::string error;
    EXPECT_TRUE(JsonRead(text, json, error)) << error << "\n" << text;
    return json;
}

/// What a verb prints with --json.
inline Json::Value VxJson(std::vector<std::string> args, int exitCode = 0)
{
    args.emplace_back("--json");
    return ParseJson(ExpectVx(args, exitCode).out);
}
