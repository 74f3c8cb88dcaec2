// SPDX-License-Identifier: Apache-2.0
// tests/package/rec_test.cpp - recorded events: which are marked, what a sweep may delete, what a check finds.
#include <algorithm>
#include <chrono>

#include "package/alertevent.h"
#include "package/camera.h"
#include "package/faceresult.h"
#include "package/ivaevent.h"
#include "package/lapserec.h"
#include "package/rectask.h"
#include "support/log_capture.h"
#include "support/rec_fixture.h"
#include "support/temp_root.h"

using namespace rec;

namespace {

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t NOW = 1800000000;

class RecTest : public ::testing::Test {
protected:
    TempRoot m_root;
    LogCapture m_log;
};

std::string MarkBefore(int camId, std::int64_t bound, RotInfo* info = nullptr)
{
    EventFilterParam filter;
    filter.camId = camId;
    filter.stopBefore = bound;
    return MarkEvtAsDel(filter, info) == 0 ? Live() : "failed";
}

} // namespace

// Catches: an event without an end that is never rotated, or that goes before older ones; a row of another
// camera or of the future that goes along; counters, bookmarks or names that are not told.
TEST_F(RecTest, MarksWhatEndedBeforeAndNothingElse)
{
    AddEvent(1, 100, 200, "1/0/a.mp4", 1 << 20);
    AddEvent(1, 150, 0, "1/0/open.mp4", 3 << 20);
    AddEvent(1, 200, 300, "1/0/b.mp4");
    AddEvent(2, 100, 200, "2/0/a.mp4");
    AddEvent(1, 100, NOW + DAY, "1/0/future.mp4");
    ASSERT_EQ(AddBookmark(0, 2, 160, "thief"), 0);
    ASSERT_EQ(AddBookmark(0, 3, 250, "cat"), 0);
    ASSERT_EQ(RecordingCount::GetRecCount(VxDB::GetDBPath(VxDB::DB_EVENT), 1, 0), 4);
    RotInfo info;
    EXPECT_EQ(MarkBefore(1, 201, &info), "3 4 5");
    EXPECT_EQ(info.count, 2);
    EXPECT_EQ(info.sizeMB, 4);
    EXPECT_EQ(info.camDelList[1], (std::list<std::string>{"1/0/a.mp4", "1/0/open.mp4"}));
    EXPECT_EQ(RecordingCount::GetRecCount(VxDB::GetDBPath(VxDB::DB_EVENT), 1, 0), 2);
    EXPECT_EQ(Select("SELECT name FROM bookmark", VxDB::DB_LOG), "cat");
    EXPECT_EQ(MarkBefore(0, 301), "5"); // every camera
    EXPECT_TRUE(Check().empty());
    EXPECT_EQ(Sweep(2), 4);
    EXPECT_EQ(CountFiles(), 1);
}

// Catches: a sweep that follows a row out of rec or through a link, that stops for good at such a row, or
// that keeps rows whose file has gone already.
TEST_F(RecTest, SweepNeverLeavesItsFolder)
{
    WriteFile("../outside.txt", 5);
    fs::create_directories(Rec() / "1" / "folder");
    fs::create_symlink("../../outside.txt", Rec() / "1" / "link.mp4");
    fs::create_directory_symlink("../..", Rec() / "1" / "up");
    fs::create_symlink("nowhere", Rec() / "1" / "broken.mp4");
    const std::vector<std::string> bad{"../outside.txt", "1/../../outside.txt",
                                       "/etc/passwd",    "1/up/outside.txt",
                                       "1/link.mp4",     "1/broken.mp4",
                                       "1/folder",       ".volume",
                                       "1//x.mp4",       "1/./x.mp4"};
    for (const std::string& path : bad) {
        ASSERT_NE(AddEvent(1, 100, 200, ""), 0);
        Select("UPDATE event SET path = " + VxDB::QuoteEscape(path) + " WHERE path = ''");
    }
    ASSERT_EQ(AddEvent(1, 300, 400, "1/gone.mp4"), 11);
    fs::remove(Rec() / "1/gone.mp4");
    ASSERT_EQ(AddEvent(1, 500, 600, "1/good.mp4"), 12);
    ASSERT_EQ(MarkBefore(1, NOW), "");
    int deleted = 0;
    long long after = 0;
    EXPECT_EQ(DeleteMarkedRecords(REC_KIND_EVENT, 0, 1000, after, deleted), -1);
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(Select("SELECT COUNT(*) FROM event"), "10");
    EXPECT_TRUE(fs::exists(m_root.Path() / "outside.txt") && fs::is_symlink(Rec() / "1/link.mp4") &&
                fs::is_symlink(Rec() / "1/broken.mp4") && fs::exists(Rec() / ".volume"));
    EXPECT_FALSE(fs::exists(Rec() / "1/good.mp4"));
    EXPECT_EQ(Check(true).size(), bad.size() + 3); // the three links themselves
    EXPECT_EQ(Sweep(), 10);
    EXPECT_TRUE(fs::exists(m_root.Path() / "outside.txt"));
}

// Catches: a violation that goes unnamed, a repair that loses a recording or does not mend, a second check that
// is not clean.
TEST_F(RecTest, CheckNamesEachViolationAndRepairMendsIt)
{
    ASSERT_EQ(AddEvent(1, 100, 200, "1/0/fine.mp4"), 1);
    ASSERT_EQ(AddEvent(1, 300, 400, "1/0/gone.mp4"), 2);
    ASSERT_EQ(AddEvent(1, 500, 600, "1/0/grown.mp4"), 3);
    ASSERT_EQ(AddEvent(1, 700, 0, "1/0/open.mp4"), 4);
    ASSERT_EQ(AddEvent(1, 800, 900, "1/0/swept.mp4"), 5);
    ASSERT_EQ(MarkBefore(1, 0), "failed"); // neither a bound nor ids: nothing
    EXPECT_TRUE(Check() == std::vector<std::string>{"R6 event 4"});
    fs::remove(Rec() / "1/0/gone.mp4");
    WriteFile("1/0/grown.mp4", 12345);
    WriteFile("7/1/20/20270115T080000Z-2.mp4", 77);
    WriteFile("face/4/x.jpg", 7);
    WriteFile("somewhere/else.bin", 7);
    WriteFile("1/0/.half.mp4", 7); // whoever copies into the folder may call it so
    WriteFile("1/0/empty.mp4", 0);
    fs::last_write_time(Rec() / "1/0/empty.mp4", fs::file_time_type::clock::now() - std::chrono::minutes(1));
    Select("UPDATE event SET mark_as_del = 1 WHERE id = 5");
    ASSERT_EQ(AddBookmark(0, 5, 850, "lost"), 0);
    const std::vector<std::string> found = Check();
    EXPECT_EQ(
        std::count_if(found.begin(), found.end(), [](const std::string& line) { return line[1] == '1'; }), 5);
    EXPECT_EQ(found.size(), 10u);
    EXPECT_EQ(Check(), found); // it changed nothing
    const std::set<std::string> forPeople{"R1 somewhere/else.bin", "R1 1/0/.half.mp4"};
    for (const std::string& line : Check(true)) {
        EXPECT_TRUE(line.ends_with(" mended") || forPeople.contains(line)) << line;
    }
    const std::vector<std::string> left = Check();
    EXPECT_EQ(std::set<std::string>(left.begin(), left.end()), forPeople);
    EXPECT_EQ(Select("SELECT camera_id || '/' || rec_group || ' ' || start_time || ' ' || size FROM event "
                     "WHERE path LIKE '7/%'"),
              "7/1 1800000000 77");
    EXPECT_EQ(Select("SELECT task_id FROM face_recording", VxDB::DB_FACE), "4");
    EXPECT_EQ(Sweep(), 2);
    EXPECT_EQ(Live(), "1 3 4 6");
}

// Catches: a shipped statement that reads a whole table or sorts.
TEST_F(RecTest, EveryStatementSearchesAnIndex)
{
    ASSERT_EQ(AddEvent(1, 100, 200, "a.mp4"), 1);
    const std::string live = "WHERE mark_as_del = 0 AND camera_id = 1 AND rec_group = 0";
    EventFilterParam filter;
    filter.camId = 1;
    filter.recGroup = 0;
    filter.stopBefore = 5;
    EventFilterParam marked;
    marked.mark = EventFilterParam::MARK_DELETED;
    LapseFilterParam lapse;
    lapse.taskId = 1;
    lapse.stopBefore = 5;
    const std::pair<VxDB::DB_INSTANCE, std::string> statements[] = {
        {VxDB::DB_EVENT, "SELECT id FROM event " + filter.GetWhereStr() + " ORDER BY stop_time LIMIT 1000"},
        {VxDB::DB_EVENT, "SELECT COUNT(*) FROM event " + filter.GetWhereStr()},
        {VxDB::DB_EVENT, "SELECT SUM(size) FROM event " + live},
        {VxDB::DB_EVENT, "SELECT start_time FROM event " + live + " ORDER BY start_time LIMIT 1"},
        {VxDB::DB_EVENT,
         "SELECT * FROM event " + marked.GetWhereStr() + " AND id > 5 ORDER BY id LIMIT 1000"},
        {VxDB::DB_EVENT, "SELECT COUNT(*) FROM event " + marked.GetWhereStr()},
        {VxDB::DB_EVENT, "SELECT camera_id, rec_group FROM event WHERE mark_as_del = 0 AND (camera_id, "
                         "rec_group) > (1,0) ORDER BY camera_id, rec_group LIMIT 1"},
        {VxDB::DB_EVENT,
         "SELECT camera_id, rec_group FROM event WHERE end_time = 0 AND (camera_id, rec_group) > "
         "(1,0) ORDER BY camera_id, rec_group LIMIT 1"},
        {VxDB::DB_EVENT, "SELECT id FROM event WHERE path <> '' AND path = 'x'"},
        {VxDB::DB_EVENT, "DELETE FROM event WHERE mark_as_del = 1 AND id IN (1,2,3)"},
        {VxDB::DB_LAPSE,
         "SELECT id FROM lapse_recording " + lapse.GetWhereStr() + " ORDER BY stop_time LIMIT 9"},
        {VxDB::DB_DVA, "SELECT id FROM iva_recording " + lapse.GetWhereStr() + " ORDER BY stop_time LIMIT 9"},
        {VxDB::DB_FACE,
         "SELECT id FROM face_recording " + lapse.GetWhereStr() + " ORDER BY stop_time LIMIT 9"},
        {VxDB::DB_LOG, "DELETE FROM bookmark WHERE arch_task_id = 0 AND event_id IN (1,2)"},
    };
    for (const auto& [instance, sql] : statements) {
        const std::string plan = Sql("EXPLAIN QUERY PLAN " + sql, instance);
        EXPECT_TRUE(plan.find("SCAN") == plan.npos && plan.find("TEMP") == plan.npos) << sql << "\n" << plan;
    }
}

// Catches: an answer of the service that counts wrongly, deletes another task's faces or takes no bound for
// every bound; an estimate that leaves out the face that reaches the size.
TEST_F(RecTest, FaceServiceDeletesOldestFirst)
{
    for (int i = 1; i <= 4; ++i) {
        FaceEvent face;
        face.SetOwner(i == 4 ? 9 : 8);
        face.SetTimes(100 * i, 100 * i + 1);
        face.SetSize(1 << 20);
        ASSERT_EQ(AddRecord(face), 0);
    }
    FaceEventFilter ofEight;
    ofEight.taskId = 8;
    RotInfo walked;
    long bound = 0;
    std::set<int> ids;
    ASSERT_EQ(FaceUtils::EstimateTimeboundBySizeToDel(ofEight, 2, 1000, walked, bound, ids), 0);
    EXPECT_EQ(ids, (std::set<int>{1, 2}));
    EXPECT_EQ(bound, 202);
    Json::Value request(Json::objectValue);
    request["api"] = FACE_RESULT_API;
    request["kind"] = FACE_RESULT_KIND;
    request["order"] = "order_by_time";
    request["triggerRotate"] = true;
    Json::Value answer;
    RotInfo info;
    EXPECT_EQ(FaceUtils::SendFaceResultRequest(request, answer), -1); // no bound
    EXPECT_EQ(FaceUtils::CheckDeleteCapturedFaceResponse(answer, &info, false), -1);
    request["end_date_ts"] = static_cast<Json::Int64>(bound);
    request["task_id"] = 8;
    ASSERT_EQ(FaceUtils::SendFaceResultRequest(request, answer), 0);
    ASSERT_EQ(FaceUtils::CheckDeleteCapturedFaceResponse(answer, &info, true), 0);
    EXPECT_EQ(info.count, 2);
    EXPECT_EQ(info.sizeMB, 2);
    EXPECT_EQ(info.camDelList[8].size(), 2u);
    std::set<int> failed;
    EXPECT_EQ(FaceUtils::DeleteCapturedFace({1, 3, 4, 77}, failed, &info), 0);
    EXPECT_EQ(failed, (std::set<int>{1, 77}));
    EXPECT_EQ(info.count, 4);
    EXPECT_EQ(FaceUtils::CheckDeleteCapturedFaceResponse(Json::Value("?"), &info, true), -1);
}

// Catches: limits of one group or task that reach another, sizes that are cut instead of begun megabytes.
TEST_F(RecTest, LimitsAndSizesOfCamerasAndTasks)
{
    Camera camera;
    camera.SetName("front");
    ASSERT_EQ(camera.Save(), 0);
    AddEvent(camera.GetId(), 100, 200, "a", (1 << 20) + 1);
    EXPECT_EQ(camera.GetOccupiedSizeMB(CAM_REC_GROUP_CONTINUOUS), 2);
    EXPECT_EQ(camera.GetOccupiedSizeMB(CAM_REC_GROUP_EVENT), 0);
    DvaCoreRotateSettings task(RecTask::IVA);
    task.SetCamId(camera.GetId());
    task.SetOnCamera(true);
    ASSERT_EQ(task.Save(), 0);
    std::list<int> ids;
    ASSERT_EQ(GetOrvoCamTaskIds(camera.GetId(), ids), 0);
    EXPECT_EQ(ids, std::list<int>{task.GetId()});
    IVAEvent recording;
    recording.SetOwner(task.GetId());
    recording.SetTimes(100, 200);
    ASSERT_EQ(AddRecord(recording), 0);
    bool violates = false;
    ASSERT_EQ(GetRecViolateDateLimit(REC_KIND_IVA, task.GetId(), 201, violates), 0);
    EXPECT_TRUE(violates);
    RotInfo info;
    ASSERT_EQ(MarkOrvoCamEvtToDel(task.GetId(), 201, &info), 0);
    EXPECT_EQ(info.count, 1);
    ArchPullTask archive;
    ASSERT_EQ(archive.Save(), 0);
    EXPECT_EQ(ArchPullUtils::GetTaskId(archive.GetDBPath()), archive.GetId());
    Event pulled;
    pulled.SetOwner(archive.GetId());
    pulled.SetTimes(1, 2);
    pulled.SetSize(5);
    ASSERT_EQ(AddRecord(pulled, archive.GetId()), 0);
    EXPECT_EQ(archive.GetOccupiedSizeMB(), 1);
    for (const char* const other : {"event.db", "event_.db", "event_0.db", "event_x.db", "lapse_1.db"}) {
        EXPECT_FALSE(ArchTaskCommon::IsTaskDB(other)) << other;
    }
}
