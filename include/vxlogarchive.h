// SPDX-License-Identifier: Apache-2.0
// vxlogarchive.h - writing entries of the event log and of the system log out in forms that a person opens with
// what is at hand: a page, a text, a spreadsheet.
//
// All files are UTF-8. A page has every cell escaped and is valid HTML whatever the entries hold; in a text each
// entry is one line, with control characters, "\" and broken bytes as "\n", "\\", "\xE9".
// Every function returns 0, or -1 (logged). They may be called from any thread.
#pragma once

#include <map>
#include <span>
#include <string>

#include "package/export.h"
#include "package/langstrings.h"
#include "vxlogevent.h"
#include "vxloglist.h"

/// Which piece of all entries a call writes. Pieces are written in their order to the same path. On a page each is a
/// group of rows that a browser lays out at once: a thousand or so are a good piece.
enum class LogPiece {
    WHOLE, ///< all there are
    FIRST, ///< a new file begins
    NEXT,  ///< behind what is there
};

using ServerNames = std::map<int, std::string>;

/// The event log's archives.
namespace VxLogEventRot {

/// A page's beginning, in a new file, up to where rows of the table stand.
///
/// @param title  its key in section "vx_log" of the texts
[[nodiscard]] VX_API int ArchiveToHtmlUpperPart(const std::string& path, const LangStrings& langStrings,
                                                const char* title = "event_log") noexcept;
/// Rows of the table, those of a first piece below their titles, behind what is there.
[[nodiscard]] VX_API int ArchiveToHtmlWithLog(const std::string& path, std::span<const VxLogEvent> events,
                                              const LangStrings& langStrings, const ServerNames& servers,
                                              LogPiece piece = LogPiece::WHOLE) noexcept;
/// A page's end.
[[nodiscard]] VX_API int ArchiveToHtmlLowerPart(const std::string& path) noexcept;
[[nodiscard]] VX_API int ArchiveToTxt(const std::string& path, std::span<const VxLogEvent> events,
                                      const LangStrings& langStrings, const ServerNames& servers,
                                      LogPiece piece = LogPiece::WHOLE) noexcept;
/// A spreadsheet with the same columns as the page.
[[nodiscard]] VX_API int ArchiveToXlsxWithLog(const std::string& path, std::span<const VxLogEvent> events,
                                              const LangStrings& langStrings,
                                              const ServerNames& servers) noexcept;

} // namespace VxLogEventRot

/// The system log's archives.
namespace VxLogRot {

/// A page; one that is not WHOLE gets its end by ArchiveToHtmlEnd.
[[nodiscard]] VX_API int ArchiveToHtml(const std::string& path, std::span<const VxLogEntry> logs,
                                       const LangStrings& langStrings,
                                       LogPiece piece = LogPiece::WHOLE) noexcept;
[[nodiscard]] VX_API int ArchiveToHtmlEnd(const std::string& path) noexcept;
[[nodiscard]] VX_API int ArchiveToTxt(const std::string& path, std::span<const VxLogEntry> logs,
                                      const LangStrings& langStrings,
                                      LogPiece piece = LogPiece::WHOLE) noexcept;
/// A spreadsheet's rows as text: a line each, cells divided by tabs, the titles first.
[[nodiscard]] VX_API int ArchiveToPyxlTxt(const std::string& path, std::span<const VxLogEntry> logs,
                                          const LangStrings& langStrings,
                                          LogPiece piece = LogPiece::WHOLE) noexcept;
/// The spreadsheet of such a text.
[[nodiscard]] VX_API int ArchiveToXlsx(const std::string& pyxlTxtPath, const std::string& path) noexcept;

} // namespace VxLogRot
