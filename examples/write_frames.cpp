// SPDX-License-Identifier: Apache-2.0
// examples/write_frames.cpp - writes small made-up frames into a FIFO, 25 a second, a key frame each second.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "shmfifo.h"

int main(int argc, char** argv)
{
    ShmFifoHandler handler; // removes the FIFO when it goes
    ShmStreamFifo* const pFifo = handler.GetStreamFifo(argc > 1 ? std::atoi(argv[1]) : 22016, 64 * 1024, 30);
    if (pFifo == nullptr) {
        std::fprintf(stderr, "write_frames: no stream can be made under this key\n");
        return 1;
    }
    pFifo->SetCodec("H264");
    pFifo->SetResolution(1920, 1080);
    const int count = argc > 2 ? std::atoi(argv[2]) : 250;
    for (int i = 0; i < count; ++i) {
        std::vector<unsigned char> frame(static_cast<std::size_t>(1000 + i), static_cast<unsigned char>(i));
        const int flags = i % 25 == 0 ? FRAME_I : FRAME_P;
        if (pFifo->WriteData(frame.data(), static_cast<int>(frame.size()), i * 40LL, MEDIA_ES_VIDEO, flags,
                             1) != 0) {
            std::fprintf(stderr, "write_frames: frame %d is lost\n", i);
        }
        ::usleep(40000);
    }
    return 0;
}
