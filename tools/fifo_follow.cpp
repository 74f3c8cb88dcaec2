// SPDX-License-Identifier: Apache-2.0
// tools/fifo_follow.cpp - follows one FIFO.
#include "fifo_follow.h"

#include <chrono>
#include <ctime>
#include <utility>

#include "fail.h"
#include "fifo_common.h"
#include "frame_trace.h"
#include "sysv_shm.h"

int FramesBetween(int from, int to)
{
    constexpr int ID_CNT = SHM_FIFO_MAX_FRAME_ID + 1;
    return ((to - from - 1) % ID_CNT + ID_CNT) % ID_CNT;
}

std::string FifoFollower::Attach(ExitCode& exitCode)
{
    const int shmId = ShmIdUnder(m_key);
    std::string why = WhyUnreadable(m_key, exitCode);
    if (!why.empty()) {
        return why;
    }
    exitCode = EXIT_UNREACHABLE;
    why = WhyNoFrames();
    if (!why.empty()) {
        return why;
    }
    if (m_reader.Init(m_key, false) != 0 || ShmIdUnder(m_key) != shmId) {
        m_reader.Free();
        return "key " + KeyText(m_key) + ": the FIFO went away while it was attached";
    }
    if (m_reader.IsClose()) {
        m_reader.Free();
        return "key " + KeyText(m_key) + ": the FIFO is closed; start its capture process";
    }
    if (Fifo().GetFifoCnt() == 0) {
        m_reader.Free();
        return "key " + KeyText(m_key) +
               ": the FIFO has no slots yet; try again when its writer has made them";
    }
    m_shmId = shmId;
    m_attachedNs = MonotonicNs();
    m_lookedNs = m_attachedNs;
    m_fromFirst = m_reader.StartAtFirst();
    m_any = false;
    m_previousId = m_reader.GetLastId();
    m_wantKeyFrame = m_start == Start::KEY_FRAME;
    Fifo().AccConnectCnt();
    return {};
}

bool FifoFollower::Attach(std::string_view verb, bool mayWait, const StopSignal& stop)
{
    constexpr std::chrono::milliseconds LOOK_PERIOD{5}; // soon enough for the first frame of a new writer
    ExitCode exitCode = EXIT_DONE;
    for (std::string why = Attach(exitCode); !why.empty(); why = Attach(exitCode)) {
        if (!mayWait) {
            Fail(exitCode, verb, "{}", why);
        }
        if (stop.WaitFor(LOOK_PERIOD)) {
            return false;
        }
    }
    return !stop.Stopped();
}

void FifoFollower::Detach()
{
    m_reader.Free();
    m_shmId = -1;
}

void FifoFollower::Copy(void* ctx, DataEntry* pEntry, unsigned char* data, int size)
{
    FifoFollower& self = *static_cast<FifoFollower*>(ctx);
    FollowedFrame& frame = *self.m_pFrame;
    frame.foundNs = MonotonicNs();
    frame.id = pEntry->id;
    frame.flags = pEntry->flags;
    frame.es = pEntry->es;
    frame.timestamp = pEntry->timestamp;
    frame.bytes.assign(data, data + size);
    self.m_intact = self.Fifo().IsIntact(pEntry, frame.id);
}

FifoFollower::Step FifoFollower::Next(FollowedFrame& frame)
{
    m_pFrame = &frame;
    const int newestId = Fifo().GetNewestId();
    const bool first = m_fromFirst && (newestId == SHM_FIFO_NO_FRAME_ID || newestId < Fifo().GetFifoCnt());
    const bool keyFrame = m_wantKeyFrame && !first && Fifo().IsIFrameReady();
    const bool waiting = m_wantKeyFrame && !first && !keyFrame && MayHaveKeyFrames();
    const auto readFn = keyFrame ? static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatestIFrame)
                                 : static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadNext);
    if (waiting || !m_reader.Read(this, &FifoFollower::Copy, readFn) || !m_intact) {
        return IsGone() ? Step::GONE : Step::NOTHING;
    }
    m_wantKeyFrame = false;
    m_fromFirst = false;
    frame.first = !std::exchange(m_any, true);
    frame.previousId = m_previousId;
    frame.lost = m_previousId == SHM_FIFO_NO_FRAME_ID ? 0 : FramesBetween(m_previousId, frame.id);
    m_previousId = frame.id;
    return Step::FRAME;
}

/// A writer may name the codec later than it makes the FIFO.
bool FifoFollower::MayHaveKeyFrames()
{
    const std::string codec = Fifo().GetCodec();
    return codec.empty() || codec == "H264" || codec == "H265";
}

bool FifoFollower::IsGone()
{
    m_whyGone = "closed by its writer";
    if (m_reader.IsClose()) {
        return true;
    }
    constexpr std::int64_t LOOK_NS = 250'000'000; // a writer that was killed cannot clear the attached byte
    const std::int64_t nowNs = MonotonicNs();
    if (nowNs - m_lookedNs < LOOK_NS) {
        return false;
    }
    m_lookedNs = nowNs;
    m_whyGone = "removed, or replaced by another writer's";
    if (!m_endWithWriter) {
        return ShmIdUnder(m_key) != m_shmId;
    }
    const std::vector<ShmRow> rows = ListShm();
    const ShmRow* const pRow = FindKey(rows, m_key);
    if (pRow == nullptr || pRow->shmId != m_shmId) {
        return true;
    }
    m_whyGone = "left behind by its writer, which was killed";
    return !CreatorAlive(*pRow);
}

void FifoFollower::Pause()
{
    const timespec halfMs{0, 500'000};
    ::nanosleep(&halfMs, nullptr); // a signal ends it early, which is wanted
}
