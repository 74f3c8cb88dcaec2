// SPDX-License-Identifier: Apache-2.0
// tests/tools/fifo_look_test.cpp - vx fifo ls, stat, top and rm on FIFOs of living, dead and foreign makers.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/shm.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

#include "support/ipc_keys.h"
#include "support/temp_root.h"
#include "test_writer.h"
#include "vx_process.h"

namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::string problem;
    std::istringstream in(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &value, &problem)) << problem << text;
    return value;
}

class FifoLookTest : public ::testing::Test {
protected:
    std::string Key(int offset = 0) const { return std::to_string(m_keys.First() + offset); }

    /// The entry of our key in the list of all FIFOs of the box; null if there is none.
    Json::Value Listed(const std::string& verb = "ls") const
    {
        const VxResult result = RunVx({"fifo", verb, "--json"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        for (const Json::Value& one : Parse(result.out)) {
            if (one["key"].asInt() == m_keys.First()) {
                return one;
            }
        }
        return {};
    }

    /// A writer that has written `frames` frames and waits.
    std::function<int(Channel&)> IdleWriter(int frames) const
    {
        return TestWriter(m_keys.First(), [frames](ShmStreamFifo& fifo, Channel& channel) {
            for (int n = 0; n < frames; ++n) {
                WriteTestFrame(fifo, n);
            }
            channel.Send('W');
            Forever();
        });
    }

    /// A segment of our own, with nothing of a FIFO in it.
    static int Make(int key, std::size_t bytes) { return ::shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0666); }

    TempRoot m_root;
    IpcKeys m_keys;
};

// Catches: fields that are mixed up, a frame count that is off by one, holders and marks that are not seen.
TEST_F(FifoLookTest, LivingFifoIsShownAsItIs)
{
    ChildProcess writer(IdleWriter(24));
    ASSERT_EQ(writer.Receive(), 'W');
    VxProcess reader({"fifo", "tail", Key(), "--quiet"});
    ASSERT_TRUE(reader.WaitForOutput("attached"));

    for (const char* const verb : {"ls", "top"}) {
        const Json::Value listed = Listed(verb);
        EXPECT_EQ(listed["state"], "live");
        EXPECT_EQ(listed["codec"], "H264");
        EXPECT_EQ(listed["width"], 640);
        EXPECT_EQ(listed["height"], 360);
        EXPECT_EQ(listed["slots"], 10);
        EXPECT_EQ(listed["segments"], 11);
        EXPECT_EQ(listed["newestId"], 23);
        EXPECT_EQ(listed["keyFrameId"], 20);
        EXPECT_EQ(listed["nextId"], 24);
        EXPECT_EQ(listed["readers"], 1);
        EXPECT_EQ(listed["extraSize"], 16);
    }
    const Json::Value stat = Parse(RunVx({"fifo", "stat", Key(), "--json"}).out);
    bool readerHolds = false;
    int creators = 0;
    for (const Json::Value& holder : stat["holders"]) {
        readerHolds = readerHolds || (holder["pid"].asInt() == reader.Pid() && !holder["creator"].asBool());
        creators += holder["creator"].asBool() ? 1 : 0;
    }
    EXPECT_TRUE(readerHolds);
    EXPECT_EQ(creators, 1);
    ASSERT_EQ(stat["slotTable"].size(), 10u);
    for (const Json::Value& slot : stat["slotTable"]) {
        const int id = slot["id"].asInt();
        EXPECT_EQ(slot["frameSize"].asUInt(), TestFrame(id).size());
        EXPECT_EQ(slot["timestamp"].asInt(), id * 40000);
        EXPECT_EQ(slot["flags"].asInt(), TestFlags(id));
        EXPECT_EQ(slot["writerMarks"].asInt(), 0);
    }
    writer.Kill(SIGKILL);
    reader.Finish(1);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 0);
}

// Catches: a live table that measures a wrong rate, stays as it was, or cannot be left.
TEST_F(FifoLookTest, TopMeasuresEachSecondAndEndsByASignal)
{
    ChildProcess writer(TestWriter(m_keys.First(), [](ShmStreamFifo& fifo, Channel& channel) {
        channel.Send('W');
        for (int n = 0;; ++n) {
            WriteTestFrame(fifo, n);
            ::usleep(10000);
        }
    }));
    ASSERT_EQ(writer.Receive(), 'W');
    const VxResult tables = RunVx({"fifo", "top", "-n", "3", "-s", "0.5", "--json"});
    std::vector<Json::Value> rates;
    std::istringstream lines(tables.out);
    for (std::string line; std::getline(lines, line);) {
        for (const Json::Value& one : Parse(line)) {
            if (one["key"].asInt() == m_keys.First()) {
                rates.push_back(one["writeFps"]);
            }
        }
    }
    ASSERT_EQ(rates.size(), 3u) << tables.out << tables.err;
    EXPECT_TRUE(rates[0].isNull());
    EXPECT_GT(rates[2].asInt(), 5); // on a busy machine; a hundred at most
    EXPECT_LE(rates[2].asInt(), 101);

    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    const int side = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    VxProcess live({"fifo", "top", "-s", "0.1"}, side);
    std::string shown;
    char buffer[4096];
    while (shown.find("\033[H", shown.find("H264")) == std::string::npos) { // the second table
        const ssize_t got = ::read(terminal, buffer, sizeof buffer);
        ASSERT_GT(got, 0);
        shown.append(buffer, static_cast<std::size_t>(got));
    }
    live.Signal(SIGINT);
    EXPECT_EQ(live.Finish().exitCode, 0);
    ::close(side);
    ::close(terminal);
    writer.Kill(SIGKILL);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 0);
}

// Catches: removal of what is in use, removal without being asked, leftovers that rm does not find.
TEST_F(FifoLookTest, OnlyWhatNobodyUsesIsRemoved)
{
    ChildProcess writer(IdleWriter(12));
    ASSERT_EQ(writer.Receive(), 'W');
    VxProcess reader({"fifo", "tail", Key(), "--quiet"});
    ASSERT_TRUE(reader.WaitForOutput("attached"));
    VxResult result = RunVx({"fifo", "rm", Key(), "--yes"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_NE(result.err.find("is alive"), std::string::npos) << result.err;

    writer.Kill(SIGKILL);
    EXPECT_EQ(Listed()["state"], "left over");
    result = RunVx({"fifo", "rm", Key(), "--yes"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_NE(result.err.find(std::to_string(reader.Pid()) + " vx"), std::string::npos) << result.err;

    reader.Signal(SIGTERM);
    EXPECT_EQ(reader.Finish().exitCode, 0);
    EXPECT_EQ(RunVx({"fifo", "rm", Key()}).exitCode, 4) << "nobody was asked";
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--dry-run"}).exitCode, 0);
    EXPECT_EQ(m_keys.Used(false), 11);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 0);
    EXPECT_EQ(m_keys.Used(false), 0);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 3);
}

// Catches: readers that wait for ever on a FIFO that was removed under them.
TEST_F(FifoLookTest, ForcedRemovalTellsTheReaders)
{
    ChildProcess writer(IdleWriter(12));
    ASSERT_EQ(writer.Receive(), 'W');
    ShmFifoReader reader;
    ASSERT_EQ(reader.Init(m_keys.First(), false), 0);
    writer.Kill(SIGKILL);
    EXPECT_FALSE(reader.IsClose());
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes", "--force"}).exitCode, 0);
    EXPECT_TRUE(reader.IsClose());
}

// Catches: slots that stay for ever once their header is gone.
TEST_F(FifoLookTest, SlotsWithoutHeaderAreFoundAndRemoved)
{
    ChildProcess writer(IdleWriter(12));
    ASSERT_EQ(writer.Receive(), 'W');
    writer.Kill(SIGKILL);
    ASSERT_EQ(::shmctl(::shmget(m_keys.First(), 0, 0), IPC_RMID, nullptr), 0);

    EXPECT_FALSE(Listed()["header"].asBool());
    EXPECT_EQ(Listed()["segments"], 10);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 0);
    EXPECT_EQ(m_keys.Used(false), 0);
}

// Catches: other programs' segments taken for FIFOs and removed, even with --force.
TEST_F(FifoLookTest, ForeignSegmentsStay)
{
    constexpr int SLOT_OFFSET = 5;
    ASSERT_GE(Make(m_keys.First(), 5000), 0);
    ASSERT_GE(Make(m_keys.First() + SLOT_OFFSET, sizeof(DataEntry) + 4096),
              0); // as long as a slot, but empty
    EXPECT_TRUE(Listed().isNull());
    for (const int offset : {0, SLOT_OFFSET}) {
        const VxResult result = RunVx({"fifo", "rm", Key(offset), "--yes", "--force"});
        EXPECT_EQ(result.exitCode, 4);
        EXPECT_NE(result.err.find("not a FIFO"), std::string::npos) << result.err;
    }
    for (const char* const verb : {"stat", "tail", "cat"}) {
        const VxResult result = RunVx({"fifo", verb, Key()});
        EXPECT_EQ(result.exitCode, 3) << verb;
        EXPECT_NE(result.err.find("not a FIFO"), std::string::npos) << result.err;
    }
    EXPECT_EQ(m_keys.Used(true), 2);
}

// Catches: a header of the other width that is read with the wrong offsets, or called "no FIFO".
TEST_F(FifoLookTest, OtherWidthIsNamed)
{
    const bool is32 = sizeof(void*) == 4;
    ASSERT_GE(Make(m_keys.First(), is32 ? 2608 : 2220), 0);
    ASSERT_GE(Make(m_keys.First() + 1, sizeof(DataEntry) + 4096), 0);
    DataEntry* const pEntry =
        static_cast<DataEntry*>(::shmat(::shmget(m_keys.First() + 1, 0, 0), nullptr, 0));
    pEntry->capacity = 4096; // index 0: the first slot
    ::shmdt(pEntry);

    const std::string width = is32 ? "64-bit" : "32-bit";
    EXPECT_EQ(Listed()["state"], width);
    EXPECT_TRUE(Listed()["codec"].isNull());
    for (const char* const verb : {"stat", "tail", "cat"}) {
        const VxResult result = RunVx({"fifo", verb, Key()});
        EXPECT_EQ(result.exitCode, 3) << verb;
        EXPECT_NE(result.err.find("a " + width + " process made this FIFO"), std::string::npos) << result.err;
    }
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 4) << "its maker lives";
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes", "--force"}).exitCode, 0);
}

// Catches: a number of a scribbled header that is believed: a crash, a hang, a huge allocation.
TEST_F(FifoLookTest, ScribbledHeaderNeitherCrashesNorHangs)
{
    ChildProcess writer(IdleWriter(24));
    ASSERT_EQ(writer.Receive(), 'W');
    const int shmId = ::shmget(m_keys.First(), 0, 0);
    unsigned char* const pHeader = static_cast<unsigned char*>(::shmat(shmId, nullptr, 0));
    const std::vector<unsigned char> good(pHeader, pHeader + sizeof(ShmStreamFifo));
    std::mt19937 random(20240607);
    const std::vector<std::vector<std::string>> verbs{
        {"ls"}, {"stat", Key()}, {"tail", Key(), "-n1"}, {"cat", Key()}};
    for (int round = 0; round < 24; ++round) {
        std::memcpy(pHeader, good.data(), good.size());
        const std::size_t first = round == 0 ? 0 : random() % good.size();
        const std::size_t count = round == 0 ? good.size() : 1 + random() % 600;
        for (std::size_t i = first; i < good.size() && i < first + count; ++i) {
            pHeader[i] = static_cast<unsigned char>(random());
        }
        std::vector<std::string> args{"fifo"};
        args.insert(args.end(), verbs[static_cast<std::size_t>(round) % 4].begin(),
                    verbs[static_cast<std::size_t>(round) % 4].end());
        VxProcess vx(args);
        ::usleep(50000);
        vx.Signal(SIGTERM);
        const VxResult result = vx.Finish(8000);
        EXPECT_EQ(result.signal == SIGTERM ? 0 : result.signal, 0)
            << args[1] << " in round " << round << result.err;
    }
    std::memcpy(pHeader, good.data(), good.size());
    ::shmdt(pHeader);
    writer.Kill(SIGKILL);
    EXPECT_EQ(RunVx({"fifo", "rm", Key(), "--yes"}).exitCode, 0);
}

struct KeyCase {
    const char* what;
    const char* key;
    int exitCode;
};
class FifoKeyTest : public ::testing::TestWithParam<KeyCase> {};

// Catches: text after a number that is ignored, a key whose slots have no keys, hexadecimal read as decimal.
TEST_P(FifoKeyTest, KeysAreCheckedBeforeAnythingIsTouched)
{
    const TempRoot root;
    EXPECT_EQ(RunVx({"fifo", "stat", GetParam().key}).exitCode, GetParam().exitCode);
}
INSTANTIATE_TEST_SUITE_P(Keys, FifoKeyTest,
                         ::testing::Values(KeyCase{"Text", "door", 2}, KeyCase{"Tail", "12x", 2},
                                           KeyCase{"Empty", "", 2}, KeyCase{"Negative", "-5", 2},
                                           KeyCase{"Private", "0", 2},
                                           KeyCase{"NoRoomForSlots", "0x7fffffff", 2},
                                           KeyCase{"TooLarge", "99999999999999999999", 2},
                                           KeyCase{"NothingThereDecimal", "1999999999", 3},
                                           KeyCase{"NothingThereHex", "0x7735940f", 3}),
                         [](const auto& one) { return std::string(one.param.what); });

} // namespace
