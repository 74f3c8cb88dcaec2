// SPDX-License-Identifier: Apache-2.0
// bench/rivals/zeromq.h - ZeroMQ PUSH and PULL over ipc://. It copies the frame into a message of its own,
// since the source's buffer is filled again at once; the high-water marks hold the writer back.
#pragma once

#include <unistd.h>

#include <string>

#include "rivals/contender.h"
#ifdef VX_HAVE_ZMQ
#include <zmq.h>
#endif

class ZeroMq {
public:
    static constexpr bool OWN_THREADS = true;
#ifdef VX_HAVE_ZMQ
    static const char* Missing() noexcept
    {
        return nullptr;
    }

    explicit ZeroMq(const Setup& setup)
        : m_path("/tmp/vxbench-" + std::to_string(::getpid()) + ".ipc"),
          m_highWater(static_cast<int>(setup.depth))
    {}
    ~ZeroMq()
    {
        ::unlink(m_path.c_str());
    }
    ZeroMq(const ZeroMq&) = delete;
    ZeroMq& operator=(const ZeroMq&) = delete;

    int OpenWriter()
    {
        return Open(ZMQ_PUSH, ZMQ_SNDHWM) && zmq_bind(m_socket, Address().c_str()) == 0 ? 0 : -1;
    }
    int OpenReader()
    {
        return Open(ZMQ_PULL, ZMQ_RCVHWM) && zmq_connect(m_socket, Address().c_str()) == 0 ? 0 : -1;
    }
    void CloseWriter()
    {
        Close();
    }
    void CloseReader()
    {
        Close();
    }
    bool WriterConnected() noexcept
    {
        return true;
    } // a send waits for the peer

    int Publish(const unsigned char* data, std::size_t size)
    {
        return zmq_send(m_socket, data, size, 0) == static_cast<int>(size) ? 0 : -1;
    }
    template <typename F>
    bool Receive(F&& onFrame)
    {
        zmq_msg_t message;
        zmq_msg_init(&message);
        const bool got = zmq_msg_recv(&message, m_socket, 0) >= 0;
        if (got) {
            onFrame(static_cast<const unsigned char*>(zmq_msg_data(&message)), zmq_msg_size(&message));
        }
        zmq_msg_close(&message);
        return got;
    }

private:
    std::string Address() const
    {
        return "ipc://" + m_path;
    }
    bool Open(int type, int highWaterOption)
    {
        m_context = zmq_ctx_new();
        m_socket = zmq_socket(m_context, type);
        return m_socket != nullptr &&
               zmq_setsockopt(m_socket, highWaterOption, &m_highWater, sizeof m_highWater) == 0;
    }
    void Close()
    {
        zmq_close(m_socket);
        zmq_ctx_term(m_context);
    }

    std::string m_path;
    int m_highWater;
    void* m_context = nullptr;
    void* m_socket = nullptr;
#else
    static const char* Missing() noexcept
    {
        return "libzmq3-dev is not installed";
    }
#endif
};
