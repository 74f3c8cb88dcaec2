// SPDX-License-Identifier: Apache-2.0
// tests/support/ipc_keys.h - IPC keys that nobody uses, and the proof that a test left nothing under them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

/// A run of keys of this process that was free when it was made. Fails the test if a segment is left under
/// one of them at the end, and removes it, so that the next test starts clean. A test that crashes or is killed
/// cannot do that: the next one that makes keys does it, in whatever process.
class IpcKeys {
public:
    static constexpr int COUNT = 40;

    IpcKeys() noexcept
    {
        static const int swept = RemoveThoseOfTheDead();
        static int next = swept;
        do {
            m_first = FIRST_KEY + ((::getpid() & PID_MASK) << PID_SHIFT) + (next++ % 8) * 64;
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
    static constexpr int FIRST_KEY =
        0x40000000; ///< ours: this, nine bits for the key, above it twenty of the pid
    static constexpr int PID_SHIFT = 9;
    static constexpr int PID_MASK = 0xFFFFF;

    /// Whether a process whose keys these could be still lives: pids have two bits more than fit into a key.
    static bool OwnerAlive(int key) noexcept
    {
        bool alive = false;
        for (int high = 0; high < 4; ++high) {
            const int pid = (((key - FIRST_KEY) >> PID_SHIFT) & PID_MASK) + high * (PID_MASK + 1);
            alive = alive || (pid > 0 && (::kill(pid, 0) == 0 || errno != ESRCH));
        }
        return alive;
    }

    /// @return 0.
    static int RemoveThoseOfTheDead() noexcept
    {
        std::FILE* const table = std::fopen("/proc/sysvipc/shm", "re");
        char line[512];
        while (table != nullptr && std::fgets(line, sizeof(line), table) != nullptr) {
            int key = 0;
            int id = 0;
            int attached = 0;
            if (std::sscanf(line, "%d %d %*s %*s %*s %*s %d", &key, &id, &attached) == 3 &&
                key >= FIRST_KEY && key < FIRST_KEY + ((PID_MASK + 1) << PID_SHIFT) && attached == 0 &&
                !OwnerAlive(key)) {
                ::shmctl(id, IPC_RMID, nullptr);
            }
        }
        if (table != nullptr) {
            std::fclose(table);
        }
        return 0;
    }

    int m_first = 0;
};
