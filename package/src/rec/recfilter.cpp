// SPDX-License-Identifier: Apache-2.0
// package/src/rec/recfilter.cpp - the conditions of each kind of record, and the events that they select.
#include <exception>
#include <tuple>

#include "package/event.h"
#include "package/faceresult.h"
#include "package/ivaevent.h"
#include "package/lapserec.h"
#include "package/recsweep.h"
#include "pkglog.h"
#include "recmark_internal.h"
#include "recrows_internal.h"

namespace {

/// "WHERE a AND b".
class WhereText {
public:
    void Add(const std::string& condition) { m_text += (m_text.empty() ? "WHERE " : " AND ") + condition; }
    void AddNumber(const char* condition, std::int64_t number) { Add(condition + std::to_string(number)); }
    void AddIds(const std::list<std::int64_t>& ids)
    {
        if (!ids.empty()) {
            Add("id IN (" + IdsText(ids) + ")");
        }
    }
    const std::string& Text() const noexcept { return m_text; }

private:
    std::string m_text;
};

/// The kinds whose owner is a task.
std::string TaskWhere(int taskId, std::int64_t stopBefore, const std::list<std::int64_t>& ids)
{
    WhereText where;
    where.Add("mark_as_del = 0");
    if (taskId > 0) {
        where.AddNumber("task_id = ", taskId);
    }
    if (stopBefore > 0) {
        where.AddNumber("stop_time < ", stopBefore);
    }
    where.AddIds(ids);
    return where.Text();
}

} // namespace

std::string LapseFilterParam::GetWhereStr() const
{
    return TaskWhere(taskId, stopBefore, ids);
}

std::string IVAEventFilter::GetWhereStr() const
{
    return TaskWhere(taskId, stopBefore, ids);
}

std::string FaceEventFilter::GetWhereStr() const
{
    return TaskWhere(taskId, stopBefore, ids);
}

std::string EventFilterParam::GetDBPath() const
{
    return VxDB::GetDBPath(VxDB::DB_EVENT, archTaskId);
}

std::string EventFilterParam::GetWhereStr() const
{
    WhereText where;
    if (mark != MARK_ANY) {
        where.Add(mark == MARK_LIVE ? "mark_as_del = 0" : "mark_as_del = 1");
    }
    if (camId > 0) {
        where.AddNumber("camera_id = ", camId);
    }
    if (recGroup >= 0) {
        where.AddNumber("rec_group = ", recGroup);
    }
    if (stopBefore > 0) {
        where.AddNumber("stop_time < ", stopBefore);
    }
    if (afterId > 0) {
        where.AddNumber("id > ", afterId);
    }
    where.AddIds(ids);
    return where.Text();
}

int ListSelectedOwners(const EventFilterParam& filter, std::vector<std::pair<int, int>>& owners)
{
    owners.assign(1, {filter.camId, filter.recGroup});
    if (filter.camId > 0 && filter.recGroup >= 0) {
        return 0;
    }
    if (ListRecOwners(REC_KIND_EVENT, filter.GetDBPath(), owners) != 0) {
        return -1;
    }
    std::erase_if(owners, [&](const auto& owner) {
        return (filter.camId > 0 && owner.first != filter.camId) ||
               (filter.recGroup >= 0 && owner.second != filter.recGroup);
    });
    return 0;
}

int EventCntGetAll(const EventFilterParam& filter, long long& count) noexcept
try {
    std::vector<std::pair<int, int>> owners{{filter.camId, filter.recGroup}};
    if (filter.stopBefore > 0 && filter.ids.empty() && filter.mark == EventFilterParam::MARK_LIVE &&
        ListSelectedOwners(filter, owners) != 0) {
        return -1;
    }
    EventFilterParam part = filter;
    long long sum = 0;
    for (const auto& owner : owners) {
        std::tie(part.camId, part.recGroup) = owner;
        std::int64_t found = 0;
        if (LoadNumber(filter.GetDBPath(),
                       std::string("SELECT COUNT(*) AS n FROM ") + gszTableEvent + " " + part.GetWhereStr(),
                       found) != 0) {
            return -1;
        }
        sum += found;
    }
    count = sum;
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to count events [%s].\n", error.what());
    return -1;
}

int EventListGetAll(const EventFilterParam& filter, std::list<Event>& events) noexcept
try {
    const std::string path = filter.GetDBPath();
    std::string sql = std::string("SELECT * FROM ") + gszTableEvent + " " + filter.GetWhereStr() +
                      " ORDER BY " + (filter.order == EventFilterParam::ORDER_ID ? "id" : "stop_time");
    if (filter.limit > 0) {
        sql += " LIMIT " + std::to_string(filter.limit);
    }
    RecRows rows;
    if (rows.Load(path, sql) != 0) {
        return -1;
    }
    std::list<Event> found;
    while (rows.Next()) {
        Event& event = found.emplace_back();
        static_cast<void>(event.PutRowIntoObj(rows.Result(), rows.Row())); // the result is there
        event.SetDBInfo(path);
    }
    events = std::move(found);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to list events [%s].\n", error.what());
    return -1;
}
