// SPDX-License-Identifier: Apache-2.0
// tests/tools/fifo_look_test.cpp - vx fifo ls, stat, top and rm on FIFOs of living, dead and foreign makers.
#include <sstream>

#include "support/ipc_keys.h"
#include "support/temp_root.h"
#include "test_writer.h"
#include "vx_process.h"

namespace {

class FifoLookTest : public ::testing::Test {
protected:
    std::string Key(int offset = 0) const { return std::to_string(m_keys.First() + offset); }

    /// The entry of our key in the list of all FIFOs of the box; null if there is none.
    Json::Value Listed(const std::string& verb = "ls") const
    {
        for (const Json::Value& one : VxJson({"fifo", verb})) {
            if (one["key"].asInt() == m_keys.First()) {
                return one;
            }
        }
        return {};
    }

    /// What a writer does that has written `frames` frames and waits, once it has said so.
    static FifoWriter::Work Idle(int frames)
    {
        return [frames](ShmStreamFifo& fifo, Channel& channel) {
            for (int n = 0; n < frames; ++n) {
                WriteTestFrame(fifo, n);
            }
            channel.Send('W');
            Forever();
        };
    }

    /// Removes what a killed writer left.
    void Remove() const { ExpectVx({"fifo", "rm", Key(), "--yes"}); }

    /// A segment of our own, with nothing of a FIFO in it.
    static int Make(int key, std::size_t bytes) { return ::shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0666); }

    TempRoot m_root;
    IpcKeys m_keys;
};

// Catches: fields that are mixed up, a frame count that is off by one, holders and marks that are not seen.
TEST_F(FifoLookTest, LivingFifoIsShownAsItIs)
{
    FifoWriter writer(m_keys.First(), Idle(24));
    ASSERT_EQ(writer.Receive(), 'W');
    VxProcess reader({"fifo", "tail", Key(), "--quiet"});
    ASSERT_TRUE(reader.WaitForOutput("attached"));

    for (const char* const verb : {"ls", "top"}) {
        Json::Value listed = Listed(verb);
        const Json::Value expected = ParseJson(
            R"({"state":"live", "codec":"H264", "width":640, "height":360, "slots":10, "segments":11,
                          "newestId":23, "keyFrameId":20, "nextId":24, "readers":1, "extraSize":16})");
        for (const std::string& name : expected.getMemberNames()) {
            EXPECT_EQ(listed[name], expected[name]) << verb << " " << name;
        }
    }
    const Json::Value stat = VxJson({"fifo", "stat", Key()});
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
    Remove();
}

// Catches: a live table that measures a wrong rate, stays as it was, or cannot be left.
TEST_F(FifoLookTest, TopMeasuresEachSecondAndEndsByASignal)
{
    FifoWriter writer(m_keys.First(), [](ShmStreamFifo& fifo, Channel&) {
        for (int n = 0;; ++n) {
            WriteTestFrame(fifo, n);
            ::usleep(10000);
        }
    });
    const VxResult tables = RunVx({"fifo", "top", "-n", "3", "-s", "0.5", "--json"});
    std::vector<Json::Value> rates;
    std::istringstream lines(tables.out);
    for (std::string line; std::getline(lines, line);) {
        for (const Json::Value& one : ParseJson(line)) {
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
    live.End(SIGINT);
    ::close(side);
    ::close(terminal);
    writer.Kill(SIGKILL);
    Remove();
}

// Catches: removal of what is in use, removal without being asked, leftovers that rm does not find.
TEST_F(FifoLookTest, OnlyWhatNobodyUsesIsRemoved)
{
    FifoWriter writer(m_keys.First(), Idle(12));
    ASSERT_EQ(writer.Receive(), 'W');
    VxProcess reader({"fifo", "tail", Key(), "--quiet"});
    ASSERT_TRUE(reader.WaitForOutput("attached"));
    const std::vector<std::string> remove = {"fifo", "rm", Key(), "--yes"};
    ExpectVx(remove, 4, "is alive");

    writer.Kill(SIGKILL);
    EXPECT_EQ(Listed()["state"], "left over");
    ExpectVx(remove, 4, std::to_string(reader.Pid()) + " vx");

    reader.End();
    ExpectVx({"fifo", "rm", Key()}, 4); // nobody to ask
    ExpectVx({"fifo", "rm", Key(), "--dry-run"});
    EXPECT_EQ(m_keys.Used(false), 11);
    ExpectVx(remove);
    EXPECT_EQ(m_keys.Used(false), 0);
    ExpectVx(remove, 3);
}

// Catches: slots that stay for ever once their header is gone; readers that wait for ever on a FIFO that was removed
// under them.
TEST_F(FifoLookTest, RemovalTellsTheReadersAndFindsSlotsWithoutHeader)
{
    for (const bool isHeaderGone : {false, true}) {
        FifoWriter writer(m_keys.First(), Idle(12));
        ASSERT_EQ(writer.Receive(), 'W');
        ShmFifoReader reader;
        ASSERT_EQ(reader.Init(m_keys.First(), false), 0);
        writer.Kill(SIGKILL);
        if (isHeaderGone) {
            ASSERT_EQ(::shmctl(::shmget(m_keys.First(), 0, 0), IPC_RMID, nullptr), 0);
            EXPECT_FALSE(Listed()["header"].asBool());
            EXPECT_EQ(Listed()["segments"], 10);
        }
        EXPECT_FALSE(reader.IsClose());
        isHeaderGone ? Remove() : static_cast<void>(ExpectVx({"fifo", "rm", Key(), "--yes", "--force"}));
        EXPECT_NE(reader.IsClose(), isHeaderGone);
        EXPECT_EQ(m_keys.Used(false), 0);
    }
}

// Catches: other programs' segments taken for FIFOs and removed, even with --force.
TEST_F(FifoLookTest, ForeignSegmentsStay)
{
    constexpr int SLOT_OFFSET = 5;
    ASSERT_GE(Make(m_keys.First(), 5000), 0);
    ASSERT_GE(Make(m_keys.First() + SLOT_OFFSET, sizeof(DataEntry) + 4096), 0); // a slot's length, but empty
    EXPECT_TRUE(Listed().isNull());
    for (const int offset : {0, SLOT_OFFSET}) {
        ExpectVx({"fifo", "rm", Key(offset), "--yes", "--force"}, 4, "not a FIFO");
    }
    for (const char* const verb : {"stat", "tail", "cat"}) {
        ExpectVx({"fifo", verb, Key()}, 3, "not a FIFO");
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
        ExpectVx({"fifo", verb, Key()}, 3, "a " + width + " process made this FIFO");
    }
    ExpectVx({"fifo", "rm", Key(), "--yes"}, 4); // its maker lives
    ExpectVx({"fifo", "rm", Key(), "--yes", "--force"});
}

// Catches: text after a number that is ignored, a key whose slots have no keys, hexadecimal read as decimal.
TEST_F(FifoLookTest, KeysAreCheckedBeforeAnythingIsTouched)
{
    for (const char* const wrong :
         {"door", "12x", "", "-5", "0", "0x7fffffff", "99999999999999999999"}) { // 0 is private
        ExpectVx({"fifo", "stat", wrong}, 2);
    }
    ExpectVx({"fifo", "stat", "1999999999"}, 3); // nothing is there
    ExpectVx({"fifo", "stat", "0x7735940f"}, 3);
}
} // namespace
