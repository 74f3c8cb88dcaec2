// SPDX-License-Identifier: Apache-2.0
// tests/support/rec_fixture.h - recordings of a test's own: rows with real files under a temporary root.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "package/event.h"
#include "package/reccheck.h"
#include "package/recorder.h"
#include "package/recsweep.h"
#include "support/sql.h"

namespace rec {

namespace fs = std::filesystem;

inline fs::path Rec()
{
    return fs::path(std::getenv("VX_ROOT")) / "rec";
}

inline void WriteFile(const std::string& path, std::size_t bytes)
{
    fs::create_directories((Rec() / path).parent_path());
    std::ofstream(Rec() / path) << std::string(bytes, 'x');
}

/// An event with a file of its size. @return its id; 0 if it could not be added.
inline std::int64_t AddEvent(int camId, std::int64_t start, std::int64_t end, const std::string& path,
                             std::size_t bytes = 10)
{
    Event event;
    event.SetOwner(camId);
    event.SetTimes(start, end);
    event.SetSize(static_cast<std::int64_t>(bytes));
    event.SetPath(path);
    if (!path.empty()) {
        WriteFile(path, bytes);
    }
    std::int64_t id = 0;
    return AddRecord(event, 0, &id) == 0 ? id : 0;
}

/// Sql(), of the database of events where no other one is named.
inline std::string Select(const std::string& sql, VxDB::DB_INSTANCE instance = VxDB::DB_EVENT)
{
    return Sql(sql, instance);
}

inline std::string Live()
{
    return Select("SELECT id FROM event WHERE mark_as_del = 0 ORDER BY id");
}

inline int CountFiles()
{
    int count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(Rec())) {
        count += entry.is_regular_file() && entry.path().filename() != ".volume" ? 1 : 0;
    }
    return count;
}

/// Sweeps all marked events. @return -1 if a batch failed, else how many went.
inline int Sweep(int batch = 1000)
{
    int deleted = 0;
    int more = 1;
    for (long long after = 0; more == 1;) {
        more = DeleteMarkedRecords(REC_KIND_EVENT, 0, batch, after, deleted);
    }
    return more < 0 ? -1 : deleted;
}

/// What is violated: "R1 object" lines, sorted by when they were found.
inline std::vector<std::string> Check(bool repair = false)
{
    std::vector<std::string> found;
    RecCheckCounts counts;
    const int result = CheckRecords(repair, counts, [&](const RecViolation& violation) {
        found.push_back("R" + std::to_string(violation.rule) + " " + violation.object +
                        (violation.mended ? " mended" : ""));
    });
    if (result != 0) {
        found.emplace_back("failed");
    }
    return found;
}

} // namespace rec
