// SPDX-License-Identifier: Apache-2.0
// tests/support/allocation.cpp - stands before operator new of the shared libraries.
#include "allocation.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int t_left = -1; // until one fails; -1: none does
thread_local long t_count = 0;

} // namespace

// NOLINTBEGIN(misc-new-delete-overloads): these are all that the product uses
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++t_count;
    void* const memory = t_left >= 0 && t_left-- == 0 ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
// NOLINTEND(misc-new-delete-overloads)

long AllocationCount() noexcept
{
    return t_count;
}

FailAllocation::FailAllocation(int n) noexcept
{
    t_left = n;
}

FailAllocation::~FailAllocation()
{
    t_left = -1;
}
