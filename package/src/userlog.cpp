// SPDX-License-Identifier: Apache-2.0
// package/src/userlog.cpp - the user log on its table.
#include "package/userlog.h"

#include <json/value.h>

#include <exception>

#include "package/db.h"
#include "package/json.h"
#include "package/monoclock.h"
#include "pkglog.h"

int VxLog(const std::vector<UserLogEntry>& entries) noexcept
try {
    std::string script;
    for (const UserLogEntry& entry : entries) {
        Json::Value args(Json::arrayValue);
        for (const std::string& arg : entry.args) {
            args.append(arg);
        }
        script += std::string("INSERT INTO ") + gszTableLog + " (log_id,level,timestamp,user,args) VALUES (" +
                  std::to_string(entry.logId) + "," + std::to_string(static_cast<int>(entry.level)) + "," +
                  std::to_string(GetWallTimeSec()) + "," + VxDB::QuoteEscape(entry.user) + "," +
                  VxDB::QuoteEscape(JsonWrite(args)) + ");";
    }
    return script.empty() ? 0 : VxDB::Execute(VxDB::DB_LOG, script);
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to write the user log [%s].\n", error.what());
    return -1;
}
