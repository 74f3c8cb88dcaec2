// SPDX-License-Identifier: Apache-2.0
// package/src/rec/event.cpp - recorded items and their rows.
#include "package/event.h"

#include <cstdlib>

#include "package/alertevent.h"
#include "package/ivaevent.h"

namespace {

std::int64_t NumberOf(DBResult_tag* result, unsigned int row, const char* column) noexcept
{
    const char* const text = VxDBFetchField(result, row, column);
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

std::string InsertText(REC_KIND kind, const std::string& columns, const std::string& values)
{
    return std::string("INSERT INTO ") + RecTableOf(kind).table + " (" + columns + ") VALUES (" + values +
           ");" + VxDB::GetReturnIdStatement();
}

} // namespace

Event::~Event() = default;
IVAEvent::~IVAEvent() = default;
AlertEvent::~AlertEvent() = default;

int Event::PutRowIntoObj(DBResult_tag* result, unsigned int row)
{
    if (result == nullptr) {
        return -1;
    }
    m_id = NumberOf(result, row, "id");
    m_ownerId = static_cast<int>(NumberOf(result, row, RecTableOf(m_kind).owner));
    m_startTime = NumberOf(result, row, "start_time");
    m_endTime = NumberOf(result, row, "end_time");
    m_size = NumberOf(result, row, "size");
    m_path = std::string(VxDB::FetchFieldText(result, row, "path"));
    m_markAsDel = NumberOf(result, row, "mark_as_del") != 0;
    if (m_kind == REC_KIND_EVENT) {
        m_recGroup = static_cast<int>(NumberOf(result, row, "rec_group"));
        m_camEndMs = NumberOf(result, row, "cam_end_ms");
        m_rotationOnly = NumberOf(result, row, "rotate_only") != 0;
        m_recCntTime = NumberOf(result, row, "rec_cnt_ts");
    }
    return 0;
}

void Event::SetDBInfo(const std::string& dbPath)
{
    m_dbPath = dbPath;
    m_archTaskId = ArchPullUtils::GetTaskId(dbPath);
}

std::string Event::MakeRecordId() const
{
    return m_path.empty() ? std::string(RecTableOf(m_kind).name) + " " + std::to_string(m_id) : m_path;
}

std::string Event::InsertSql() const
{
    std::string columns = RecTableOf(m_kind).owner;
    std::string values = std::to_string(m_ownerId);
    const auto add = [&](const char* column, std::int64_t value) {
        columns += std::string(",") + column;
        values += "," + std::to_string(value);
    };
    add("start_time", m_startTime);
    add("end_time", m_endTime);
    add("size", m_size);
    if (m_kind == REC_KIND_EVENT) {
        add("rec_group", m_recGroup);
        add("cam_end_ms", m_camEndMs);
        add("rotate_only", m_rotationOnly ? 1 : 0);
        add("rec_cnt_ts", m_recCntTime);
    }
    return InsertText(m_kind, columns + ",path", values + "," + VxDB::QuoteEscape(m_path));
}

int AlertEvent::PutRowIntoObj(DBResult_tag* result, unsigned int row)
{
    m_type = static_cast<int>(NumberOf(result, row, "type"));
    return Event::PutRowIntoObj(result, row);
}

std::string AlertEvent::InsertSql() const
{
    return InsertText(REC_KIND_ALERT, "device_id,type,start_time,end_time,size,path",
                      std::to_string(GetCamId()) + "," + std::to_string(m_type) + "," +
                          std::to_string(GetStartTime()) + "," +
                          std::to_string(IsClosed() ? GetStopTime() : 0) + "," + std::to_string(GetSize()) +
                          "," + VxDB::QuoteEscape(GetPath()));
}
