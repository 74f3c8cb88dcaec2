// SPDX-License-Identifier: Apache-2.0
// tests/tools/event_test.cpp - vx camera, task and event: limits as records, events marked, swept, checked.
#include "support/child_process.h"
#include "support/rec_fixture.h"
#include "support/temp_root.h"
#include "vx_process.h"

using namespace rec;

namespace {

class EventVerbTest : public ::testing::Test {
protected:
    TempRoot m_root;
};

} // namespace

// Catches: an edit that changes what was not named or another group's limits; a limit that is no limit.
TEST_F(EventVerbTest, LimitsAreRecords)
{
    ExpectVx({"camera", "add", "front", "--days", "30", "--size", "2000"});
    ExpectVx({"camera", "edit", "1", "--group", "event", "--days", "90"});
    ExpectVx({"camera", "edit", "1", "--size", "0", "--disable"});
    const Json::Value camera = VxJson({"camera", "show", "1"});
    EXPECT_EQ(camera["name"], "front");
    EXPECT_EQ(camera["enabled"], false);
    EXPECT_EQ(camera["groups"]["continuous"]["days"], 30);
    EXPECT_EQ(camera["groups"]["continuous"]["by_size"], false);
    EXPECT_EQ(camera["groups"]["event"]["days"], 90);
    ExpectVx({"task", "add", "iva", "gate", "--camera", "1", "--number", "5"});
    ExpectVx({"task", "edit", "iva", "1", "--on-camera", "true", "--days", "3"});
    const Json::Value task = VxJson({"task", "show", "iva", "1"});
    EXPECT_EQ(task["limits"]["number"], 5);
    EXPECT_EQ(task["limits"]["days"], 3);
    EXPECT_EQ(task["on_camera"], true);
    EXPECT_EQ(VxJson({"task", "limits", "--alert-days", "7", "--reserve", "50"})["reserve_mb"], 50);
    EXPECT_EQ(VxJson({"task", "limits"})["alert_days"], 7);
    ExpectVx({"camera", "rm", "1"}, 4); // nobody to ask
    ExpectVx({"camera", "rm", "1", "--yes"});
    ExpectVx({"task", "rm", "iva", "1", "--yes"});
    EXPECT_EQ(VxJson({"task", "list"}).size() + VxJson({"camera", "list"}).size(), 0u);
    ExpectUses({
        {{"camera", "add", "x", "--days", "-1"}, 2, ""},
        {{"camera", "add", "x", "--size", "99999999999"}, 2, ""},
        {{"camera", "add", "x", "--group", "both"}, 2, ""},
        {{"camera", "edit", "77", "--days", "1"}, 1, ""},
        {{"task", "add", "film", "x"}, 2, ""},
        {{"task", "add", "lapse", "x", "--share", "../etc"}, 2, ""},
        {{"task", "add", "lapse", "x", "--camera", "1"}, 1, "camera 1: there is none; see vx camera list"},
        {{"task", "edit", "lapse", "9", "--days", "1"}, 1, ""},
        {{"event", "mark", "--yes"}, 2, ""},
        {{"event", "mark", "--camera", "1", "--yes"}, 2, ""},
        {{"event", "mark", "1;2", "--yes"}, 2, ""},
        {{"event", "ls", "--group", "3"}, 2, ""},
    });
}

// Catches: a dry run that removes, a removal nobody agreed to, a list that offers marked events, a sweep that
// reports what it did not do or takes files that were away when their rows were mended.
TEST_F(EventVerbTest, MarkSweepAndCheck)
{
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(AddEvent(i, 1000 * i, 1000 * i + 60, std::to_string(i) + "/0/e.mp4", 50), i);
    }
    EXPECT_EQ(VxJson({"event", "mark", "--before", "2061", "--dry-run"})["count"], 2);
    ExpectVx({"event", "mark", "1"}, 4);
    EXPECT_EQ(Live(), "1 2 3");
    EXPECT_EQ(VxJson({"event", "mark", "--before", "2061", "--camera", "2", "--yes"})["marked"], 1);
    EXPECT_EQ(VxJson({"event", "ls"}).size(), 2u);
    EXPECT_EQ(VxJson({"event", "ls", "--marked"})[0]["path"], "2/0/e.mp4");
    EXPECT_EQ(VxJson({"event", "sweep", "--dry-run"})[0]["deleted"], 0);
    ExpectVx({"event", "sweep"}, 4);
    EXPECT_EQ(CountFiles(), 3);
    EXPECT_EQ(VxJson({"event", "sweep", "--yes"})[0]["deleted"], 1);
    EXPECT_EQ(CountFiles(), 2);
    ExpectVx({"event", "check"});
    fs::rename(Rec() / "3", m_root.Path() / "folder that was mounted here");
    ExpectVx({"event", "check"}, 1, "R1  event 3: its file [3/0/e.mp4] is gone");
    EXPECT_EQ(VxJson({"event", "repair", "--dry-run"}, 1)["mended"], 0);
    EXPECT_EQ(VxJson({"event", "repair", "--yes"})["mended"], 2); // the row, and the counter with it
    ExpectVx({"event", "check"});
    fs::rename(m_root.Path() / "folder that was mounted here",
               Rec() / "3"); // the row was marked, the file stays
    ExpectVx({"event", "sweep", "--yes"});
    ExpectVx({"event", "repair", "--yes"});
    EXPECT_EQ(VxJson({"event", "ls"})[1]["path"], "3/0/e.mp4");
}

// Catches: a verb that removes, marks or mends while the volume or the database is not the right one.
TEST_F(EventVerbTest, NothingIsTouchedWithoutItsVolume)
{
    ASSERT_EQ(AddEvent(1, 1000, 1060, "1/0/a.mp4"), 1);
    ASSERT_EQ(AddEvent(1, 2000, 2060, "1/0/b.mp4"), 2);
    ExpectVx({"event", "mark", "1", "--yes"});
    const std::vector<std::vector<std::string>> verbs = {{"event", "sweep", "--yes"},
                                                         {"event", "mark", "2", "--yes"},
                                                         {"event", "check"},
                                                         {"event", "repair", "--yes"}};
    fs::rename(Rec(), m_root.Path() / "unmounted");
    for (const auto& verb : verbs) {
        ExpectVx(verb, 4, "is not there; mount it");
    }
    fs::remove_all(Rec());
    fs::rename(m_root.Path() / "unmounted", Rec());
    std::ofstream(VxDB::GetDBPath(VxDB::DB_LAPSE)) << "no database";
    ExpectVx({"event", "sweep", "--yes"}, 3);
    EXPECT_EQ(CountFiles(), 2);
    fs::remove(VxDB::GetDBPath(VxDB::DB_LAPSE));
    ExpectVx({"event", "sweep", "--yes"});
    EXPECT_EQ(CountFiles(), 1);
    ExpectVx({"event", "mark", "2", "--yes"});
    ASSERT_EQ(VxDB::Execute(VxDB::DB_EVENT, "PRAGMA user_version=999"), 0); // of a later version of vx
    ExpectVx({"event", "sweep", "--yes"}, 3);
    EXPECT_EQ(CountFiles(), 1);
}

// Catches: files that go although their rows cannot.
TEST_F(EventVerbTest, ReadOnlyDatabaseRemovesNothing)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "another user's database is made by root";
    }
    ASSERT_EQ(AddEvent(1, 1000, 1060, "1/0/a.mp4"), 1);
    ExpectVx({"event", "mark", "1", "--yes"});
    fs::permissions(m_root.Path(), fs::perms::all);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_root.Path())) {
        const bool isDB = entry.path().string().find("/db") != std::string::npos;
        fs::permissions(entry.path(), isDB ? fs::perms(entry.is_directory() ? 0755 : 0644) : fs::perms::all);
    }
    ChildProcess other([](Channel&) {
        int deleted = 0;
        long long after = 0;
        return ::setuid(65534) == 0 && DeleteMarkedRecords(REC_KIND_EVENT, 0, 9, after, deleted) == -1 &&
                       deleted == 0
                   ? 0
                   : 1;
    });
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_EQ(CountFiles(), 1);
}

// Catches: a lost disk that stops recording for ever; a new one that is taken without being asked, or that costs
// rows; databases of two volumes that are mixed.
TEST_F(EventVerbTest, AnotherDiskTakesThePlaceOfALostOne)
{
    const auto adopt = [](const char* how, int exitCode = 0, const char* says = "") {
        ExpectVx({"event", "adopt", how}, exitCode, says);
    };
    ASSERT_EQ(AddEvent(1, 100, 200, "1/0/a.mp4"), 1);
    adopt("--yes", 0, "already");
    for (const char* const mark : {"", "77777777777777777777777777777777\n"}) {
        fs::remove_all(Rec());
        fs::create_directory(Rec());
        if (*mark != '\0') {
            std::ofstream(Rec() / ".volume") << mark;
        }
        ExpectVx({"event", "adopt"}, 4); // nobody to ask
        adopt("--dry-run", 0, "1 of 1 recordings have no file");
        ExpectVx({"event", "check"}, 4);
        adopt("--yes");
        ExpectVx({"event", "sweep", "--yes"});
        EXPECT_EQ(Live(), "1");
        ExpectVx({"event", "check"}, 1); // the row has no file
    }
    ExpectVx({"event", "repair", "--yes"});
    EXPECT_EQ(Live(), "");
    ASSERT_EQ(BindRecVolume(VxDB::GetDBPath(VxDB::DB_FACE)), 0);
    ASSERT_EQ(VxDB::Execute(VxDB::DB_FACE, std::string("UPDATE ") + gszTableRecVolume + " SET uuid = 'x'"),
              0);
    adopt("--yes", 4);
}

// Catches: recordings that are shown as another camera's or task's, and go by its limits, since it was given their
// number after the database that knew whose they are was lost.
TEST_F(EventVerbTest, WhatIsAddedInAnotherOrderInheritsNoRecordings)
{
    for (const char* const lost : {"db", "db/system.db"}) {
        const TempRoot root;
        ExpectVx({"camera", "add", "front"});
        ExpectVx({"camera", "add", "back"});
        ASSERT_EQ(AddEvent(1, 1000, 1060, "1/0/a.mp4"), 1);
        ASSERT_EQ(AddEvent(2, 2000, 2060, "2/0/b.mp4"), 2);
        WriteFile("iva/4/c.mp4", 5);
        for (const char* const tail : {"", "-wal", "-shm"}) {
            fs::remove_all(root.Path() / (std::string(lost) + tail));
        }
        EXPECT_EQ(VxJson({"camera", "add", "back", "--days", "1"})["id"], 3) << lost;
        EXPECT_EQ(VxJson({"camera", "add", "front", "--id", "1"})["id"], 1);
        ExpectVx({"camera", "add", "back", "--id", "1"}, 1, "camera 1: there is one already");
        EXPECT_EQ(VxJson({"task", "add", "iva", "gate", "--days", "1"})["id"], 5);
        EXPECT_EQ(VxJson({"task", "add", "iva", "hall", "--id", "4"})["id"], 4);
        ExpectVx({"task", "add", "iva", "gate", "--id", "4"}, 1, "iva task 4: there is one already");
        ExpectVx({"event", "repair", "--yes"});
        ExpectVx({"rotate", "run", "--once"});
        const Json::Value events = VxJson({"event", "ls"});
        for (const Json::Value& event : events) {
            EXPECT_EQ(event["camera"].asString(), event["path"].asString().substr(0, 1));
        }
        EXPECT_EQ(events.size(), 2u);
        EXPECT_EQ(CountFiles(), 3);
    }
}
