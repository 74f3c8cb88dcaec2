// SPDX-License-Identifier: Apache-2.0
// package/src/rec/reccheck_internal.h - one comparison of rows and files.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "package/event.h"
#include "package/reccheck.h"
#include "recfiles_internal.h"

/// A database of recorded things.
struct RecDatabase {
    REC_KIND kind;
    int archTaskId;
    std::string path;
    std::string name; ///< for people: "event", "event_3"
};

/// The databases that were made.
std::vector<RecDatabase> ListRecDatabases();

/// Which paths rows name, as hashes: 8 bytes a row.
class NamedPaths {
public:
    void Add(const std::string& path) { m_hashes.push_back(std::hash<std::string>()(path)); }
    /// After the last Add(). Hashes that occur twice go to `twice`.
    void Sort(std::set<std::size_t>& twice);
    bool Has(const std::string& path) const;

private:
    std::vector<std::size_t> m_hashes;
};

/// Finds, tells and mends. One thread at a time.
class RecChecker {
public:
    RecChecker(bool repair, RecCheckCounts& counts, const std::function<void(const RecViolation&)>& tell)
        : m_repair(repair), m_counts(counts), m_tell(tell)
    {}

    /// @return 0; -1 (logged).
    [[nodiscard]] int Run();

private:
    /// What becomes of a violation; null: only a person can mend it.
    using Mend = std::function<bool()>;
    void Report(int rule, const std::string& object, const std::string& problem, const std::string& remedy,
                const Mend& mend);

    // Rows: reccheck.cpp.
    bool IsUsable(const RecDatabase& db);
    int CheckRows(const RecDatabase& db);
    void CheckRow(const RecDatabase& db, const Event& row);
    void CheckOpenRow(const std::string& object, const Event& row);
    int CheckCounters(const RecDatabase& db);
    int CheckBookmarks();
    int NameTwice(const std::set<std::size_t>& twice);

    // Files: reccheckfiles.cpp.
    int CheckFiles();
    int WalkFolder(int folderFd, const std::string& prefix);
    void CheckEntry(const struct stat& info, const std::string& path);
    void CheckStray(const std::string& path, const struct stat& info);

    bool m_repair;
    RecCheckCounts& m_counts;
    const std::function<void(const RecViolation&)>& m_tell;
    RecFiles m_files;
    NamedPaths m_named;
    std::vector<RecDatabase> m_databases;
    bool m_volumeIsOurs = true; ///< no database says that rec/ is somebody else's
};
