// SPDX-License-Identifier: Apache-2.0
// bench/rivals/iceoryx.h - iceoryx 2: chunks loaned from a pool, passed by address. Its daemon runs as a
// child of the benchmark. The writer copies the source frame into the loaned chunk, as a capture process has
// to; the reader works in place. Back-pressure: its own (the publisher waits for a full subscriber queue).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "rivals/contender.h"
#ifdef VX_HAVE_ICEORYX
#include "iceoryx_hoofs/log/logmanager.hpp"
#include "iceoryx_posh/popo/untyped_publisher.hpp"
#include "iceoryx_posh/popo/untyped_subscriber.hpp"
#include "iceoryx_posh/runtime/posh_runtime.hpp"
#include "rivals/iceoryx_daemon.h"
#endif

class Iceoryx {
public:
    static constexpr bool OWN_THREADS = false;
#ifdef VX_HAVE_ICEORYX
    static const char* Missing()
    {
        return IceoryxDaemonRuns() ? nullptr : "its daemon does not start";
    }

    explicit Iceoryx(const Setup& setup)
        : m_depth(std::clamp<std::uint64_t>((8u << 20) / setup.frameSize, 2, setup.depth))
    {
        static unsigned run = 0;
        m_instance = iox::capro::IdString_t(iox::cxx::TruncateToCapacity, std::to_string(++run));
    }

    int OpenWriter()
    {
        Attach({"vxbench-writer"});
        iox::popo::PublisherOptions options;
        options.subscriberTooSlowPolicy = iox::popo::ConsumerTooSlowPolicy::WAIT_FOR_CONSUMER;
        m_publisher = std::make_unique<iox::popo::UntypedPublisher>(Service(), options);
        return 0;
    }
    int OpenReader()
    {
        Attach({"vxbench-reader"});
        iox::popo::SubscriberOptions options;
        options.queueCapacity = m_depth;
        options.queueFullPolicy = iox::popo::QueueFullPolicy::BLOCK_PRODUCER;
        m_subscriber = std::make_unique<iox::popo::UntypedSubscriber>(Service(), options);
        return 0;
    }
    void CloseWriter()
    {
        m_publisher.reset();
    }
    void CloseReader()
    {
        m_subscriber.reset();
    }
    bool WriterConnected()
    {
        return m_publisher->hasSubscribers();
    }

    int Publish(const unsigned char* data, std::size_t size)
    {
        for (;;) {
            auto loan = m_publisher->loan(static_cast<std::uint32_t>(size));
            if (!loan.has_error()) {
                std::memcpy(loan.value(), data, size);
                m_publisher->publish(loan.value());
                return 0;
            }
            SpinTurn(); // the pool is empty until the reader returns a chunk
        }
    }
    template <typename F>
    bool Receive(F&& onFrame)
    {
        auto taken = m_subscriber->take();
        if (taken.has_error()) {
            return false;
        }
        const void* const payload = taken.value();
        onFrame(static_cast<const unsigned char*>(payload),
                iox::mepoo::ChunkHeader::fromUserPayload(payload)->userPayloadSize());
        m_subscriber->release(payload);
        return true;
    }

private:
    static void Attach(const iox::RuntimeName_t& name)
    {
        iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kOff,
                                                                 iox::log::LogLevelOutput::kHideLogLevel);
        iox::runtime::PoshRuntime::initRuntime(name);
    }
    iox::capro::ServiceDescription Service() const
    {
        return {"vxbench", m_instance, "frame"};
    }

    std::uint64_t m_depth; ///< at most 8 MiB wait, so that its chunks stay in the cache
    iox::capro::IdString_t m_instance;
    std::unique_ptr<iox::popo::UntypedPublisher> m_publisher;
    std::unique_ptr<iox::popo::UntypedSubscriber> m_subscriber;
#else
    static const char* Missing() noexcept
    {
        return "libiceoryx-posh-dev is not installed";
    }
#endif
};
