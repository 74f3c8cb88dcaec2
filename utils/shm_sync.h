// SPDX-License-Identifier: Apache-2.0
// utils/shm_sync.h - every atomic access of the stream FIFO, with its order and its counterpart.
#pragma once

#include <atomic>
#include <cstdint>

/// A full barrier around the atomic steps of the mark word. Where those steps are full barriers themselves
/// (x86) it only holds the compiler; elsewhere it orders the frame's bytes against the word on both sides.
inline void ShmFullBarrier() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    std::atomic_signal_fence(std::memory_order_seq_cst);
#else
    std::atomic_thread_fence(std::memory_order_seq_cst);
#endif
}

/// Reads a plain word of shared memory once. What it must be ordered against, the mark word orders.
template <typename T>
T ShmLoad(const T& word) noexcept
{
    return std::atomic_ref<T>(const_cast<T&>(word)).load(std::memory_order_relaxed);
}

/// Writes a plain word of shared memory. Published by the next step of the mark word that follows it.
template <typename T>
void ShmStore(T& word, T value) noexcept
{
    std::atomic_ref<T>(word).store(value, std::memory_order_relaxed);
}

/// Adds to a counter that many processes share; wraps. Orders nothing: counters are only counted.
/// @return the sum.
inline std::int32_t ShmAdd(std::int32_t& counter, std::int32_t value) noexcept
{
    const std::int32_t before =
        std::atomic_ref<std::int32_t>(counter).fetch_add(value, std::memory_order_relaxed);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(before) + static_cast<std::uint32_t>(value));
}

/// The mark word of a slot: bits 28..31 pending writer marks, bits 0..27 readers.
///
///   free --AddWriter--> wanted --(readers leave)--> written --ClearWriter--> free
///   free --AddReader--> read   --DropReader-------> free
///   wanted, fifth mark: TakeByForce, the readers' counts are thrown away on purpose
///
/// seq_cst throughout: processes of different builds rely on full barriers on both sides.
class MarkWord {
public:
    static constexpr std::uint32_t WRITER_MARK = 0x10000000U;
    static constexpr std::uint32_t WRITER_MASK = 0xF0000000U;
    static constexpr std::uint32_t READER_MASK = 0x0FFFFFFFU;
    static constexpr std::int32_t MAX_PENDING = 0x4FFFFFFF;

    explicit MarkWord(std::uint32_t& word) noexcept : m_word(word) {}

    /// Pairs with AddReader(): whichever comes second sees the other's mark.
    std::uint32_t AddWriter() noexcept
    {
        ShmFullBarrier();
        const std::uint32_t now = m_word.fetch_add(WRITER_MARK, std::memory_order_seq_cst) + WRITER_MARK;
        ShmFullBarrier();
        return now;
    }

    /// One mark, no readers. Comes before the first byte that is overwritten; pairs with LoadAfterCopy().
    void TakeByForce() noexcept
    {
        m_word.store(WRITER_MARK, std::memory_order_seq_cst);
        ShmFullBarrier();
    }

    /// Releases the frame bytes and the slot to the reader whose AddReader() follows.
    void ClearWriter() noexcept
    {
        ShmFullBarrier();
        m_word.fetch_and(READER_MASK, std::memory_order_seq_cst);
        ShmFullBarrier();
    }

    /// Counts one reader in, unless a writer has marked the slot. The word is exchanged as a whole, so that a
    /// refused reader never shows in it: after TakeByForce() the count is 0 until ClearWriter().
    /// Pairs with AddWriter() and, for the frame, with ClearWriter().
    bool AddReader() noexcept
    {
        ShmFullBarrier();
        std::uint32_t seen = m_word.load(std::memory_order_relaxed);
        while (seen < READER_MASK) {
            if (m_word.compare_exchange_weak(seen, seen + 1, std::memory_order_seq_cst,
                                             std::memory_order_relaxed)) {
                ShmFullBarrier();
                return true;
            }
        }
        return false;
    }

    /// Counts one reader out; a count that was thrown away by force is not taken below 0.
    /// Releases the reader's last look at the frame to the AddWriter() that follows.
    void DropReader() noexcept
    {
        ShmFullBarrier();
        std::uint32_t seen = m_word.load(std::memory_order_relaxed);
        while ((seen & READER_MASK) != 0) {
            if (m_word.compare_exchange_weak(seen, seen - 1, std::memory_order_seq_cst,
                                             std::memory_order_relaxed)) {
                break;
            }
        }
        ShmFullBarrier();
    }

    /// The word as it is after everything that was read before. Pairs with TakeByForce(): a reader whose copy
    /// saw a byte of the new frame finds the word changed.
    std::uint32_t LoadAfterCopy() noexcept
    {
#if !defined(__SANITIZE_THREAD__) // does not know fences; the copy is suppressed there anyway
        std::atomic_thread_fence(std::memory_order_acquire);
#endif
        return m_word.load(std::memory_order_acquire);
    }

private:
    std::atomic_ref<std::uint32_t> m_word;
};
static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free);
static_assert(std::atomic_ref<std::int32_t>::is_always_lock_free);
