// SPDX-License-Identifier: Apache-2.0
// log/vxlogrotaters.cpp - what each log does in its own way.
#include <cstdlib>
#include <ctime>
#include <exception>
#include <limits>
#include <utility>

#include "logarchiver_internal.h"
#include "logrot_internal.h"
#include "package/dbrows.h"
#include "package/dbtables.h"
#include "package/monoclock.h"
#include "package/msgd.h"
#include "package/timetext.h"
#include "package/userlog.h"
#include "vxlogrotate.h"

namespace {

constexpr LogTable TABLES[] = {
    {VX_ROTATED_LOG_SYSTEM, VxDB::DB_LOG, gszTableLog, "timestamp", "args", "system log"},
    {VX_ROTATED_LOG_EVENT, VxDB::DB_LOG, gszTableLogEvent, "timestamp", "description", "event log"},
    {VX_ROTATED_LOG_IO_MODULE, VxDB::DB_LOG, gszTableIOModuleLog, "timestamp", "description",
     "I/O module log"},
    {VX_ROTATED_LOG_MESSAGE, VxDB::DB_LOG, gszTableMessage, "timestamp", "content", "message"},
    {VX_ROTATED_LOG_RULE_HISTORY, VxDB::DB_LOG, gszTableActRuleHistory, "timestamp", "rule_name",
     "action rule history"},
    {VX_ROTATED_LOG_BOOKMARK, VxDB::DB_LOG, gszTableBookmark, "timestamp", "comment", "bookmark"},
    {VX_ROTATED_LOG_INTERCOM, VxDB::DB_LOG, gszTableIntercomLog, "timestamp", "description", "intercom log"},
    {VX_ROTATED_LOG_ORVOCAM, VxDB::DB_LOG, gszTableOrvocamLog, "timestamp", "description",
     "recorder camera log"},
    {VX_ROTATED_LOG_DETECTION, VxDB::DB_LOG, gszTableDetectionEvent, "timestamp", "size_bytes",
     "detection event"},
};
static_assert(std::size(TABLES) == VX_ROTATED_LOG_COUNT);

constexpr int DELETE_BATCH = 1000;

/// The statements of the rows whose `column` has one value: those of an owner, those that are not locked.
std::string SelectedRotateSql(const LogTable& table, const char* column, int value, int timeUPB)
{
    return Format("DELETE FROM %s WHERE %s = %d AND %s < %d;", table.table, column, value, table.timeColumn,
                  timeUPB);
}

std::string SelectedCountSql(const LogTable& table, const char* column, int value)
{
    return Format("SELECT COUNT(1) as cnt, SUM(length(%s))/1024/1024 as sizeMB FROM %s WHERE %s = %d;",
                  table.messageColumn, table.table, column, value);
}

std::string SelectedOffsetSql(const LogTable& table, const char* column, int value, int offset)
{
    return Format("SELECT %s FROM %s WHERE %s = %d ORDER BY %s LIMIT 1 OFFSET %d;", table.timeColumn,
                  table.table, column, value, table.timeColumn, offset);
}

constexpr const char* LOCKED = "locked";

/// The start of the day, in local time, that a bound lies in.
int StartOfDay(int timeUPB) noexcept
{
    const std::time_t time = timeUPB;
    tm local{};
    if (timeUPB <= std::numeric_limits<int>::min() + 86400 || ::localtime_r(&time, &local) == nullptr) {
        return timeUPB;
    }
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    const std::time_t start = std::mktime(&local);
    return start <= time && start > time - 2 * 86400 ? static_cast<int>(start) : timeUPB;
}

/// The owners that have rows.
int ListOwners(const LogTable& table, const char* ownerColumn, std::vector<int>& owners)
{
    VxDB::Rows rows;
    if (VxDB::Execute(table.instance,
                      std::string("SELECT DISTINCT ") + ownerColumn + " AS owner FROM " + table.table + ";",
                      rows.Out()) != 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to list the owners of [%s].\n", table.name);
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        const char* const owner = VxDBFetchField(rows.Get(), row, "owner");
        owners.push_back(owner != nullptr ? std::atoi(owner) : 0);
    }
    return 0;
}

/// Names the selected bookmarks to the message daemon, as many messages as that takes.
int TellOfBookmarks(const LogTable& table, const std::string& going)
{
    int result = 0;
    const auto tell = [&result](DBResult_tag* block) {
        std::list<int> ids;
        for (unsigned int row = 0; VxDBFetchRow(block, &row) == 0;) {
            ids.push_back(std::atoi(VxDBFetchField(block, row, "id")));
        }
        if (SendUpdateMsgToMsgD(MSGD_KIND_BOOKMARK, ids, UPDATE_TYPE_DELETE, 0, "", {}) != 0) {
            result = -1;
        }
        return true;
    };
    const std::string sql = "SELECT id" + going + " ORDER BY " + table.timeColumn + ";";
    return VxDB::ExecuteInBlocks(table.instance, sql, tell) == 0 ? result : -1;
}

} // namespace

const LogTable& GetLogTable(VX_ROTATED_LOG log) noexcept
{
    return TABLES[log >= 0 && log < VX_ROTATED_LOG_COUNT ? log : 0];
}

int MakeLogRotaters(VX_ROTATED_LOG log, std::vector<std::unique_ptr<VxLogRotaterBase>>& rotaters) noexcept
try {
    std::vector<std::unique_ptr<VxLogRotaterBase>> made;
    std::vector<int> owners;
    switch (log) {
    case VX_ROTATED_LOG_SYSTEM:
        made.push_back(std::make_unique<VxLogRotater>());
        break;
    case VX_ROTATED_LOG_EVENT:
        made.push_back(std::make_unique<VxLogEventRotater>());
        break;
    case VX_ROTATED_LOG_IO_MODULE:
        made.push_back(std::make_unique<VxIOModuleLogRotater>());
        break;
    case VX_ROTATED_LOG_MESSAGE:
        made.push_back(std::make_unique<VxMessageRotater>());
        break;
    case VX_ROTATED_LOG_RULE_HISTORY:
        made.push_back(std::make_unique<VxActRuleHistRotater>());
        break;
    case VX_ROTATED_LOG_BOOKMARK:
        made.push_back(std::make_unique<VxBookmarkRotater>());
        break;
    case VX_ROTATED_LOG_INTERCOM:
        if (ListOwners(GetLogTable(log), "intercom_id", owners) != 0) {
            return -1;
        }
        for (const int owner : owners) {
            made.push_back(std::make_unique<VxIntercomLogRotater>(owner));
        }
        break;
    case VX_ROTATED_LOG_ORVOCAM:
        if (ListOwners(GetLogTable(log), "camera_id", owners) != 0) {
            return -1;
        }
        for (const int owner : owners) {
            made.push_back(std::make_unique<VxOrvocamLogRotater>(owner));
        }
        break;
    case VX_ROTATED_LOG_DETECTION:
        made.push_back(std::make_unique<DetectionEvent::Rotater>());
        break;
    case VX_ROTATED_LOG_COUNT:
        break;
    }
    rotaters = std::move(made);
    return 0;
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to make the rotaters of log %d [%s].\n", static_cast<int>(log),
                  error.what());
    return -1;
}

VxLogEventRotater::VxLogEventRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_EVENT)) {}

int VxLogEventRotater::Archive(int timeUPB, const std::string& archiveDir) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Start to archive [%s] with time upper bound [%d].\n", m_table.name,
                  timeUPB);
    return ArchiveEventLog(timeUPB, archiveDir);
}

VxLogRotater::VxLogRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_SYSTEM)) {}

int VxLogRotater::Archive(int timeUPB, const std::string& archiveDir) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Start to archive [%s] with time upper bound [%d].\n", m_table.name,
                  timeUPB);
    return ArchiveSystemLog(timeUPB, archiveDir, m_table.name);
}

int VxLogRotater::Rotate(int timeUPB) noexcept
try {
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Start to rotate [%s] with time limit [%d].\n", m_table.name, timeUPB);
    VxDB::Rows gone;
    if (Execute(GetRotateSqlStr(timeUPB) + "SELECT changes() > 0 AS gone;", gone.Out()) != 0) {
        return -1;
    }
    unsigned int row = 0;
    const bool isGone = gone.Next(row) && VxDB::FetchFieldAsBool(gone.Get(), row, "gone");
    if (!isGone) {
        return 0;
    }
    UserLogEntry entry;
    entry.logId = Vx_LOG_ID_LOG_ROTATED;
    entry.args = {m_table.name, Time2Str(timeUPB, "%Y/%m/%d %H:%M:%S")};
    return VxLog({entry});
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to delete from [%s] [%s].\n", m_table.table, error.what());
    return -1;
}

VxIOModuleLogRotater::VxIOModuleLogRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_IO_MODULE)) {}

int VxIOModuleLogRotater::Archive(int timeUPB, const std::string& archiveDir) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Start to archive [%s] with time upper bound [%d].\n", m_table.name,
                  timeUPB);
    return ArchiveIOModuleLog(timeUPB, archiveDir);
}

std::string VxIOModuleLogRotater::GetCountLimitSqlStr() const
{
    return Format("SELECT COUNT(1) as cnt, SUM(length(%s) + length(%s))/1024/1024 as sizeMB FROM %s;",
                  "event", m_table.messageColumn, m_table.table);
}

VxMessageRotater::VxMessageRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_MESSAGE)) {}

VxActRuleHistRotater::VxActRuleHistRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_RULE_HISTORY)) {}

VxOwnedLogRotater::VxOwnedLogRotater(const LogTable& table, const char* ownerColumn, int ownerId)
    : VxLogRotaterBase(table), m_ownerColumn(ownerColumn), m_ownerId(ownerId)
{}

std::string VxOwnedLogRotater::GetRotateSqlStr(int timeUPB) const
{
    return SelectedRotateSql(m_table, m_ownerColumn, m_ownerId, timeUPB);
}

std::string VxOwnedLogRotater::GetCountLimitSqlStr() const
{
    return SelectedCountSql(m_table, m_ownerColumn, m_ownerId);
}

std::string VxOwnedLogRotater::GetSelectOffsetSqlStr(int offset) const
{
    return SelectedOffsetSql(m_table, m_ownerColumn, m_ownerId, offset);
}

VxIntercomLogRotater::VxIntercomLogRotater(int intercomId)
    : VxOwnedLogRotater(GetLogTable(VX_ROTATED_LOG_INTERCOM), "intercom_id", intercomId)
{}

VxOrvocamLogRotater::VxOrvocamLogRotater(int cameraId)
    : VxOwnedLogRotater(GetLogTable(VX_ROTATED_LOG_ORVOCAM), "camera_id", cameraId)
{}

int VxOrvocamLogRotater::GetTimeUPBByDays() noexcept
{
    return StartOfDay(VxLogRotaterBase::GetTimeUPBByDays());
}

VxBookmarkRotater::VxBookmarkRotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_BOOKMARK)) {}

int VxBookmarkRotater::GetTimeUPBByDays() noexcept
{
    return StartOfDay(VxLogRotaterBase::GetTimeUPBByDays());
}

int VxBookmarkRotater::LogAndNotify(int timeUPB) noexcept
try {
    const std::string going = std::string(" FROM ") + m_table.table + " WHERE " + LOCKED + " = 0 AND " +
                              m_table.timeColumn + " < " + std::to_string(timeUPB);
    std::string count;
    if (VxDB::LoadFirstFieldFromDB(m_table.instance, "SELECT COUNT(1)" + going + ";", count) != 0) {
        return -1;
    }
    if (count == "0") {
        return 0;
    }
    UserLogEntry entry;
    entry.logId = Vx_LOG_ID_BOOKMARK_ROTATED;
    entry.args = {m_table.name, count, "{}"};
    return VxLog({entry}) == 0 ? TellOfBookmarks(m_table, going) : -1;
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to tell of bookmarks that are going [%s].\n", error.what());
    return -1;
}

std::string VxBookmarkRotater::GetRotateSqlStr(int timeUPB) const
{
    return SelectedRotateSql(m_table, LOCKED, 0, timeUPB);
}

std::string VxBookmarkRotater::GetCountLimitSqlStr() const
{
    return SelectedCountSql(m_table, LOCKED, 0);
}

std::string VxBookmarkRotater::GetSelectOffsetSqlStr(int offset) const
{
    return SelectedOffsetSql(m_table, LOCKED, 0, offset);
}

DetectionEvent::Rotater::Rotater() : VxLogRotaterBase(GetLogTable(VX_ROTATED_LOG_DETECTION)) {}

int DetectionEvent::Rotater::Rotate(int timeUPB) noexcept
try {
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Start to rotate [%s] with time limit [%d].\n", m_table.name, timeUPB);
    const std::string sql = GetRotateSqlStr(timeUPB) + "SELECT changes();";
    for (int gone = DELETE_BATCH; gone == DELETE_BATCH && !IsToldToStop();) {
        std::string changes;
        if (VxDB::LoadFirstFieldFromDB(m_table.instance, sql, changes) != 0) {
            return -1;
        }
        gone = std::atoi(changes.c_str());
    }
    return 0;
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to delete from [%s] [%s].\n", m_table.table, error.what());
    return -1;
}

int DetectionEvent::Rotater::GetTimeUPBByLimits() noexcept
try {
    // The newest row that must go by size: with it, all from it on take more than the limit. The bound is what
    // follows it, so rows of its own second go as well.
    VxLogRotateSettings byCount = m_settings;
    byCount.sizeLimitEnabled = false;
    std::swap(byCount, m_settings);
    const int timeByCount = VxLogRotaterBase::GetTimeUPBByLimits();
    std::swap(byCount, m_settings);
    if (!m_settings.sizeLimitEnabled) {
        return timeByCount;
    }
    std::string time;
    const std::string sql =
        Format("SELECT IFNULL(MAX(%s) + 1, 0) FROM (SELECT %s, SUM(%s) OVER (ORDER BY %s DESC) "
               "AS kept FROM %s) WHERE kept > %d * 1048576;",
               m_table.timeColumn, m_table.timeColumn, m_table.messageColumn, m_table.timeColumn,
               m_table.table, m_settings.sizeLimitMB);
    if (VxDB::LoadFirstFieldFromDB(m_table.instance, sql, time) != 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to select log info.\n");
        return timeByCount;
    }
    const int timeBySize = static_cast<int>(
        std::min<long>(std::strtol(time.c_str(), nullptr, 10), std::numeric_limits<int>::max()));
    VX_LOG_ROTATE(LOG_LEVEL_TRACE, "TimeUPB by size: [%d].\n", timeBySize);
    return std::max(timeByCount, timeBySize);
} catch (const std::exception&) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to select log info.\n");
    return 0;
}

std::string DetectionEvent::Rotater::GetRotateSqlStr(int timeUPB) const
{
    return Format("DELETE FROM %s WHERE id IN (SELECT id FROM %s WHERE %s < %d ORDER BY %s LIMIT %d);",
                  m_table.table, m_table.table, m_table.timeColumn, timeUPB, m_table.timeColumn,
                  DELETE_BATCH);
}

std::string DetectionEvent::Rotater::GetCountLimitSqlStr() const
{
    return Format("SELECT COUNT(1) as cnt, SUM(%s)/1024/1024 as sizeMB FROM %s;", m_table.messageColumn,
                  m_table.table);
}

std::string DetectionEvent::Rotater::GetSelectOffsetSqlStr(int offset) const
{
    return Format("SELECT %s FROM %s ORDER BY %s, id LIMIT 1 OFFSET %d;", m_table.timeColumn, m_table.table,
                  m_table.timeColumn, offset);
}
