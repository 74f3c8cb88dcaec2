// SPDX-License-Identifier: Apache-2.0
// tests/support/shared_with_children.h - an object that a test and its forked children see alike.
#pragma once

#include <sys/mman.h>

#include <cstdlib>
#include <new>

template <typename T>
class SharedWithChildren {
public:
    SharedWithChildren()
    {
        void* const pAddr =
            ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (pAddr == MAP_FAILED) {
            std::abort(); // nothing can be tested without it
        }
        m_pObject = new (pAddr) T{};
    }
    ~SharedWithChildren() { ::munmap(m_pObject, sizeof(T)); }
    SharedWithChildren(const SharedWithChildren&) = delete;
    SharedWithChildren& operator=(const SharedWithChildren&) = delete;

    T* operator->() const noexcept { return m_pObject; }
    T& operator*() const noexcept { return *m_pObject; }

private:
    T* m_pObject;
};
