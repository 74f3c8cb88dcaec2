// SPDX-License-Identifier: Apache-2.0
// tools/doctor/recording.cpp - cameras whose recording has stopped without anybody noticing.
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>

#include "doctor/finding.h"
#include "package/camera.h"
#include "package/db.h"
#include "package/dbrows.h"
#include "package/root.h"

namespace {

constexpr long long SHORTEST_SEC = 60; ///< a length of events below this is taken for this

/// The last sign of life of a camera's recording.
struct LastSign {
    long long sec = 0;       ///< 0: it has never recorded
    long long lengthSec = 0; ///< of its newest complete event
};

/// The end of an event; of one that is still open, when its file was last written.
long long LastSecOf(long long startSec, long long endSec, const std::string& path)
{
    struct stat info {};
    const bool isWritten = endSec == 0 && ::stat((GetPackageRoot() + "/rec/" + path).c_str(), &info) == 0;
    return isWritten ? std::max<long long>(startSec, info.st_mtime) : std::max(startSec, endSec);
}

/// @return false: the events cannot be read, which is another check's finding.
bool ReadLastSign(int camId, LastSign& sign)
{
    VxDB::Rows rows;
    if (VxDB::Execute(
            VxDB::DB_EVENT,
            fmt::format(
                "SELECT start_time, end_time, path FROM event WHERE camera_id = {} AND rec_group = {} "
                "AND mark_as_del = 0 ORDER BY start_time DESC LIMIT 2",
                camId, static_cast<int>(CAM_REC_GROUP_CONTINUOUS)),
            rows.Out()) != 0) {
        return false;
    }
    for (unsigned int row = 0; rows.Next(row);) {
        const auto number = [&](const char* column) {
            const char* const text = VxDBFetchField(rows.Get(), row, column);
            return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
        };
        const char* const path = VxDBFetchField(rows.Get(), row, "path");
        const long long endSec = number("end_time");
        sign.sec = std::max(sign.sec, LastSecOf(number("start_time"), endSec, path != nullptr ? path : ""));
        sign.lengthSec = sign.lengthSec == 0 && endSec != 0 ? endSec - number("start_time") : sign.lengthSec;
    }
    return true;
}

} // namespace

void CheckRecording(Findings& findings)
{
    const std::string db = GetPackageRoot() + "/db/";
    std::error_code missing; // no cameras, or nothing recorded yet
    std::set<int> ids;
    if (!std::filesystem::exists(db + "system.db", missing) ||
        !std::filesystem::exists(db + "event.db", missing) || GetAllCameraIds(ids) != 0) {
        return;
    }
    for (const int id : ids) {
        Camera camera;
        LastSign sign;
        if (camera.Load(id) != 0 || !camera.IsEnabled() || !ReadLastSign(id, sign) || sign.sec == 0) {
            continue;
        }
        const long long silentSec = static_cast<long long>(std::time(nullptr)) - sign.sec;
        const long long lengthSec = std::max(sign.lengthSec, SHORTEST_SEC);
        if (silentSec > 2 * lengthSec) {
            findings.Add(
                "recording.stopped",
                fmt::format("camera {} ({}) has recorded nothing for {} s; its recordings are {} s long", id,
                            camera.GetName(), silentSec, lengthSec),
                "what happens now is not on the disk",
                fmt::format("see that its capture and recorder run (vx fifo ls, systemctl status 'vx-*'), or "
                            "vx camera edit {} --disable",
                            id));
        }
    }
}
