// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_test.cpp - one writer and one reader.
#include "shmfifo.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "shmfiforeader.h"

TEST(ShmFifoTest, FrameCrossesProcesses)
{
    const int key = 0x5A000000 + (getpid() & 0xFFFF) * 64;
    ShmFifoHandler handler;
    ShmStreamFifo* const pFifo = handler.GetStreamFifo(key, 1000, 5);
    ASSERT_NE(pFifo, nullptr);
    EXPECT_EQ(pFifo->GetFifoCnt(), 10);
    pFifo->SetCodec("H264");
    unsigned char frame[500];
    memset(frame, 7, sizeof(frame));
    ASSERT_EQ(pFifo->WriteData(frame, 500, 99, MEDIA_ES_VIDEO, FRAME_I, 1), 0);
    const pid_t child = fork();
    if (child == 0) {
        ShmFifoReader reader;
        if (reader.Init(key, true) != 0 || reader.GetFifo()->GetCodec() != "H264") {
            _exit(1);
        }
        const bool ok = reader.Read(
            nullptr,
            [](void*, DataEntry* e, unsigned char* d, int n) {
                if (n != 500 || d[499] != 7 || e->timestamp != 99)
                    _exit(3);
            },
            &ShmStreamFifo::ReadNext);
        unsigned char* buf = nullptr;
        int size = 0;
        if (reader.GetFifo()->ReadLatest(buf, size) != 0 || size != 500) {
            _exit(4);
        }
        reader.Free();
        _exit(ok ? 0 : 2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}
