// SPDX-License-Identifier: Apache-2.0
// log/vxloglist.cpp - reading the system log.
#include "vxloglist.h"

#include <json/value.h>

#include <exception>

#include "logfilter_internal.h"
#include "logrot_internal.h"
#include "package/dbtables.h"
#include "package/json.h"

namespace {

/// Puts the arguments where "{0}", "{1}" ... stand; one that is missing is empty.
std::string FillIn(const std::string& text, const Json::Value& args)
{
    std::string filled;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isPlace = text.compare(i, 1, "{") == 0 && i + 2 < text.size() && text[i + 2] == '}' &&
                             text[i + 1] >= '0' && text[i + 1] <= '9';
        if (!isPlace) {
            filled += text[i];
            continue;
        }
        const auto place = static_cast<Json::ArrayIndex>(text[i + 1] - '0');
        filled += place < args.size() && args[place].isConvertibleTo(Json::stringValue)
                      ? args[place].asString()
                      : "";
        i += 2;
    }
    return filled;
}

} // namespace

std::string LogFilterParam::GetWhereSqlStr() const
{
    WhereClause where;
    where.Number("timestamp >= ", from, std::numeric_limits<std::int64_t>::min());
    where.Number("timestamp < ", before, std::numeric_limits<std::int64_t>::max());
    where.Number("level = ", level, 0);
    where.Text("user = ", user);
    where.Keyword({"args"}, keyword);
    return where.Str();
}

void VxLogEntry::PutRowIntoObj(DBResult_tag* result, unsigned int row)
{
    id = static_cast<int>(FieldNumber(result, row, "id"));
    logId = static_cast<unsigned int>(FieldNumber(result, row, "log_id"));
    level = static_cast<int>(FieldNumber(result, row, "level"));
    timestamp = FieldNumber(result, row, "timestamp");
    user = VxDB::FetchFieldText(result, row, "user");
    args = VxDB::FetchFieldText(result, row, "args");
}

std::string VxLogEntry::Text(const LangStrings& strings) const
{
    Json::Value values;
    std::string ignored;
    const std::string* const pText = strings.Find("vx_log_message", Format("%08x", logId));
    if (pText != nullptr && JsonRead(args, values, ignored) && values.isArray()) {
        return FillIn(*pText, values);
    }
    return Format("%08x ", logId) + args;
}

const std::string& VxLogEntry::LevelText(const LangStrings& strings) const
{
    return strings.Get("vx_log", "level_" + std::to_string(level));
}

int GetLogList(const LogFilterParam& filter, const LogTaker& take) noexcept
try {
    return ReadRecords<VxLogEntry>(std::string("SELECT id,log_id,level,timestamp,user,args FROM ") +
                                       gszTableLog + filter.GetWhereSqlStr() +
                                       OrderAndLimit(filter.limit, filter.offset),
                                   take);
} catch (const std::exception& error) {
    VX_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to list the system log [%s].\n", error.what());
    return -1;
}
