// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfiforeader_test.cpp - the reader with a callback: attaching, waiting, describing the stream.
#include "shmfiforeader.h"

#include "package/shmcommoncfg.h"
#include "shmfifo_fixture.h"
#include "support/fake_clock.h"

class ShmFifoReaderTest : public ShmFifoFixture {
protected:
    bool ReadOne()
    {
        return m_reader.Read(
            this,
            [](void* ctx, DataEntry* pEntry, unsigned char* data, int size) {
                auto& self = *static_cast<ShmFifoReaderTest*>(ctx);
                self.m_got += std::to_string(pEntry->id) + ":" + std::to_string(data[size - 1]) + " ";
            },
            &ShmStreamFifo::ReadNext);
    }

    ShmFifoReader m_reader;
    std::string m_got;
};

// Catches: first frames that are passed over by a reader that asked for them, or given to one that came too late.
TEST_F(ShmFifoReaderTest, StartsWithTheFirstFrameIfAskedInTime)
{
    const struct {
        int before; ///< frames written before it asks
        int after;
        bool inTime;
        const char* got;
    } cases[] = {
        {0, 3, true, "0:0 1:1 2:2 "}, {2, 2, false, "3:3 "}, {0, 12, true, "11:11 "}}; // of ten slots
    for (const auto& one : cases) {
        Make();
        m_got.clear();
        auto write = [this, n = 0](int count) mutable {
            for (int i = 0; i < count; ++i, ++n) {
                Write(FRAME_P, 100, static_cast<unsigned char>(n));
            }
        };
        write(one.before);
        ASSERT_EQ(m_reader.Init(m_keys.First(), false), 0);
        EXPECT_EQ(m_reader.StartAtFirst(), one.inTime);
        write(one.after);
        while (ReadOne()) {
        }
        EXPECT_EQ(m_got, one.got);
        m_reader.Free();
    }
}

// Catches: a segment of another build or of another program that is taken for a FIFO.
TEST_F(ShmFifoReaderTest, OnlyAHeaderOfThisBuildIsAttached)
{
    TakeLog();
    const std::string refused =
        "utils/shmfiforeader Init shmfifo INFO: Failed to attach shm stream fifo at [" +
        std::to_string(m_keys.First()) + "].\n";
    EXPECT_EQ(m_reader.Init(m_keys.First(), false), -1);
    EXPECT_EQ(TakeLog(), refused);
    for (const std::size_t bytes : {sizeof(ShmStreamFifo) - 4, sizeof(ShmStreamFifo) + 4}) {
        const int id = ::shmget(m_keys.First(), bytes, IPC_CREAT | 0600);
        EXPECT_EQ(m_reader.Init(m_keys.First(), false), -1);
        EXPECT_EQ(TakeLog(), refused);
        ::shmctl(id, IPC_RMID, nullptr);
    }
    EXPECT_EQ(m_reader.Init(-1, false), 0);
    EXPECT_TRUE(m_reader.IsClose());
    EXPECT_FALSE(ReadOne());
    EXPECT_EQ(IpcKeys::Attached(), 0);
}

// Catches: a time-out that starts too early, never, or is not reset by a frame; a same key that loses the
// attachment.
TEST_F(ShmFifoReaderTest, SilenceOfMoreThanTenSecondsIsNoData)
{
    Make();
    ASSERT_EQ(m_reader.Init(m_keys.First(), false), 0);
    ShmStreamFifo* const pFifo = m_reader.GetFifo();
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(ReadOne());
        EXPECT_FALSE(m_reader.IsNoData());
        g_fakeMonoSec += 10;
        EXPECT_FALSE(m_reader.IsNoData());
        g_fakeMonoSec += 1;
        TakeLog();
        EXPECT_TRUE(m_reader.IsNoData());
        ExpectLog("No data timeout.\n");
        Write(FRAME_P);
        EXPECT_TRUE(ReadOne());
        EXPECT_FALSE(m_reader.IsNoData());
    }
    EXPECT_EQ(m_reader.Init(m_keys.First(), false), 0);
    EXPECT_EQ(m_reader.GetFifo(), pFifo);
    EXPECT_TRUE(ReadOne()) << "starts anew with the newest frame";
    EXPECT_EQ(m_got, "0:1 1:1 1:1 ");
    EXPECT_FALSE(ReadOne());
    EXPECT_FALSE(m_reader.IsNoData());
    g_fakeMonoSec += 11;
    EXPECT_TRUE(m_reader.IsNoData());
    m_reader.Free();
    EXPECT_TRUE(m_reader.IsNoData()) << "closed";
    ASSERT_EQ(m_reader.Init(m_keys.First(), false), 0);
    EXPECT_FALSE(m_reader.IsNoData()) << "attached anew: the time starts again";
}

// Catches: frames that are handed out while the package holds them back, and a claim kept on one that was
// not.
TEST_F(ShmFifoReaderTest, PackageCanHoldFramesBack)
{
    Make();
    ASSERT_EQ(m_reader.Init(m_keys.First(), false), 0);
    ShmCommonCfg* const pCfg = VxShmCommonCfgAt();
    ASSERT_NE(pCfg, nullptr);
    Write(FRAME_P);
    pCfg->holdFrames = 1;
    EXPECT_FALSE(ReadOne());
    EXPECT_EQ(MarkOf(0), 0U);
    pCfg->holdFrames = 0;
    pCfg->freshMonoSec = g_fakeMonoSec - 86401;
    EXPECT_FALSE(ReadOne());
    pCfg->freshMonoSec = g_fakeMonoSec + 86400;
    EXPECT_TRUE(ReadOne());
}

// Catches: a codec or a parameter block that is read wrongly, or a block that is read past its end.
TEST_F(ShmFifoReaderTest, FormatIsReadFromTheHeader)
{
    const struct {
        bool video;
        const char* codec;
        int width; ///< of the pictures, as its writer says
        std::string extra;
        int result;
        const char* log;
        std::uint32_t codecTag;
        int rateOrWidth;
        const char* block;
    } cases[] = {
        {true, "H264", 1920, "abc", 0, "", 0x68323634, 1920, "abc"},
        {true, "H265", 1920, "", 0, "", 0x68657663, 1920, ""},
        {true, "VP8", 1920, "", -1, "Unknown VodFmt[VP8]\n", 0, 0, ""},
        {true, "H264", 0, "", -1, "Invalid Width[0] Height[1080]\n", 0x68323634, 0, ""},
        {false, "MPEG4-GENERIC", 0, "48000|2|\x11\x90", 0, "", 0, 48000, "\x11\x90"},
        {false, "PCMA", 0, "8000|1|", 0, "", 0, 8000, ""},
        {false, "OPUS", 0, "48000|2|", -1, "Unknown AdoFmt[OPUS]\n", 0, 0, ""},
        {false, "PCMU", 0, "8000|1", -1, "Broken extra, size[6]\n", 0, 0, ""},
        {false, "PCMU", 0, "", -1, "Broken extra, size[0]\n", 0, 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.codec) + " " + c.extra);
        Make();
        m_pFifo->SetCodec(c.codec);
        m_pFifo->SetExtra(reinterpret_cast<const unsigned char*>(c.extra.data()),
                          static_cast<int>(c.extra.size()));
        m_pFifo->SetResolution(c.width, 1080);
        ShmFifoReader reader;
        ASSERT_EQ(reader.Init(m_keys.First(), false), 0);
        ESFormat format;
        format.width = 7; // of an earlier stream
        TakeLog();
        EXPECT_EQ(c.video ? reader.FillVdoFmt(format) : reader.FillAdoFmt(format), c.result);
        ExpectLog(c.log);
        EXPECT_EQ(format.codecTag, c.codecTag);
        EXPECT_EQ(c.video ? format.width : format.sampleRate, c.rateOrWidth);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(format.extraData),
                              static_cast<std::size_t>(format.extraSize)),
                  c.block);
    }
}
