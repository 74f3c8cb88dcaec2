// SPDX-License-Identifier: Apache-2.0
// tests/tools/media_test.cpp - real clips through vx capture, vx record and vx fifo cat: what comes out is what went in.
#include <cmath>
#include <fstream>
#include <sstream>

#include "media_fixture.h"

namespace {

/// Largest difference between the distances of two lists of times: 0 if one is the other, moved.
double Drift(const std::string& a, const std::string& b)
{
    std::istringstream inA(a);
    std::istringstream inB(b);
    double first[2] = {NAN, NAN};
    double drift = 0;
    double timesA[2];
    double timesB[2];
    while (inA >> timesA[0] >> timesA[1] && inB >> timesB[0] >> timesB[1]) {
        for (int i = 0; i < 2; ++i) {
            first[i] = std::isnan(first[i]) ? timesB[i] - timesA[i] : first[i];
            drift = std::max(drift, std::abs(timesB[i] - timesA[i] - first[i]));
        }
    }
    return inA.eof() ? drift : INFINITY;
}

/// Expects the source's pictures at the source's distances, and nothing for a decoder to complain of.
void ExpectSame(const std::string& source, const std::string& out, const std::string& codec)
{
    EXPECT_EQ(PacketHashes(source, "v", codec), PacketHashes(out, "v", codec));
    EXPECT_LT(Drift(PacketTimes(source, "v"), PacketTimes(out, "v")), 0.0001);
    EXPECT_EQ(DecodeComplaints(out), "");
}

struct RoundTripCase {
    const char* what;
    const char* arguments;
    const char* clip;
    const char* codec;
    bool audio;
    const char* out;
    bool ts; ///< whether a transport stream is made as well
};

class RoundTripTest : public MediaTest, public ::testing::WithParamInterface<RoundTripCase> {};

// Catches: a packet that is lost, doubled or changed between the source and the recording; time stamps that
// are not the source's (reordered pictures above all); files that a decoder complains of. The same of a transport
// stream, or one without the sound.
TEST_P(RoundTripTest, RecordingHasTheSourcesPacketsAndTimes)
{
    const RoundTripCase& what = GetParam();
    const std::string source = Clip(what.arguments, what.clip);
    const std::string out = Path(what.out);
    std::vector<std::string> record = {"record", out, "--key", VideoKey(), "--once", "--json"};
    std::vector<std::string> capture = {"capture",  source,           "--key",
                                        VideoKey(), "--prefault",     "--entry-size",
                                        "4K", // slots grow on the way
                                        "--json",   "--wait-readers", what.ts ? "2" : "1"};
    if (what.audio) {
        record.insert(record.end(), {"--audio-key", AudioKey()});
        capture.insert(capture.end(), {"--audio-key", AudioKey()});
    }
    VxProcess recorder(record);
    VxProcess writer(capture);
    if (what.ts) {
        const std::string ts = Path("out.ts");
        const int file = ::open(ts.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        EXPECT_TRUE(WaitFor([this] { return IsMade(m_audioKeys); })); // so both FIFOs are there
        VxProcess({"fifo", "cat", VideoKey(), "--ts", "--audio-key", AudioKey(), "--wait"}, file)
            .Finish(60000, 0);
        ::close(file);
        ExpectSame(source, ts, what.codec);
        EXPECT_GE(PacketCount(ts, "a"), 120);
    }
    const VxResult written = writer.Finish(60000, 0);
    const VxResult recorded = recorder.Finish(30000, 0);
    EXPECT_EQ(ParseJson(written.out)["video"]["frames"], ParseJson(recorded.out)["video"]["written"]);
    ExpectSame(source, out, what.codec);
    if (what.audio) {
        EXPECT_EQ(PacketHashes(source, "a"), PacketHashes(out, "a"));
        EXPECT_LT(Drift(PacketTimes(source, "a"), PacketTimes(out, "a")), 0.0002);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RoundTripTest,
    ::testing::Values(
        RoundTripCase{
            "H264ReorderedWithAac",
            "-f lavfi -i testsrc2=size=320x240:rate=25 -f lavfi -i sine -t 3 -c:v libx264 -preset veryfast "
            "-bf 3 -g 25 -c:a aac",
            "a.mp4", "h264", true, "a.out.mp4", true},
        RoundTripCase{
            "H265WithoutSound",
            "-f lavfi -i testsrc2=size=320x240:rate=30 -t 2 -c:v libx265 -preset ultrafast -x265-params "
            "log-level=none:keyint=15:bframes=3",
            "b.mp4", "hevc", false, "b.out.mp4", false},
        RoundTripCase{
            "AlawInQuickTime",
            "-f lavfi -i testsrc2=size=320x240:rate=15 -f lavfi -i sine=sample_rate=8000 -t 2 -c:v libx264 "
            "-preset ultrafast -g 15 -c:a pcm_alaw",
            "c.mov", "h264", true, "c.out.mov", false},
        RoundTripCase{
            "FramesAboveOneMebibyte",
            "-f rawvideo -pix_fmt yuv420p -s 1280x720 -framerate 4 -i /dev/urandom -frames:v 4 -c:v libx264 "
            "-preset ultrafast -qp 10 -g 2",
            "d.mp4", "h264", false, "d.out.mp4", false}),
    [](const auto& kind) { return std::string(kind.param.what); });

// Catches: segments that do not start at a key frame or share a name; frames lost or doubled at a cut; a change of the
// resolution that readers never learn of, or that ends up in one file with the old one.
TEST_F(MediaTest, SegmentsAreCutAtKeyFramesAndNewResolutionsAndLoseNothing)
{
    const std::string h264 = " -c:v libx264 -preset ultrafast -g 25";
    const std::string large = Clip("-f lavfi -i testsrc2=size=320x240:rate=25 -t 1.4" + h264, "l.h264");
    const std::string small = Clip("-f lavfi -i testsrc2=size=160x120:rate=25 -t 1" + h264, "s.h264");
    const std::string source = Path("both.h264");
    Shell("cat " + large + " " + small + " > " + source);
    std::filesystem::create_directory(Path("rec"));
    VxProcess recorder({"record", "--dir", Path("rec"), "--segment", "1", "--key", VideoKey(), "--once"});
    VxProcess writer({"capture", source, "--key", VideoKey(), "--wait-readers", "1"});
    writer.Finish(30000, 0);
    recorder.Finish(30000, 0);
    std::string hashes;
    std::string sizes;
    std::istringstream names(Shell("ls " + Path("rec") + " | sort -V"));
    for (std::string name; std::getline(names, name);) {
        const std::string segment = Path("rec") + "/" + name;
        hashes += PacketHashes(segment, "v", "h264");
        sizes += Shell("ffprobe -v error -count_packets -show_entries stream=width,height,nb_read_packets "
                       "-of csv=p=0 " +
                       segment);
        EXPECT_EQ(DecodeComplaints(segment), "");
    }
    EXPECT_EQ(sizes, "320,240,25\n320,240,10\n160,120,25\n");
    EXPECT_EQ(hashes, PacketHashes(source, "v", "h264"));
}

// Catches: a frame that no slot can hold ending the capture, or left out without a word.
TEST_F(MediaTest, AFrameOfFourMebibytesIsLeftOutAndSaid)
{
    const std::string source = Clip("-f rawvideo -pix_fmt yuv420p -s 2560x1440 -framerate 4 -i /dev/urandom "
                                    "-frames:v 2 -c:v libx264 -preset ultrafast -qp 0 -pix_fmt yuv420p",
                                    "huge.mp4");
    const VxResult result = ExpectVx({"capture", source, "--key", VideoKey(), "--fast", "--json"}, 0,
                                     "lower the source's bit rate");
    EXPECT_GE(ParseJson(result.out)["video"]["refused"].asInt(), 1) << result.out;
}

} // namespace
