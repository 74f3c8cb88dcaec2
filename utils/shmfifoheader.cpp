// SPDX-License-Identifier: Apache-2.0
// utils/shmfifoheader.cpp - the words in the header that describe the stream.
#include <cstdio>

#include "shm_sync.h"
#include "shmfifo.h"

ShmStreamFifo::CodecName ShmStreamFifo::CodecText() const noexcept
{
    CodecName name{};
    for (int i = 0; i < SHM_FIFO_CODEC_SIZE - 1; ++i) {
        name.text[i] = ShmLoad(m_codec[i]);
    }
    return name;
}

void ShmStreamFifo::SetCodec(const std::string& codec) noexcept
{
    CodecName name{};
    std::snprintf(name.text, sizeof(name.text), "%s", codec.c_str());
    const VxRbGuard guard(m_lock);
    if (guard.Held()) {
        for (int i = 0; i < SHM_FIFO_CODEC_SIZE; ++i) {
            ShmStore(m_codec[i], name.text[i]);
        }
    }
}

std::string ShmStreamFifo::GetCodec() noexcept
try {
    const VxRbGuard guard(m_lock);
    return guard.Held() ? CodecText().text : "";
} catch (const std::bad_alloc&) {
    return {}; // a name of 16 letters and more does not fit into the string itself
}

void ShmStreamFifo::SetResolution(int width, int height) noexcept
{
    ShmStore(m_width, width);
    ShmStore(m_height, height);
}

int ShmStreamFifo::GetWidth() const noexcept
{
    return ShmLoad(m_width);
}

int ShmStreamFifo::GetHeight() const noexcept
{
    return ShmLoad(m_height);
}

void ShmStreamFifo::AccConnectCnt() noexcept
{
    static_cast<void>(ShmAdd(m_connectCnt, 1));
}

int ShmStreamFifo::GetConnectCnt() const noexcept
{
    return ShmLoad(m_connectCnt);
}

void ShmStreamFifo::ClearLatestIframeIdx() noexcept
{
    ShmStore(m_latestIframeIdx, -1);
}

bool ShmStreamFifo::IsIFrameReady() const noexcept
{
    return ShmLoad(m_latestIframeIdx) >= 0;
}

int ShmStreamFifo::GetFifoCnt() const noexcept
{
    const int count = ShmLoad(m_fifoCnt);
    ShmFullBarrier(); // pairs with Init()
    return count;
}

int ShmStreamFifo::GetNewestId() const noexcept
{
    const int lastIdx = ShmLoad(m_lastIdx);
    ShmFullBarrier(); // pairs with TryStopWrite(): the slot's ID is as new as the index
    return lastIdx < 0 || lastIdx >= SHM_FIFO_MAX_COUNT ? SHM_FIFO_NO_FRAME_ID
                                                        : ShmLoad(m_entryArr[lastIdx].id);
}

bool ShmStreamFifo::IsAttached() const noexcept
{
    return ShmLoad(m_attached) != 0;
}
