// SPDX-License-Identifier: Apache-2.0
// tests/package/logprocess_test.cpp - many processes, one configuration and one log.
#include <sys/ptrace.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <set>

#include "package/dbglogctl.h"
#include "shmfiforeader.h"
#include "support/child_process.h"
#include "support/ipc_keys.h"
#include "support/log_root.h"
#include "support/namespaces.h"
#include "support/shared_with_children.h"
#include "support/wait_for.h"
#include "vxlog.h"

namespace {

/// Words that all processes of a test see.
struct SharedWords {
    std::atomic<int> step{0};
    std::atomic<int> written[32]{};
};
using Shared = SharedWithChildren<SharedWords>;

void WaitForStep(const Shared& shared, int step)
{
    while (shared->step.load() < step) {
        ::usleep(200);
    }
}

bool Wanted(int level)
{
    return VxLogWanted(LOG_CATEG_SHMFIFO, static_cast<LOG_LEVEL>(level));
}

using Children = std::vector<std::unique_ptr<ChildProcess>>;

// Catches: a process that goes on with old thresholds, or with an old pid list, until it is started again.
TEST(DbgLogCfgTest, FiftyRunningProcessesObeyAtTheirNextCall)
{
    LogRoot root;
    ASSERT_EQ(CreateDbgLogCfg(3), 0);
    Shared shared;
    Children children;
    std::int32_t first = 0;
    const struct {
        std::function<int()> change;
        char firstAnswer, others;
    } steps[] = {{[] { return 0; }, 'n', 'n'},
                 {[] { return SetDbgLogThreshold(LOG_CATEG_SHMFIFO, 5); }, 'y', 'y'},
                 {[] { return SetDbgLogThreshold(DBGLOG_ALL_CATEGS, 4); }, 'n', 'n'},
                 {[&] { return SetDbgLogPids(&first, 1); }, 'n', 'y'},
                 {[] { return SetDbgLogPids(nullptr, 0); }, 'n', 'n'}};
    for (int i = 0; i < 50; ++i) {
        children.push_back(std::make_unique<ChildProcess>([&](Channel& toParent) {
            for (int step = 1; step <= static_cast<int>(std::size(steps)); ++step) {
                WaitForStep(shared, step);
                toParent.Send(Wanted(5) ? 'y' : 'n');
            }
            return 0;
        }));
    }
    first = children[0]->Pid();
    for (const auto& step : steps) {
        ASSERT_EQ(step.change(), 0);
        ++shared->step;
        std::string answers;
        for (const auto& child : children) {
            answers += child->Receive();
        }
        EXPECT_EQ(answers, step.firstAnswer + std::string(49, step.others));
    }
}

// Catches: a moment between two pid lists in which a process that is in neither is silenced. The process that
// changes them is stopped after each of its instructions.
TEST(DbgLogCfgTest, ListIsNeverEmptyOrForeignWhileItChanges)
{
    LogRoot root;
    ASSERT_EQ(CreateDbgLogCfg(0), 0);
    const std::int32_t pids[] = {0x1000001, 0x1000002, 0x1000003, 0x1000004, 0x1000005}; // no real ids
    ASSERT_EQ(SetDbgLogPids(pids, 2), 0);
    const pid_t changer = ::fork();
    if (changer == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(77); // an emulator, or a container that forbids it
        }
        ::raise(SIGSTOP);
        ::_exit(SetDbgLogPids(pids + 1, 4) + SetDbgLogPids(pids, 1));
    }
    int status = 0;
    long steps = 0;
    for (::waitpid(changer, &status, 0); WIFSTOPPED(status); ::waitpid(changer, &status, 0)) {
        if (!Wanted(7)) {
            ADD_FAILURE() << "silenced after " << steps << " steps";
            ::kill(changer, SIGKILL);
        } else if (::ptrace(PTRACE_SINGLESTEP, changer, nullptr, nullptr) != 0) {
            ::kill(changer, SIGKILL);
            ::waitpid(changer, &status, 0);
            GTEST_SKIP() << "no single steps here";
        }
        ++steps;
    }
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "no single steps here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_GT(steps, 1000);
    EXPECT_EQ(g_pDbgLogCfg->pidCount, 1);
}

// Catches: arguments that would damage the record; an existing record overwritten; a useless one kept.
TEST(DbgLogCfgTest, RecordIsMadeOnceAndGuarded)
{
    LogRoot root;
    EXPECT_EQ(SetDbgLogThreshold(62, 3), -1);
    EXPECT_EQ(errno, ENOENT);
    std::filesystem::create_directories(root.CfgPath().parent_path());
    std::ofstream(root.CfgPath()) << "short";
    Children children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(std::make_unique<ChildProcess>([i](Channel&) {
            return CreateDbgLogCfg(i % 3) == 0 && SetDbgLogThreshold(100 + i, 7) == 0 ? 0 : 1;
        }));
    }
    for (auto& child : children) {
        EXPECT_EQ(child->Wait(), 0);
    }
    EXPECT_EQ(CreateDbgLogCfg(0), 0); // it is there already
    ReinitDbgLogCfg();
    ASSERT_NE(g_pDbgLogCfg, nullptr);
    EXPECT_EQ(std::filesystem::file_size(root.CfgPath()), sizeof(DbgLogCfg));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(g_pDbgLogCfg->threshold[100 + i], 7) << i; // set in the one record, not in a lost one
    }
    const DbgLogCfg before = *g_pDbgLogCfg;
    const std::int32_t bad[] = {1, 0};
    EXPECT_EQ(SetDbgLogThreshold(512, 3), -1);
    EXPECT_EQ(SetDbgLogThreshold(-2, 3), -1);
    EXPECT_EQ(SetDbgLogThreshold(62, 8), -1);
    EXPECT_EQ(SetDbgLogPids(bad, 2), -1);
    EXPECT_EQ(SetDbgLogPids(bad, 511), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(std::memcmp(&before, g_pDbgLogCfg, sizeof before), 0);
}

/// The numbers that each of the writers wrote, over all files of the log; a line of any other form is a
/// failure.
using Numbers = std::map<int, std::set<int>>;
void CollectNumbers(const LogRoot& root, Numbers& numbers)
{
    std::set<std::pair<int, int>> here;
    for (const auto& entry : std::filesystem::directory_iterator(root.LogPath().parent_path())) {
        for (const std::string& line : LinesOf(entry.path())) {
            int writer = -1;
            int number = -1;
            char end = 0;
            const auto text = line.find('<');
            const bool whole = text != line.npos && (line.back() == '>' || line.ends_with("I-Idx[-1].")) &&
                               std::sscanf(line.c_str() + text, "<%d %d%c", &writer, &number, &end) == 3;
            EXPECT_TRUE(whole && end == '>') << entry.path() << ": " << line;
            EXPECT_TRUE(here.emplace(writer, number).second) << "doubled: " << line;
            numbers[writer].insert(number);
        }
    }
}

void Write(int writer, int number)
{
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "<%d %d>\n", writer, number);
}

/// Writes a frame whose log line has the number: the stream's name carries it.
bool WriteFrame(ShmStreamFifo& fifo, int writer, int number)
{
    unsigned char frame[1] = {0};
    fifo.SetCodec("<" + std::to_string(writer) + " " + std::to_string(number) + ">");
    return fifo.WriteData(frame, sizeof(frame), number, MEDIA_ES_VIDEO, FRAME_P, 1) == 0;
}

/// Reads so many frames. @return whether each was the one after the one before.
bool ReadFrames(ShmFifoReader& reader, int count, long long& next)
{
    const auto check = [](void* pNext, DataEntry* pEntry, unsigned char*, int) {
        auto& expected = *static_cast<long long*>(pNext);
        expected = pEntry->timestamp == expected ? expected + 2 : -1;
    };
    while (count > 0 && next >= 0 && reader.Read(&next, check, &ShmStreamFifo::ReadNext)) {
        --count;
    }
    return count == 0 && next >= 0;
}

// Catches: lines lost, doubled or mixed while many processes write and whoever fills the file rotates it; a capture
// that loses a frame by it.
TEST(LogRotationTest, EveryLineOfFourProcessesIsKeptThroughAThousandRotations)
{
    constexpr int WRITERS = 4;
    constexpr int ROUNDS = 1000;
    constexpr int LINES = 14; // of each writer in a round: more than one file, less than two
    if (std::filesystem::exists("/dev/shm")) {
        ::setenv("TMPDIR", "/dev/shm", 1); // a busy disk may make each rename wait
    }
    LogRoot root("4096", "2");
    ASSERT_EQ(CreateDbgLogCfg(7), 0);
    Shared shared;
    const IpcKeys keys;
    ShmFifoReader reader;
    Children children;
    for (int writer = 0; writer < WRITERS; ++writer) {
        children.push_back(std::make_unique<ChildProcess>([&, writer](Channel& toParent) {
            ShmFifoHandler handler;
            ShmStreamFifo* const pFifo = writer == 0 ? handler.GetStreamFifo(keys.First(), 1, 30) : nullptr;
            toParent.Send('r');
            for (int round = 0; round < ROUNDS; ++round) {
                WaitForStep(shared, round + 1);
                for (int number = round * LINES; number < (round + 1) * LINES; ++number) {
                    if (pFifo == nullptr ||
                        number % 2 == 0) { // half, so that the frames' IDs do not start again
                        Write(writer, number);
                    } else if (!WriteFrame(*pFifo, writer, number)) {
                        return 1;
                    }
                }
                toParent.Send('d');
            }
            return 0;
        }));
    }
    for (auto& child : children) {
        ASSERT_EQ(child->Receive(), 'r');
    }
    ASSERT_EQ(reader.Init(keys.First(), false), 0);
    ASSERT_TRUE(reader.StartAtFirst());
    Numbers numbers;
    long long nextFrame = 1;
    for (int round = 0; round < ROUNDS && !HasFailure(); ++round) {
        shared->step = round + 1;
        for (auto& child : children) {
            ASSERT_EQ(child->Receive(), 'd');
        }
        EXPECT_TRUE(ReadFrames(reader, LINES / 2, nextFrame)) << "lost";
        CollectNumbers(root, numbers);
        EXPECT_LE(std::filesystem::file_size(root.LogPath()),
                  4096u + WRITERS * 160); // one line each in flight
    }
    shared->step = ROUNDS;
    for (int writer = 0; writer < WRITERS; ++writer) {
        EXPECT_EQ(numbers[writer].size(), static_cast<std::size_t>(ROUNDS * LINES)) << "lost";
        EXPECT_EQ(children[static_cast<std::size_t>(writer)]->Wait(), 0);
    }
}

// Catches: a process killed in the middle of a line or a rotation that stops the others or takes their lines
// along.
TEST(LogRotationTest, KilledWriterHarmsNobodyElse)
{
    LogRoot root("4096", "9999");
    ASSERT_EQ(CreateDbgLogCfg(7), 0);
    Shared shared;
    const auto writeOn = [&shared](int writer) {
        return [&shared, writer](Channel&) {
            for (int i = 0; shared->step.load() == 0; ++i) {
                Write(writer, i);
                shared->written[writer] = i + 1;
                ::usleep(20);
            }
            return 0;
        };
    };
    ChildProcess survivor(writeOn(0));
    for (int i = 1; i <= 30; ++i) {
        ChildProcess victim(writeOn(i));
        ::usleep(10'000);
        victim.Kill(SIGKILL);
    }
    EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(root.LogPath().string() + ".10"); }));
    shared->step = 1;
    EXPECT_EQ(survivor.Wait(), 0);
    Numbers numbers;
    CollectNumbers(root, numbers);
    for (int writer = 0; writer <= 30; ++writer) {
        const auto written = static_cast<std::size_t>(shared->written[writer]);
        EXPECT_TRUE(numbers[writer].size() == written || numbers[writer].size() == written + 1) << writer;
    }
}

// Catches: a log that grows beyond its cap and its one old file.
TEST(LogRotationTest, TwoFilesOfTheCapAreAllThatIsKept)
{
    LogRoot root("10000");
    for (int i = 0; i < 2000; ++i) {
        Write(0, i);
    }
    std::uintmax_t total = 0;
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(root.LogPath().parent_path())) {
        names.insert(entry.path().filename());
        total += entry.file_size();
    }
    EXPECT_EQ(names, (std::set<std::string>{"vx.log", "vx.log.1", "vx.log.lock"}));
    EXPECT_LE(total, 20'000u);
    Numbers numbers;
    CollectNumbers(root, numbers);
    EXPECT_EQ(*numbers[0].rbegin(), 1999);
    EXPECT_EQ(static_cast<std::size_t>(2000 - *numbers[0].begin()), numbers[0].size());
}

// Catches: a process that is stopped or killed by a full disk; lines that are lost without a word; a line
// that is glued to the piece of another one.
TEST(LogRotationTest, FullDiskIsSurvivedAndTold)
{
    LogRoot root;
    ChildProcess child([&](Channel&) {
        const std::string folder = root.LogPath().parent_path();
        std::filesystem::create_directories(folder);
        if (!EnterNamespaces()) {
            return 77;
        }
        const TestVolume volume(folder, "size=64k");
        const std::string ballast = folder + "/ballast";
        std::ofstream(ballast) << std::string(32 * 1024, 'x');
        for (int i = 0; i < 1000; ++i) {
            Write(0, i);
        }
        const std::size_t whenFull = LinesOf(root.LogPath()).size();
        std::filesystem::remove(ballast);
        for (int i = 1000; i < 1010; ++i) {
            Write(0, i);
        }
        const std::vector<std::string> lines = root.Lines();
        int dropped = 0;
        int good = 0;
        int other = 0;
        for (const std::string& line : lines) {
            const auto at = line.find("dropped ");
            dropped += at != line.npos ? std::atoi(line.c_str() + at + 8) : 0;
            const bool whole = line.ends_with(">") && line.find("Write: <0 ") != line.npos;
            good += whole ? 1 : 0;
            const bool glued = line.find("Z ", line.find("Z ") + 1) != line.npos;
            other += glued ? 1000 : !whole && at == line.npos ? 1 : 0;
        }
        return whenFull < 1000 && good + dropped == 1010 && dropped > 0 && other <= 1 &&
                       lines.back().ends_with("<0 1009>")
                   ? 0
                   : 1;
    });
    const int result = child.Wait();
    if (result == 77) {
        GTEST_SKIP() << "no mount namespace here";
    }
    EXPECT_EQ(result, 0);
}

} // namespace
