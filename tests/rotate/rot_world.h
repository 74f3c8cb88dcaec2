// SPDX-License-Identifier: Apache-2.0
// tests/rotate/rot_world.h - a root with recordings of every kind, and what is left of them.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "package/camera.h"
#include "package/recsweep.h"
#include "package/rectask.h"
#include "package/root.h"
#include "sqlconversion.h"
#include "support/temp_root.h"
#include "vxrotateevt.h"
#include "vxrotatefaceevt.h"
#include "vxrotatelapseevt.h"
#include "vxrotatelogger.h"
#include "vxrotdvaevt.h"

constexpr long long MIB = 1024 * 1024;
constexpr int DAY = 86400;

/// The kinds of targets, each with four limits but for the number of cameras' and faces'.
enum TARGET { CAMERA, ARCHIVE, LAPSE, DVA, FACE };
constexpr TARGET ALL_TARGETS[] = {CAMERA, ARCHIVE, LAPSE, DVA, FACE};

struct Recording {
    int id = 0;
    int owner = 7;
    long long start = 0;
    long long end = 0;
    long long size = MIB;
    bool isMarked = false;

    long long Stop() const { return end > 0 ? end : start; }
    auto operator<=>(const Recording&) const = default;
};

class RotWorld {
public:
    static REC_KIND KindOf(TARGET target)
    {
        constexpr REC_KIND KINDS[] = {REC_KIND_EVENT, REC_KIND_EVENT, REC_KIND_LAPSE, REC_KIND_IVA,
                                      REC_KIND_FACE};
        return KINDS[target];
    }
    static std::string Path(TARGET target) { return RecDBPath(KindOf(target), target == ARCHIVE ? 7 : 0); }
    static const char* Table(TARGET target) { return RecTableOf(KindOf(target)).table; }

    static void Run(const std::string& dbPath, const std::string& sql)
    {
        ASSERT_EQ(VxDB::Executep(dbPath, sql), 0) << sql;
    }

    /// Stores recordings, each with a file when asked; their ids are the rows'.
    static void Add(TARGET target, const std::vector<Recording>& recordings, bool withFiles = false)
    {
        const std::string dbPath = Path(target);
        ASSERT_EQ(BindRecVolume(dbPath), 0);
        std::string sql;
        for (const Recording& one : recordings) {
            const std::string path =
                withFiles ? "t" + std::to_string(target) + "/" + std::to_string(one.id) : "";
            sql += std::string("INSERT INTO ") + Table(target) + " (id," + RecTableOf(KindOf(target)).owner +
                   ",start_time,end_time,size,path,mark_as_del) VALUES (" + std::to_string(one.id) + "," +
                   std::to_string(one.owner) + "," + std::to_string(one.start) + "," +
                   std::to_string(one.end) + "," + std::to_string(one.size) + ",'" + path + "'," +
                   (one.isMarked ? "1" : "0") + ");";
            if (withFiles) {
                const std::string file = GetPackageDir(PackageDir::REC) + "/" + path;
                std::filesystem::create_directories(std::filesystem::path(file).parent_path());
                std::ofstream(file) << one.id;
                std::filesystem::resize_file(file, static_cast<std::uintmax_t>(one.size));
            }
        }
        Run(dbPath, sql);
        if (KindOf(target) == REC_KIND_EVENT) {
            ASSERT_EQ(RecordingCount::Recount(dbPath), 0);
        }
    }

    /// `count` recordings of one megabyte, one a minute from `start` on, with ids from 1 on.
    static void AddMany(TARGET target, int count, long long start, bool isMarked = false,
                        bool withFiles = false)
    {
        std::vector<Recording> recordings;
        for (int i = 0; i < count; ++i) {
            recordings.push_back({i + 1, 7, start + 60 * i, start + 60 * i + 50, MIB, isMarked});
        }
        Add(target, recordings, withFiles);
    }

    static std::vector<Recording> All(TARGET target)
    {
        std::vector<Recording> found;
        DBResult_tag* pResult = nullptr;
        EXPECT_EQ(VxDB::Executep(Path(target), std::string("SELECT * FROM ") + Table(target) + " ORDER BY id",
                                 &pResult),
                  0);
        const auto number = [&](unsigned int row, const char* column) {
            return VxDB::FetchFieldAsNumber(pResult, row, column);
        };
        for (unsigned int row = 0; VxDBFetchRow(pResult, &row) == 0;) {
            found.push_back({static_cast<int>(number(row, "id")),
                             static_cast<int>(number(row, RecTableOf(KindOf(target)).owner)),
                             number(row, "start_time"), number(row, "end_time"), number(row, "size"),
                             number(row, "mark_as_del") != 0});
        }
        VxDBFreeResult(pResult);
        return found;
    }

    static std::set<int> Marked(TARGET target)
    {
        std::set<int> ids;
        for (const Recording& one : All(target)) {
            if (one.isMarked) {
                ids.insert(one.id);
            }
        }
        return ids;
    }

    static int FileCount()
    {
        int count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(GetPackageRoot() + "/rec")) {
            count += entry.is_regular_file() && entry.path().filename().string().front() != '.' ? 1 : 0;
        }
        return count;
    }

    /// The rotator of target 7 with these limits; what is 0 is off.
    std::unique_ptr<VxRotEvtBase> Make(TARGET target, long volBound, int days, int sizeMB, int num)
    {
        const RotLimits limits{days != 0, days, sizeMB != 0, sizeMB, num};
        switch (target) {
        case CAMERA: {
            Camera camera;
            camera.SetId(7);
            camera.SetLimits(CAM_REC_GROUP_CONTINUOUS, limits);
            return std::make_unique<VxRotEvt>(camera, volBound, m_runFlag, m_logger,
                                              CAM_REC_GROUP_CONTINUOUS);
        }
        case ARCHIVE:
            return std::make_unique<VxRotArchEvt>(Task<ArchPullTask>(limits), volBound, m_runFlag, m_logger);
        case LAPSE:
            return std::make_unique<VxRotLapseEvt>(Task<TimeLapseTask>(limits), volBound, m_runFlag,
                                                   m_logger);
        case DVA: {
            const auto settings = Task<DvaCoreRotateSettings>(limits);
            return std::make_unique<VxRotDvaEvt>(&settings, volBound, m_runFlag, m_logger, "");
        }
        default:
            DvaCoreRotateSettings settings(RecTask::FACE);
            settings.SetId(7);
            settings.SetLimits(limits);
            return std::make_unique<VxRotFaceEvt>(&settings, volBound, m_runFlag, m_logger, "");
        }
    }

    TempRoot m_root;
    volatile int m_runFlag = 1;
    VxRotLogger m_logger{EVT_TYPE_CAMERA};

private:
    template <typename T>
    static T Task(const RotLimits& limits)
    {
        T task;
        task.SetId(7);
        task.SetLimits(limits);
        return task;
    }
};
