// SPDX-License-Identifier: Apache-2.0
// package/src/logrotatesettings.cpp - the settings of the logs, on their table.
#include "package/logrotatesettings.h"

#include <json/value.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <limits>

#include "package/dbrows.h"
#include "package/root.h"
#include "pkglog.h"

namespace {

/// A number of the table. Text, or a number beyond 32 bits, is -1, which no setting takes.
int FieldNumber(DBResult_tag* pRows, unsigned int row, const char* column) noexcept
{
    const char* const text = VxDBFetchField(pRows, row, column);
    if (text == nullptr) {
        return -1;
    }
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text, &end, 10);
    const bool isNumber = end != text && *end == '\0' && errno == 0;
    return isNumber && number >= 0 && number <= std::numeric_limits<int>::max() ? static_cast<int>(number)
                                                                                : -1;
}

bool IsLog(VX_ROTATED_LOG log) noexcept
{
    return log >= 0 && log < VX_ROTATED_LOG_COUNT;
}

} // namespace

const char* VxLogRotateSettings::Problem() const noexcept
{
    if (days < 1) {
        return "days: 1 or more";
    }
    if (sizeLimitMB < 1) {
        return "size limit: 1 MB or more";
    }
    if (countLimit < 1) {
        return "count limit: 1 row or more";
    }
    if (!archiveDir.empty() && archiveDir.front() != '/') {
        return "archive folder: a path from the root";
    }
    return archiveDir.find('\0') != std::string::npos ? "archive folder: a path without NUL" : nullptr;
}

int VxLogRotateSettings::LoadRow(const std::string& sql)
{
    VxDB::Rows rows;
    if (VxDB::Execute(VxDB::DB_SYSTEM, sql, rows.Out()) != 0) {
        return -1; // logged there
    }
    if (unsigned int row = 0; rows.Next(row)) {
        enabled = VxDB::FetchFieldAsBool(rows.Get(), row, "enabled");
        sizeLimitEnabled = VxDB::FetchFieldAsBool(rows.Get(), row, "size_limit_enabled");
        countLimitEnabled = VxDB::FetchFieldAsBool(rows.Get(), row, "count_limit_enabled");
        days = FieldNumber(rows.Get(), row, "days");
        sizeLimitMB = FieldNumber(rows.Get(), row, "size_limit_mb");
        countLimit = FieldNumber(rows.Get(), row, "count_limit");
        archiveDir = VxDB::FetchFieldText(rows.Get(), row, "archive_dir");
    }
    return 0;
}

int VxLogRotateSettings::Load(VX_ROTATED_LOG log) noexcept
try {
    VxLogRotateSettings loaded;
    if (!IsLog(log) || loaded.LoadRow(std::string("SELECT * FROM ") + gszTableLogRotateSetting +
                                      " WHERE log = " + std::to_string(log) + ";") != 0) {
        return -1;
    }
    if (const char* const problem = loaded.Problem(); problem != nullptr) {
        PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR,
                "Settings of log %d make no sense [%s]; see vx log keep.\n", static_cast<int>(log), problem);
        return -1;
    }
    *this = std::move(loaded);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to load the settings of log %d [%s].\n",
            static_cast<int>(log), error.what());
    return -1;
}

int VxLogRotateSettings::Save(VX_ROTATED_LOG log) const noexcept
try {
    if (const char* const problem = IsLog(log) ? Problem() : "no such log"; problem != nullptr) {
        PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Settings of log %d are refused [%s].\n",
                static_cast<int>(log), problem);
        return -1;
    }
    return VxDB::Execute(VxDB::DB_SYSTEM,
                         std::string("INSERT OR REPLACE INTO ") + gszTableLogRotateSetting +
                             " (log,enabled,days,size_limit_enabled,size_limit_mb,count_limit_enabled,"
                             "count_limit,archive_dir) VALUES (" +
                             std::to_string(log) + "," + (enabled ? "1" : "0") + "," + std::to_string(days) +
                             "," + (sizeLimitEnabled ? "1" : "0") + "," + std::to_string(sizeLimitMB) + "," +
                             (countLimitEnabled ? "1" : "0") + "," + std::to_string(countLimit) + "," +
                             VxDB::QuoteEscape(archiveDir) + ");");
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to save the settings of log %d [%s].\n",
            static_cast<int>(log), error.what());
    return -1;
}

std::string VxLogRotateSettings::GetArchiveDir() const
{
    if (!archiveDir.empty()) {
        return archiveDir;
    }
    const std::string dir = GetPackageDir(PackageDir::ARCHIVE);
    // One that cannot be made: the path where it would be fails and is named, never one below "/".
    return dir.empty() ? GetPackageRoot() + "/archive" : dir;
}

Json::Value VxLogRotateSettings::ToJson() const
{
    Json::Value json(Json::objectValue);
    json["enabled"] = enabled;
    json["days"] = days;
    json["sizeLimitEnabled"] = sizeLimitEnabled;
    json["sizeLimitMB"] = sizeLimitMB;
    json["countLimitEnabled"] = countLimitEnabled;
    json["countLimit"] = countLimit;
    json["archiveDir"] = archiveDir;
    return json;
}
