// SPDX-License-Identifier: Apache-2.0
// tests/tools/fifo_read_test.cpp - vx fifo tail and cat on a FIFO that flows, jumps, closes and comes back.
#include <fstream>
#include <sstream>

#include "support/ipc_keys.h"
#include "support/temp_root.h"
#include "test_writer.h"
#include "vx_process.h"

namespace {

class FifoReadTest : public ::testing::Test {
protected:
    std::string Key() const { return std::to_string(m_keys.First()); }

    /// What a writer does that writes frames 0 to count-1 once a reader is there, at a pace that a reader on a
    /// busy machine can follow, and stays until it is told that they were read.
    static FifoWriter::Work Paced(int count)
    {
        return [count](ShmStreamFifo& fifo, Channel&) {
            AwaitReaders(fifo, 1);
            for (int n = 0; n < count; ++n, ::usleep(8000)) {
                WriteTestFrame(fifo, n);
            }
            AwaitReaders(fifo, 2);
        };
    }

    /// Ends the writer once the reader has printed `last`. @return how the reader ends then
    VxResult FinishBehind(VxProcess& reader, const std::string& last) const
    {
        EXPECT_TRUE(reader.WaitForOutput(last));
        TellWriter(m_keys.First());
        return reader.Finish(20000, 0);
    }

    /// Lets the writer go on while the reader is stopped, until the writer says so. @return how the reader ends then
    VxResult FreezeAndFinish(VxProcess& reader, ChildProcess& writer, const std::string& last = "") const
    {
        reader.Signal(SIGSTOP);
        TellWriter(m_keys.First());
        EXPECT_EQ(writer.Receive(), 'W');
        reader.Signal(SIGCONT);
        return last.empty() ? reader.Finish(20000, 0) : FinishBehind(reader, last);
    }

    static std::vector<Json::Value> Lines(const std::string& text)
    {
        std::vector<Json::Value> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            lines.push_back(ParseJson(line));
        }
        return lines;
    }

    static std::vector<Json::Value> Events(const std::string& text, const std::string& name)
    {
        std::vector<Json::Value> events = Lines(text);
        std::erase_if(events, [&name](const Json::Value& line) { return line["event"] != name; });
        return events;
    }

    TempRoot m_root;
    IpcKeys m_keys;
};

// Catches: a frame left out, given twice, or shown with another frame's numbers; a tail that outlives the
// FIFO.
TEST_F(FifoReadTest, TailGivesEveryFrameOnceAndEndsWithTheFifo)
{
    FifoWriter writer(m_keys.First(), Paced(40), 30);
    const std::string trace = (m_root.Path() / "trace").string();
    VxProcess tail({"fifo", "tail", Key(), "--once", "--json", "--trace", trace});
    const VxResult result = FinishBehind(tail, "\"timestamp\":1560000"); // of frame number 39
    int next = 0;
    for (const Json::Value& line : Lines(result.out)) {
        if (line.isMember("id")) {
            EXPECT_EQ(line["id"].asInt(), next);
            EXPECT_EQ(line["size"].asUInt(), TestFrame(next).size());
            EXPECT_EQ(line["timestamp"].asInt(), next * 40000);
            EXPECT_EQ(line["type"].asString(), next % TEST_GOP == 0 ? "I" : "P");
            ++next;
        }
    }
    EXPECT_EQ(next, 40);
    EXPECT_EQ(Events(result.out, "closed").size(), 1u);
    std::ifstream in(trace);
    EXPECT_EQ(std::count(std::istreambuf_iterator<char>(in), {}, '\n'), 40);
    EXPECT_EQ(writer.Wait(), 0);
}

// Catches: a reader that was there before the first frame and starts with a later one, because the machine gave
// it no time; a jump that is not told, or with a wrong count of lost frames; one that stays behind after it.
TEST_F(FifoReadTest, FrozenTailStartsWithTheFirstFrameOrJumpsAndSaysSo)
{
    const struct {
        int read;   ///< frames before it is frozen
        int frames; ///< written while it is
        int nextId;
        int lost;
    } cases[] = {{0, 8, 0, 0}, {0, 10, 0, 0}, {0, 25, 20, 20}, {3, 8, 3, 0}, {3, 25, 27, 24}}; // of ten slots
    for (const auto& late : cases) {
        FifoWriter writer(m_keys.First(), [&late](ShmStreamFifo& fifo, Channel& channel) {
            AwaitReaders(fifo, 1);
            int n = 0;
            for (; n < late.read; ++n) {
                WriteTestFrame(fifo, n);
            }
            channel.Send('S');
            AwaitReaders(fifo, 2); // until it is frozen
            for (; n < late.read + late.frames; ++n) {
                WriteTestFrame(fifo, n);
            }
            channel.Send('W');
            AwaitReaders(fifo, 3);
        });
        VxProcess tail({"fifo", "tail", Key(), "--from-key", "-n", std::to_string(late.read + 1), "--json"});
        ASSERT_EQ(writer.Receive(), 'S');
        ASSERT_TRUE(tail.WaitForOutput(late.read == 0 ? "" : "\"id\":" + std::to_string(late.read - 1)));
        const VxResult result = FreezeAndFinish(tail, writer);
        const Json::Value end = Events(result.out, "end").at(0);
        EXPECT_NE(result.out.find("\"id\":" + std::to_string(late.nextId)), std::string::npos) << result.out;
        EXPECT_EQ(end["lost"], late.lost);
        EXPECT_TRUE(end["firstIsKey"].asBool());
        const std::vector<Json::Value> jumps = Events(result.out, "jump");
        ASSERT_EQ(jumps.size(), late.lost > 0 ? 1u : 0u);
        if (late.lost > 0) {
            EXPECT_EQ(jumps[0]["from"], late.read == 0 ? Json::Value() : Json::Value(late.read - 1));
            EXPECT_EQ(jumps[0]["to"], late.nextId);
            EXPECT_EQ(jumps[0]["lost"], late.lost);
        }
        TellWriter(m_keys.First());
        EXPECT_EQ(writer.Wait(), 0);
    }
}

// Catches: a joiner that waits for the next key frame although the newest one is kept for it.
TEST_F(FifoReadTest, LateJoinerHasAKeyFrameAtOnce)
{
    FifoWriter writer(m_keys.First(), [](ShmStreamFifo& fifo, Channel& channel) {
        for (int n = 0; n < 17; ++n) {
            WriteTestFrame(fifo, n);
        }
        channel.Send('W');
        AwaitReaders(fifo, 2); // until it has been read
    });
    ASSERT_EQ(writer.Receive(), 'W');
    const VxResult result = RunVx({"fifo", "tail", Key(), "--from-key", "-n7", "--json"});
    const std::vector<Json::Value> lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 9u) << result.out << result.err; // attached, frames 10 to 16, end
    EXPECT_EQ(lines[1]["id"], 10);
    EXPECT_EQ(lines[7]["id"], 16);
    EXPECT_TRUE(lines[8]["firstIsKey"].asBool());
    EXPECT_LE(lines[8]["firstFrameMs"].asDouble(), 2000.0); // on a busy machine; script/demo wants 50
    TellWriter(m_keys.First());
    EXPECT_EQ(writer.Wait(), 0);
}

// Catches: --once that waits for ever, since a writer that was killed has cleared nothing; a tail that goes on
// looking at the segment of a writer that was killed and replaced.
TEST_F(FifoReadTest, OnceEndsWithAKilledWriterAndTailGoesOnToTheNext)
{
    const auto write = [](int n) {
        return [n](ShmStreamFifo& fifo, Channel&) {
            AwaitReaders(fifo, 1);
            WriteTestFrame(fifo, n);
            Forever();
        };
    };
    FifoWriter dead(m_keys.First(), write(0));
    VxProcess once({"fifo", "tail", Key(), "--once", "--from-key"});
    VxProcess cat({"fifo", "cat", Key(), "--once"});
    VxProcess tail({"fifo", "tail", Key(), "-n2", "--json"});
    ASSERT_TRUE(once.WaitForOutput("attached"));
    ASSERT_TRUE(cat.WaitForOutput(TEST_PARAMETER_SETS));
    ASSERT_TRUE(tail.WaitForOutput("\"id\":0"));
    dead.Kill(SIGKILL);
    EXPECT_NE(once.Finish(20000, 0).out.find("which was killed"), std::string::npos);
    cat.Finish(20000, 0);
    FifoWriter next(m_keys.First(), write(8));
    const VxResult result = tail.Finish(20000, 0);
    EXPECT_EQ(Events(result.out, "attached").size(), 2u);
    EXPECT_NE(result.out.find("320000"), std::string::npos) << result.out; // the time stamp of frame number 8
    next.Kill(SIGKILL);
    ExpectVx({"fifo", "rm", Key(), "--yes"});
}

// Catches: bytes lost, doubled or changed on the way to the pipe, parameter sets missing in front.
TEST_F(FifoReadTest, CatGivesTheStreamByteForByte)
{
    FifoWriter writer(m_keys.First(), Paced(60), 30);
    VxProcess cat({"fifo", "cat", Key(), "--once"});
    const VxResult result = FinishBehind(cat, TestFrame(59));
    std::string expected = TEST_PARAMETER_SETS;
    for (int n = 0; n < 60; ++n) {
        expected += TestFrame(n);
    }
    EXPECT_EQ(result.out.size(), expected.size());
    EXPECT_TRUE(result.out == expected);
    EXPECT_EQ(writer.Wait(), 0);
}

// Catches: pictures behind a gap whose references a decoder never got; changed parameter sets that are left
// out.
TEST_F(FifoReadTest, CatGoesOnAtAKeyFrameAfterAJump)
{
    FifoWriter writer(m_keys.First(), [](ShmStreamFifo& fifo, Channel& channel) {
        AwaitReaders(fifo, 1);
        WriteTestFrame(fifo, 0);
        AwaitReaders(fifo, 2); // until it is frozen
        for (int n = 1; n < 35; ++n) {
            WriteTestFrame(fifo, n);
        }
        fifo.SetExtra(reinterpret_cast<const unsigned char*>("new"), 3);
        channel.Send('W');
        for (int n = 35; n < 45; ++n) {
            ::usleep(50000);
            WriteTestFrame(fifo, n);
        }
        AwaitReaders(fifo, 3); // until the last frame was read
    });
    VxProcess cat({"fifo", "cat", Key(), "--once"});
    ASSERT_TRUE(cat.WaitForOutput(TestFrame(0)));
    const VxResult result = FreezeAndFinish(cat, writer, TestFrame(44));
    std::string expected = TEST_PARAMETER_SETS + TestFrame(0) + "new";
    for (int n = 40; n < 45; ++n) {
        expected += TestFrame(n);
    }
    EXPECT_TRUE(result.out == expected) << result.out.size() << " bytes for " << expected.size();
    EXPECT_EQ(writer.Wait(), 0);
}

// Catches: transport headers with a wrong length or rate, which no decoder finds its way through.
TEST_F(FifoReadTest, CatGivesAacWithTransportHeaders)
{
    FifoWriter writer(m_keys.First(), [](ShmStreamFifo& fifo, Channel&) {
        fifo.SetCodec("MPEG4-GENERIC");
        fifo.SetExtra(reinterpret_cast<const unsigned char*>("48000|2|\x11\x90"), 10);
        AwaitReaders(fifo, 1);
        std::vector<unsigned char> frame(100, 0xAB);
        fifo.WriteData(frame.data(), 100, 0, MEDIA_ES_AUDIO, FRAME_I, 1);
        AwaitReaders(fifo, 2);
    });
    const VxResult result = RunVx({"fifo", "cat", Key(), "-n1"});
    TellWriter(m_keys.First());
    // Low complexity, index 3 (48000 Hz), two channels, 107 bytes with the header.
    EXPECT_EQ(result.out.substr(0, 7), std::string("\xFF\xF1\x4C\x80\x0D\x7F\xFC", 7));
    EXPECT_EQ(result.out.substr(7), std::string(100, '\xAB')) << result.err;
    EXPECT_EQ(writer.Wait(), 0);
}

// Catches: a player that is closed and makes cat fail or die of a signal; a stream poured over a terminal.
TEST_F(FifoReadTest, CatEndsQuietlyWithItsReaderAndSparesTerminals)
{
    FifoWriter writer(m_keys.First(), Paced(60), 30);
    VxProcess cat({"fifo", "cat", Key()});
    ASSERT_TRUE(cat.WaitForOutput(TEST_PARAMETER_SETS));
    cat.CloseOutput();
    const VxResult closed = cat.Finish();
    EXPECT_EQ(closed.exitCode, 0) << "signal " << closed.signal;
    EXPECT_EQ(closed.err, "");

    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    const int side = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(side, 0);
    EXPECT_EQ(VxProcess({"fifo", "cat", Key()}, side).Finish().exitCode, 4);
    ::close(side);
    ::close(terminal);
    TellWriter(m_keys.First());
    EXPECT_EQ(writer.Wait(), 0);
}

} // namespace
