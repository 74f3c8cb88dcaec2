// SPDX-License-Identifier: Apache-2.0
// log/logspreadsheet.cpp - spreadsheets of the event log and of the system log.
#include <array>
#include <exception>
#include <fstream>
#include <vector>

#include "htmlescape.h"
#include "logpage_internal.h"
#include "logrot_internal.h"
#include "package/spreadsheet.h"
#include "package/timetext.h"

namespace {

std::string Plain(std::string_view text)
{
    std::string plain;
    AppendPlain(plain, text);
    return plain;
}

void AppendCells(std::string& out, std::initializer_list<std::string_view> cells)
{
    const char* separator = "";
    for (const std::string_view cell : cells) {
        out += separator;
        AppendLineText(out, cell);
        separator = "\t";
    }
    out += '\n';
}

std::vector<std::string> ReadCells(std::string_view line)
{
    std::vector<std::string> cells;
    for (std::size_t start = 0; start != line.npos;) {
        const std::size_t tab = line.find('\t', start);
        cells.push_back(Plain(ReadLineText(line.substr(start, tab - start))));
        start = tab == line.npos ? tab : tab + 1;
    }
    return cells;
}

int AddEvents(SpreadsheetWriter& sheet, std::span<const VxLogEvent> events, const LangStrings& strings,
              const ServerNames& servers)
{
    EventNames names(strings, servers);
    TimeText time;
    for (const VxLogEvent& event : events) {
        const std::array<std::string, 5> cells{Plain(names.Category(event.category)), Plain(event.name),
                                               std::string(time.Get(event.timestamp)),
                                               Plain(names.Server(event.serverId)), Plain(event.description)};
        if (sheet.AddRow(cells) != 0) {
            return -1;
        }
    }
    return sheet.Close();
}

} // namespace

int VxLogEventRot::ArchiveToXlsxWithLog(const std::string& path, std::span<const VxLogEvent> events,
                                        const LangStrings& langStrings, const ServerNames& servers) noexcept
try {
    const std::array<std::string, 5> titles{
        langStrings.Get("vx_common", "category"), langStrings.Get("vx_common", "common_name"),
        langStrings.Get("vx_log", "log_time"), langStrings.Get("vx_centralized", "from_server"),
        langStrings.Get("vx_common", "common_description")};
    SpreadsheetWriter sheet;
    if (sheet.Open(path, titles) != 0 || AddEvents(sheet, events, langStrings, servers) != 0) {
        return -1; // logged there
    }
    ReportArchiveFile(path, static_cast<int>(events.size()));
    return 0;
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%s].\n", path.c_str(), error.what());
    return -1;
}

int VxLogRot::ArchiveToPyxlTxt(const std::string& path, std::span<const VxLogEntry> logs,
                               const LangStrings& langStrings, LogPiece piece) noexcept
try {
    ArchiveFile file;
    if (file.Open(path, piece == LogPiece::NEXT) != 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to open log archive file [%s] [%m].\n", path.c_str());
        return -1;
    }
    if (piece != LogPiece::NEXT) {
        AppendCells(file.Text(),
                    {langStrings.Get("vx_log", "log_level"), langStrings.Get("vx_log", "log_time"),
                     langStrings.Get("vx_common", "common_user"), langStrings.Get("vx_log", "log_event")});
    }
    TimeText time;
    for (const VxLogEntry& log : logs) {
        AppendCells(file.Text(),
                    {log.LevelText(langStrings), time.Get(log.timestamp), log.user, log.Text(langStrings)});
        file.Flush(); // what fails fails again when it is closed
    }
    if (file.Close() != 0) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%m].\n", path.c_str());
        return -1;
    }
    return 0;
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%s].\n", path.c_str(), error.what());
    return -1;
}

int VxLogRot::ArchiveToXlsx(const std::string& pyxlTxtPath, const std::string& path) noexcept
try {
    std::ifstream file(pyxlTxtPath, std::ios::binary);
    std::string line;
    SpreadsheetWriter sheet;
    if (!std::getline(file, line)) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to open log archive file [%s] [%m].\n", pyxlTxtPath.c_str());
        return -1;
    }
    if (sheet.Open(path, ReadCells(line)) != 0) {
        return -1; // logged there
    }
    while (std::getline(file, line)) {
        if (sheet.AddRow(ReadCells(line)) != 0) {
            return -1; // logged there
        }
    }
    return file.bad() ? -1 : sheet.Close();
} catch (const std::exception& error) {
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%s].\n", path.c_str(), error.what());
    return -1;
}
