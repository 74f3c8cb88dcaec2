// SPDX-License-Identifier: Apache-2.0
// tools/rotate_volume.cpp - the bound time of a volume: a merge of all targets' recordings, oldest first.
#include "rotate_volume.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <queue>
#include <set>
#include <string>
#include <vector>

#include "package/dbrows.h"
#include "package/monoclock.h"
#include "package/recsweep.h"
#include "package/root.h"
#include "sqlconversion.h"

namespace {

constexpr int PAGE_ROWS = 500;
constexpr long long UNSIZED_ROWS = 100; ///< so many without a size go in one round: what they free is unknown
constexpr long long BYTES_OF_MB = 1024 * 1024;

const volatile int g_neverRun = 0; ///< for rotators that are only asked

/// Runs a query. @return 0; -1 (logged)
int Query(const std::string& dbPath, const std::string& sql,
          const std::function<void(DBResult_tag*, unsigned int)>& take)
{
    VxDB::Rows rows;
    if (VxDB::Executep(dbPath, sql, rows.Out()) != 0) {
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        take(rows.Get(), row);
    }
    return 0;
}

/// What ended at one second.
struct Slice {
    long long stopTime = 0;
    long long bytes = 0;
    long long unsized = 0; ///< rows without a size
};

/// The recordings of one target, page by page, oldest first.
class Walk {
public:
    Walk(std::string dbPath, std::string table, std::string where)
        : m_dbPath(std::move(dbPath)), m_table(std::move(table)), m_where(std::move(where))
    {}

    /// @return false at the end or, with Failed(), when the database cannot be read
    bool Next(Slice& slice)
    {
        if (m_next == m_page.size() && !LoadPage()) {
            return false;
        }
        slice = m_page[m_next++];
        return true;
    }
    bool Failed() const noexcept { return m_hasFailed; }

private:
    bool LoadPage()
    {
        const long long after =
            m_page.empty() ? std::numeric_limits<long long>::min() : m_page.back().stopTime;
        m_page.clear();
        m_next = 0;
        const std::string sql =
            fmt::format("SELECT stop_time, SUM(MAX(size, 0)) AS bytes, SUM(size <= 0) AS unsized "
                        "FROM {} {} AND stop_time > {} "
                        "GROUP BY stop_time ORDER BY stop_time LIMIT {}",
                        m_table, m_where, after, PAGE_ROWS);
        m_hasFailed = Query(m_dbPath, sql, [this](DBResult_tag* pRows, unsigned int row) {
                          m_page.push_back({VxDB::FetchFieldAsNumber(pRows, row, "stop_time"),
                                            VxDB::FetchFieldAsNumber(pRows, row, "bytes"),
                                            VxDB::FetchFieldAsNumber(pRows, row, "unsized")});
                      }) != 0;
        return !m_page.empty();
    }

    std::string m_dbPath;
    std::string m_table;
    std::string m_where;
    std::vector<Slice> m_page;
    std::size_t m_next = 0;
    bool m_hasFailed = false;
};

struct Head {
    Slice slice;
    Walk* pWalk;
    bool operator>(const Head& other) const noexcept { return slice.stopTime > other.slice.stopTime; }
};

/// Bytes that are marked, of one owner or (0) of a whole database. What a sweep could not delete has no size any more.
int AddComing(const RotateTarget& target, int owner, long long& bytes)
{
    const RecTable& table = RecTableOf(target.kind);
    const std::string sql =
        fmt::format("SELECT SUM(MAX(size, 0)) AS bytes FROM {} WHERE mark_as_del = 1{}", table.table,
                    owner > 0 ? fmt::format(" AND {} = {}", table.owner, owner) : "");
    return Query(target.dbPath, sql, [&bytes](DBResult_tag* pRows, unsigned int row) {
        bytes += VxDB::FetchFieldAsNumber(pRows, row, "bytes");
    });
}

/// What is marked comes free on the volume of rec/, but for what belongs to a target on another one.
int ComputeComing(const std::list<RotateTarget>& targets, std::vector<VolumeNeed>& needs)
{
    std::set<std::string> seen;
    std::vector<long long> bytes(needs.size());
    for (const RotateTarget& target : targets) {
        long long ofTarget = 0;
        if ((seen.insert(target.dbPath).second && AddComing(target, 0, bytes[0]) != 0) ||
            (target.volume != 0 && AddComing(target, target.id, ofTarget) != 0)) {
            return -1;
        }
        bytes[target.volume] += ofTarget;
        bytes[0] -= ofTarget;
    }
    for (std::size_t i = 0; i < needs.size(); ++i) {
        needs[i].comingMB = bytes[i] / BYTES_OF_MB;
    }
    return 0;
}

/// The start of the newest recording on a volume; 0 without one, -1 (logged).
long FindNewestStart(const std::vector<RotateTarget*>& targets)
{
    VxRotLogger logger(EVT_TYPE_CAMERA);
    long newest = 0;
    for (const RotateTarget* const pTarget : targets) {
        const auto pRotator = pTarget->make(0, g_neverRun, logger);
        const long start = GetRotBoundTimeFromRetainNum(pRotator->GetTableName(), pRotator->GetSqlWhere(), 0,
                                                        pTarget->dbPath);
        if (start < 0) {
            return -1;
        }
        newest = std::max(newest, start);
    }
    return newest;
}

/// Walks until `need.neededMB` or many recordings without a size are found, or `limitTime` is reached.
int FindBound(const std::vector<RotateTarget*>& targets, long limitTime, VolumeNeed& need)
{
    VxRotLogger logger(EVT_TYPE_CAMERA);
    std::list<Walk> walks;
    std::priority_queue<Head, std::vector<Head>, std::greater<>> heads;
    const auto advance = [&heads](Walk& walk) {
        Head head{{}, &walk};
        if (walk.Next(head.slice)) {
            heads.push(head);
        }
        return !walk.Failed();
    };
    for (const RotateTarget* const pTarget : targets) {
        const auto pRotator = pTarget->make(0, g_neverRun, logger);
        Walk& walk = walks.emplace_back(pTarget->dbPath, pRotator->GetTableName(), pRotator->GetSqlWhere());
        if (!advance(walk)) {
            return -1;
        }
    }
    long long bytes = 0;
    long long unsized = 0;
    long bound = 0;
    while (bytes < need.neededMB * BYTES_OF_MB && unsized < UNSIZED_ROWS && !heads.empty() &&
           heads.top().slice.stopTime < limitTime) {
        const Head head = heads.top();
        heads.pop();
        bytes += head.slice.bytes;
        unsized += head.slice.unsized;
        bound = static_cast<long>(head.slice.stopTime + 1);
        if (!advance(*head.pWalk)) {
            return -1;
        }
    }
    need.boundTime = bound;
    need.foundMB = bytes / BYTES_OF_MB;
    return 0;
}

/// The volumes that targets record on; that of rec/ is the first.
std::vector<VolumeNeed> FindVolumes(std::list<RotateTarget>& targets, const std::string& rec,
                                    long long reserveMB)
{
    std::vector<VolumeNeed> needs(1);
    struct stat info {};
    std::vector<dev_t> devices{::stat(rec.c_str(), &info) == 0 ? info.st_dev : 0};
    for (RotateTarget& target : targets) {
        const std::string folder = rec + "/" + target.share;
        if (target.share.empty() || ::stat(folder.c_str(), &info) != 0) {
            continue; // a share that is not there lies nowhere else
        }
        const auto known = std::ranges::find(devices, info.st_dev);
        target.volume = static_cast<std::size_t>(known - devices.begin());
        if (known == devices.end()) {
            devices.push_back(info.st_dev);
            needs.emplace_back().share = target.share;
        }
    }
    for (VolumeNeed& need : needs) {
        need.reserveMB = reserveMB >= 0 ? reserveMB : GetRecReserveMB();
    }
    return needs;
}

/// Whether a target's recordings can be deleted at all, judged by the oldest and the newest of them.
void LookWhetherItGoes(RotateTarget& target, VolumeNeed& need)
{
    VxRotLogger logger(target.type);
    const auto pRotator = target.make(0, g_neverRun, logger);
    std::string path;
    int error = 0;
    target.makesRoom = false;
    for (const char* const order : {"DESC", "ASC"}) { // what cannot be read is told by whoever walks it
        const std::string sql = fmt::format("SELECT path FROM {} {} ORDER BY stop_time {} LIMIT 1",
                                            pRotator->GetTableName(), pRotator->GetSqlWhere(), order);
        static_cast<void>(Query(target.dbPath, sql, [&path](DBResult_tag* pRows, unsigned int row) {
            path = VxDB::FetchFieldText(pRows, row, "path");
        }));
        target.makesRoom = target.makesRoom || MayDeleteRecFile(path);
        error = errno;
    }
    if (!target.makesRoom) {
        need.stuck.push_back(
            fmt::format("{}: {} cannot be deleted ({}), nor can the newest; let this user write in "
                        "their folders",
                        target.name, path, std::strerror(error)));
    }
}

int FindBoundOf(std::vector<RotateTarget*>& targets, VolumeNeed& need)
{
    need.neededMB = std::max(0LL, need.reserveMB - need.freeMB - need.comingMB);
    if (need.neededMB == 0) {
        return 0;
    }
    const long newest = FindNewestStart(targets);
    if (newest < 0) {
        return -1;
    }
    for (RotateTarget* const pTarget : targets) {
        LookWhetherItGoes(*pTarget, need);
    }
    std::erase_if(targets, [](const RotateTarget* pTarget) { return !pTarget->makesRoom; });
    return FindBound(targets, std::min(newest, static_cast<long>(GetWallTimeSec()) - VOLUME_KEEP_SEC), need);
}

} // namespace

int ComputeVolumeNeeds(std::list<RotateTarget>& targets, long long reserveMB, std::vector<VolumeNeed>& needs)
{
    const std::string rec = GetPackageRoot() + "/rec";
    needs = FindVolumes(targets, rec, reserveMB);
    if (::access(rec.c_str(), F_OK) != 0) {
        return 0; // nothing was recorded, or the volume is not there: nothing of it can make room
    }
    if (ComputeComing(targets, needs) != 0) {
        return -1;
    }
    int result = 0;
    for (std::size_t i = 0; i < needs.size(); ++i) {
        std::vector<RotateTarget*> own;
        for (RotateTarget& target : targets) {
            if (target.volume == i) {
                own.push_back(&target);
            }
        }
        if (GetVolumeSpaceMB(rec + "/" + needs[i].share, needs[i].freeMB, needs[i].totalMB) != 0 ||
            FindBoundOf(own, needs[i]) != 0) {
            result = -1;
        }
    }
    return result;
}
