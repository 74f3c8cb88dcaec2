// SPDX-License-Identifier: Apache-2.0
// bench/rivals/boost_queue.h - Boost.Interprocess message_queue: a ring of messages under a shared mutex.
// Copies in and out; the queue itself holds the writer back when it is full. Both sides poll.
#pragma once

#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "rivals/contender.h"
#ifdef VX_HAVE_BOOST
#include <boost/interprocess/ipc/message_queue.hpp>
#endif

class BoostQueue {
public:
    static constexpr bool OWN_THREADS = false;
#ifdef VX_HAVE_BOOST
    static const char* Missing() noexcept
    {
        return nullptr;
    }

    explicit BoostQueue(const Setup& setup)
        : m_name("vxbench-" + std::to_string(::getpid())), m_received(setup.frameSize)
    {
        Queue::remove(m_name.c_str());
        m_queue = std::make_unique<Queue>(boost::interprocess::create_only, m_name.c_str(), setup.depth,
                                          setup.frameSize);
    }
    ~BoostQueue()
    {
        Queue::remove(m_name.c_str());
    }
    BoostQueue(const BoostQueue&) = delete;
    BoostQueue& operator=(const BoostQueue&) = delete;

    int OpenWriter() noexcept
    {
        return 0;
    }
    int OpenReader() noexcept
    {
        return 0;
    }
    void CloseWriter() noexcept {}
    void CloseReader() noexcept {}
    bool WriterConnected() noexcept
    {
        return true;
    }

    int Publish(const unsigned char* data, std::size_t size)
    {
        while (!m_queue->try_send(data, size, 0)) {
            SpinTurn();
        }
        return 0;
    }
    template <typename F>
    bool Receive(F&& onFrame)
    {
        std::size_t size = 0;
        unsigned priority = 0;
        if (!m_queue->try_receive(m_received.data(), m_received.size(), size, priority)) {
            return false;
        }
        onFrame(m_received.data(), size);
        return true;
    }

private:
    using Queue = boost::interprocess::message_queue;
    std::string m_name;
    std::vector<unsigned char> m_received;
    std::unique_ptr<Queue> m_queue;
#else
    static const char* Missing() noexcept
    {
        return "libboost-dev is not installed";
    }
#endif
};
