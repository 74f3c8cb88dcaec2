// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rotate_sweep_test.cpp - the sweep in lists, alerts in one transaction, and what the logger tells.
#include <json/value.h>

#include <atomic>
#include <thread>

#include "dvasetting.h"
#include "facesetting.h"
#include "package/ivaevent.h"
#include "package/json.h"
#include "package/msgd.h"
#include "rot_world.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/sql_watch.h"
#include "taskrotateutils.h"
#include "vxrotatealertevt.h"

namespace {

class RotateSweepTest : public ::testing::Test {
protected:
    ~RotateSweepTest() override { g_sqlWatch = {}; }

    /// How many rows each DELETE of events takes away, by the commas of its list.
    void WatchLists(std::vector<int>& lists)
    {
        g_sqlWatch.before = [&lists](const std::string&, const std::string& sql) {
            if (sql.starts_with("DELETE FROM event ")) {
                lists.push_back(1 + static_cast<int>(std::count(sql.begin(), sql.end(), ',')));
            }
        };
    }

    RotWorld m_world;
};

// Catches: lists without a bound, a sweep that cannot be stopped, or one that does not go on where it ended.
TEST_F(RotateSweepTest, GoesInListsAndGoesOnAfterAnInterruption)
{
    m_world.AddMany(CAMERA, 2500, 1'600'000'000, true, true);
    std::vector<int> lists;
    WatchLists(lists);
    int deleted = 0;
    g_sqlWatch.after = [&](const std::string&, const std::string& sql) {
        if (sql.starts_with("DELETE FROM event ")) {
            m_world.m_runFlag = lists.size() == 1 ? 0 : 1;
        }
    };
    EXPECT_EQ(DeleteMarkAsDelEvt(m_world.m_runFlag, 0, 0, deleted), 0);
    EXPECT_EQ(deleted, 1000);
    EXPECT_EQ(RotWorld::FileCount(), 1500);
    m_world.m_runFlag = 1;
    LogCapture log;
    EXPECT_EQ(DeleteMarkAsDelEvt(m_world.m_runFlag, 0, 0, deleted), 0);
    EXPECT_EQ(lists, (std::vector{1000, 1000, 500}));
    EXPECT_EQ(deleted, 2500);
    EXPECT_EQ(RotWorld::FileCount(), 0);
    EXPECT_TRUE(m_world.All(CAMERA).empty());
    EXPECT_EQ(log.TakeText("rotate/"),
              "rotate/vxrotateevt DeleteMarkAsDelEvt: [1500] mark_as_del events have been deleted.\n");
}

// Catches: rows that two sweeps count both.
TEST_F(RotateSweepTest, TwoAtOnceShareTheRows)
{
    m_world.AddMany(CAMERA, 3000, 1'600'000'000, true, true);
    int deleted[2] = {};
    const auto sweep = [&](int i) { EXPECT_EQ(DeleteMarkAsDelEvt(m_world.m_runFlag, 0, 0, deleted[i]), 0); };
    std::thread other(sweep, 1);
    sweep(0);
    other.join();
    EXPECT_EQ(deleted[0] + deleted[1], 3000);
}

// Catches: a row that cannot be swept and hides that it stays, or ends the sweep of the others.
TEST_F(RotateSweepTest, PathThatLeadsOutIsRefusedAndTold)
{
    m_world.AddMany(ARCHIVE, 3, 1'600'000'000, true, true);
    m_world.Run(RotWorld::Path(ARCHIVE), "UPDATE event SET path = '../outside' WHERE id = 1;");
    int deleted = 0;
    LogCapture log;
    EXPECT_EQ(DeleteMarkAsDelEvt(m_world.m_runFlag, 7, 0, deleted), -1);
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(m_world.Marked(ARCHIVE), std::set{1});
    EXPECT_EQ(m_world.All(ARCHIVE)[0].size, 0) << "it counts as coming free";
    log.Expect({"Error when delete archive task [7] mark_as_del events.\n"}, "rotate/");
}

/// The last argument of each entry of the users' log, as JSON, and the id of its message.
std::vector<std::pair<unsigned, Json::Value>> LogEntries()
{
    std::vector<std::pair<unsigned, Json::Value>> entries;
    DBResult_tag* pResult = nullptr;
    EXPECT_EQ(VxDB::Execute(VxDB::DB_LOG, "SELECT log_id, args FROM log ORDER BY id", &pResult), 0);
    for (unsigned int row = 0; VxDBFetchRow(pResult, &row) == 0;) {
        Json::Value args;
        Json::Value entry;
        std::string error;
        EXPECT_TRUE(JsonRead(VxDBFetchField(pResult, row, "args"), args, error));
        EXPECT_TRUE(JsonRead(args[args.size() - 1].asString(), entry, error));
        entries.emplace_back(static_cast<unsigned>(VxDB::FetchFieldAsNumber(pResult, row, "log_id")), entry);
    }
    VxDBFreeResult(pResult);
    return entries;
}

// ---- whether a task needs a pass

// Catches: a limit that is off and counts, one that holds and does not, an answer for a share that nobody records
// into, dates that come second.
TEST_F(RotateSweepTest, TaskIsLookedAtBeforeItIsRotated)
{
    DvaCoreRotateSettings task;
    task.SetSharePath("gate");
    ASSERT_EQ(task.Save(), 0);
    std::filesystem::create_directories(GetPackageDir(PackageDir::REC) + "/gate");
    m_world.Add(DVA, {{1, task.GetId(), g_fakeWallSec - 10 * DAY, g_fakeWallSec - 10 * DAY + 9, 5 * MIB}});
    constexpr long long NO_ROOM = 1LL << 40;
    const std::tuple<RotLimits, long long, LIMIT_CHECK_STATUS> cases[] = {
        {{}, 0, LIMIT_CHECK_OK},
        {{}, NO_ROOM, LIMIT_CHECK_SIZE},
        {{false, 1, false, 1, 0}, 0, LIMIT_CHECK_OK},
        {{true, 0, true, 0, 0}, 0, LIMIT_CHECK_OK},
        {{true, -1, true, -5, 0}, 0, LIMIT_CHECK_OK},
        {{true, 11, true, 5, 0}, 0, LIMIT_CHECK_OK},
        {{true, 11, true, 4, 0}, 0, LIMIT_CHECK_SIZE},
        {{true, 9, false, 0, 0}, NO_ROOM, LIMIT_CHECK_DATE},
        {{true, 9, true, 4, 0}, 0, LIMIT_CHECK_DATE},
    };
    for (const auto& [limits, reserveMB, status] : cases) {
        task.SetLimits(limits);
        ASSERT_EQ(task.Save() + SetRecReserveMB(reserveMB), 0);
        EXPECT_EQ((CheckTaskSpaceOrDateExceedsLimit<DvaSetting, IVAEvent>("gate")), status)
            << limits.days << " " << limits.sizeMB;
    }
    LogCapture log;
    EXPECT_EQ((CheckTaskSpaceOrDateExceedsLimit<FaceSetting, FaceEvent>("gate")), LIMIT_CHECK_FAILED);
    EXPECT_EQ(
        log.TakeText("utils/taskrotateutils"),
        "utils/taskrotateutils CheckTaskSpaceOrDateExceedsLimit: Failed to load Face rotate setting.\n");
}

// ---- alerts

class RotateAlertTest : public RotateSweepTest {
protected:
    RotateAlertTest() { EXPECT_EQ(BindRecVolume(RecDBPath(REC_KIND_ALERT)), 0); }

    static void AddAlerts(int device, int type, int count, long long start)
    {
        std::string sql;
        for (int i = 0; i < count; ++i) {
            sql += "INSERT INTO alert_event (device_id,type,start_time) VALUES (" + std::to_string(device) +
                   "," + std::to_string(type) + "," + std::to_string(start + i) + ");";
        }
        RotWorld::Run(RecDBPath(REC_KIND_ALERT), sql);
    }
    static int Marked(int device)
    {
        return std::stoi(Sql("SELECT COUNT(*) FROM alert_event WHERE mark_as_del = 1 AND device_id = " +
                                 std::to_string(device),
                             VxDB::DB_ALERT));
    }
    int Rotate(int type, int days, const std::list<int>& ids, long bound)
    {
        AlertAdvSetting setting;
        setting.SetDaysLimit(days);
        VxRotAlertEvt rotator(type, m_world.m_runFlag, setting, m_world.m_logger);
        return rotator.DoRotate(ids, bound);
    }
};

// Catches: the earlier of two bounds, a days limit of 0 that deletes, another camera's or kind's alerts.
TEST_F(RotateAlertTest, LaterBoundHoldsForTheNamedDevices)
{
    const auto now = static_cast<long>(g_fakeWallSec);
    for (const auto& [days, bound, marked] : {std::tuple(0, 0L, 0),
                                              {0, now - 5 * DAY, 5},
                                              {7, 0L, 3},
                                              {7, now - 5 * DAY, 5},
                                              {3, now - 5 * DAY, 7},
                                              {-1, now - 5 * DAY, 5}}) {
        RotWorld::Run(RecDBPath(REC_KIND_ALERT), "DELETE FROM alert_event");
        for (int day = 1; day <= 10; ++day) {
            AddAlerts(4, 1, 1, now - day * DAY + 100);
            AddAlerts(5, 1, 1, now - day * DAY + 100);
            AddAlerts(4, 2, 1, now - day * DAY + 100);
        }
        EXPECT_EQ(Rotate(1, days, {4}, bound), 0);
        EXPECT_EQ(Marked(4), marked) << days << " " << bound;
        EXPECT_EQ(Marked(5), 0);
    }
}

// Catches: a statement for nobody; analytics devices taken for cameras.
TEST_F(RotateAlertTest, EmptyListRunsNothingAndCamerasStandForTheirDevices)
{
    DvaCoreRotateSettings task;
    task.SetName("gate");
    task.SetCamId(4);
    ASSERT_EQ(task.Save(), 0);
    AddAlerts(task.GetId(), ALERT_TYPE_IVA, 2, 1'600'000'000);
    AddAlerts(4, 1, 2, 1'600'000'000);
    int scripts = 0;
    g_sqlWatch.before = [&scripts](const std::string&, const std::string& sql) {
        scripts += sql.starts_with("BEGIN EXCLUSIVE;") ? 1 : 0;
    };
    EXPECT_EQ(Rotate(1, 1, {}, 0), 0);
    EXPECT_EQ(scripts, 0);
    EXPECT_EQ(Rotate(ALERT_TYPE_IVA, 1, {4}, 0), 0);
    EXPECT_EQ(scripts, 1);
    EXPECT_EQ(Marked(task.GetId()), 2);
    EXPECT_EQ(m_world.m_logger.TotalDelCnt(VX_LOG_TYPE_BY_DATE), 2);
}

// Catches: alerts of a removed task that stay for ever; a task's number that is taken for a camera's in a report; a
// device that cannot be read and passes for one without alerts.
TEST_F(RotateAlertTest, DevicesWithoutTaskGoAndReportsNameCameras)
{
    Camera camera;
    camera.SetName("door");
    ASSERT_EQ(camera.Save(), 0);
    DvaCoreRotateSettings task;
    ASSERT_EQ(task.Save(), 0);
    task.SetId(0);
    task.SetCamId(camera.GetId());
    ASSERT_EQ(task.Save(), 0);
    AddAlerts(task.GetId(), ALERT_TYPE_IVA, 2, 1'600'000'000);
    AddAlerts(88, ALERT_TYPE_IVA, 3, 1'600'000'000);
    std::map<int, std::list<int>> devices;
    ASSERT_EQ(EnumIvaSettings(devices), 0);
    EXPECT_EQ(devices, (std::map<int, std::list<int>>{{0, {1, 88}}, {camera.GetId(), {task.GetId()}}}));
    g_sqlWatch.before = [](const std::string& dbPath, const std::string& sql) {
        if (sql.find("device_id = 88") != std::string::npos) {
            RotWorld::Run(dbPath, "DROP TABLE alert_event");
        }
    };
    EXPECT_EQ(Rotate(ALERT_TYPE_IVA, 1, {camera.GetId()}, 0), 0);
    m_world.m_logger.Log();
    EXPECT_EQ(LogEntries().at(0).second["camName"].asString(), "door");
    LogCapture log;
    EXPECT_EQ(Rotate(ALERT_TYPE_IVA, 1, {0}, 0), -1);
    EXPECT_EQ(log.TakeText("rotate/"),
              "rotate/vxrotatealertevt DispatchAlertDeletion: Failed to list alerts of device [88].\n");
}

// Catches: marks that become visible one by one, an alert that is lost to the script, or a lock that is not given
// back.
TEST_F(RotateAlertTest, ScriptIsWholeBesideAReaderAndAWriter)
{
    AddAlerts(4, 1, 3000, 1'600'000'000);
    AddAlerts(5, 1, 3000, 1'600'000'000);
    std::atomic<bool> isOver{false};
    std::atomic<int> partial{0};
    std::atomic<int> written{0};
    std::thread reader([&] {
        while (!isOver) {
            const std::string count =
                Sql("SELECT COUNT(*) FROM alert_event WHERE mark_as_del = 1", VxDB::DB_ALERT);
            partial += count == "0" || count == "6000" ? 0 : 1;
        }
    });
    std::thread writer([&] {
        while (!isOver) {
            AddAlerts(6, 1, 1, static_cast<long long>(g_fakeWallSec));
            ++written;
        }
    });
    EXPECT_EQ(Rotate(1, 1, {4, 5, 6}, 0), 0);
    isOver = true;
    reader.join();
    writer.join();
    EXPECT_EQ(partial, 0);
    EXPECT_EQ(Marked(4) + Marked(5), 6000);
    EXPECT_EQ(Marked(6), 0);
    EXPECT_EQ(Sql("SELECT COUNT(*) FROM alert_event WHERE device_id = 6", VxDB::DB_ALERT),
              std::to_string(written));
}

// ---- the logger

// Catches: an entry without its target or its names, a number step that is listed, names that fill the memory, a
// target that is gone and is not told at all.
TEST_F(RotateSweepTest, LoggerWritesEntriesOfWhatPassesRemoved)
{
    Camera camera;
    camera.SetName("door");
    ASSERT_EQ(camera.Save(), 0);
    VxRotLogger logger(EVT_TYPE_CAMERA);
    IdNameListMap bySize{{camera.GetId(), {}}};
    for (int i = 0; i < 700; ++i) {
        bySize[camera.GetId()].push_back("name" + std::to_string(i));
    }
    IdNameListMap byDate{{99, {"lost"}}};
    logger.UpdDelCnt(camera.GetId(), 700, 0, 0, 0);
    logger.UpdDelCnt(99, 0, 0, 1, 5);
    logger.UpdCamDelList(camera.GetId(), &bySize, nullptr, nullptr, nullptr);
    logger.UpdCamDelList(99, nullptr, nullptr, &byDate, nullptr);
    LogCapture log;
    logger.Log();
    const auto entries = LogEntries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].first, Vx_LOG_ID_EVENT_ROTATED);
    EXPECT_EQ(entries[0].second["camName"].asString(), "door");
    EXPECT_EQ(entries[0].second["count"].asInt(), 700);
    EXPECT_EQ(entries[0].second["fileList"].size(), VxRotLogger::MAX_LISTED);
    EXPECT_EQ(entries[0].second["fileList"][0].asString(), "name200");
    EXPECT_EQ(entries[1].second["fileList"][0].asString(), "lost");
    EXPECT_EQ(entries[2].second["count"].asInt(), 5);
    log.Expect({"Cam[99]: Failed to load\n"}, "rotate/vxrotatelogger");
    logger.UpdDelCnt(camera.GetId(), 1, 0, 0, 0);
    logger.Log(); // too soon
    EXPECT_EQ(LogEntries().size(), 3U);
    std::map<VX_LOG_TYPE, bool> types{{VX_LOG_TYPE_BY_DATE, true}, {VX_LOG_TYPE_BY_SIZE, false}};
    EXPECT_EQ(logger.FlushLog(types), 0); // another type
    EXPECT_EQ(LogEntries().size(), 3U);
    EXPECT_EQ(logger.FlushLog(), 0);
    EXPECT_EQ(LogEntries().size(), 4U);
}

// Catches: a kind that writes an entry a camera, or names that nobody knows; a type that is flushed and not cleared.
TEST_F(RotateSweepTest, BookmarksAndDetectionsAreToldTogether)
{
    VxBookmarkRotLogger bookmarks;
    VxDetectionEventRotLogger detections;
    for (VxRotLogger* const pLogger :
         {static_cast<VxRotLogger*>(&bookmarks), static_cast<VxRotLogger*>(&detections)}) {
        for (const int camera : {3, 4}) {
            IdNameListMap names{{camera, {"name" + std::to_string(camera)}}};
            pLogger->UpdDelCnt(camera, 0, 0, 2, 1);
            pLogger->UpdCamDelList(camera, nullptr, nullptr, &names, nullptr);
        }
        std::map<VX_LOG_TYPE, bool> types{{VX_LOG_TYPE_BY_DATE, true}, {VX_LOG_TYPE_BY_NUM, false}};
        EXPECT_EQ(pLogger->FlushLog(types), 0);
        EXPECT_FALSE(types[VX_LOG_TYPE_BY_DATE]);
    }
    const auto entries = LogEntries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].first, Vx_LOG_ID_BOOKMARK_ROTATED);
    EXPECT_EQ(entries[0].second["count"].asInt(), 4);
    EXPECT_EQ(entries[0].second["fileList"].size(), 2U);
    EXPECT_EQ(entries[1].first, Vx_LOG_ID_DETECTION_ROTATED);
    EXPECT_EQ(entries[1].second["count"].asInt(), 4);
    EXPECT_EQ(entries[1].second["fileList"].size(), 0U);
}

// Catches: a notification without its targets, one each round, or a kind that names no camera.
TEST_F(RotateSweepTest, NotificationNamesTargetsOnceAPeriod)
{
    MsgDListener listener;
    ASSERT_EQ(listener.Open(), 0);
    DvaCoreRotateSettings task;
    task.SetCamId(12);
    ASSERT_EQ(task.Save(), 0);
    VxDvaRotLogger logger;
    std::string text;
    for (const int expected : {0, -1}) {
        logger.Notify(task);
        logger.FlushNotify();
        EXPECT_EQ(listener.Receive(text), expected);
    }
    Json::Value message;
    std::string error;
    ASSERT_TRUE(JsonRead(text, message, error));
    EXPECT_EQ(message["kind"].asInt(), MSGD_KIND_ROTATED);
    EXPECT_EQ(message["ids"][0].asInt(), task.GetId());
    EXPECT_EQ(message["flag"].asInt(), EVT_TYPE_DVA);
    EXPECT_EQ(message["list"][0].asInt(), 12);
    g_fakeWallSec += VxRotLogger::NOTIFY_PERIOD_SEC;
    logger.Notify(task);
    logger.FlushNotify();
    EXPECT_EQ(listener.Receive(text), 0);
}

} // namespace
