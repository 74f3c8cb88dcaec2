// SPDX-License-Identifier: Apache-2.0
// tools/fifo_subscription.cpp - follows one FIFO from key frame to key frame, also when it goes and comes back.
#include "fifo_subscription.h"

#include <cstring>
#include <ctime>

#include "annexb.h"
#include "fifo_follow.h"
#include "sysv_shm.h"

namespace {

constexpr std::chrono::milliseconds ATTACH_PERIOD{5};
constexpr std::chrono::milliseconds LOOK_PERIOD{500};
constexpr int AUDIO_FORMAT_PERIOD = 50; ///< frames between two looks at the format of sound

bool IsLeftover(int key)
{
    const std::vector<ShmRow> rows = ListShm();
    const ShmRow* const pRow = FindKey(rows, key);
    return pRow != nullptr && !CreatorAlive(*pRow);
}

} // namespace

FifoSubscription::FifoSubscription(int key, bool isVideo, FrameTrace* pTrace)
    : m_key(key), m_isVideo(isVideo), m_pTrace(pTrace)
{}

bool FifoSubscription::Attach()
{
    const auto now = Clock::now();
    if (now < m_nextLook) {
        return false;
    }
    m_nextLook = now + ATTACH_PERIOD;
    const int shmId = ShmIdUnder(m_key);
    if (shmId < 0 || shmId == m_shmId) {
        return false; // nothing there, or what was left a moment ago
    }
    if (IsLeftover(m_key)) {
        m_shmId = shmId; // what a killed writer left is no live stream, however old it is
        return false;
    }
    if (m_reader.Init(m_key, true) != 0) {
        m_nextLook = now + LOOK_PERIOD;
        return false;
    }
    if (m_reader.GetFifo()->GetFifoCnt() == 0) { // its writer is still making it
        m_reader.Free();
        return false;
    }
    m_shmId = shmId;
    m_attached = true;
    m_fromFirst = m_reader.StartAtFirst();
    m_lastId = m_reader.GetLastId();
    m_reader.GetFifo()->AccConnectCnt(); // a writer that waits for its readers counts on us from now on
    m_pFormat.reset();
    m_gap = false;
    m_nextLook = now + LOOK_PERIOD;
    if (m_counts.attached++ > 0) {
        Note("record", "key " + std::to_string(m_key) + ": the FIFO was made anew; attached again");
    }
    return true;
}

void FifoSubscription::Detach()
{
    m_reader.Free();
    m_attached = false;
    m_nextLook = Clock::time_point();
}

/// A writer that died leaves its FIFO open; a new one under the same key is seen by the id of its header.
void FifoSubscription::LookForNewFifo()
{
    if (m_reader.IsClose()) {
        Detach();
        return;
    }
    const auto now = Clock::now();
    if (now >= m_nextLook) {
        m_nextLook = now + LOOK_PERIOD;
        const int shmId = ShmIdUnder(m_key);
        if (shmId >= 0 && shmId != m_shmId) {
            Detach();
        }
    }
}

bool FifoSubscription::IsOrphaned()
{
    if (!m_attached || m_reader.IsClose()) {
        return true;
    }
    const std::vector<ShmRow> rows = ListShm();
    const ShmRow* const pRow = FindKey(rows, m_key);
    return pRow == nullptr || !CreatorAlive(*pRow);
}

std::optional<RecordFrame> FifoSubscription::Poll()
{
    if (!m_attached && !Attach()) {
        return std::nullopt;
    }
    if (m_pFormat == nullptr && !m_problem) {
        m_problem = CheckKind(m_key, m_isVideo, m_reader.GetFifo()->GetCodec());
    }
    const ShmFifoReader::ReadFn readFn = ChooseFrame();
    if (m_problem || readFn == nullptr || !ReadOne(readFn)) {
        LookForNewFifo();
        return std::nullopt;
    }
    RecordFrame frame = std::move(*m_frame);
    m_frame.reset();
    if (!Count(frame) || !UpdateFormat(frame)) {
        return std::nullopt;
    }
    frame.format = m_pFormat;
    return frame;
}

/// @return null: there is nothing to start with yet.
ShmFifoReader::ReadFn FifoSubscription::ChooseFrame()
{
    ShmStreamFifo& fifo = *m_reader.GetFifo();
    const bool late = m_fromFirst && fifo.GetNewestId() != SHM_FIFO_NO_FRAME_ID &&
                      fifo.GetNewestId() >= fifo.GetFifoCnt(); // the first frame is overwritten
    if (!m_isVideo || (m_lastId != SHM_FIFO_NO_FRAME_ID && !late)) {
        return &ShmStreamFifo::ReadNext;
    }
    return fifo.IsIFrameReady() ? static_cast<ShmFifoReader::ReadFn>(&ShmStreamFifo::ReadLatestIFrame)
                                : nullptr;
}

bool FifoSubscription::ReadOne(ShmFifoReader::ReadFn readFn)
{
    m_frame.reset();
    m_torn = false;
    return m_reader.Read(this, &FifoSubscription::OnFrame, readFn) && m_frame;
}

void FifoSubscription::OnFrame(void* pThis, DataEntry* pEntry, unsigned char* pData, int size)
{
    static_cast<FifoSubscription*>(pThis)->CopyFrame(pEntry, pData, size);
}

/// Inside the claim: one copy, nothing else.
void FifoSubscription::CopyFrame(DataEntry* pEntry, const unsigned char* pData, int size)
{
    RecordFrame frame;
    frame.packet.reset(av_packet_alloc());
    if (frame.packet == nullptr || av_new_packet(frame.packet.get(), size) < 0) {
        return;
    }
    m_frameId = pEntry->id;
    m_frameFlags = pEntry->flags;
    frame.ptsUs = pEntry->timestamp;
    std::memcpy(frame.packet->data, pData, static_cast<std::size_t>(size));
    m_torn = !m_reader.GetFifo()->IsIntact(pEntry, m_frameId);
    m_frame = std::move(frame);
}

/// Accounts for a frame and for those that are missing before it. @return false: the frame itself is torn.
bool FifoSubscription::Count(RecordFrame& frame)
{
    const std::int64_t ns = MonotonicNs();
    const int missing =
        m_lastId == SHM_FIFO_NO_FRAME_ID ? 0 : FramesBetween(m_lastId, m_frameId) + (m_torn ? 1 : 0);
    if (missing > 0) {
        ++m_counts.jumps;
        m_counts.lost += missing;
        m_gap = true;
        Note("record", "key " + std::to_string(m_key) + ": jumped from " +
                           (m_fromFirst ? "the start" : "frame " + std::to_string(m_lastId)) + " to " +
                           std::to_string(m_frameId) + ", " + std::to_string(missing) + " lost");
    }
    m_fromFirst = false;
    m_lastId = m_frameId;
    if (m_torn) {
        return false;
    }
    frame.isVideo = m_isVideo;
    frame.key = !m_isVideo || (m_frameFlags & FRAME_I) != 0;
    frame.afterGap = m_gap;
    frame.epoch = m_counts.attached;
    frame.wallSec = std::time(nullptr);
    m_gap = false;
    ++m_counts.frames;
    m_counts.bytes += frame.packet->size;
    if (m_pTrace != nullptr) {
        m_pTrace->Add(m_key, m_frameId, frame.ptsUs, frame.packet->data,
                      static_cast<std::size_t>(frame.packet->size), m_frameFlags, ns);
    }
    return true;
}

/// The format can change at a key frame only. Parameter sets in the frame itself come before those of the
/// header, which may be of a later frame already.
bool FifoSubscription::UpdateFormat(const RecordFrame& frame)
{
    const bool look = m_isVideo ? frame.key : m_sinceFormat++ % AUDIO_FORMAT_PERIOD == 0;
    if (m_pFormat != nullptr && !look) {
        return true;
    }
    StreamFormat format;
    if (!ReadFormat(format)) {
        return m_pFormat != nullptr;
    }
    if (m_isVideo) {
        const VideoCodec codec = format.codec == "H264" ? VideoCodec::H264 : VideoCodec::H265;
        std::vector<unsigned char> sets =
            ParameterSets(codec, frame.packet->data, static_cast<std::size_t>(frame.packet->size));
        if (!sets.empty()) {
            format.extra = std::move(sets);
        }
    }
    if (m_pFormat == nullptr || format != *m_pFormat) {
        m_pFormat = std::make_shared<const StreamFormat>(std::move(format));
    }
    return true;
}

bool FifoSubscription::ReadFormat(StreamFormat& format)
{
    ESFormat es;
    if ((m_isVideo ? m_reader.FillVdoFmt(es) : m_reader.FillAdoFmt(es)) != 0) {
        return false; // logged; the next key frame may bring it
    }
    format.codec = m_reader.GetFifo()->GetCodec();
    format.extra.assign(es.extraData, es.extraData + es.extraSize);
    format.width = es.width;
    format.height = es.height;
    format.sampleRate = es.sampleRate;
    format.channels = es.channels;
    return m_isVideo || (format.sampleRate > 0 && format.channels > 0);
}

Trouble CheckKind(int key, bool isVideo, const std::string& codec)
{
    const bool isSound = codec == "MPEG4-GENERIC" || codec == "PCMA" || codec == "PCMU";
    const bool isPicture = codec == "H264" || codec == "H265";
    if (codec.empty() || (isVideo ? isPicture : isSound)) {
        return {}; // a writer may name the codec a little after it made the FIFO
    }
    const std::string text = "key " + std::to_string(key) + ": holds ";
    if (isVideo && isSound) {
        return {EXIT_USAGE, text + "sound (" + codec + "), no video; give it as --audio-key"};
    }
    if (isPicture) {
        return {EXIT_USAGE, text + "video (" + codec + "), no sound; give it as --key"};
    }
    return {EXIT_FOUND, text + "a stream of codec \"" + codec +
                            "\"; H264, H265, MPEG4-GENERIC, PCMA and PCMU can be recorded"};
}
