// SPDX-License-Identifier: Apache-2.0
// package/faceresult.h - captured faces, rows of table "face_recording", and the service that deletes them.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <list>
#include <set>
#include <string>

#include "package/export.h"
#include "package/rotinfo.h"

/// Which live faces: all conditions that are set hold.
struct VX_API FaceEventFilter {
    int taskId = 0;              ///< 1 and more: of that task
    std::int64_t stopBefore = 0; ///< above 0: captured before this
    std::list<std::int64_t> ids; ///< not empty: these

    /// "WHERE mark_as_del = 0 AND ...".
    std::string GetWhereStr() const;
};

/// The API's name, and the kind of record that it is asked about.
constexpr const char* FACE_RESULT_API = "ORVO.Vigilux.Face.Result";
constexpr const char* FACE_RESULT_KIND = "captured_face";

namespace FaceUtils {

/// The face-result service on this box. The request is an object:
///
///   "api"            FACE_RESULT_API
///   "kind"           FACE_RESULT_KIND
///   "order"          "order_by_time": the oldest first
///   "triggerRotate"  true
///   "end_date_ts"    faces captured before this time; required unless "ids" is given
///   "task_id"        only this task's; 0 or missing: every task's
///   "ids"            only these
///   "limit"          at most so many; 0 or missing: all
///   "triggering", "forceLocal"   told in the log only; this box has no other to ask
///
/// The answer: "success", and with it "delCnt", "delSizeMb" (whole megabytes), "delBytes" (for whoever adds up
/// many answers) and "names" (an object: task id to an array of record identifiers).
/// @return 0; -1 (logged): "success" is false, and faces of earlier batches stay deleted and are counted.
[[nodiscard]] VX_API int SendFaceResultRequest(const Json::Value& request, Json::Value& response) noexcept;

/// Adds what an answer tells to `info`; the names become camDelList.
/// @return 0; -1 when the answer is none or tells of a failure (logged if `logError`).
[[nodiscard]] VX_API int CheckDeleteCapturedFaceResponse(const Json::Value& response, RotInfo* info,
                                                         bool logError) noexcept;

/// Deletes faces by id. @param failed  those that are not there or could not be deleted are added
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int DeleteCapturedFace(const std::set<int>& ids, std::set<int>& failed,
                                            RotInfo* info) noexcept;

/// Walks the oldest faces of the filter, at most `upperbound`, adding their sizes, until `sizeMB` is reached;
/// the face that reaches it is included.
///
/// @param info   count and sizeMB of the faces walked
/// @param bound  time before which all of them were captured; unchanged when there is none
/// @param ids    the faces walked
/// @return 0; -1 (logged).
[[nodiscard]] VX_API int EstimateTimeboundBySizeToDel(const FaceEventFilter& filter, long long sizeMB,
                                                      int upperbound, RotInfo& info, long& bound,
                                                      std::set<int>& ids) noexcept;

} // namespace FaceUtils
