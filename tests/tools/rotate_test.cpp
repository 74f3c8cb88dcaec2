// SPDX-License-Identifier: Apache-2.0
// tests/tools/rotate_test.cpp - vx rotate, as the daemon runs it and as an operator asks it.
#include "package/alertevent.h"
#include "package/monoclock.h"
#include "rotate/rot_world.h"
#include "support/child_process.h"
#include "support/namespaces.h"
#include "vx_process.h"

namespace {

class RotateToolTest : public ::testing::Test {
protected:
    RotateToolTest()
    {
        Camera camera; // number 7 is the world's target
        for (int i = 0; i < 7; ++i) {
            camera.SetId(0);
            EXPECT_EQ(camera.Save(), 0);
        }
    }

    void SetLimits(int days, int sizeMB)
    {
        Camera camera;
        ASSERT_EQ(camera.Load(7), 0);
        camera.SetLimits(CAM_REC_GROUP_CONTINUOUS, {days > 0, days, sizeMB > 0, sizeMB, 0});
        ASSERT_EQ(camera.Save(), 0);
    }
    /// Megabytes to ask for so that so many are missing.
    std::string ReserveMissing(long long missingMB)
    {
        long long freeMB = 0;
        long long totalMB = 0;
        EXPECT_EQ(GetVolumeSpaceMB(m_world.m_root.Path().string(), freeMB, totalMB), 0);
        return std::to_string(freeMB + missingMB);
    }

    const long long m_now = static_cast<long long>(GetWallTimeSec());
    RotWorld m_world;
};

// Catches: a plan that changes something, or that names other rows than the pass then takes; sizes below 0 that make a
// target smaller than it is.
TEST_F(RotateToolTest, RunDoesWhatThePlanSays)
{
    m_world.AddMany(CAMERA, 30, m_now - 40 * DAY, false, true);
    m_world.Add(CAMERA,
                {{100, 7, m_now - DAY, m_now - DAY + 10, 5 * MIB}, {101, 7, m_now - 100, m_now, 5 * MIB}},
                true);
    SetLimits(30, 6);
    AlertAdvSetting alerts;
    alerts.SetDaysLimit(9);
    ASSERT_EQ(alerts.Save() + BindRecVolume(RecDBPath(REC_KIND_ALERT)), 0);
    m_world.Run(
        RecDBPath(REC_KIND_ALERT),
        "INSERT INTO alert_event (device_id,type,start_time,size) VALUES (1,1,1,-5),(1,1024,1,0),(1,1," +
            std::to_string(m_now) + ",0)");
    m_world.Run(RotWorld::Path(CAMERA), "UPDATE event SET size = -5 WHERE id = 1");
    const auto before = m_world.All(CAMERA);
    const Json::Value plan = VxJson({"rotate", "plan", "--reserve", "0", "--rows", "2"});
    const Json::Value& target = plan["targets"][12]; // two groups of six cameras stand before it
    EXPECT_EQ(target["id"].asInt(), 7);
    EXPECT_EQ(target["days_limit"].asInt(), 30);
    EXPECT_EQ(target["size_limit_mb"].asInt(), 6);
    EXPECT_EQ(target["occupied_mb"].asInt(), 39);
    EXPECT_EQ(target["removes"]["date"]["count"].asInt(), 30);
    EXPECT_EQ(target["removes"]["date"]["rows"][1]["id"].asInt(), 2);
    EXPECT_EQ(target["removes"]["size"]["count"].asInt(), 1);
    EXPECT_EQ(target["removes"]["volume"]["count"].asInt(), 0);
    EXPECT_EQ(plan["alerts"]["count"].asInt(), 2);
    const std::string table = ExpectVx({"rotate", "plan", "--rows", "1"}, 0, "0.0, not -5 bytes").out;
    EXPECT_EQ(table.find("-0.0"), std::string::npos) << table;
    EXPECT_EQ(m_world.All(CAMERA), before);
    EXPECT_EQ(RotWorld::FileCount(), 32);
    const Json::Value round = VxJson({"rotate", "run", "--once", "--reserve", "0"});
    EXPECT_EQ(round["passes"][0]["by_date"].asInt(), 30);
    EXPECT_EQ(round["passes"][0]["by_size"].asInt(), 1);
    EXPECT_EQ(round["alerts"].asInt(), 2);
    EXPECT_EQ(round["swept"].asInt(), 33);
    ASSERT_EQ(m_world.All(CAMERA).size(), 1U);
    EXPECT_EQ(m_world.All(CAMERA)[0].id, 101);
    EXPECT_EQ(RotWorld::FileCount(), 1);
    ExpectVx({"event", "check"});
}

// Catches: a short volume that takes more than is missing, forgets what is marked already, takes young recordings,
// or those of one target alone; recordings of a removed camera that stay for ever.
TEST_F(RotateToolTest, ShortVolumeTakesTheOldestOfAllUntilEnoughComesFree)
{
    std::vector<Recording> door; // owner 7 and owner 9, which has no camera any more, in turn; 100 MB each
    for (int i = 0; i < 20; ++i) {
        door.push_back(
            {i + 1, i % 2 == 0 ? 7 : 9, m_now - DAY + 60 * i, m_now - DAY + 60 * i + 50, 100 * MIB});
    }
    door.push_back({50, 7, m_now - 60, m_now - 10, 100 * MIB});
    m_world.Add(CAMERA, door);
    m_world.Add(LAPSE, {{1, 3, m_now - DAY + 30, m_now - DAY + 55, 100 * MIB, true}});
    TimeLapseTask task;
    ASSERT_EQ(task.Save(), 0); // so that its database is looked at
    const Json::Value round =
        VxJson({"rotate", "run", "--once", "--no-sweep", "--reserve", ReserveMissing(550)});
    EXPECT_NEAR(static_cast<double>(round["volume"]["needed_mb"].asInt64()), 450, 30)
        << JsonWrite(round["volume"]);
    const std::set<int> marked = m_world.Marked(CAMERA);
    EXPECT_GE(marked.size(), 4U);
    EXPECT_LE(marked.size(), 5U);
    EXPECT_EQ(*marked.rbegin(), static_cast<int>(marked.size())) << "not the oldest of both owners";
    VxJson({"rotate", "run", "--once", "--no-sweep", "--reserve", ReserveMissing(1'000'000'000)});
    EXPECT_FALSE(m_world.Marked(CAMERA).contains(50)) << "a volume that others fill has emptied the box";
}

// Catches: recordings of a removed task that stay for ever; sizes that are not known, for which all would go; a
// file that no sweep removes, counted as coming free for ever.
TEST_F(RotateToolTest, RecordingsWithoutTaskOrSizeMakeRoom)
{
    for (const TARGET target : {ARCHIVE, LAPSE, DVA, FACE}) {
        m_world.Add(target, {{1, 7, m_now - 2 * DAY, m_now - 2 * DAY + 10, 100 * MIB}});
    }
    std::vector<Recording> door{{900, 7, 100, 200, 8'000'000 * MIB, true}};
    for (int i = 0; i < 300; ++i) {
        door.push_back({i + 1, 7, m_now - DAY + 60 * i, m_now - DAY + 60 * i + 50, 0});
    }
    m_world.Add(CAMERA, door);
    m_world.Run(RotWorld::Path(CAMERA), "UPDATE event SET path = '1/../../x' WHERE id = 900;"
                                        "UPDATE event SET rec_group = 5 WHERE id = 1;");
    ExpectVx({"event", "sweep", "--yes"}, 1, "not all could be deleted");
    ExpectVx({"rotate", "plan", "--reserve", "999999999"}, 0, "iva 7 (removed)");
    VxJson({"rotate", "run", "--once", "--no-sweep", "--reserve", ReserveMissing(1'000'000)});
    for (const TARGET target : {ARCHIVE, LAPSE, DVA, FACE}) {
        EXPECT_EQ(RotWorld::Marked(target).size(), RotWorld::All(target).size()) << target;
    }
    EXPECT_EQ(RotWorld::Marked(CAMERA).size(), 101U);
    EXPECT_TRUE(RotWorld::Marked(CAMERA).contains(1)) << "the group that no camera has";
}

// Catches: a share that is full and makes no room, or for which recordings of other volumes go; a task that is taken
// for one within its limits.
TEST_F(RotateToolTest, ShareOnAVolumeOfItsOwnMakesItsOwnRoom)
{
    const std::string share = GetPackageDir(PackageDir::REC) + "/share";
    std::filesystem::create_directories(share);
    if (!EnterNamespaces()) {
        GTEST_SKIP() << "no namespaces here";
    }
    const TestVolume volume(share, "size=64m");
    ASSERT_TRUE(volume);
    std::vector<Recording> recordings;
    DvaCoreRotateSettings task;
    for (int id = 1; id <= 12; ++id) {
        if (id % 4 == 1) { // the first on the share, the second beyond its days, the third within them
            task.SetId(0);
            task.SetSharePath(id == 1 ? "share" : "");
            task.SetLimits({id > 1, id == 5 ? 1 : 9, false, 0, 0});
            ASSERT_EQ(task.Save(), 0);
        }
        const long long start = m_now - 2 * DAY + 60 * id;
        recordings.push_back({id, task.GetId(), start, start + 50, 10 * MIB});
    }
    m_world.Add(DVA, recordings);
    const Json::Value round = VxJson({"rotate", "run", "--once", "--no-sweep", "--reserve", "80"});
    EXPECT_EQ(round["shares"][0]["needed_mb"].asInt(), 16) << JsonWrite(round);
    EXPECT_EQ(m_world.Marked(DVA), (std::set{1, 2, 5, 6, 7, 8}));
    EXPECT_EQ(VxJson({"rotate", "plan", "--reserve", "80"})["shares"][0]["coming_mb"].asInt(), 20);
}

// Catches: files that nobody can delete, for which a volume waits, or for which all else of their target is marked in vain; one
// of them that ends the sweep of others, or is not named.
TEST_F(RotateToolTest, WhatCannotBeDeletedMakesNoRoom)
{
    if (!EnterNamespaces()) {
        GTEST_SKIP() << "no namespaces here";
    }
    for (const TARGET target : {CAMERA, LAPSE}) {
        std::vector<Recording> recordings;
        for (int id = 1; id <= 4; ++id) { // the first is marked already
            const long long start = m_now - (id < 4 ? DAY : 100) + 60 * id;
            recordings.push_back({id, 7, start, start + 50, 100 * MIB, id == 1});
        }
        m_world.Add(target, recordings, true);
    }
    const std::string fixed = GetPackageDir(PackageDir::REC) + "/t0";
    ASSERT_EQ(::mount(fixed.c_str(), fixed.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(::mount(nullptr, fixed.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const Json::Value round = VxJson({"rotate", "run", "--once", "--reserve", ReserveMissing(150)}, 1);
    ExpectVx(
        {"log", "tail", "--lines", "1000"}, 0,
        "Failed to delete file [t0/1]: Read-only file system. It stays marked and makes no room, and so may "
        "others beside it; mount its volume for writing");
    const Json::Value plan = VxJson({"rotate", "plan", "--reserve", "999999999"});
    ::umount2(fixed.c_str(), MNT_DETACH);
    EXPECT_EQ(round["volume"]["stuck"].size(), 1U) << JsonWrite(round);
    EXPECT_EQ(m_world.Marked(CAMERA), std::set{1});
    EXPECT_EQ(m_world.All(LAPSE).size(), 1U) << "the marked one, and two for those that stay";
    EXPECT_EQ(plan["volume"]["coming_mb"].asInt(), 0);
    ExpectVx({"event", "sweep", "--yes"});
    EXPECT_TRUE(m_world.Marked(CAMERA).empty());
}

// Catches: a removal after the database was lost or while the volume is away, or one that is not told; one database
// that cannot be read and keeps all others from being rotated.
TEST_F(RotateToolTest, WrongVolumeIsRefusedWithItsReason)
{
    m_world.AddMany(CAMERA, 10, m_now - 40 * DAY, false, true);
    SetLimits(1, 1);
    std::filesystem::rename(m_world.m_root.Path() / "rec", m_world.m_root.Path() / "unmounted");
    const Json::Value round = VxJson({"rotate", "run", "--once"}, 4);
    EXPECT_NE(round["refused"][0].asString().find("mount"), std::string::npos) << JsonWrite(round);
    std::filesystem::remove_all(m_world.m_root.Path() / "rec");
    std::filesystem::rename(m_world.m_root.Path() / "unmounted", m_world.m_root.Path() / "rec");
    EXPECT_EQ(RotWorld::FileCount(), 10);
    EXPECT_TRUE(m_world.Marked(CAMERA).empty());
    std::ofstream(VxDB::GetDBPath(VxDB::DB_DVA))
        << "this is no database, and it is longer than the header of one";
    ExpectVx({"rotate", "plan"}, 3, "dva.db: it cannot be read");
    ExpectVx({"rotate", "run", "--once", "--no-sweep"}, 1, "10 by date"); // the others go on
    for (const char* const tail : {"", "-wal", "-shm"}) {
        std::filesystem::remove(RotWorld::Path(CAMERA) + tail);
    }
    std::filesystem::remove(VxDB::GetDBPath(VxDB::DB_DVA));
    std::filesystem::create_directories(m_world.m_root.Path() / "rec" / "7");
    ExpectVx({"rotate", "run", "--once"}, 4, "nothing of events: ");
    std::filesystem::remove_all(m_world.m_root.Path() / "db");
    ExpectVx({"rotate", "run", "--once"}); // nothing is configured any more
    EXPECT_EQ(RotWorld::FileCount(), 10);
}

// Catches: a volume that is full to the last byte and stays so, since marking needs room as well.
TEST_F(RotateToolTest, VolumeWithoutAByteLeftIsEmptied)
{
    const std::string root = m_world.m_root.Path().string();
    if (!EnterNamespaces()) {
        GTEST_SKIP() << "no namespaces here";
    }
    const auto inChild = [](const auto& body) {
        return ChildProcess([&](Channel&) { return body(), 0; }).Wait();
    };
    const TestVolume volume(root, "size=100m");
    ASSERT_TRUE(volume);
    ASSERT_EQ(inChild([&] { // all connections to the databases end with it
                  Camera camera;
                  camera.SetLimits(CAM_REC_GROUP_CONTINUOUS, {true, 30, false, 0, 0});
                  EXPECT_EQ(camera.Save(), 0);
                  m_world.Add(CAMERA, {{1, camera.GetId(), m_now - 99, m_now}}, true);
                  ExpectVx({"rotate", "run", "--once", "--reserve", "0"});
                  m_world.Run(RotWorld::Path(CAMERA), "UPDATE event SET end_time = start_time - 40 * 86400");
              }),
              0);
    std::ofstream(root + "/filler") << std::string(200 << 20, 'x'); // as much of it as there is room for
    ExpectVx({"rotate", "run", "--once", "--reserve", "0"}, 0, "1 by date");
    EXPECT_EQ(RotWorld::FileCount(), 0);
}

// Catches: a recorder that meets a full volume between two rounds, although it writes no more than is left free for it.
TEST_F(RotateToolTest, WhatIsWrittenBetweenTwoRoundsFindsRoom)
{
    constexpr int BURST = 23; // megabytes, of a volume of 64; a round is to leave one more free
    const std::string rec = GetPackageDir(PackageDir::REC);
    if (!EnterNamespaces()) {
        GTEST_SKIP() << "no namespaces here";
    }
    const TestVolume volume(rec, "size=64m");
    ASSERT_TRUE(volume);
    for (int id = 1; id <= 8 * BURST; ++id) {
        const long long start = m_now - DAY + 60 * id;
        m_world.Add(CAMERA, {{id, 7, start, start + 50}}, true);
        std::ofstream file(rec + "/t0/" + std::to_string(id));
        EXPECT_TRUE((file << std::string(MIB, 'x') << std::flush).good()) << "no room for number " << id;
        if (id % BURST == 0) {
            ExpectVx({"rotate", "run", "--once", "--reserve", std::to_string(BURST + 1)});
        }
    }
    EXPECT_GE(RotWorld::FileCount(), 64 - 2 * BURST - 2) << "more has gone than was asked for";
}

// Catches: a daemon that does not end when it is told to, ends before its reports are written, or runs twice.
TEST_F(RotateToolTest, SigtermEndsTheDaemonCleanly)
{
    m_world.AddMany(CAMERA, 30, m_now - 40 * DAY, false, true);
    SetLimits(1, 0);
    VxProcess daemon({"rotate", "run", "--interval", "1"});
    ASSERT_TRUE(daemon.WaitForOutput("30 record(s) deleted"));
    m_world.AddMany(CAMERA, 10, m_now - 40 * DAY, false, true);
    ASSERT_TRUE(daemon.WaitForOutput("10 record(s) deleted"));
    ExpectVx({"rotate", "run", "--once"}, 4, "another process rotates already");
    daemon.End();
    std::string count;
    ASSERT_EQ(VxDB::LoadFirstFieldFromDB(VxDB::DB_LOG,
                                         "SELECT COUNT(*) FROM log WHERE args LIKE '%fileList%'", count),
              0);
    EXPECT_GE(std::stoi(count), 1);
}

} // namespace
