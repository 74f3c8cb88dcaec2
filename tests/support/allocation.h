// SPDX-License-Identifier: Apache-2.0
// tests/support/allocation.h - what operator new is asked for in this thread, in all libraries of the program; and
// memory that runs out. Linking allocation.cpp puts it in place; while no failure is asked for everything works as
// ever.
#pragma once

/// Allocations of this thread so far.
long AllocationCount() noexcept;

/// While it lives, the n-th allocation by operator new (from 0) of this thread fails, once.
class FailAllocation {
public:
    explicit FailAllocation(int n) noexcept;
    ~FailAllocation();
    FailAllocation(const FailAllocation&) = delete;
    FailAllocation& operator=(const FailAllocation&) = delete;
};
