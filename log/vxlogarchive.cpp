// SPDX-License-Identifier: Apache-2.0
// log/vxlogarchive.cpp - pages and texts of the event log and of the system log.
#include "vxlogarchive.h"

#include <exception>
#include <initializer_list>

#include "htmlescape.h"
#include "logpage_internal.h"
#include "logrot_internal.h"
#include "package/timetext.h"

namespace {

/// Appends "%-13s".
void AppendPadded(std::string& out, std::string_view text)
{
    constexpr std::size_t WIDTH = 13;
    const std::size_t start = out.size();
    AppendLineText(out, text);
    const std::size_t size = out.size() - start;
    out.append(size < WIDTH ? WIDTH - size : 0, ' ');
}

/// Opens the file of a piece; a text's first piece begins it anew.
int OpenPiece(ArchiveFile& file, const std::string& path, bool isAppend) noexcept
{
    if (file.Open(path, isAppend) == 0) {
        return 0;
    }
    if (isAppend) {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to open log archive file [%s].\n", path.c_str());
    } else {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to open log archive file [%s] [%m].\n", path.c_str());
    }
    return -1;
}

int FailToWrite(const std::string& path) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%m].\n", path.c_str());
    return -1;
}

int FailFor(const std::string& path, const std::exception& error) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to write log archive file [%s] [%s].\n", path.c_str(), error.what());
    return -1;
}

/// Closes the file; a whole archive is reported.
int Finish(ArchiveFile& file, const std::string& path, LogPiece piece, std::size_t count) noexcept
{
    if (file.Close() != 0) {
        return FailToWrite(path);
    }
    if (piece == LogPiece::WHOLE) {
        ReportArchiveFile(path, static_cast<int>(count));
    }
    return 0;
}

void AppendTitleRow(std::string& out, std::initializer_list<std::string_view> titles)
{
    const char* lead = "<tr>\n<th>";
    for (const std::string_view title : titles) {
        out += lead;
        AppendHtml(out, title);
        lead = "</th>\n<th>";
    }
    out += "</th>\n</tr>\n";
}

void AppendEventTitles(std::string& out, const LangStrings& strings)
{
    AppendTitleRow(out, {strings.Get("vx_common", "category"), strings.Get("vx_common", "common_name"),
                         strings.Get("vx_log", "log_time"), strings.Get("vx_centralized", "from_server"),
                         strings.Get("vx_common", "common_description")});
}

/// Turns events into rows and lines.
class EventFormatter {
public:
    EventFormatter(const LangStrings& strings, const ServerNames& servers) : m_names(strings, servers) {}

    void AppendRow(std::string& out, const VxLogEvent& event)
    {
        out += "<tr>\n<td>";
        AppendHtml(out, m_names.Category(event.category));
        out += "</td>\n<td>";
        AppendHtml(out, event.name);
        out += "</td>\n<td>";
        out += m_time.Get(event.timestamp);
        out += "</td>\n<td>";
        AppendHtml(out, m_names.Server(event.serverId));
        out += "</td>\n<td>";
        AppendHtml(out, event.description);
        out += "</td>\n</tr>";
    }

    /// "%s\t%-13s\t%-13s\t%s\n" of time, category, server, and name and description.
    void AppendLine(std::string& out, const VxLogEvent& event)
    {
        out += m_time.Get(event.timestamp);
        out += '\t';
        AppendPadded(out, m_names.Category(event.category));
        out += '\t';
        AppendPadded(out, m_names.Server(event.serverId));
        out += '\t';
        AppendLineText(out, event.name);
        out += ": ";
        AppendLineText(out, event.description);
        out += '\n';
    }

private:
    EventNames m_names;
    TimeText m_time;
};

} // namespace

int VxLogEventRot::ArchiveToHtmlUpperPart(const std::string& path, const LangStrings& langStrings,
                                          const char* title) noexcept
try {
    return WritePageStart(path, langStrings.Get("vx_log", title), "9em 14em 12em 12em 1fr");
} catch (const std::exception& error) {
    return FailFor(path, error);
}

int VxLogEventRot::ArchiveToHtmlWithLog(const std::string& path, std::span<const VxLogEvent> events,
                                        const LangStrings& langStrings, const ServerNames& servers,
                                        LogPiece piece) noexcept
try {
    ArchiveFile file;
    if (OpenPiece(file, path, true) != 0) {
        return -1;
    }
    if (piece != LogPiece::NEXT) {
        AppendEventTitles(file.Text(), langStrings);
    } else {
        file.Text() += PAGE_GROUP;
    }
    EventFormatter formatter(langStrings, servers);
    for (const VxLogEvent& event : events) {
        formatter.AppendRow(file.Text(), event);
        if (file.Flush() != 0) {
            return FailToWrite(path);
        }
    }
    return Finish(file, path, piece, events.size());
} catch (const std::exception& error) {
    return FailFor(path, error);
}

int VxLogEventRot::ArchiveToHtmlLowerPart(const std::string& path) noexcept
{
    return WritePageEnd(path);
}

int VxLogEventRot::ArchiveToTxt(const std::string& path, std::span<const VxLogEvent> events,
                                const LangStrings& langStrings, const ServerNames& servers,
                                LogPiece piece) noexcept
try {
    ArchiveFile file;
    if (OpenPiece(file, path, piece == LogPiece::NEXT) != 0) {
        return -1;
    }
    EventFormatter formatter(langStrings, servers);
    for (const VxLogEvent& event : events) {
        formatter.AppendLine(file.Text(), event);
        if (file.Flush() != 0) {
            return FailToWrite(path);
        }
    }
    return Finish(file, path, piece, events.size());
} catch (const std::exception& error) {
    return FailFor(path, error);
}

int VxLogRot::ArchiveToHtml(const std::string& path, std::span<const VxLogEntry> logs,
                            const LangStrings& langStrings, LogPiece piece) noexcept
try {
    if (piece != LogPiece::NEXT &&
        WritePageStart(path, langStrings.Get("vx_log", "system_log"), "9em 12em 12em 1fr") != 0) {
        return -1;
    }
    ArchiveFile file;
    if (OpenPiece(file, path, true) != 0) {
        return -1;
    }
    if (piece != LogPiece::NEXT) {
        AppendTitleRow(file.Text(),
                       {langStrings.Get("vx_log", "log_level"), langStrings.Get("vx_log", "log_time"),
                        langStrings.Get("vx_common", "common_user"), langStrings.Get("vx_log", "log_event")});
    } else {
        file.Text() += PAGE_GROUP;
    }
    TimeText time;
    for (const VxLogEntry& log : logs) {
        std::string& out = file.Text();
        out += "<tr>\n<td>";
        AppendHtml(out, log.LevelText(langStrings));
        out += "</td>\n<td>";
        out += time.Get(log.timestamp);
        out += "</td>\n<td>";
        AppendHtml(out, log.user);
        out += "</td>\n<td>";
        AppendHtml(out, log.Text(langStrings));
        out += "</td>\n</tr>";
        if (file.Flush() != 0) {
            return FailToWrite(path);
        }
    }
    if (Finish(file, path, piece, logs.size()) != 0) {
        return -1;
    }
    return piece == LogPiece::WHOLE ? WritePageEnd(path) : 0;
} catch (const std::exception& error) {
    return FailFor(path, error);
}

int VxLogRot::ArchiveToHtmlEnd(const std::string& path) noexcept
{
    return WritePageEnd(path);
}

int VxLogRot::ArchiveToTxt(const std::string& path, std::span<const VxLogEntry> logs,
                           const LangStrings& langStrings, LogPiece piece) noexcept
try {
    ArchiveFile file;
    if (OpenPiece(file, path, piece == LogPiece::NEXT) != 0) {
        return -1;
    }
    TimeText time;
    for (const VxLogEntry& log : logs) {
        std::string& out = file.Text();
        out += time.Get(log.timestamp);
        out += '\t';
        AppendPadded(out, log.LevelText(langStrings));
        out += '\t';
        AppendPadded(out, log.user);
        out += '\t';
        AppendLineText(out, log.Text(langStrings));
        out += '\n';
        if (file.Flush() != 0) {
            return FailToWrite(path);
        }
    }
    return Finish(file, path, piece, logs.size());
} catch (const std::exception& error) {
    return FailFor(path, error);
}
