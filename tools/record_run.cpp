// SPDX-License-Identifier: Apache-2.0
// tools/record_run.cpp - one recording: a thread that reads FIFOs, a thread that writes files.
#include "record_run.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "fifo_common.h"
#include "shmfifoinspect.h"

namespace {

constexpr std::size_t QUEUE_BYTES = sizeof(void*) == 4 ? std::size_t{64} << 20 : std::size_t{256} << 20;
constexpr std::chrono::milliseconds POLL{1};
constexpr std::int64_t LOOK_NS = 200000000;
constexpr double NS_PER_SEC = 1e9;

Trouble CheckKey(int key, bool isVideo)
{
    ShmFifoSnapshot snapshot;
    const std::string name = "key " + std::to_string(key);
    switch (ShmFifoInspector::Inspect(key, snapshot)) {
    case ShmInspectResult::NO_ACCESS:
        return {EXIT_UNREACHABLE, name + ": this user may not read the segment; run as its owner"};
    case ShmInspectResult::OTHER_LENGTH:
        return {EXIT_UNREACHABLE, name + ": the segment there is no FIFO that this build can read (another "
                                         "width, or something else); see vx fifo ls"};
    case ShmInspectResult::OK:
        return snapshot.attached ? CheckKind(key, isVideo, snapshot.codec) : Trouble{};
    default:
        return {}; // there, not there yet, or for the reader to wait for
    }
}

Trouble CheckPlace(const SegmentPlace& place)
{
    if (place.file.empty()) {
        struct stat info = {};
        if (::stat(place.folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            return {EXIT_UNREACHABLE, place.folder + ": is no folder; make it first"};
        }
        if (::access(place.folder.c_str(), W_OK) != 0) {
            return {EXIT_UNREACHABLE,
                    place.folder + ": " + std::strerror(errno) + "; let this user write there"};
        }
        return {};
    }
    if (::access(place.file.c_str(), F_OK) == 0) {
        return {EXIT_REFUSED,
                place.file + ": exists and is not overwritten; remove it or choose another name"};
    }
    const std::size_t slash = place.file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : place.file.substr(0, slash + 1);
    if (::access(folder.c_str(), W_OK) != 0) {
        return {EXIT_UNREACHABLE, folder + ": " + std::strerror(errno) + "; the file cannot be made there"};
    }
    return {};
}

} // namespace

RecordRun::RecordRun(RecordOptions options, const StopSignal& stop)
    : m_options(std::move(options)), m_stop(stop), m_queue(QUEUE_BYTES), m_recorder(m_options.recorder)
{}

Trouble RecordRun::Check() const
{
    for (int track = 0; track < 2; ++track) {
        const std::optional<int>& key = m_options.keys[track];
        if (Trouble trouble = key ? CheckKey(*key, track == 0) : Trouble{}) {
            return trouble;
        }
    }
    if (std::string why = WhyNoFrames(); !why.empty()) {
        return {EXIT_UNREACHABLE, std::move(why)};
    }
    return m_options.recorder.pEvents != nullptr ? Trouble{} : CheckPlace(m_options.recorder.place);
}

Trouble RecordRun::Run()
{
    if (!m_options.tracePath.empty() && m_trace.Open(m_options.tracePath) != 0) {
        return {EXIT_UNREACHABLE,
                m_options.tracePath + ": cannot make the trace file: " + std::strerror(errno)};
    }
    for (int track = 0; track < 2; ++track) {
        if (m_options.keys[track]) {
            m_subscriptions[track].emplace(*m_options.keys[track], track == 0,
                                           m_trace.IsOpen() ? &m_trace : nullptr);
        }
    }
    {
        const std::jthread writer([this] { WriteFrames(); });
        m_readTrouble = ReadFrames();
        m_queue.End(!m_readTrouble);
    }
    if (m_trace.Close() != 0 && !m_writeTrouble) {
        return {EXIT_FOUND, m_options.tracePath + ": the trace is not complete: " + std::strerror(errno)};
    }
    if (m_readTrouble) {
        return m_readTrouble;
    }
    if (!m_writeTrouble && Written().segments == 0 && !m_stop.Stopped()) {
        return {EXIT_UNREACHABLE, "no frame came within " +
                                      std::to_string(static_cast<int>(m_options.waitSec)) +
                                      " s; start vx capture with these keys, or see vx fifo ls"};
    }
    return m_writeTrouble;
}

Trouble RecordRun::ReadFrames()
{
    while (!m_stop.Stopped() && !m_writerDone.load(std::memory_order_relaxed)) {
        if (PollAll()) {
            m_orphanedNs = 0;
            m_attached = true;
            continue;
        }
        for (const std::optional<FifoSubscription>& subscription : m_subscriptions) {
            if (subscription && subscription->Problem()) {
                return subscription->Problem();
            }
        }
        if (WaitIsOver()) {
            break;
        }
        m_stop.WaitFor(POLL);
    }
    return {};
}

bool RecordRun::PollAll()
{
    bool any = false;
    for (std::optional<FifoSubscription>& subscription : m_subscriptions) {
        if (subscription) {
            if (std::optional<RecordFrame> frame = subscription->Poll()) {
                Push(std::move(*frame));
                any = true;
            }
        }
    }
    return any;
}

void RecordRun::Push(RecordFrame&& frame)
{
    bool& gap = m_overrunGap[frame.isVideo ? 0 : 1];
    frame.afterGap = frame.afterGap || gap;
    gap = !m_queue.Push(std::move(frame));
    if (gap && m_overrun++ == 0) {
        Note("record", "the disk does not keep up: frames are lost, see the summary for how many");
    }
}

/// A FIFO whose writer lives is waited for without limit: its camera may be away.
bool RecordRun::WaitIsOver()
{
    const std::int64_t now = MonotonicNs();
    if (now < m_nextLookNs) {
        return false;
    }
    m_nextLookNs = now + LOOK_NS;
    for (std::optional<FifoSubscription>& subscription : m_subscriptions) {
        if (subscription && !subscription->IsOrphaned()) {
            m_orphanedNs = 0;
            return false;
        }
    }
    if (m_options.once && m_attached) {
        return true;
    }
    m_orphanedNs = m_orphanedNs == 0 ? now : m_orphanedNs;
    return m_options.waitSec >= 0 &&
           static_cast<double>(now - m_orphanedNs) / NS_PER_SEC >= m_options.waitSec;
}

void RecordRun::WriteFrames()
{
    while (std::optional<RecordFrame> frame = m_queue.Pop()) {
        m_writeTrouble = m_recorder.Add(std::move(*frame));
        if (m_writeTrouble || m_recorder.IsComplete()) {
            break;
        }
    }
    // What was only held back for a first file is no recording when the FIFOs turn out to be the wrong ones.
    const bool keep = m_queue.IsToKeep() || Written().segments > 0;
    const Trouble closing = keep ? m_recorder.Finish() : Trouble{};
    if (!m_writeTrouble) {
        m_writeTrouble = closing;
    }
    m_writerDone.store(true, std::memory_order_relaxed); // ReadFrames() only has to see it some time
}
