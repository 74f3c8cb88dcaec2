// SPDX-License-Identifier: Apache-2.0
// tests/tools/record_full_test.cpp - a recorder whose volume is full.
#include "media_clip.h"
#include "support/namespaces.h"
#include "support/temp_root.h"
#include "vx_process.h"

// Catches: a recorder that goes on without writing, dies of a signal, or leaves a file that cannot be played.
TEST(RecordFullVolumeTest, FullVolumeIsSaidAndWhatIsWrittenPlays)
{
    if (!HasFfmpeg() || !EnterNamespaces()) {
        GTEST_SKIP() << "no ffmpeg, or no namespaces here";
    }
    const TempRoot root;
    const std::string clip = (root.Path() / "clip.mp4").string();
    const std::string place = (root.Path() / "volume").string();
    std::filesystem::create_directory(place);
    const TestVolume volume(place, "size=96k");
    ASSERT_TRUE(volume);
    ASSERT_EQ(
        MakeClip("-f lavfi -i testsrc2=size=320x240:rate=25 -t 4 -c:v libx264 -g 25 -pix_fmt yuv420p", clip),
        "");
    VxProcess capture({"capture", clip, "--key", "4711", "--realtime", "--loop", "--wait-readers", "1"});
    VxProcess recorder({"record", "--key", "4711", place + "/a.mp4"});
    const VxResult result = recorder.Finish(60000);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
    EXPECT_GT(
        std::atof(
            Shell("ffprobe -v error -show_entries format=duration -of csv=p=0 " + place + "/a.mp4").c_str()),
        0.5);
    capture.End();
}
