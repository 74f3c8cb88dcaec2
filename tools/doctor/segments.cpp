// SPDX-License-Identifier: Apache-2.0
// tools/doctor/segments.cpp - FIFOs whose writer is gone, and FIFOs that readers cannot use.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstddef>

#include "doctor/finding.h"
#include "fifo_facts.h"
#include "package/root.h"
#include "package/shmcommoncfg.h"

namespace {

std::string SizeText(std::uint64_t bytes)
{
    return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / (1024.0 * 1024.0));
}

std::string NameOf(const FifoFacts& fifo)
{
    return fmt::format("FIFO {} of process {}", fifo.key, fifo.header.creator);
}

std::string Restart(const FifoFacts& fifo)
{
    return fmt::format("restart process {} (vx capture or a recorder's own)", fifo.header.creator);
}

/// Slots may be missing for a moment while their writer makes a larger one, so one look does not count.
bool LacksSlots(const FifoFacts& fifo)
{
    FifoFacts again = fifo;
    for (int look = 0; look < 3; ++look) {
        if (!again.known || static_cast<int>(again.slotRows.size()) >= again.snapshot.fifoCnt) {
            return false;
        }
        ::usleep(50000);
        if (!FindFifo(ListShm(), fifo.key, again) || again.state != FifoState::LIVE) {
            return false; // gone meanwhile
        }
    }
    return true;
}

void JudgeLive(const FifoFacts& fifo, Findings& findings)
{
    if ((fifo.header.mode & 0666) != 0666) {
        findings.Add("segment.mode",
                     fmt::format("{} has mode {:o} instead of 666", NameOf(fifo), fifo.header.mode & 0777),
                     "processes of other users cannot attach: they see no stream", Restart(fifo));
    }
    if (LacksSlots(fifo)) {
        findings.Add(
            "segment.slot-missing",
            fmt::format("{} has {} slots, and segments for {}", NameOf(fifo), fifo.snapshot.fifoCnt,
                        fifo.slotRows.size()),
            "frames in the missing slots are lost to readers; somebody removed segments by hand, or two "
            "FIFOs share keys",
            Restart(fifo));
    }
}

void Judge(const FifoFacts& fifo, Findings& findings)
{
    const std::string remove = fmt::format("vx fifo rm {}", fifo.key);
    switch (fifo.state) {
    case FifoState::LEFT_OVER:
        if (fifo.headerGone) {
            findings.Add("segment.slots-only",
                         fmt::format("{} has slots ({}) and no header", NameOf(fifo), SizeText(fifo.Bytes())),
                         "nobody can use this memory, and it stays until the box starts again", remove);
        } else {
            findings.Add(
                "segment.left-over",
                fmt::format("{} is left over ({}); the process is gone", NameOf(fifo),
                            SizeText(fifo.Bytes())),
                "readers wait for frames that never come, and the memory stays until the box starts again",
                remove);
        }
        break;
    case FifoState::BROKEN:
        findings.Add(
            "segment.scribbled", fmt::format("{} has a header that cannot be one", NameOf(fifo)),
            "readers refuse it: no live picture and no recording; some program wrote where it must not",
            Restart(fifo));
        break;
    case FifoState::NO_ACCESS:
        findings.Add("segment.closed",
                     fmt::format("{} (user {}, mode {:o}) cannot be read by this user", NameOf(fifo),
                                 fifo.header.uid, fifo.header.mode & 0777),
                     "a recorder of this user has no stream", Restart(fifo));
        break;
    case FifoState::LIVE:
        JudgeLive(fifo, findings);
        break;
    case FifoState::CLOSED:
    case FifoState::OTHER_WIDTH:
        break;
    }
}

/// Live FIFOs without a new frame for three seconds. Where frames flow this takes as long as one of them.
void JudgeSilence(std::vector<FifoFacts> fifos, Findings& findings)
{
    constexpr int LOOKS = 30;
    constexpr useconds_t PAUSE_USEC = 100000;
    std::erase_if(fifos, [](const FifoFacts& fifo) { return fifo.state != FifoState::LIVE || !fifo.known; });
    for (int look = 0; look < LOOKS && !fifos.empty(); ++look) {
        ::usleep(PAUSE_USEC);
        const std::vector<ShmRow> rows = ListShm();
        std::erase_if(fifos, [&rows](const FifoFacts& fifo) {
            FifoFacts now;
            return !FindFifo(rows, fifo.key, now) || now.state != FifoState::LIVE ||
                   now.NewestId() != fifo.NewestId();
        });
    }
    for (const FifoFacts& fifo : fifos) {
        findings.Add(
            "segment.silent", fmt::format("{} has had no new frame for three seconds", NameOf(fifo)),
            "viewers see a still picture, and nothing is recorded; the camera may be away",
            fmt::format("vx log tail says what the capture process waits for; or {}", Restart(fifo)));
    }
}

/// The word by which one process holds the frames of all back.
void JudgeHeldFrames(Findings& findings)
{
    const std::string path = GetPackageRoot() + "/run/shmcommon";
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ShmCommonCfg cfg{};
    const bool isRead = fd >= 0 && ::pread(fd, &cfg, sizeof(cfg), 0) == static_cast<ssize_t>(sizeof(cfg));
    if (fd >= 0) {
        ::close(fd);
    }
    if (isRead && cfg.holdFrames != 0) {
        findings.Add(
            "segment.frames-held", fmt::format("{} holds all frames back (word {})", path, cfg.holdFrames),
            "every reader on this box gets no frame: no live picture, no recording",
            fmt::format("end what set it; if nothing runs any more: rm '{}' and restart the readers", path));
    }
}

} // namespace

void CheckSegments(Findings& findings)
{
    const std::vector<FifoFacts> fifos = ListFifos(ListShm());
    for (const FifoFacts& fifo : fifos) {
        Judge(fifo, findings);
    }
    JudgeSilence(fifos, findings);
    JudgeHeldFrames(findings);
}
