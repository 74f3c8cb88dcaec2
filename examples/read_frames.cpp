// SPDX-License-Identifier: Apache-2.0
// examples/read_frames.cpp - prints one line for each frame of a FIFO until its writer is gone.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "shmfiforeader.h"

static void PrintFrame(void* /*ctx*/, DataEntry* pEntry, unsigned char* data, int size)
{
    std::printf("frame %d: %d bytes, first 0x%02x%s\n", pEntry->id, size, static_cast<unsigned>(data[0]),
                (pEntry->flags & FRAME_I) != 0 ? ", key frame" : "");
}

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // each line at once, also into a pipe
    ShmFifoReader reader;
    if (reader.Init(argc > 1 ? std::atoi(argv[1]) : 22016, true) != 0 || reader.IsClose()) {
        std::fprintf(stderr, "read_frames: no stream under this key\n");
        return 1;
    }
    while (!reader.IsClose() && !reader.IsNoData()) {
        if (!reader.Read(nullptr, PrintFrame, &ShmStreamFifo::ReadNext)) {
            ::usleep(2000);
        }
    }
    return 0;
}
