// SPDX-License-Identifier: Apache-2.0
// package/src/msgd.cpp - datagrams to and from the message daemon's socket.
#include "package/msgd.h"

#include <json/value.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "package/json.h"
#include "package/root.h"
#include "pkglog.h"

namespace {

constexpr std::size_t MAX_IDS = 4000;            ///< ids of one datagram
constexpr std::size_t MAX_DATAGRAM = 256 * 1024; ///< bytes that a listener takes

std::string SocketPath()
{
    return GetPackagePath(PackageDir::RUN, "msgd.sock");
}

bool MakeAddress(const std::string& path, sockaddr_un& address) noexcept
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

const sockaddr* AsSockaddr(const sockaddr_un& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

class Socket {
public:
    Socket() noexcept : m_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int Fd() const noexcept { return m_fd; }
    int Release() noexcept
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

/// @return 0; -1 (logged) for any failure but a listener that is not there or does not keep up.
int SendText(const std::string& text) noexcept
{
    const std::string path = SocketPath();
    sockaddr_un address{};
    const Socket socket;
    if (socket.Fd() < 0 || !MakeAddress(path, address)) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to reach the message daemon at [%s]: %m.\n",
                path.c_str());
        return -1;
    }
    if (::sendto(socket.Fd(), text.data(), text.size(), MSG_NOSIGNAL, AsSockaddr(address), sizeof address) >=
        0) {
        return 0;
    }
    if (errno == ENOENT || errno == ECONNREFUSED || errno == EAGAIN) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_NOTICE, "No message daemon takes messages at [%s]: %m.\n",
                path.c_str());
        return 0;
    }
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to send to the message daemon at [%s]: %m.\n",
            path.c_str());
    return -1;
}

using Ids = std::list<int>::const_iterator;

/// "[1,2,3]". Messages of a thousand ids are sent for every batch of rotation, so no JSON values are made of them.
std::string ArrayText(Ids first, Ids last)
{
    std::string text = "[";
    for (; first != last; ++first) {
        text += (text.size() > 1 ? "," : "") + std::to_string(*first);
    }
    return text + "]";
}

} // namespace

int SendUpdateMsgToMsgD(int kind, const std::list<int>& ids, UPDATE_TYPE type, int flag,
                        const std::string& text, const std::list<int>& list) noexcept
try {
    const std::string behind = ",\"kind\":" + std::to_string(kind) +
                               ",\"list\":" + ArrayText(list.begin(), list.end()) +
                               ",\"text\":" + JsonWrite(text) + ",\"type\":" + std::to_string(type) + "}";
    int result = 0;
    auto next = ids.begin();
    do {
        const auto first = next;
        for (std::size_t size = 0; next != ids.end() && size < MAX_IDS; ++next) {
            ++size;
        }
        const std::string message =
            "{\"flag\":" + std::to_string(flag) + ",\"ids\":" + ArrayText(first, next) + behind;
        result = SendText(message) != 0 ? -1 : result;
    } while (next != ids.end());
    return result;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to build a message of kind [%d]: [%s].\n", kind,
            error.what());
    return -1;
}

MsgDListener::~MsgDListener()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        ::unlink(m_path.c_str());
    }
}

int MsgDListener::Open() noexcept
try {
    const std::string path = SocketPath();
    sockaddr_un address{};
    Socket socket;
    if (socket.Fd() < 0 || !MakeAddress(path, address)) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to listen at [%s]: %m.\n", path.c_str());
        return -1;
    }
    const Socket probe;
    if (::connect(probe.Fd(), AsSockaddr(address), sizeof address) != 0 && errno == ECONNREFUSED) {
        ::unlink(path.c_str()); // its listener is dead
    }
    if (::bind(socket.Fd(), AsSockaddr(address), sizeof address) != 0) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to listen at [%s]: %m.\n", path.c_str());
        return -1;
    }
    m_path = path;
    m_fd = socket.Release();
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to listen for messages [%s].\n", error.what());
    return -1;
}

int MsgDListener::Receive(std::string& json) noexcept
try {
    std::string buffer(MAX_DATAGRAM, '\0');
    const ssize_t size = ::recv(m_fd, buffer.data(), buffer.size(), 0);
    if (size < 0) {
        return -1;
    }
    buffer.resize(static_cast<std::size_t>(size));
    json = std::move(buffer);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to take a message [%s].\n", error.what());
    return -1;
}
