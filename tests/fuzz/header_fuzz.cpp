// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/header_fuzz.cpp - a FIFO whose header and frames are written over while it is read and written.
#include <fuzzer/FuzzedDataProvider.h>
#include <sched.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstring>

#include "fuzz_root.h"
#include "shmfifo.h"
#include "shmfifoinspect.h"
#include "utils/use_as_reader.h"

namespace {

/// Segments of this program's own, which the kernel removes with it; without that they stay when it is killed.
int FreeKey()
{
    static_cast<void>(::unshare(CLONE_NEWIPC));
    return 0x5A000000 + (::getpid() & 0xFFFF) * 64;
}

void WriteFrame(ShmStreamFifo& fifo, int size, int flags)
{
    static std::vector<unsigned char> frame(3000, 0x5A);
    static_cast<void>(fifo.WriteData(frame.data(), size, 1, MEDIA_ES_VIDEO, flags, 1));
}

/// Bytes of the input over a place of the header behind its mutex, which has a test of its own.
void Scribble(FuzzedDataProvider& input, ShmStreamFifo& fifo)
{
    const auto at = input.ConsumeIntegralInRange<std::size_t>(sizeof(VxRbMutex), sizeof(ShmStreamFifo) - 1);
    const std::vector<std::uint8_t> bytes = input.ConsumeBytes<std::uint8_t>(
        input.ConsumeIntegralInRange<std::size_t>(1, std::min<std::size_t>(64, sizeof(ShmStreamFifo) - at)));
    if (!bytes.empty()) {
        std::memcpy(reinterpret_cast<unsigned char*>(&fifo) + at, bytes.data(), bytes.size());
    }
}

void ScribbleFrame(FuzzedDataProvider& input, int key)
{
    const int id = ::shmget(key + input.ConsumeIntegralInRange(1, 10), 0, 0);
    void* const pEntry = id >= 0 ? ::shmat(id, nullptr, 0) : reinterpret_cast<void*>(-1);
    if (pEntry != reinterpret_cast<void*>(-1)) {
        const auto word = input.ConsumeIntegral<std::uint32_t>();
        std::memcpy(static_cast<unsigned char*>(pEntry) + input.ConsumeIntegralInRange<std::size_t>(0, 8) * 4,
                    &word, sizeof(word));
        ::shmdt(pEntry);
    }
}

void RemoveAll(int key)
{
    for (int i = 0; i <= SHM_FIFO_MAX_COUNT; ++i) {
        if (const int id = ::shmget(key + i, 0, 0); id >= 0) {
            ::shmctl(id, IPC_RMID, nullptr);
        }
    }
}

} // namespace

/// A list of steps: write, read, scribble over the header, scribble over a frame, look from outside.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    static const int key = FreeKey();
    FuzzedDataProvider input(data, size);
    {
        ShmFifoHandler handler;
        ShmStreamFifo* const pFifo = handler.GetStreamFifo(key, 1000, 10);
        ShmFifoReader reader;
        Require(pFifo != nullptr && reader.Init(key, true) == 0, "a FIFO can be made and read");
        WriteFrame(*pFifo, 500, FRAME_I);
        for (int step = 0; step < 40 && input.remaining_bytes() > 0; ++step) {
            ShmFifoSnapshot snapshot;
            switch (input.ConsumeIntegralInRange(0, 4)) {
            case 0:
                WriteFrame(*pFifo, input.ConsumeIntegralInRange(0, 3000),
                           input.ConsumeBool() ? FRAME_I : FRAME_P);
                break;
            case 1:
                Require(UseAsReader(reader, input.ConsumeIntegral<int>()), "a frame fits its room");
                break;
            case 2:
                Scribble(input, *pFifo);
                break;
            case 3:
                ScribbleFrame(input, key);
                break;
            default:
                static_cast<void>(ShmFifoInspector::Inspect(key, snapshot));
            }
        }
        Require(UseAsReader(reader, SHM_FIFO_NO_FRAME_ID), "a frame fits its room");
    }
    RemoveAll(key); // handles that were written over cannot be removed by their ids
    return 0;
}
