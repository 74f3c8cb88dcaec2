// SPDX-License-Identifier: Apache-2.0
// package/src/rec/faceresult.cpp - the face-result service of this box: which faces go, and what went.
#include "package/faceresult.h"

#include <algorithm>
#include <exception>
#include <limits>

#include "package/recsweep.h"
#include "package/rectable.h"
#include "pkglog.h"
#include "recmark_internal.h"
#include "recrows_internal.h"

namespace {

/// What a request asks for; on a wrong one `problem` says what.
struct FaceRequest {
    FaceEventFilter filter;
    int limit = 0;
    std::string problem;

    explicit FaceRequest(const Json::Value& request)
    {
        if (!request.isObject() || request["api"] != FACE_RESULT_API || request["kind"] != FACE_RESULT_KIND) {
            problem = "it is none for captured faces";
            return;
        }
        if (request["order"] != "order_by_time" || request["triggerRotate"] != true) {
            problem = "only a rotation in order of time is known";
            return;
        }
        filter.taskId = std::max(0, request.get("task_id", 0).asInt());
        filter.stopBefore = request.get("end_date_ts", 0).asInt64();
        limit = std::max(0, request.get("limit", 0).asInt());
        for (const Json::Value& id : request["ids"]) {
            filter.ids.push_back(id.asInt64());
        }
        if (filter.stopBefore <= 0 && filter.ids.empty()) {
            problem = "neither end_date_ts nor ids is given";
        }
    }
};

Json::Value Answer(bool success, const RotInfo& info, long long bytes)
{
    Json::Value answer(Json::objectValue);
    answer["success"] = success;
    answer["delCnt"] = info.count;
    answer["delSizeMb"] = Json::Int64{info.sizeMB};
    answer["delBytes"] = Json::Int64{bytes};
    Json::Value& names = answer["names"] = Json::Value(Json::objectValue);
    for (const auto& [task, list] : info.camDelList) {
        Json::Value& array = names[std::to_string(task)] = Json::Value(Json::arrayValue);
        for (const std::string& name : list) {
            array.append(name);
        }
    }
    return answer;
}

/// Every task in turn, so that each batch is one search of the index.
int MarkFaces(FaceRequest& request, RotInfo& info, long long& bytes)
{
    FaceEventFilter& filter = request.filter;
    std::vector<std::pair<int, int>> owners{{filter.taskId, 0}};
    if (filter.taskId == 0 && filter.ids.empty()) {
        if (ListRecOwners(REC_KIND_FACE, RecDBPath(REC_KIND_FACE), owners) != 0) {
            return -1;
        }
    }
    for (const auto& owner : owners) {
        const int left = request.limit > 0 ? request.limit - info.count : 0;
        if (request.limit > 0 && left <= 0) {
            break;
        }
        filter.taskId = owner.first;
        if (MarkRecords({REC_KIND_FACE, 0, filter.GetWhereStr(), left, false, nullptr, &bytes}, &info) != 0) {
            return -1;
        }
    }
    return 0;
}

} // namespace

int FaceUtils::SendFaceResultRequest(const Json::Value& request, Json::Value& response) noexcept
try {
    FaceRequest asked(request);
    RotInfo info;
    long long bytes = 0;
    if (!asked.problem.empty()) {
        PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "Refused a request to %s: %s.\n", FACE_RESULT_API,
                asked.problem.c_str());
        response = Answer(false, info, bytes);
        return -1;
    }
    const int result = MarkFaces(asked, info, bytes);
    response = Answer(result == 0, info, bytes);
    return result;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "Failed to answer a request to %s: %s.\n", FACE_RESULT_API,
            error.what());
    return -1;
}

int FaceUtils::CheckDeleteCapturedFaceResponse(const Json::Value& response, RotInfo* info,
                                               bool logError) noexcept
try {
    const bool isAnswer = response.isObject() && response["success"].isBool() &&
                          response["delCnt"].isIntegral() && response["delSizeMb"].isIntegral();
    if (isAnswer && info != nullptr) {
        info->count += response["delCnt"].asInt();
        info->sizeMB += response["delSizeMb"].asInt64();
        const Json::Value& names = response["names"];
        for (const std::string& task : names.isObject() ? names.getMemberNames() : Json::Value::Members()) {
            for (const Json::Value& name : names[task]) {
                info->camDelList[std::stoi(task)].push_back(name.asString());
            }
        }
    }
    if (isAnswer && response["success"].asBool()) {
        return 0;
    }
    if (logError) {
        PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "%s did not delete captured faces: %s.\n", FACE_RESULT_API,
                isAnswer ? "it failed" : "no answer");
    }
    return -1;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "Failed to read an answer of %s: %s.\n", FACE_RESULT_API,
            error.what());
    return -1;
}

int FaceUtils::DeleteCapturedFace(const std::set<int>& ids, std::set<int>& failed, RotInfo* info) noexcept
try {
    if (ids.empty()) {
        return 0;
    }
    const std::list<std::int64_t> asked(ids.begin(), ids.end());
    FaceEventFilter filter;
    filter.ids = asked;
    RecRows rows;
    if (rows.Load(VxDB::DB_FACE,
                  std::string("SELECT id FROM ") + gszTableFaceRecording + " " + filter.GetWhereStr()) != 0) {
        failed.insert(ids.begin(), ids.end());
        return -1;
    }
    std::set<int> gone = ids;
    while (rows.Next()) {
        gone.erase(rows.Int("id"));
    }
    if (MarkRecords({REC_KIND_FACE, 0, filter.GetWhereStr(), 0, false, nullptr}, info) != 0) {
        failed.insert(ids.begin(), ids.end());
        return -1;
    }
    failed.merge(gone);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "Failed to delete captured faces [%s].\n", error.what());
    return -1;
}

int FaceUtils::EstimateTimeboundBySizeToDel(const FaceEventFilter& filter, long long sizeMB, int upperbound,
                                            RotInfo& info, long& bound, std::set<int>& ids) noexcept
try {
    RecRows rows;
    if (rows.Load(VxDB::DB_FACE, std::string("SELECT id, stop_time, size FROM ") + gszTableFaceRecording +
                                     " " + filter.GetWhereStr() + " ORDER BY stop_time LIMIT " +
                                     std::to_string(std::max(0, upperbound))) != 0) {
        return -1;
    }
    constexpr long long BYTES_PER_MB = 1024 * 1024;
    long long bytes = 0;
    while (bytes / BYTES_PER_MB < sizeMB && rows.Next()) {
        bytes += std::max<long long>(0, rows.Number("size"));
        bound = static_cast<long>(
            std::min<std::int64_t>(rows.Number("stop_time") + 1, std::numeric_limits<long>::max()));
        ids.insert(rows.Int("id"));
        ++info.count;
    }
    info.sizeMB += TransformFromByteToMB(bytes);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_FACE, LOG_LEVEL_ERR, "Failed to estimate which faces go [%s].\n", error.what());
    return -1;
}
