// SPDX-License-Identifier: Apache-2.0
// bench/rivals/floor_ring.h - the least that one copy through shared memory can cost: ten slots of an
// anonymous mapping and two counters; one writer, one reader, nothing to find, to protect or to repair.
#pragma once

#include <sys/mman.h>

#include <cstdint>
#include <cstring>

#include "rivals/contender.h"

class FloorRing {
public:
    static constexpr bool OWN_THREADS = false;
    static const char* Missing() noexcept { return nullptr; }

    explicit FloorRing(const Setup& setup)
        : m_setup(setup), m_slots(setup.depth + 2), m_bytes(64 + m_slots * Stride()),
          m_base(static_cast<unsigned char*>(::mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE,
                                                    MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0)))
    {}
    ~FloorRing() { ::munmap(m_base, m_bytes); }
    FloorRing(const FloorRing&) = delete;
    FloorRing& operator=(const FloorRing&) = delete;

    int OpenWriter() noexcept { return m_base == MAP_FAILED ? -1 : 0; }
    int OpenReader() noexcept { return m_base == MAP_FAILED ? -1 : 0; }
    void CloseWriter() noexcept {}
    void CloseReader() noexcept {}
    bool WriterConnected() noexcept { return true; }

    int Publish(const unsigned char* data, std::size_t size) noexcept
    {
        while (m_count - m_setup.page->acked.load(std::memory_order_acquire) >= m_setup.depth) {
            SpinTurn();
        }
        std::memcpy(Slot(m_count), data, size);
        Published().store(++m_count, std::memory_order_release); // pairs with the load in Receive()
        return 0;
    }
    template <typename F>
    bool Receive(F&& onFrame) noexcept
    {
        if (Published().load(std::memory_order_acquire) <= m_count) {
            return false;
        }
        onFrame(Slot(m_count), m_setup.frameSize);
        ++m_count;
        return true;
    }

private:
    std::size_t Stride() const noexcept { return (m_setup.frameSize + 4095) / 4096 * 4096; }
    unsigned char* Slot(std::uint64_t count) const noexcept
    {
        return m_base + 64 + count % m_slots * Stride();
    }
    std::atomic_ref<std::uint64_t> Published() const noexcept
    {
        return std::atomic_ref<std::uint64_t>(*reinterpret_cast<std::uint64_t*>(m_base));
    }

    Setup m_setup;
    std::uint64_t m_slots;
    std::size_t m_bytes;
    unsigned char* m_base;
    std::uint64_t m_count = 0; ///< the writer's and, in its own process, the reader's
};
