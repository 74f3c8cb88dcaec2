// SPDX-License-Identifier: Apache-2.0
// tests/tools/media_parts_test.cpp - decoding times and parameter sets, without any media file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "annexb.h"
#include "decode_clock.h"
#include "segment_files.h"
#include "support/temp_root.h"

namespace {

// Catches: decoding times that stand still, go back or lie behind the presentation, for any order of pictures.
TEST(DecodeClockTest, TimesGrowAndAreNeverBehindThePresentation)
{
    std::mt19937 random(20240607);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t depth = random() % 5;
        const std::size_t count = 1 + random() % 40;
        std::vector<long long> pts;
        for (std::size_t i = 0; i < count; ++i) {
            pts.push_back(static_cast<long long>(i) * 40 + static_cast<long long>(random() % 39));
        }
        for (std::size_t i = 0; i < count; i += depth + 1) { // the last of each group is decoded first
            std::rotate(pts.begin() + static_cast<long>(i),
                        pts.begin() + static_cast<long>(std::min(i + depth, count - 1)),
                        pts.begin() + static_cast<long>(std::min(i + depth + 1, count)));
        }
        // Where nothing is announced the first group shows the depth, as it does in a real stream.
        const int announced = random() % 2 == 0 ? static_cast<int>(depth) : 0;
        DecodeClock clock;
        const std::size_t first = std::min(DecodeClock::PicturesToPrime(announced), count);
        std::vector<long long> dts =
            clock.Prime({pts.begin(), pts.begin() + static_cast<long>(first)}, announced);
        ASSERT_EQ(dts.size(), first);
        for (std::size_t i = first; i < count; ++i) {
            dts.push_back(clock.Next(pts[i]));
        }
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_LE(dts[i], pts[i]) << "picture " << i << " of round " << round;
            ASSERT_TRUE(i == 0 || dts[i] > dts[i - 1]) << "picture " << i << " of round " << round;
        }
    }
}

// Catches: a recording that is overwritten once the clock was set back, or names in local time.
TEST(SegmentFilesTest, NoNameIsUsedTwice)
{
    const TempRoot root;
    const std::string folder = root.Path().string();
    const long long wallSec = 1793512800; // 2026-11-01 06:00 UTC: clocks in Chicago read 1:00 once more
    std::string paths[4];
    for (int i = 0; i < 4; ++i) {
        int fd = -1;
        EXPECT_FALSE(MakeSegment({"", folder}, i, wallSec, i == 3, fd, paths[i])) << i;
        ::close(fd);
    }
    EXPECT_EQ(paths[0], folder + "/20261101T060000Z.mp4");
    EXPECT_EQ(paths[1], folder + "/20261101T060000Z-1.mp4");
    EXPECT_EQ(paths[2], folder + "/20261101T060000Z-2.mp4");
    EXPECT_EQ(paths[3], folder + "/20261101T060000Z.mov");
    int fd = -1;
    EXPECT_EQ(MakeSegment({paths[0], ""}, 0, wallSec, false, fd, paths[0]).code, EXIT_REFUSED);
    EXPECT_FALSE(MakeSegment({paths[0], ""}, 1, wallSec, false, fd, paths[3]));
    EXPECT_EQ(paths[3], folder + "/20261101T060000Z-3.mp4");
    ::close(fd);
}

using Text = std::string;

const Text SHORT("\0\0\1", 3);
const Text LONG("\0\0\0\1", 4);
const Text SLICE = SHORT + "\x65slice" + Text("\0\0\1\x67not a set", 13);

Text Repeat(const Text& what, int times)
{
    Text all;
    for (int i = 0; i < times; ++i) {
        all += what;
    }
    return all;
}

// Catches: a set that is missed, taken twice or cut; a picture changed on the way; lengths that run below zero.
TEST(SetsTest, SetsAreTakenOutAndNothingElse)
{
    const struct {
        const char* what;
        VideoCodec codec;
        Text frame;
        Text sets; ///< as ParameterSets() gives them
        Text rest; ///< of the frame without them
    } cases[] = {
        {"Plain", VideoCodec::H264, LONG + "gsps" + LONG + "hpps" + SLICE, LONG + "gsps" + LONG + "hpps",
         SLICE},
        {"OthersStay", VideoCodec::H264,
         LONG + "\x09" + SHORT + "gsps" + SHORT + "hpps" + LONG + "\x06i" + SLICE,
         LONG + "gsps" + LONG + "hpps", SHORT + "\x09" + SHORT + "\x06i" + SLICE},
        {"TwiceIsOnce", VideoCodec::H264, Repeat(SHORT + "gsps" + SHORT + "hpps", 2) + SLICE,
         LONG + "gsps" + LONG + "hpps", SLICE},
        {"OneKindIsNotEnough", VideoCodec::H264, LONG + "gsps" + SLICE, "", LONG + "gsps" + SLICE},
        {"ManyShortUnits", VideoCodec::H264, SHORT + "g" + SHORT + "h" + Repeat(SHORT + "\x06", 40) + SLICE,
         LONG + "g" + LONG + "h", Repeat(SHORT + "\x06", 40) + SLICE},
        {"H265HasThreeKinds", VideoCodec::H265,
         LONG + "\x40v" + LONG + "\x42s" + LONG + "\x44p" + SHORT + "\x26slice",
         LONG + "\x40v" + LONG + "\x42s" + LONG + "\x44p", SHORT + "\x26slice"},
        {"NoStartCode", VideoCodec::H264, "no stream at all", "", "no stream at all"},
        {"Empty", VideoCodec::H264, "", "", ""},
    };
    for (auto [what, codec, frame, expected, rest] : cases) {
        auto* const pData = reinterpret_cast<unsigned char*>(frame.data());
        const std::vector<unsigned char> sets = ParameterSets(codec, pData, frame.size());
        EXPECT_EQ(Text(sets.begin(), sets.end()), expected) << what;
        const std::size_t dropped = DropParameterSets(codec, pData, frame.size());
        ASSERT_LE(dropped, frame.size()) << what;
        EXPECT_EQ(frame.substr(dropped), rest) << what;
    }
}

} // namespace
