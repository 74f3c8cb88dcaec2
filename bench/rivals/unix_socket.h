// SPDX-License-Identifier: Apache-2.0
// bench/rivals/unix_socket.h - a stream socket pair with buffers as large as the kernel grants.
// The kernel copies in and out and holds the writer back.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "rivals/contender.h"

class UnixSocket {
public:
    static constexpr bool OWN_THREADS = false;
    static const char* Missing() noexcept { return nullptr; }

    explicit UnixSocket(const Setup& setup) : m_received(setup.frameSize)
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, m_fds) != 0) {
            m_fds[0] = m_fds[1] = -1;
            return;
        }
        const int bytes = 8 << 20;
        for (const int fd : m_fds) {
            ::setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &bytes, sizeof bytes);
            ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
        }
    }
    ~UnixSocket()
    {
        ::close(m_fds[0]);
        ::close(m_fds[1]);
    }
    UnixSocket(const UnixSocket&) = delete;
    UnixSocket& operator=(const UnixSocket&) = delete;

    int OpenWriter() noexcept { return m_fds[0] < 0 ? -1 : ::close(m_fds[1]); }
    int OpenReader() noexcept { return m_fds[1] < 0 ? -1 : ::close(m_fds[0]); }
    void CloseWriter() noexcept {}
    void CloseReader() noexcept {}
    bool WriterConnected() noexcept { return true; }

    int Publish(const unsigned char* data, std::size_t size) noexcept
    {
        while (size > 0) {
            const ssize_t sent = ::send(m_fds[0], data, size, MSG_NOSIGNAL);
            if (sent < 0 && errno != EINTR) {
                return -1;
            }
            if (sent > 0) {
                data += sent;
                size -= static_cast<std::size_t>(sent);
            }
        }
        return 0;
    }
    template <typename F>
    bool Receive(F&& onFrame)
    {
        const ssize_t got = ::recv(m_fds[1], m_received.data(), m_received.size(), MSG_WAITALL);
        if (got != static_cast<ssize_t>(m_received.size())) {
            return false;
        }
        onFrame(m_received.data(), m_received.size());
        return true;
    }

private:
    int m_fds[2];
    std::vector<unsigned char> m_received;
};
