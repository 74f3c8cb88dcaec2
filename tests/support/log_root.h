// SPDX-License-Identifier: Apache-2.0
// tests/support/log_root.h - a package root with a log and a configuration of the test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "package/dbglog.h"
#include "support/temp_root.h"

/// The whole lines of a file; none if it is not there.
inline std::vector<std::string> LinesOf(const std::filesystem::path& path)
{
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// An empty root that this process logs into, without a configuration until one is made.
class LogRoot {
public:
    explicit LogRoot(const char* maxBytes = "", const char* keep = "")
    {
        ::setenv("VX_LOG_MAX_BYTES", maxBytes, 1);
        ::setenv("VX_LOG_KEEP", keep, 1);
        ::unsetenv("VX_LOG_STDERR");
        g_pDbgLogCfg = nullptr;
        ReopenDbgLog();
    }
    ~LogRoot()
    {
        ReopenDbgLog(); // writes what is counted while its folder is still there
        g_pDbgLogCfg = nullptr;
    }
    LogRoot(const LogRoot&) = delete;
    LogRoot& operator=(const LogRoot&) = delete;

    std::filesystem::path LogPath() const { return m_root.Path() / "log" / "vx.log"; }
    std::filesystem::path CfgPath() const { return m_root.Path() / "run" / "dbglog.cfg"; }

    /// The lines so far, with what was still counted.
    std::vector<std::string> Lines() const
    {
        ReopenDbgLog();
        return LinesOf(LogPath());
    }

private:
    TempRoot m_root;
};
