// SPDX-License-Identifier: Apache-2.0
// tests/utils/shmfifo_fixture.h - a FIFO of the test's own, and frames that can be told from each other.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "shmfifo.h"
#include "shmfiforeader.h"
#include "support/ipc_keys.h"
#include "support/log_capture.h"
#include "support/temp_root.h"

class ShmFifoFixture : public ::testing::Test {
protected:
    using Slots = std::array<DATA_ENTRY_INFO, SHM_FIFO_MAX_COUNT>;

    void Make(int entrySize = 1000, int fifoCnt = 10)
    {
        m_pFifo = m_handler.GetStreamFifo(m_keys.First(), entrySize, fifoCnt);
        ASSERT_NE(m_pFifo, nullptr);
    }

    /// Writes a frame whose bytes all are `fill`.
    int Write(int flags, int size = 100, unsigned char fill = 1)
    {
        std::vector<unsigned char> frame(static_cast<std::size_t>(size), fill);
        return m_pFifo->WriteData(frame.data(), size, fill, MEDIA_ES_VIDEO, flags, 1);
    }

    void WriteMany(int count)
    {
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(Write(FRAME_P), 0);
        }
    }

    /// The slots as they are now.
    Slots Look() const
    {
        Slots slots{};
        m_pFifo->StartRead(slots.data());
        return slots;
    }

    std::uint32_t MarkOf(int idx) const { return Look()[static_cast<std::size_t>(idx)].mark; }

    /// Overwrites a 32-bit word of the header, as any process could.
    void Poke(std::string_view field, std::int32_t value, std::size_t offset = 0) const
    {
        ShmLayout::ForEachField([&](std::string_view record, std::string_view name, std::size_t at,
                                    std::size_t) {
            if (record == "ShmStreamFifo" && name == field) {
                std::memcpy(reinterpret_cast<unsigned char*>(m_pFifo) + at + offset, &value, sizeof(value));
            }
        });
    }

    /// What was logged since the last call, each line as "TAG FUNCTION CATEGORY LEVEL: TEXT".
    std::string TakeLog()
    {
        std::string log;
        for (const CapturedLine& line : m_log.Take()) {
            log += line.place + " " + line.categ + " " + line.level + ": " + line.text;
        }
        return log;
    }

    /// Expects a text among what was logged since the last call.
    void ExpectLog(const std::string& text)
    {
        const std::string log = TakeLog();
        EXPECT_NE(log.find(text), log.npos) << log << "instead of " << text;
    }

    TempRoot m_root;
    LogCapture m_log;
    IpcKeys m_keys;
    ShmFifoHandler m_handler;
    ShmStreamFifo* m_pFifo = nullptr;
};

/// Owns the array that a copying reader makes.
struct FrameBuffer {
    unsigned char* data = nullptr;
    int size = 0;

    FrameBuffer() = default;
    ~FrameBuffer() { delete[] data; }
    FrameBuffer(const FrameBuffer&) = delete;
    FrameBuffer& operator=(const FrameBuffer&) = delete;
};
