// SPDX-License-Identifier: Apache-2.0
// bench/rivals/ours.h - the stream FIFO. A writer never waits for readers there, so the benchmark holds it
// back by the acknowledgement counter outside the FIFO: at most `depth` frames ahead in depth + 2 slots. The
// reader polls.
#pragma once

#include <sys/shm.h>
#include <unistd.h>

#include <type_traits>

#include "rivals/contender.h"
#include "shmfifo.h"
#include "shmfiforeader.h"

/// A header key with 30 free keys behind it, of this process alone.
inline int BenchKey() noexcept
{
    static int run = 0;
    return 0x60000000 | ((::getpid() & 0x3FFFF) << 10) | ((++run & 0x1F) << 5);
}

class Ours {
public:
    static constexpr bool OWN_THREADS = false;
    static const char* Missing() noexcept { return nullptr; }

    explicit Ours(const Setup& setup) : m_setup(setup), m_key(BenchKey()) {}

    /// Removes what a killed writer has left; nothing is there after a clean end.
    ~Ours()
    {
        for (int key = m_key; key <= m_key + SHM_FIFO_MAX_COUNT; ++key) {
            const int shmId = ::shmget(key, 0, 0);
            if (shmId >= 0) {
                ::shmctl(shmId, IPC_RMID, nullptr);
            }
        }
    }
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;
    int Key() const noexcept { return m_key; }

    int OpenWriter() noexcept
    {
        m_fifo = m_handler.GetStreamFifo(m_key, static_cast<int>(m_setup.frameSize),
                                         static_cast<int>(m_setup.depth) + 2);
        return m_fifo != nullptr ? 0 : -1;
    }
    int OpenReader() noexcept { return m_reader.Init(m_key, false); }
    void CloseWriter() noexcept { m_handler.FreeMem(); }
    void CloseReader() noexcept { m_reader.Free(); }
    bool WriterConnected() noexcept { return true; }

    int Publish(unsigned char* data, std::size_t size) noexcept
    {
        for (;;) {
            const std::uint64_t acked = m_setup.page->acked.load(std::memory_order_acquire);
            if (m_published - acked <
                (acked == 0 ? 1 : m_setup.depth)) { // a new reader starts with the newest frame
                break;
            }
            SpinTurn();
        }
        ++m_published;
        return Write(data, size);
    }
    /// Writes without looking at any reader.
    int Write(unsigned char* data, std::size_t size) noexcept
    {
        return m_fifo->WriteData(data, static_cast<int>(size), 0, MediaES{}, FRAME_P, 1);
    }
    template <typename F>
    bool Receive(F&& onFrame) noexcept
    {
        const auto callback = [](void* context, DataEntry*, unsigned char* data, int size) {
            (*static_cast<std::remove_const_t<std::remove_reference_t<F>>*>(context))(
                data, static_cast<std::size_t>(size));
        };
        return m_reader.Read(const_cast<void*>(static_cast<const void*>(&onFrame)), callback,
                             &ShmStreamFifo::ReadNext);
    }

private:
    Setup m_setup;
    int m_key;
    ShmFifoHandler m_handler;
    ShmFifoReader m_reader;
    ShmStreamFifo* m_fifo = nullptr;
    std::uint64_t m_published = 0;
};
