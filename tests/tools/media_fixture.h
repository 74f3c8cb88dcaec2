// SPDX-License-Identifier: Apache-2.0
// tests/tools/media_fixture.h - keys, a folder and clips for tests that run vx capture and vx record.
#pragma once

#include <filesystem>

#include "media_clip.h"
#include "support/ipc_keys.h"
#include "support/temp_root.h"
#include "support/wait_for.h"
#include "test_writer.h"
#include "vx_process.h"

class MediaTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HasFfmpeg()) {
            GTEST_SKIP() << "ffmpeg and ffprobe make and judge the clips; script/bootstrap installs them";
        }
    }

    std::string Path(const std::string& name) const { return (m_root.Path() / name).string(); }
    std::string VideoKey() const { return std::to_string(m_videoKeys.First()); }
    std::string AudioKey() const { return std::to_string(m_audioKeys.First()); }

    std::string Clip(const std::string& arguments, const std::string& name) const
    {
        EXPECT_EQ(MakeClip(arguments, Path(name)), "");
        return Path(name);
    }
    std::string ShortClip() const
    {
        return Clip("-f lavfi -i testsrc2=size=320x240:rate=25 -t 3 -c:v libx264 -preset ultrafast -g 25",
                    "short.mp4");
    }

    /// Whether the last slot of the FIFO is there: capture makes it last.
    static bool IsMade(const IpcKeys& keys) { return ::shmget(keys.First() + 30, 0, 0) >= 0; }
    std::uintmax_t Size(const std::string& path) const
    {
        return std::filesystem::exists(path) ? std::filesystem::file_size(path) : 0;
    }

    TempRoot m_root;
    IpcKeys m_videoKeys;
    IpcKeys m_audioKeys;
};
