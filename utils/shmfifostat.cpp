// SPDX-License-Identifier: Apache-2.0
// utils/shmfifostat.cpp - the rates of a stream FIFO: what goes in by the monotonic clock, what comes out by
// the wall clock.
#include <cstdint>

#include "package/monoclock.h"
#include "shm_sync.h"
#include "shmfifo.h"

namespace {

constexpr int PERIOD_SEC = 10; ///< a longer period than this is measured and ended
constexpr int STALE_SEC = 20;  ///< a rate this old is none

/// Rounded; a counter that wrapped once is still right.
int RateOf(std::int32_t counter, std::int64_t elapsedSec) noexcept
{
    return static_cast<int>((std::int64_t{static_cast<std::uint32_t>(counter)} + elapsedSec / 2) /
                            elapsedSec);
}

std::int32_t WallSec() noexcept
{
    return static_cast<std::int32_t>(GetWallTimeSec()); // the shared word has 32 bits
}

} // namespace

void ShmStreamFifo::WriteStat::Reset() noexcept
{
    ShmStore(m_frames, 0);
    ShmStore(m_fps, -1);
    ShmStore(m_startSec, GetMonoTimeSec());
}

void ShmStreamFifo::WriteStat::Update(const DataEntry* pEntry) noexcept
{
    const std::int32_t now = GetMonoTimeSec();
    // The writer alone counts here: no atomic step, which would wait for the line that readers are looking at.
    const auto frames = static_cast<std::int32_t>(static_cast<std::uint32_t>(ShmLoad(m_frames)) +
                                                  static_cast<std::uint32_t>(ShmLoad(pEntry->frameCnt)));
    const std::int64_t elapsedSec = std::int64_t{now} - ShmLoad(m_startSec);
    if (elapsedSec > PERIOD_SEC) {
        ShmStore(m_startSec, now);
        ShmStore(m_fps, RateOf(frames, elapsedSec));
    }
    ShmStore(m_frames, elapsedSec > PERIOD_SEC ? 0 : frames);
}

bool ShmStreamFifo::WriteStat::IsStale() const noexcept
{
    return std::int64_t{GetMonoTimeSec()} - ShmLoad(m_startSec) >= STALE_SEC;
}

int ShmStreamFifo::WriteStat::GetFPS() noexcept
{
    if (IsStale()) {
        ShmStore(m_fps, 0);
    }
    return ShmLoad(m_fps);
}

int ShmStreamFifo::WriteStat::PeekFPS() const noexcept
{
    return IsStale() ? 0 : ShmLoad(m_fps);
}

void ShmStreamFifo::ReadStat::Reset() noexcept
{
    ShmStore(m_frames, 0);
    ShmStore(m_bytes, 0);
    ShmStore(m_fps, 0);
    ShmStore(m_bps, 0);
    ShmStore(m_startSec, WallSec());
}

void ShmStreamFifo::ReadStat::Add(int frameCnt, int size) noexcept
{
    const std::int32_t now = WallSec();
    const std::int32_t frames = ShmAdd(m_frames, frameCnt);
    const std::int32_t bytes = ShmAdd(m_bytes, size);
    const std::int64_t elapsedSec = std::int64_t{now} - ShmLoad(m_startSec);
    if (elapsedSec > PERIOD_SEC) {
        ShmStore(m_startSec, now);
        ShmStore(m_frames, 0);
        ShmStore(m_bytes, 0);
        ShmStore(m_fps, RateOf(frames, elapsedSec));
        ShmStore(m_bps, RateOf(bytes, elapsedSec));
    }
}

void ShmStreamFifo::ReadStat::Update(const DataEntry* pEntry) noexcept
{
    Add(ShmLoad(pEntry->frameCnt), ShmLoad(pEntry->size));
}

bool ShmStreamFifo::ReadStat::IsStale() const noexcept
{
    return std::difftime(GetWallTimeSec(), ShmLoad(m_startSec)) >= STALE_SEC;
}

int ShmStreamFifo::ReadStat::GetFPS() noexcept
{
    if (IsStale()) {
        ShmStore(m_fps, 0);
    }
    return ShmLoad(m_fps);
}

int ShmStreamFifo::ReadStat::GetBPS() noexcept
{
    if (IsStale()) {
        ShmStore(m_bps, 0);
    }
    return ShmLoad(m_bps);
}

int ShmStreamFifo::ReadStat::PeekFPS() const noexcept
{
    return IsStale() ? 0 : ShmLoad(m_fps);
}

int ShmStreamFifo::ReadStat::PeekBPS() const noexcept
{
    return IsStale() ? 0 : ShmLoad(m_bps);
}

int ShmStreamFifo::GetWriteFPS() noexcept
{
    return m_writeStat.GetFPS();
}

int ShmStreamFifo::GetReadFPS() noexcept
{
    return m_readStat.GetFPS();
}

int ShmStreamFifo::GetReadBPS() noexcept
{
    return m_readStat.GetBPS();
}
