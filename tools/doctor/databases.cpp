// SPDX-License-Identifier: Apache-2.0
// tools/doctor/databases.cpp - databases that are damaged, foreign, too new, or larger than what is in them.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "doctor/finding.h"
#include "package/dbadmin.h"
#include "package/root.h"

namespace {

using VxDB::DB_ADMIN_STATUS;

constexpr long long MIB = 1024LL * 1024;

std::string NameOf(const std::string& path)
{
    return std::filesystem::path(path).stem().string();
}

/// Before the database is opened: closing it again writes the log back if nobody else has it open.
void JudgeWal(const std::string& path, Findings& findings)
{
    std::error_code gone; // no write-ahead log, no finding
    const auto walBytes = static_cast<long long>(std::filesystem::file_size(path + "-wal", gone));
    if (!gone && walBytes > 64 * MIB) {
        findings.Add("db.wal", fmt::format("{}-wal has {} MiB", path, walBytes / MIB),
                     "a reader that never ends keeps it from being written back: statements are slow, the "
                     "volume fills",
                     fmt::format("end the process that holds it (fuser '{}-wal'), then vx db check {}", path,
                                 NameOf(path)));
    }
}

void JudgeUnused(const std::string& path, const VxDB::DBInfo& info, Findings& findings)
{
    if (info.unusedBytes > 64 * MIB && info.unusedBytes > info.sizeBytes / 2) {
        findings.Add("db.unused",
                     fmt::format("{} has {} MiB, of which {} are unused", path, info.sizeBytes / MIB,
                                 info.unusedBytes / MIB),
                     "the space is missing elsewhere; the database fills it again only as it grows",
                     fmt::format("vx db vacuum {}", NameOf(path)));
    }
}

void JudgeContent(const std::string& path, Findings& findings)
{
    std::list<std::string> problems;
    const DB_ADMIN_STATUS status = VxDB::CheckDB(path, problems);
    if (status == DB_ADMIN_STATUS::FAULTY) {
        findings.Add(
            "db.damaged",
            fmt::format("{}: {}", path, problems.empty() ? "cannot be read whole" : problems.front()),
            "statements fail or give wrong rows; recordings may be taken for orphans",
            fmt::format("stop the daemons, mv '{0}' '{0}.damaged', and restore a copy", path));
    } else if (status == DB_ADMIN_STATUS::OK && !problems.empty()) { // after an update of this software
        findings.Note(fmt::format("{}: {}", path, problems.front()));
    }
}

void Judge(const std::string& path, Findings& findings)
{
    JudgeWal(path, findings);
    VxDB::DBInfo info;
    std::string problem;
    switch (VxDB::GetDBInfo(path, info, &problem)) {
    case DB_ADMIN_STATUS::OK:
        JudgeUnused(path, info, findings);
        JudgeContent(path, findings);
        break;
    case DB_ADMIN_STATUS::FAULTY:
        findings.Add(
            "db.refused", fmt::format("{}: {}", path, problem),
            "nothing is read from it and nothing removed; what it should hold is missing everywhere",
            fmt::format(
                "restore a copy, or install the version of vx that wrote it; never delete it: rows of "
                "recordings are in it ({})",
                NameOf(path)));
        break;
    case DB_ADMIN_STATUS::UNREACHABLE:
        findings.Add("db.unreachable", fmt::format("{}: {}", path, problem), "every statement on it fails",
                     fmt::format("look who holds it (fuser '{0}') and who may read it (ls -l '{0}')", path));
        break;
    case DB_ADMIN_STATUS::ABSENT:
        break; // made when it is first used
    }
}

/// A write-ahead log whose database is gone holds transactions that are lost.
void FindOrphanLogs(Findings& findings)
{
    std::error_code none; // a folder that is not there has nothing in it
    for (const auto& entry : std::filesystem::directory_iterator(GetPackageRoot() + "/db", none)) {
        const std::string path = entry.path().string();
        if (path.ends_with("-wal") && !std::filesystem::exists(path.substr(0, path.size() - 4)) &&
            entry.file_size(none) > 0) {
            findings.Add("db.orphan-wal", fmt::format("{} has no database beside it", path),
                         "the database was moved or deleted without it: its last transactions are in here",
                         "put the database back beside it before anything opens it");
        }
    }
}

} // namespace

void CheckDatabases(Findings& findings)
{
    FindOrphanLogs(findings); // first: what looks at a database makes files beside it
    for (const std::string& path : VxDB::ListDatabases()) {
        Judge(path, findings);
    }
}
