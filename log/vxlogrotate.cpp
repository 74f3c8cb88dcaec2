// SPDX-License-Identifier: Apache-2.0
// log/vxlogrotate.cpp - the rotation that all logs share.
#include "vxlogrotate.h"

#include <json/value.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>
#include <string_view>

#include "logrot_internal.h"
#include "package/dbrows.h"
#include "package/exechelperd.h"
#include "package/fileutil.h"
#include "package/json.h"
#include "package/monoclock.h"
#include "package/timetext.h"

namespace {

constexpr std::int64_t DAY_SEC = 86400;

/// The nearest 32-bit number: bounds are 32-bit, clocks and days are not always sensible.
int Clamp(std::int64_t number) noexcept
{
    return static_cast<int>(
        std::clamp<std::int64_t>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace

VxLogRotaterBase::VxLogRotaterBase(const LogTable& table) : m_table(table) {}

VxLogRotaterBase::~VxLogRotaterBase() = default;

int VxLogRotaterBase::Execute(const std::string& sql, DBResult_tag** result) const noexcept
try {
    return VxDB::Execute(m_table.instance, sql, result);
} catch (const std::exception&) { // a copy of the text
    return -1;
}

int VxLogRotaterBase::LoadSettings() noexcept
{
    if (m_settings.Load(m_table.log) == 0) {
        return 0;
    }
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to load [%s] rotate config.\n", m_table.name);
    return -1;
}

int VxLogRotaterBase::Run() noexcept
try {
    const char* const name = m_table.name;
    if (LoadSettings() != 0) {
        return -1;
    }
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_NOTICE, "[%s] rotate config => %s.\n", name,
           JsonWrite(m_settings.ToJson()).c_str());
    if (!m_settings.IsRotationWanted()) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_NOTICE, "[%s] skip rotate.\n", name);
        return 0;
    }
    const int timeUPB = GetTimeUPB();
    const std::string archiveDir = m_settings.GetArchiveDir();
    if (!IsDirAccess(archiveDir)) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "[%s] archive path [%s] does not exist [%m].\n", name,
               archiveDir.c_str());
    }
    int result = 0;
    // Fails also for want of its folder; a log that makes no archive needs none.
    if (Archive(timeUPB, archiveDir) != 0) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to archive [%s].\n", name);
        result = -1;
    }
    if (LogAndNotify(timeUPB) != 0) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to log and notify [%s].\n", name);
        result = -1;
    }
    if (Rotate(timeUPB) != 0) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to rotate [%s].\n", name);
        result = -1;
    }
    return result;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to rotate [%s] [%s].\n", m_table.name, error.what());
    return -1;
}

int VxLogRotaterBase::GetTimeUPB() noexcept
{
    int timeUPB = GetTimeUPBByDays();
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_TRACE, "TimeUPB by days: [%d].\n", timeUPB);
    if (m_settings.sizeLimitEnabled || m_settings.countLimitEnabled) {
        timeUPB = std::max(timeUPB, GetTimeUPBByLimits());
    }
    return timeUPB;
}

int VxLogRotaterBase::GetTimeUPBByDays() noexcept
{
    return Clamp(static_cast<std::int64_t>(GetWallTimeSec()) - m_settings.days * DAY_SEC);
}

std::int64_t GetLimitOffset(const VxLogRotateSettings& settings, std::int64_t cnt,
                            std::int64_t sizeMB) noexcept
{
    constexpr std::int64_t NUMBER_MAX = std::numeric_limits<int>::max(); // so that no product passes 64 bits
    cnt = std::clamp<std::int64_t>(cnt, 0, NUMBER_MAX);
    sizeMB = std::clamp<std::int64_t>(sizeMB, 0, NUMBER_MAX);
    std::int64_t offset = 0;
    if (settings.sizeLimitEnabled && sizeMB > 0) {
        offset = cnt * (sizeMB - std::max(settings.sizeLimitMB, 0)) / sizeMB;
        offset = std::max<std::int64_t>(offset, 0);
    }
    if (settings.countLimitEnabled && cnt > settings.countLimit) {
        offset = std::max(offset, cnt - std::max(settings.countLimit, 0));
    }
    return offset;
}

int VxLogRotaterBase::GetTimeUPBByLimits() noexcept
try {
    VxDB::Rows rows;
    unsigned int row = 0;
    if (Execute(GetCountLimitSqlStr(), rows.Out()) != 0 || !rows.Next(row)) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to select log info.\n");
        return 0;
    }
    const char* const cntText = VxDBFetchField(rows.Get(), row, "cnt");
    const char* const sizeText = VxDBFetchField(rows.Get(), row, "sizeMB");
    const int cnt = Clamp(cntText != nullptr ? std::strtol(cntText, nullptr, 10) : 0);
    const int sizeMB = Clamp(sizeText != nullptr ? std::strtol(sizeText, nullptr, 10) : 0);

    const int offset = Clamp(GetLimitOffset(m_settings, cnt, sizeMB));
    int timeUPB = 0;
    std::string time;
    if (offset > 0 &&
        VxDB::LoadFirstFieldFromDB(m_table.instance, GetSelectOffsetSqlStr(offset), time) == 0) {
        timeUPB = Clamp(std::strtol(time.c_str(), nullptr, 10));
    }
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_TRACE,
           "TotalCnt: [%d], MsgSizeMB: [%d], Offset: [%d], TimeUPB[%s]: [%d].\n", cnt, sizeMB, offset,
           m_table.timeColumn, timeUPB);
    return timeUPB;
} catch (const std::exception&) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to select log info.\n");
    return 0;
}

int VxLogRotaterBase::Rotate(int timeUPB) noexcept
try {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_NOTICE, "Start to rotate [%s] with time limit [%d].\n", m_table.name,
           timeUPB);
    return Execute(GetRotateSqlStr(timeUPB));
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to delete from [%s] [%s].\n", m_table.table,
           error.what());
    return -1;
}

std::int64_t VxLogRotaterBase::CountRotated(int timeUPB) const noexcept
try {
    // A rotater that deletes in batches names its limit behind this.
    constexpr std::string_view BATCH = " ORDER BY ";
    std::string rows = GetRotateSqlStr(timeUPB).substr(std::string_view("DELETE").size());
    if (const std::size_t batch = rows.find(BATCH); batch != rows.npos) {
        rows.replace(batch, rows.npos, ");");
    }
    std::string count;
    return VxDB::LoadFirstFieldFromDB(m_table.instance, "SELECT COUNT(1)" + rows, count) == 0
               ? std::strtoll(count.c_str(), nullptr, 10)
               : -1;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to count [%s] [%s].\n", m_table.name, error.what());
    return -1;
}

int VxLogRotaterBase::Archive(int, const std::string&) noexcept
{
    return 0;
}

int VxLogRotaterBase::LogAndNotify(int) noexcept
{
    return 0;
}

std::string VxLogRotaterBase::GetRotateSqlStr(int timeUPB) const
{
    return std::string("DELETE FROM ") + m_table.table + " WHERE " + m_table.timeColumn + " < " +
           std::to_string(timeUPB) + ";";
}

std::string VxLogRotaterBase::GetCountLimitSqlStr() const
{
    return Format("SELECT COUNT(1) as cnt, SUM(length(%s))/1024/1024 as sizeMB FROM %s;",
                  m_table.messageColumn, m_table.table);
}

std::string VxLogRotaterBase::GetSelectOffsetSqlStr(int offset) const
{
    return Format("SELECT %s FROM %s ORDER BY %s LIMIT 1 OFFSET %d;", m_table.timeColumn, m_table.table,
                  m_table.timeColumn, offset);
}

std::string GenArchFilename(const std::string& dir, long time, const std::string& prefix,
                            const std::string& ext)
{
    return Format("%s/%s_%s.%s", dir.c_str(), prefix.c_str(), Time2Str(time, "%Y%m%d_%H%M%S").c_str(),
                  ext.c_str());
}

int ArchiveAndDeleteLog(const std::string& tgzPath, const std::list<std::string>& files) noexcept
{
    if (ExecHelperdApi::Tar(tgzPath, files) != 0) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to create tgz archive file [%s].\n",
               tgzPath.c_str());
        return -1;
    }
    for (const std::string& file : files) {
        VxRm(file); // one that stays is logged, and the next archive removes it
    }
    return 0;
}
