// SPDX-License-Identifier: Apache-2.0
// tests/support/namespaces.h - segments, kernel limits and mounts of a test's own.
#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <string>

/// Takes this process, and all that it starts, out of the machine's System V segments and mounts. Before any thread.
/// @return false where the system does not allow that
inline bool EnterNamespaces()
{
    const uid_t uid = ::getuid();
    if (::unshare(CLONE_NEWIPC | CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWIPC | CLONE_NEWNS) != 0) {
            return false;
        }
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    }
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// A small volume in memory, for as long as this lives.
class TestVolume {
public:
    TestVolume(std::string place, const char* options, unsigned long flags = 0) : m_place(std::move(place))
    {
        m_mounted = ::mount("none", m_place.c_str(), "tmpfs", flags, options) == 0;
    }
    ~TestVolume()
    {
        if (m_mounted) {
            ::umount2(m_place.c_str(), MNT_DETACH);
        }
    }
    TestVolume(const TestVolume&) = delete;
    TestVolume& operator=(const TestVolume&) = delete;

    explicit operator bool() const noexcept { return m_mounted; }

private:
    std::string m_place;
    bool m_mounted = false;
};
