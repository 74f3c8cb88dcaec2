// SPDX-License-Identifier: Apache-2.0
// package/src/logwriter.cpp - VxVPrintf: formats outside the lock; collapses repeats and writes inside it.
//
// One lock a process, held for one write. fork() takes it first, so that a child never finds it held by a
// thread that it does not have. Nothing here is destroyed, since lines come until the very end of a process.
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "logfile.h"
#include "logline.h"
#include "package/dbglog.h"

namespace {

constexpr std::int64_t REPEAT_LIMIT_SEC = 5;

/// The message that was written last, and how often it has come again since. A copy: the texts that a call
/// site passes may be unloaded with it.
struct LastMessage {
    static constexpr std::size_t BODY_MAX = 1536; // a longer message is never taken for a repeat

    std::uint32_t repeats = 0;
    std::int64_t writtenSecond = 0;
    std::size_t textSize = 0;
    std::size_t size = 0; // 0: none
    char body[BODY_MAX] = {};

    [[nodiscard]] std::string_view Body() const noexcept { return {body, size}; }
    void Remember(const LogLine& line, std::int64_t second) noexcept
    {
        repeats = 0;
        writtenSecond = second;
        textSize = line.TextSize();
        size = line.Body().size() <= BODY_MAX ? line.Body().size() : 0;
        std::memcpy(body, line.Body().data(), size);
    }
};
static_assert(LastMessage::BODY_MAX + 128 < LogLine::STACK_SIZE); // with time, ids and count before it

struct Writer {
    std::mutex lock;
    LogFile file;
    LastMessage last;
    std::uint32_t dropped = 0;
    int dropErrno = 0;
};
constinit Writer g_writer;

// Ids cost a system call, so each thread keeps its own until the process is another one.
constinit std::atomic<std::uint32_t> g_forkCount{1};
struct ThreadIds {
    std::uint32_t forkCount = 0;
    std::int32_t pid = 0;
    std::int32_t tid = 0;
};
constinit thread_local ThreadIds t_ids;

LogMoment MomentNow() noexcept
{
    const std::uint32_t forkCount = g_forkCount.load(std::memory_order_relaxed); // stands for itself
    if (t_ids.forkCount != forkCount) {
        t_ids = {forkCount, ::getpid(), static_cast<std::int32_t>(::syscall(SYS_gettid))};
    }
    LogMoment moment{{}, t_ids.pid, t_ids.tid};
    ::clock_gettime(CLOCK_REALTIME, &moment.now);
    return moment;
}

/// A line that cannot be written is counted; the count goes out before the next line that can.
void WriteLine(std::string_view line, const LogMoment& moment) noexcept
{
    if (g_writer.dropped != 0) {
        static constexpr LogPlace PLACE{"general", "ERR", "package/src/logwriter", 0, "VxVPrintf"};
        LogLine report;
        report.FormatOwn(PLACE, moment, "dropped %u lines, errno [%d].\n", g_writer.dropped,
                         g_writer.dropErrno);
        if (g_writer.file.Write(report.Whole(), moment.now.tv_sec) == 0) {
            g_writer.dropped = 0;
        }
    }
    if (line.empty() || g_writer.file.Write(line, moment.now.tv_sec) == 0) {
        return;
    }
    ++g_writer.dropped;
    g_writer.dropErrno = errno;
}

void WriteRepeats(const LogMoment& moment) noexcept
{
    LastMessage& last = g_writer.last;
    if (last.repeats == 0) {
        return;
    }
    LogLine line;
    line.FormatRepeat(last.Body(), last.textSize, moment, last.repeats);
    last.repeats = 0;
    last.writtenSecond = moment.now.tv_sec;
    WriteLine(line.Whole(), moment);
}

void WriteMessage(const LogLine& line, const LogMoment& moment) noexcept
{
    const std::lock_guard<std::mutex> held(g_writer.lock);
    LastMessage& last = g_writer.last;
    if (line.Body() != last.Body()) {
        WriteRepeats(moment);
        last.Remember(line, moment.now.tv_sec);
        WriteLine(line.Whole(), moment);
        return;
    }
    ++last.repeats;
    const std::int64_t sinceSec = moment.now.tv_sec - last.writtenSecond;
    if (sinceSec >= REPEAT_LIMIT_SEC || sinceSec < 0) {
        WriteRepeats(moment);
    }
}

void BeforeFork() noexcept
{
    g_writer.lock.lock();
}

void AfterForkInParent() noexcept
{
    g_writer.lock.unlock();
}

// What was counted is the parent's to tell.
void AfterForkInChild() noexcept
{
    g_forkCount.fetch_add(1, std::memory_order_relaxed); // one thread is left
    g_writer.last.size = 0;
    g_writer.last.repeats = 0;
    g_writer.dropped = 0;
    g_writer.file.CheckSoon();
    g_writer.lock.unlock();
}

[[gnu::constructor]] void WatchForks() noexcept
{
    ::pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
}

// A thread that is still writing at the end keeps the lock: its process ends without the count.
[[gnu::destructor]] void WriteCountsAtExit() noexcept
{
    if (g_writer.lock.try_lock()) {
        const LogMoment moment = MomentNow();
        WriteRepeats(moment);
        WriteLine({}, moment);
        g_writer.lock.unlock();
    }
}

/// A thread that is cancelled must not take the lock with it.
class NoCancel {
public:
    NoCancel() noexcept { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    ~NoCancel() { ::pthread_setcancelstate(m_before, nullptr); }
    NoCancel(const NoCancel&) = delete;
    NoCancel& operator=(const NoCancel&) = delete;

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

} // namespace

void VxVPrintf(LOG_TYPE /*type*/, const char* categText, const char* levelText, const char* file, int line,
               const char* func, const char* fmt, va_list args) noexcept
{
    const int callersErrno = errno;
    const NoCancel noCancel;
    const LogPlace place{categText, levelText, file, line, func};
    const LogMoment moment = MomentNow();
    LogLine message;
    errno = callersErrno;
    message.Format(place, moment, fmt, args);
    WriteMessage(message, moment);
    errno = callersErrno;
}

void ReopenDbgLog() noexcept
{
    const int callersErrno = errno;
    const NoCancel noCancel;
    {
        const std::lock_guard<std::mutex> held(g_writer.lock);
        const LogMoment moment = MomentNow();
        WriteRepeats(moment);
        WriteLine({}, moment);
        g_writer.last.size = 0;
        g_writer.file.Close();
    }
    errno = callersErrno;
}
