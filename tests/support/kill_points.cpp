// SPDX-License-Identifier: Apache-2.0
// tests/support/kill_points.cpp - stands before the calls that change files, in all libraries of the program.
// It includes no header that declares those calls, since it defines both their 32-bit and 64-bit names.
#include "kill_points.h"

#include <dlfcn.h>
#include <signal.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int CREATES = 0100; // O_CREAT
constexpr int MAX_NAMES = 4096;

bool g_armed = false;
int g_left = -1;
int g_passed = 0;
char g_names[MAX_NAMES][48];

template <typename Function>
Function* Real(const char* name)
{
    void* const address = ::dlsym(RTLD_NEXT, name);
    if (address == nullptr) {
        std::abort();
    }
    return reinterpret_cast<Function*>(address);
}

void Pass(const char* name, const char* argument = "")
{
    if (!g_armed) {
        return;
    }
    if (g_left-- == 0) {
        ::raise(SIGKILL);
    }
    if (g_passed < MAX_NAMES) {
        std::snprintf(g_names[g_passed++], sizeof g_names[0], "%s %s", name, argument);
    }
}

} // namespace

void ArmKillPoint(int n)
{
    g_passed = 0;
    g_left = n;
    g_armed = true;
}

const char* KillPointName(int n)
{
    return g_names[n];
}

int KillPointsPassed()
{
    g_armed = false;
    return g_passed;
}

// Off64 is what the name says: the 32-bit call has the platform's own width.
#define VX_PWRITE(name, Offset)                                                                              \
    long Hook_##name(int fd, const void* data, std::size_t size, Offset offset) __asm__(#name);              \
    long Hook_##name(int fd, const void* data, std::size_t size, Offset offset)                              \
    {                                                                                                        \
        static auto* const real = Real<long(int, const void*, std::size_t, Offset)>(#name);                  \
        Pass(#name);                                                                                         \
        return real(fd, data, size, offset);                                                                 \
    }
#define VX_OPEN(name)                                                                                        \
    int Hook_##name(int folder, const char* path, int flags, ...) __asm__(#name);                            \
    int Hook_##name(int folder, const char* path, int flags, ...)                                            \
    {                                                                                                        \
        static auto* const real = Real<int(int, const char*, int, ...)>(#name);                              \
        std::va_list args;                                                                                   \
        va_start(args, flags);                                                                               \
        const unsigned int mode = (flags & CREATES) != 0 ? va_arg(args, unsigned int) : 0;                   \
        va_end(args);                                                                                        \
        if ((flags & CREATES) != 0) {                                                                        \
            Pass(#name, path);                                                                               \
        }                                                                                                    \
        return real(folder, path, flags, mode);                                                              \
    }
#define VX_SYNC(name)                                                                                        \
    int Hook_##name(int fd) __asm__(#name);                                                                  \
    int Hook_##name(int fd)                                                                                  \
    {                                                                                                        \
        static auto* const real = Real<int(int)>(#name);                                                     \
        Pass(#name);                                                                                         \
        return real(fd);                                                                                     \
    }

#define VX_PATH_CALL(name, Last)                                                                             \
    int Hook_##name(int folder, const char* path, Last last) __asm__(#name);                                 \
    int Hook_##name(int folder, const char* path, Last last)                                                 \
    {                                                                                                        \
        static auto* const real = Real<int(int, const char*, Last)>(#name);                                  \
        Pass(#name, path);                                                                                   \
        return real(folder, path, last);                                                                     \
    }

extern "C" {
VX_PWRITE(pwrite, long)
VX_PWRITE(pwrite64, std::int64_t)
VX_OPEN(openat)
VX_OPEN(openat64)
VX_SYNC(fsync)
VX_SYNC(fdatasync)

VX_PATH_CALL(unlinkat, int)
VX_PATH_CALL(mkdirat, unsigned int)
}
