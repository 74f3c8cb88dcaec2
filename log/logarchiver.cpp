// SPDX-License-Identifier: Apache-2.0
// log/logarchiver.cpp - archiving a log: from its rows to one packed file.
#include "logarchiver_internal.h"

#include <unistd.h>

#include <exception>
#include <functional>
#include <list>

#include "archivename_internal.h"
#include "logfilter_internal.h"
#include "logpage_internal.h"
#include "logrot_internal.h"
#include "package/dbtables.h"
#include "package/fileutil.h"
#include "package/server.h"
#include "vxlogarchive.h"
#include "vxlogrotate.h"

namespace {

constexpr const char CATEGORY_IO_MODULE[] = "3"; ///< see section "vx_event_category" of the texts

int FailToCreateHtml(const std::string& dir) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to create html archive file in [%s].\n", dir.c_str());
    return -1;
}

int FailToCreateTxt(const std::string& dir) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to create txt archive file in [%s].\n", dir.c_str());
    return -1;
}

int FailFor(const std::string& dir, const std::exception& error) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to archive into [%s] [%s].\n", dir.c_str(), error.what());
    return -1;
}

/// Packs the written files. Those that cannot be packed are complete, so they stay, as the archive that there is.
int PackAndForget(ArchiveName& name, const std::list<std::string>& files)
{
    if (ArchiveAndDeleteLog(name.Path("tgz"), files) == 0) {
        return 0;
    }
    for (const std::string& file : files) {
        static_cast<void>(SyncPath(file)); // the best that can be done for them
    }
    name.KeepFiles();
    return -1;
}

/// Writes the rows of the event log, or of a log that reads like it, as they come.
class EventArchive {
public:
    /// @param title  of the page: its key in section "vx_log" of the texts
    EventArchive(const std::string& dir, const char* prefix, const char* title)
        : m_dir(dir), m_name(prefix), m_title(title)
    {}

    int Begin()
    {
        static_cast<void>(GetLangStrings("enu", m_strings)); // English is always there
        static_cast<void>(GetNdNameMap(m_servers));          // logged there; servers have numbers then
        if (m_name.Take(m_dir) != 0) {
            return FailToCreateHtml(m_dir);
        }
        m_html = m_name.Path("html");
        m_txt = m_name.Path("txt");
        return 0;
    }

    int Add(std::span<const VxLogEvent> events)
    {
        const LogPiece piece = m_count == 0 ? LogPiece::FIRST : LogPiece::NEXT;
        if ((piece == LogPiece::FIRST &&
             VxLogEventRot::ArchiveToHtmlUpperPart(m_html, m_strings, m_title) != 0) ||
            VxLogEventRot::ArchiveToHtmlWithLog(m_html, events, m_strings, m_servers, piece) != 0) {
            return FailToCreateHtml(m_dir);
        }
        if (VxLogEventRot::ArchiveToTxt(m_txt, events, m_strings, m_servers, piece) != 0) {
            return FailToCreateTxt(m_dir);
        }
        m_count += static_cast<int>(events.size());
        return 0;
    }

    int Finish()
    {
        if (VxLogEventRot::ArchiveToHtmlLowerPart(m_html) != 0) {
            return FailToCreateHtml(m_dir);
        }
        ReportArchiveFile(m_html, m_count);
        ReportArchiveFile(m_txt, m_count);
        return PackAndForget(m_name, {m_html, m_txt});
    }

    bool IsEmpty() const noexcept { return m_count == 0; }

private:
    std::string m_dir;
    ArchiveName m_name;
    const char* m_title;
    LangStrings m_strings;
    ServerNames m_servers;
    std::string m_html;
    std::string m_txt;
    int m_count = 0;
};

/// Writes the system log's rows as they come.
class SystemArchive {
public:
    SystemArchive(const std::string& dir, const char* log) : m_dir(dir), m_log(log), m_name("viglog") {}

    int Begin()
    {
        static_cast<void>(GetLangStrings("enu", m_strings)); // English is always there
        if (m_name.Take(m_dir) != 0) {
            return FailToCreateHtml(m_dir);
        }
        m_html = m_name.Path("html");
        m_txt = m_name.Path("txt");
        m_xlsx = m_name.Path("xlsx");
        m_pyxl = m_name.Path("pyxl");
        return 0;
    }

    int Add(std::span<const VxLogEntry> logs)
    {
        const LogPiece piece = m_count == 0 ? LogPiece::FIRST : LogPiece::NEXT;
        if (VxLogRot::ArchiveToHtml(m_html, logs, m_strings, piece) != 0) {
            return FailToCreateHtml(m_dir);
        }
        if (VxLogRot::ArchiveToTxt(m_txt, logs, m_strings, piece) != 0) {
            return FailToCreateTxt(m_dir);
        }
        if (m_hasSheet && VxLogRot::ArchiveToPyxlTxt(m_pyxl, logs, m_strings, piece) != 0) {
            DropSheet();
        }
        m_count += static_cast<int>(logs.size());
        return 0;
    }

    int Finish()
    {
        if (VxLogRot::ArchiveToHtmlEnd(m_html) != 0) {
            return FailToCreateHtml(m_dir);
        }
        if (m_hasSheet && VxLogRot::ArchiveToXlsx(m_pyxl, m_xlsx) != 0) {
            DropSheet();
        }
        VxRm(m_pyxl); // the spreadsheet has it all
        std::list<std::string> files{m_html, m_txt};
        if (m_hasSheet) {
            files.push_back(m_xlsx);
        }
        for (const std::string& file : files) {
            VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "[%s] creates log archive file [%s] of [%d] records.\n", m_log,
                          file.c_str(), m_count);
        }
        const int packed = PackAndForget(m_name, files);
        return m_hasSheet ? packed : -1;
    }

    bool IsEmpty() const noexcept { return m_count == 0; }

private:
    /// Goes on without the spreadsheet: it takes more room than page and text, and those hold every row as well.
    void DropSheet()
    {
        VX_LOG_ROTATE(LOG_LEVEL_ERR, "Archive To pyxl txt [%s] failed.\n", m_pyxl.c_str());
        m_hasSheet = false;
        VxRm(m_pyxl);
        VxRm(m_xlsx);
    }

    std::string m_dir;
    const char* m_log;
    ArchiveName m_name;
    LangStrings m_strings;
    std::string m_html;
    std::string m_txt;
    std::string m_xlsx;
    std::string m_pyxl;
    bool m_hasSheet = true;
    int m_count = 0;
};

/// The I/O modules' log as events: the module's number is the name, its two texts are the description.
int ListIOModuleLog(const LogEventFilterParam& filter, const VxLogEvent::Taker& take)
{
    return ReadRecords<VxLogEvent>(
        std::string("SELECT id,") + CATEGORY_IO_MODULE +
            " AS category,iomodule_id AS name,timestamp,0 AS server_id,"
            "event || iif(event = '' OR description = '', '', ': ') || description AS description FROM " +
            gszTableIOModuleLog + filter.GetWhereSqlStr() + OrderAndLimit(filter.limit, filter.offset),
        take);
}

/// The archive of what a filter means: nothing when there is nothing.
template <typename Archive, typename Filter, typename List>
int ArchiveRows(Archive& archive, Filter filter, List list, const char* nothing)
{
    bool hasRows = false;
    filter.limit = 1;
    if (list(filter, [&hasRows](auto) {
            hasRows = true;
            return 0;
        }) != 0) {
        return -1;
    }
    filter.limit = 0;
    if (hasRows &&
        (archive.Begin() != 0 || list(filter, [&archive](auto rows) { return archive.Add(rows); }) != 0)) {
        return -1;
    }
    if (archive.IsEmpty()) { // also when whoever was archiving before has meanwhile removed the rows
        VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "%s", nothing);
        return 0;
    }
    return archive.Finish();
}

} // namespace

int ArchiveEventLog(int timeUPB, const std::string& dir) noexcept
try {
    LogEventFilterParam filter;
    filter.before = timeUPB;
    EventArchive archive(dir, "vigeventlog", "event_log");
    return ArchiveRows(archive, filter, &VxLogEvent::GetEventList, "No event logs to archive.\n");
} catch (const std::exception& error) {
    return FailFor(dir, error);
}

int ArchiveIOModuleLog(int timeUPB, const std::string& dir) noexcept
try {
    LogEventFilterParam filter;
    filter.before = timeUPB;
    EventArchive archive(dir, "vigiomodulelog", "iomodule_log");
    return ArchiveRows(archive, filter, &ListIOModuleLog, "No I/O module logs to archive.\n");
} catch (const std::exception& error) {
    return FailFor(dir, error);
}

int ArchiveSystemLog(int timeUPB, const std::string& dir, const char* name) noexcept
try {
    LogFilterParam filter;
    filter.before = timeUPB;
    SystemArchive archive(dir, name);
    return ArchiveRows(archive, filter, &GetLogList, "No logs to archive.\n");
} catch (const std::exception& error) {
    return FailFor(dir, error);
}
