// SPDX-License-Identifier: Apache-2.0
// tests/utils/use_as_reader.h - everything that a reader can do with a FIFO, whatever is in it.
#pragma once

#include <list>
#include <vector>

#include "shmfiforeader.h"

/// Reads in every way; it is to come back. @return whether each size that it was given fits
inline bool UseAsReader(ShmFifoReader& reader, int lastId)
{
    ShmStreamFifo& fifo = *reader.GetFifo();
    unsigned sum = 0;
    const auto look = [](void* ctx, DataEntry*, unsigned char* bytes, int size) {
        *static_cast<unsigned*>(ctx) += size > 0 ? bytes[0] + bytes[size - 1] : 0U;
    };
    for (const auto readFn : {static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadNext),
                              static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatest),
                              static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatestIFrame)}) {
        static_cast<void>(reader.Read(&sum, look, readFn));
    }
    static std::vector<unsigned char> room(1 << 16);
    unsigned char* buf = room.data();
    int size = static_cast<int>(room.size());
    const bool isRead = fifo.ReadLatest(lastId, buf, size, true) == 0;
    unsigned char* copy = nullptr;
    int copySize = 0;
    static_cast<void>(fifo.ReadLatest(copy, copySize)); // into an array that it makes
    delete[] copy;
    std::list<int> found;
    fifo.SearchNearIdx(lastId, found);
    ESFormat format;
    static_cast<void>(reader.FillVdoFmt(format));
    static_cast<void>(reader.FillAdoFmt(format));
    static_cast<void>(fifo.GetReadBPS());
    static_cast<void>(fifo.GetWriteFPS());
    return !isRead || (size >= 0 && size <= static_cast<int>(room.size()));
}
