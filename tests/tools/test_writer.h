// SPDX-License-Identifier: Apache-2.0
// tests/tools/test_writer.h - a process that makes a FIFO and writes frames whose bytes are known.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "shmfiforeader.h"
#include "support/child_process.h"

inline const std::string TEST_PARAMETER_SETS("\0\0\0\1\x67sps\0\0\0\1\x68pps", 16);
constexpr int TEST_GOP = 10; ///< every tenth frame is a key frame

/// The bytes of frame number n; sizes differ, so that mixed-up frames show.
inline std::string TestFrame(int n)
{
    return "\x01" + std::to_string(n) +
           std::string(static_cast<std::size_t>(100 + n % 50), static_cast<char>(n));
}

inline int TestFlags(int n)
{
    return n % TEST_GOP == 0 ? FRAME_I : FRAME_P;
}

inline void WriteTestFrame(ShmStreamFifo& fifo, int n)
{
    std::string frame = TestFrame(n);
    fifo.WriteData(reinterpret_cast<unsigned char*>(frame.data()), static_cast<int>(frame.size()),
                   n * 40000LL, MEDIA_ES_VIDEO, TestFlags(n), 1);
}

/// A process that makes an H264 FIFO, runs `work` with it and removes it. Once it is constructed the FIFO is there.
class FifoWriter : public ChildProcess {
public:
    using Work = std::function<void(ShmStreamFifo&, Channel&)>;

    FifoWriter(int key, const Work& work, int slots = 10)
        : ChildProcess([&](Channel& channel) {
              ShmFifoHandler handler;
              ShmStreamFifo* const pFifo = handler.GetStreamFifo(key, 4096, slots);
              if (pFifo == nullptr) {
                  return 1;
              }
              pFifo->SetCodec("H264");
              pFifo->SetResolution(640, 360);
              pFifo->SetExtra(reinterpret_cast<const unsigned char*>(TEST_PARAMETER_SETS.data()),
                              static_cast<int>(TEST_PARAMETER_SETS.size()));
              channel.Send('M');
              work(*pFifo, channel);
              return 0;
          })
    {
        EXPECT_EQ(Receive(), 'M');
    }
};
/// Waits until so many readers have come, ten seconds at most.
inline void AwaitReaders(ShmStreamFifo& fifo, int count)
{
    for (int i = 0; i < 10000 && fifo.GetConnectCnt() < count; ++i) {
        ::usleep(1000);
    }
}

/// Counts as one more reader for AwaitReaders(): how a test tells its writer to go on.
inline void TellWriter(int key)
{
    ShmFifoReader reader;
    if (reader.Init(key, false) == 0) {
        reader.GetFifo()->AccConnectCnt();
    }
}

/// Lives until it is killed.
inline void Forever()
{
    for (;;) {
        ::pause();
    }
}
