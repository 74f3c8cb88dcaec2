// SPDX-License-Identifier: Apache-2.0
// log/logpage.cpp - the frame of a page, and the words in it.
#include "logpage_internal.h"

#include <exception>

#include "htmlescape.h"
#include "logrot_internal.h"
#include "package/monoclock.h"
#include "package/server.h"
#include "package/timetext.h"

namespace {

// Rows are boxes of their own, so that no columns of a million rows have to be fitted to each other, and a browser
// lays them out a group at a time, when it comes into view. A group is what fits a block of rows, a thousand as a rule:
// a browser that watches a million rows each by itself does not get there either.
constexpr const char* STYLE = R"(
:root { color-scheme: light dark }
body { font: 14px/1.4 system-ui, sans-serif; margin: 1.5em }
table { display: block }
tbody { display: block; content-visibility: auto; contain-intrinsic-height: auto 2000em }
tr { display: grid; border-bottom: 1px solid #8884 }
th, td { padding: .3em .8em; text-align: left; white-space: pre-wrap; overflow-wrap: anywhere }
)";

const std::string LOCAL_HOST = "Local host";

int FailToOpen(const std::string& path) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_ERR, "Failed to open log archive file [%s].\n", path.c_str());
    return -1;
}

} // namespace

int WritePageStart(const std::string& path, const std::string& title, const char* columns) noexcept
try {
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>";
    AppendHtml(page, title);
    page.append("</title>\n<style>")
        .append(STYLE)
        .append("tr { grid-template-columns: ")
        .append(columns)
        .append(" }\n</style>\n</head>\n<body>\n<h1>");
    AppendHtml(page, title);
    page += "</h1>\n<p>" + Time2Str(static_cast<std::int64_t>(GetWallTimeSec()), "%Y/%m/%d %H:%M:%S %z") +
            "</p>\n<table>\n<tbody>\n";
    return WriteArchiveFile(path, false, page) == 0 ? 0 : FailToOpen(path);
} catch (const std::exception&) {
    return FailToOpen(path);
}

int WritePageEnd(const std::string& path) noexcept
{
    return WriteArchiveFile(path, true, "\n</tbody>\n</table>\n</body>\n</html>\n") == 0 ? 0
                                                                                         : FailToOpen(path);
}

void ReportArchiveFile(const std::string& path, int count) noexcept
{
    VX_LOG_ROTATE(LOG_LEVEL_NOTICE, "Creates log archive file [%s] of [%d] records.\n", path.c_str(), count);
}

const std::string& EventNames::Number(int number) const
{
    return m_numbers.emplace(number, std::to_string(number)).first->second;
}

const std::string& EventNames::Category(int category)
{
    const auto known = m_categories.find(category);
    if (known != m_categories.end()) {
        return known->second;
    }
    const std::string number = std::to_string(category);
    const std::string* const pText = m_strings.Find("vx_event_category", number);
    return m_categories.emplace(category, pText != nullptr ? *pText : number).first->second;
}

const std::string& EventNames::Server(int serverId) const
{
    if (serverId == LOCAL_SERVER_ID) {
        return LOCAL_HOST;
    }
    const auto found = m_servers.find(serverId);
    return found != m_servers.end() ? found->second : Number(serverId);
}
