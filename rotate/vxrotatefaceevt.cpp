// SPDX-License-Identifier: Apache-2.0
// rotate/vxrotatefaceevt.cpp - captured faces; whatever goes is asked of the face-result service.
#include "vxrotatefaceevt.h"

#include <json/value.h>

#include <cmath>
#include <exception>

#include "package/faceresult.h"
#include "rotdb_internal.h"
#include "sqlconversion.h"
#include "vxlog.h"

namespace {

constexpr long long BYTES_OF_MB = 1024 * 1024;

/// A request to delete faces of a task that were captured before a time, the oldest first.
Json::Value MakeRequest(int taskId, long boundTime)
{
    Json::Value request(Json::objectValue);
    request["api"] = FACE_RESULT_API;
    request["kind"] = FACE_RESULT_KIND;
    request["order"] = "order_by_time";
    request["triggerRotate"] = true;
    request["triggering"] = false;
    request["forceLocal"] = true;
    request["end_date_ts"] = static_cast<Json::Int64>(boundTime);
    request["task_id"] = taskId;
    return request;
}

/// Sends a request and adds what was deleted. @return 0; -1
int SendRequest(const Json::Value& request, RotInfo& info, long long& bytes)
{
    Json::Value response;
    const int sent = FaceUtils::SendFaceResultRequest(request, response);
    // What earlier parts of a failed request deleted counts all the same.
    const int checked = FaceUtils::CheckDeleteCapturedFaceResponse(response, &info, true);
    if (response.isObject()) {
        bytes =
            response["delBytes"].isIntegral() ? response["delBytes"].asInt64() : info.sizeMB * BYTES_OF_MB;
    }
    return sent != 0 || checked != 0 ? -1 : 0;
}

/// The ids of the oldest faces. @return 0; -1
int LoadOldest(const std::string& dbPath, const std::string& where, long long num, std::set<int>& ids)
{
    rotdb::Rows rows;
    const std::string sql = std::string("SELECT id FROM ") + gszTableFaceRecording + " " + where +
                            " ORDER BY stop_time LIMIT " + std::to_string(num);
    if (VxDB::Executep(dbPath, sql, rows.Out()) != 0) {
        return -1;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        ids.insert(static_cast<int>(VxDB::FetchFieldAsNumber(rows.Get(), row, "id")));
    }
    return 0;
}

} // namespace

VxRotFaceEvt::VxRotFaceEvt(DvaCoreRotateSettings* pSettings, long volBound, const volatile int& runFlag,
                           VxRotLogger& logger, const std::string& name)
    : VxRotEvtBase(volBound, runFlag, logger), m_taskId(pSettings != nullptr ? pSettings->GetId() : 0)
{
    if (pSettings != nullptr) {
        SetLimits(pSettings->GetLimits());
        SetOccupiedSizeMB(pSettings->GetOccupiedSizeMB());
    }
    m_dbPath = VxDB::GetDBPath(VxDB::DB_FACE);
    m_name = name;
}

VxRotFaceEvt::~VxRotFaceEvt() = default;

std::string VxRotFaceEvt::GetSqlWhere() const
{
    FaceEventFilter filter;
    filter.taskId = m_taskId;
    return filter.GetWhereStr();
}

std::string VxRotFaceEvt::GetTableName() const
{
    return gszTableFaceRecording;
}

int VxRotFaceEvt::DeleteCapturedFace(const std::set<int>& ids, std::set<int>& failed, RotInfo* info) noexcept
{
    return FaceUtils::DeleteCapturedFace(ids, failed, info);
}

int VxRotFaceEvt::EstimateTimeboundBySizeToDel(long long sizeMB, int upperbound, RotInfo& info, long& bound,
                                               std::set<int>& ids) noexcept
{
    FaceEventFilter filter;
    filter.taskId = m_taskId;
    return FaceUtils::EstimateTimeboundBySizeToDel(filter, sizeMB, upperbound, info, bound, ids);
}

int VxRotFaceEvt::MarkEvtToDel(long boundTime, RotInfo& info) noexcept
try {
    Json::Value request = MakeRequest(m_taskId, boundTime);
    const int result = MarkInBatches(info, [this, &request](int limit, RotInfo& batch) {
        request["limit"] = limit;
        long long bytes = 0;
        const int sent = SendRequest(request, batch, bytes);
        batch.sizeMB = TakeMegabytes(bytes); // a thousand faces may be few megabytes: no part of one is lost
        return sent;
    });
    if (result != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete captured face\n");
    }
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by time [%s].\n", e.what());
    return -1;
}

int VxRotFaceEvt::RemoveEventsBySizeWithUpperbound(double sizeMB, int upperbound, RotInfo& info) noexcept
try {
    RotInfo estimate;
    long boundTime = 0;
    std::set<int> ids;
    if (EstimateTimeboundBySizeToDel(static_cast<long long>(std::ceil(sizeMB)), upperbound, estimate,
                                     boundTime, ids) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to estimate time bound by size to del\n");
        return -1;
    }
    if (ids.empty()) {
        return 0;
    }
    Json::Value request = MakeRequest(m_taskId, boundTime);
    for (const int id : ids) { // others of the same second stay
        request["ids"].append(id);
    }
    long long bytes = 0;
    const int result = SendRequest(request, info, bytes);
    info.sizeMB = TakeMegabytes(bytes);
    if (result != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete captured face\n");
    }
    return result;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by size [%s].\n", e.what());
    return -1;
}

int VxRotFaceEvt::RemoveEventsFromDBByNumWithUpperbound(long long num, int upperbound, RotInfo& info) noexcept
try {
    if (num < 1 || upperbound <= 0) {
        return 0;
    }
    std::set<int> ids;
    if (LoadOldest(m_dbPath, GetSqlWhere(), std::min<long long>(num, upperbound), ids) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to load captured face\n");
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to estimate time bound by num to del\n");
        return -1;
    }
    std::set<int> failed;
    if (!ids.empty() && DeleteCapturedFace(ids, failed, &info) != 0) {
        VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to delete captured face\n");
        return -1;
    }
    return 0;
} catch (const std::exception& e) {
    VX_LOG(LOG_CATEG_ROTATE, LOG_LEVEL_ERR, "Failed to remove by num [%s].\n", e.what());
    return -1;
}
