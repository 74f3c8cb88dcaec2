// SPDX-License-Identifier: Apache-2.0
// tests/tools/record_event_test.cpp - vx record --camera: a real stream becomes events, also when it is killed.
#include "media_clip.h"
#include "support/ipc_keys.h"
#include "support/rec_fixture.h"
#include "support/temp_root.h"
#include "support/wait_for.h"
#include "vx_process.h"

using namespace rec;

namespace {

constexpr int ROUNDS = 3;

int CountEvents()
{
    return std::stoi(Select("SELECT COUNT(*) FROM event WHERE size > 0 OR end_time = 0"));
}

bool WaitForLive()
{
    return WaitFor([] { return !Live().empty(); });
}

} // namespace

// Catches: recording into an event that rotation has marked; a killed recorder that leaves a file without a row or an
// event that stays open for good; a second recorder of one camera; a recording that is not playable or whose row says
// another size; a volume that is filled while it is not the database's.
TEST(RecordEventTest, EventsOutliveTheirRecorder)
{
    if (!HasFfmpeg()) {
        GTEST_SKIP() << "ffmpeg makes and judges the clips; script/bootstrap installs it";
    }
    const TempRoot root;
    const IpcKeys keys;
    const std::string key = std::to_string(keys.First());
    const std::string clip = (root.Path() / "clip.mp4").string();
    ASSERT_EQ(
        MakeClip("-f lavfi -i testsrc2=size=320x240:rate=25 -t 3 -c:v libx264 -preset ultrafast -g 25", clip),
        "");
    const std::vector<std::string> record{"record", "--camera", "1", "--key", key, "--segment", "1"};
    ExpectVx(record, 1); // no such camera
    ExpectVx({"camera", "add", "gate"});
    VxProcess writer({"capture", clip, "--key", key, "--loop"});
    for (int round = 1; round <= ROUNDS; ++round) {
        const int before = CountEvents();
        VxProcess recorder(record);
        ASSERT_TRUE(WaitFor([=] { return CountEvents() >= before + 2; })) << recorder.Finish(0).err;
        ExpectVx(record, 4); // one is there already
        recorder.End();
    }
    EXPECT_EQ(Check(), std::vector<std::string>());
    EXPECT_EQ(Select("SELECT COUNT(*) FROM event WHERE end_time < start_time OR size = 0"), "0");
    EXPECT_EQ(DecodeComplaints((Rec() / Select("SELECT path FROM event ORDER BY id LIMIT 1")).string()), "");
    EXPECT_EQ(VxDB::Execute(VxDB::DB_EVENT, "UPDATE event SET mark_as_del = 1;"), 0);
    VxProcess recorder({"record", "--camera", "1", "--key", key, "--segment", "1000"});
    for (const char* const rotate : {"UPDATE event SET mark_as_del = 1;", "DELETE FROM event;"}) {
        ASSERT_TRUE(WaitForLive()) << recorder.Finish(0).err << "what is recorded goes where nobody finds it";
        EXPECT_EQ(VxDB::Execute(VxDB::DB_EVENT, rotate), 0);
    }
    EXPECT_TRUE(WaitForLive());
    recorder.Signal(SIGTERM);
    EXPECT_EQ(recorder.Finish().exitCode, 0);
    fs::rename(Rec(), root.Path() / "unmounted");
    ExpectVx(record, 4);
    EXPECT_EQ(fs::exists(Rec()) ? CountFiles() : 0, 0);
    writer.End(); // it removes its segments
}
