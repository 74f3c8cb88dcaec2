// SPDX-License-Identifier: Apache-2.0
// tools/fifo_publisher.cpp - writes the frames of one track into one FIFO.
#include "fifo_publisher.h"

#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "shmfifoinspect.h"
#include "sysv_shm.h"

namespace {

constexpr std::int64_t LOOK_NS = 1000000000;

} // namespace

FifoPublisher::FifoPublisher(FifoPlan plan, bool prefault, FrameTrace* pTrace)
    : m_plan(std::move(plan)), m_pTrace(pTrace), m_prefault(prefault)
{}

Trouble FifoPublisher::Create(const TrackFormat& format)
{
    m_pHandler = std::make_unique<ShmFifoHandler>();
    m_pHandler->SetPrefault(m_prefault);
    m_pFifo = m_pHandler->GetStreamFifo(m_plan.key, m_plan.entrySize, m_plan.slots);
    if (m_pFifo == nullptr || m_pFifo->GetFifoCnt() < SHM_FIFO_MIN_COUNT) {
        Remove();
        return ExplainFailure(m_plan);
    }
    m_shmId = ShmIdUnder(m_plan.key);
    m_nextId = 0;
    m_pLastFormat = std::make_shared<TrackFormat>(format);
    Announce(format);
    return {};
}

void FifoPublisher::Announce(const TrackFormat& format)
{
    m_pFifo->SetCodec(format.codec);
    if (format.extra.size() > SHM_FIFO_MAX_EXTRA_SIZE) {
        Note("capture", m_plan.option + " " + std::to_string(m_plan.key) +
                            ": the decoder configuration has " + std::to_string(format.extra.size()) +
                            " bytes, a FIFO carries " + std::to_string(SHM_FIFO_MAX_EXTRA_SIZE) +
                            "; readers may have to wait for parameter sets in the stream");
    }
    m_pFifo->SetExtra(format.extra.data(), static_cast<int>(format.extra.size()));
    if (format.isVideo) {
        m_pFifo->SetResolution(format.width, format.height);
        ++m_counts.resolutions;
    }
}

bool FifoPublisher::IsTooLarge(int size)
{
    if (size < SHM_FIFO_MAX_ENTRY_SIZE) {
        return false;
    }
    if (m_counts.refused++ == 0) {
        Note("capture", m_plan.option + " " + std::to_string(m_plan.key) + ": a frame of " +
                            std::to_string(size) + " bytes is left out, a slot holds less than " +
                            std::to_string(SHM_FIFO_MAX_ENTRY_SIZE) +
                            "; lower the source's bit rate (further ones are only counted)");
    }
    return true;
}

/// Whether no reader can come to this FIFO any more. What is written into one that was removed arrives nowhere,
/// and nothing else says so; one whose header makes no sense refuses the frames.
bool FifoPublisher::IsLost()
{
    if (ShmIdUnder(m_plan.key) != m_shmId || !m_pFifo->IsAttached()) {
        return true;
    }
    ShmFifoSnapshot snapshot;
    return std::exchange(m_droppedAtLook, m_counts.dropped) != m_counts.dropped &&
           ShmFifoInspector::Inspect(m_plan.key, snapshot) != ShmInspectResult::OK;
}

Trouble FifoPublisher::MakeAnewIfLost()
{
    const std::int64_t now = MonotonicNs();
    if (now < m_nextLookNs) {
        return {};
    }
    m_nextLookNs = now + LOOK_NS;
    if (!IsLost()) {
        return {};
    }
    Note("capture", m_plan.option + " " + std::to_string(m_plan.key) +
                        ": somebody has removed the FIFO or written over it; it is made anew");
    Remove();
    const std::shared_ptr<const TrackFormat> format = m_pLastFormat;
    Trouble trouble = PrepareKeys(m_plan);
    return trouble ? trouble : Create(*format);
}

Trouble FifoPublisher::Publish(const MediaFrame& frame)
{
    if (Trouble trouble = MakeAnewIfLost()) {
        return trouble;
    }
    if (frame.format != m_pLastFormat) {
        if (*frame.format != *m_pLastFormat) {
            Announce(*frame.format);
        }
        m_pLastFormat = frame.format;
    }
    const AVPacket& packet = *frame.packet;
    if (IsTooLarge(packet.size)) {
        return {};
    }
    const std::int64_t ns = MonotonicNs();
    const MediaES es = frame.format->isVideo ? MEDIA_ES_VIDEO : MEDIA_ES_AUDIO;
    if (m_pFifo->WriteData(packet.data, packet.size, frame.ptsUs, es, frame.flags, 1) != 0) {
        if (m_counts.dropped++ == 0) {
            Note("capture", m_plan.option + " " + std::to_string(m_plan.key) +
                                ": a frame is lost, as no slot was free or memory for it could not be had; "
                                "see vx log tail (further ones are only counted)");
        }
        return {};
    }
    if (m_pTrace != nullptr) {
        m_pTrace->Add(m_plan.key, m_nextId, frame.ptsUs, packet.data, static_cast<std::size_t>(packet.size),
                      frame.flags, ns);
    }
    m_nextId = m_nextId < SHM_FIFO_MAX_FRAME_ID ? m_nextId + 1 : 0;
    ++m_counts.frames;
    m_counts.keyFrames += (frame.flags & FRAME_I) != 0 ? 1 : 0;
    m_counts.bytes += packet.size;
    return {};
}

void FifoPublisher::Remove()
{
    m_pFifo = nullptr;
    m_pHandler.reset();
    if (std::exchange(m_shmId, -1) < 0) {
        return;
    }
    for (const ShmRow& row : ListShm()) { // a header that was written over does not lead to its slots
        const bool isOurs = row.key > m_plan.key && row.key - m_plan.key <= SHM_FIFO_MAX_COUNT;
        if (isOurs && row.creator == ::getpid()) {
            static_cast<void>(RemoveShm(row.shmId)); // the next start tries again, and says why it cannot
        }
    }
}

int FifoPublisher::Readers() const
{
    struct shmid_ds info = {};
    if (m_pFifo == nullptr || ::shmctl(m_shmId, IPC_STAT, &info) != 0 || info.shm_nattch == 0) {
        return 0;
    }
    const int attached = static_cast<int>(info.shm_nattch) - 1; // one is our own
    return std::min(attached, m_pFifo->GetConnectCnt());
}
