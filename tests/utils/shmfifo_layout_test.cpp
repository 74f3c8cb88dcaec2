// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_layout_test.cpp - the bytes of the shared segments, as a process of another build finds
// them.
#include <sys/stat.h>

#include "shmfifo_fixture.h"

namespace {

std::int32_t WordAt(const void* pBase, std::size_t offset)
{
    std::int32_t word = 0;
    std::memcpy(&word, static_cast<const unsigned char*>(pBase) + offset, sizeof(word));
    return word;
}

} // namespace

class ShmFifoLayoutTest : public ShmFifoFixture {};

// Catches: a segment that others cannot open or that is not as long as they expect, and a fresh frame header
// that differs.
TEST_F(ShmFifoLayoutTest, SegmentsHaveTheirKeysModesAndLengths)
{
    Make(1000, 10);
    for (int i = 0; i <= 10; ++i) {
        shmid_ds stat{};
        ASSERT_EQ(::shmctl(::shmget(m_keys.First() + i, 0, 0), IPC_STAT, &stat), 0);
        EXPECT_EQ(stat.shm_perm.mode & 0777U, 0666U);
        EXPECT_EQ(stat.shm_segsz, i == 0 ? sizeof(ShmStreamFifo) : 1000U + 0x28U);
    }
    const void* const pEntry = ::shmat(::shmget(m_keys.First() + 4, 0, 0), nullptr, SHM_RDONLY);
    const std::int32_t fresh[] = {3, 0, 1000, 0, 0, 2, 0, 0, 0};
    EXPECT_EQ(std::memcmp(pEntry, fresh, sizeof(fresh)), 0);
    ::shmdt(pEntry);
}

// Catches: a field of a frame at another place, or of another width.
TEST_F(ShmFifoLayoutTest, FrameIsFoundByteForByte)
{
    Make(1000, 10);
    unsigned char bytes[] = {0xAA, 0xBB, 0xCC};
    Poke("m_nextId", 77);
    ASSERT_EQ(m_pFifo->WriteData(bytes, 3, 0x1122334455667788, MEDIA_ES_AUDIO, 0x84, 6), 0);
    const void* const pEntry = ::shmat(::shmget(m_keys.First() + 1, 0, 0), nullptr, SHM_RDONLY);
    const std::int32_t expected[] = {0,          3,          1000,           77,      6, 0x84,
                                     0x55667788, 0x11223344, MEDIA_ES_AUDIO, 0xCCBBAA};
    EXPECT_EQ(std::memcmp(pEntry, expected, sizeof(expected)), 0);
    ::shmdt(pEntry);
}

// Catches: a header that a 32-bit process of another build reads wrongly. The offsets stand here as numbers
// on purpose.
TEST_F(ShmFifoLayoutTest, HeaderOfA32BitProcessIsExact)
{
    if constexpr (sizeof(void*) != 4) {
        GTEST_SKIP() << "this is a 64-bit process; the 32-bit presets run it";
    }
    Make(1000, 12);
    m_pFifo->SetCodec("H265");
    m_pFifo->SetExtra(reinterpret_cast<const unsigned char*>("xyz"), 3);
    m_pFifo->SetResolution(640, 480);
    m_pFifo->AccConnectCnt();
    ASSERT_EQ(Write(FRAME_I), 0);
    ASSERT_EQ(Write(FRAME_P), 0);
    struct {
        std::size_t offset;
        std::int32_t value;
    } const words[] = {
        {0x018, 2},        {0x01C, m_keys.First() + 1},
        {0x020, 1},        {0x024, 0},
        {0x028, 12},       {0x02C, 2},
        {0x030, -1},       {0x038, 0},
        {0x04C, 640},      {0x050, 480},
        {0x054, 1},        {0x058, 3},
        {0x070, 1},        {0x074, 1},
        {0x078, 0},        {0x07C, 1000},
        {0x084, 10001},    {0x2B4, 0x35363248},
        {0x2C8, 0x7A7978}, {0x6C8, m_keys.First() + 1},
        {0x6D0, 1000},     {0x6D8, m_keys.First() + 2},
        {0x8A8, 1},
    };
    for (const auto& word : words) {
        EXPECT_EQ(WordAt(m_pFifo, word.offset), word.value) << "offset 0x" << std::hex << word.offset;
    }
    EXPECT_EQ(sizeof(ShmStreamFifo), 0x8ACU);
}
