// SPDX-License-Identifier: Apache-2.0
// log/vxlogevent.cpp - the event log on its table.
#include "vxlogevent.h"

#include <exception>

#include "logfilter_internal.h"
#include "package/dbtables.h"
#include "vxlog.h"

std::string LogEventFilterParam::GetWhereSqlStr() const
{
    WhereClause where;
    where.Number("timestamp >= ", from, std::numeric_limits<std::int64_t>::min());
    where.Number("timestamp < ", before, std::numeric_limits<std::int64_t>::max());
    where.Number("category = ", category, -1);
    where.Number("server_id = ", serverId, -1);
    where.Keyword({"name", "description"}, keyword);
    return where.Str();
}

void VxLogEvent::PutRowIntoObj(DBResult_tag* result, unsigned int row)
{
    id = static_cast<int>(FieldNumber(result, row, "id"));
    category = static_cast<int>(FieldNumber(result, row, "category"));
    name = VxDB::FetchFieldText(result, row, "name");
    timestamp = FieldNumber(result, row, "timestamp");
    serverId = static_cast<int>(FieldNumber(result, row, "server_id"));
    description = VxDB::FetchFieldText(result, row, "description");
}

std::string VxLogEvent::strSqlInsert() const
{
    VxDB::SqlBuilder::Insert insert(gszTableLogEvent);
    insert.Field("category", category);
    insert.Field("name", VxDB::Value(name));
    insert.Field("timestamp", static_cast<long long>(timestamp));
    insert.Field("server_id", serverId);
    insert.Field("description", VxDB::Value(description));
    insert.m_returning << "id";
    return insert.Expr().str();
}

int VxLogEvent::Save() noexcept
try {
    std::string newId;
    if (VxDB::LoadFirstFieldFromDB(VxDB::DB_LOG, strSqlInsert(), newId) != 0) {
        VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to save an entry of the event log.\n");
        return -1;
    }
    id = std::atoi(newId.c_str());
    return 0;
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to save an entry of the event log [%s].\n",
           error.what());
    return -1;
}

int VxLogEvent::GetEventList(const LogEventFilterParam& filter, const Taker& take) noexcept
try {
    return ReadRecords<VxLogEvent>(
        std::string("SELECT id,category,name,timestamp,server_id,description FROM ") + gszTableLogEvent +
            filter.GetWhereSqlStr() + OrderAndLimit(filter.limit, filter.offset),
        take);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to list the event log [%s].\n", error.what());
    return -1;
}

int VxLogEvent::GetLogTotalCount() noexcept
try {
    std::string count;
    if (VxDB::LoadFirstFieldFromDB(
            VxDB::DB_LOG, std::string("SELECT COUNT(1) FROM ") + gszTableLogEvent + ";", count) == 0) {
        return std::atoi(count.c_str());
    }
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to get the total event log count\n");
    return -1;
} catch (const std::exception&) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to get the total event log count\n");
    return -1;
}
