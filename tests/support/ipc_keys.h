// SPDX-License-Identifier: Apache-2.0
// tests/support/ipc_keys.h - IPC keys that nobody uses, and the proof that a test left nothing under them.
#pragma once

#include <gtest/gtest.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

/// A run of keys of this process that was free when it was made. Fails the test if a segment is left under
/// one of them at the end, and removes it, so that the next test starts clean.
class IpcKeys {
public:
    static constexpr int COUNT = 40;

    IpcKeys() noexcept
    {
        static int next = 0;
        do {
            m_first = 0x40000000 + ((::getpid() & 0xFFFFF) << 9) + (next++ % 8) * 64;
        } while (Used(false) != 0);
    }
    ~IpcKeys() { EXPECT_EQ(Used(true), 0) << "segments left behind"; }
    IpcKeys(const IpcKeys&) = delete;
    IpcKeys& operator=(const IpcKeys&) = delete;

    int First() const noexcept { return m_first; }

    /// Segments under these keys now.
    int Used(bool remove) const noexcept
    {
        int used = 0;
        for (int key = m_first; key < m_first + COUNT; ++key) {
            const int id = ::shmget(key, 0, 0);
            used += id >= 0 ? 1 : 0;
            if (id >= 0 && remove) {
                ::shmctl(id, IPC_RMID, nullptr);
            }
        }
        return used;
    }

    /// Segments that this process has attached, whatever their keys: a mapping left behind shows in it.
    static int Attached()
    {
        std::FILE* const maps = std::fopen("/proc/self/maps", "re");
        int attached = 0;
        char line[512];
        while (maps != nullptr && std::fgets(line, sizeof(line), maps) != nullptr) {
            attached += std::string_view(line).find("/SYSV") != std::string_view::npos ? 1 : 0;
        }
        if (maps != nullptr) {
            std::fclose(maps);
        }
        return attached;
    }

private:
    int m_first = 0;
};
