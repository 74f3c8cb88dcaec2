// SPDX-License-Identifier: Apache-2.0
// tests/log/log_fixture.h - a root whose event log or system log is archived, and what the archives hold.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "package/exechelperd.h"
#include "package/logrotatesettings.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/sql.h"
#include "support/temp_root.h"

/// Runs a statement on the logs. @return its rows, as Sql() gives them
inline std::string ExecuteOnLogs(const std::string& sql)
{
    return Sql(sql, VxDB::DB_LOG);
}

/// Rows 1..count with times 1..count in a log; `values` are further columns of each.
inline void FillLog(const std::string& table, int count, const std::string& columns = "",
                    const std::string& values = "")
{
    ExecuteOnLogs("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i < " +
                  std::to_string(count) + ") INSERT INTO " + table + " (timestamp" + columns + ") SELECT i" +
                  values + " FROM n;");
}

class LogFixture : public ::testing::Test {
protected:
    static constexpr int NOW = 1'800'000'000; // 2027-01-15 08:00:00 UTC

    LogFixture()
    {
        g_fakeWallSec = NOW;
        ::setenv("TZ", "UTC", 1);
    }
    ~LogFixture() override { ::unsetenv("TZ"); }

    static VxLogRotateSettings Settings(int days, int sizeLimitMB = 0, int countLimit = 0)
    {
        VxLogRotateSettings settings;
        settings.enabled = true;
        settings.days = days;
        settings.sizeLimitEnabled = sizeLimitMB > 0;
        settings.sizeLimitMB = sizeLimitMB > 0 ? sizeLimitMB : 1;
        settings.countLimitEnabled = countLimit > 0;
        settings.countLimit = countLimit > 0 ? countLimit : 1;
        return settings;
    }
    static void Keep(VX_ROTATED_LOG log, const VxLogRotateSettings& settings)
    {
        ASSERT_EQ(settings.Save(log), 0);
    }

    std::string ArchiveDir() const { return (m_root.Path() / "archive").string(); }

    TempRoot m_root;
    LogCapture m_log;
};

/// The names in a folder, in order; hidden ones too.
inline std::vector<std::string> NamesIn(const std::filesystem::path& dir)
{
    std::vector<std::string> names;
    std::error_code ignored; // a folder that is not there has none
    for (const auto& entry : std::filesystem::directory_iterator(dir, ignored)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

/// The lines of the text in an archive; a failure when the archive is not whole.
inline std::vector<std::string> LinesOfArchive(const std::filesystem::path& tgz)
{
    std::string text;
    EXPECT_EQ(ExecHelperdApi::ReadTar(
                  tgz.string(), [](const ArchiveEntry& entry) { return entry.name.ends_with(".txt"); },
                  [&text](std::string_view bytes) {
                      text += bytes;
                      return true;
                  }),
              0)
        << tgz;
    std::vector<std::string> lines;
    for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != text.npos; start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}
