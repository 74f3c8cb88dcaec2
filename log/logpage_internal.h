// SPDX-License-Identifier: Apache-2.0
// log/logpage_internal.h - what pages, texts and spreadsheets of logs share. Never installed.
#pragma once

#include <map>
#include <string>

#include "package/langstrings.h"
#include "vxlogarchive.h"

/// A page up to its table, in a new file, and from the table's end on. @return 0; -1 (logged).
///
/// @param columns  their widths, as CSS has them
[[nodiscard]] int WritePageStart(const std::string& path, const std::string& title,
                                 const char* columns) noexcept;
[[nodiscard]] int WritePageEnd(const std::string& path) noexcept;

/// Divides one group of a page's rows from the next.
inline constexpr const char* PAGE_GROUP = "\n</tbody>\n<tbody>\n";

/// Says how many entries a file holds.
void ReportArchiveFile(const std::string& path, int count) noexcept;

/// The words that stand for numbers of an event. Keeps references: the strings and servers outlive it.
class EventNames {
public:
    EventNames(const LangStrings& strings, const ServerNames& servers)
        : m_strings(strings), m_servers(servers)
    {}

    /// The category in words; its number when it has none.
    const std::string& Category(int category);
    /// "Local host" for the box itself; the number of a server that is not known.
    const std::string& Server(int serverId) const;

private:
    const std::string& Number(int number) const;

    const LangStrings& m_strings;
    const ServerNames& m_servers;
    std::map<int, std::string> m_categories; ///< those that were looked up
    mutable std::map<int, std::string> m_numbers;
};
