// SPDX-License-Identifier: Apache-2.0
// tools/log_tail.cpp - vx log tail: the last lines of the log, and those that come.
#include "log_tail.h"

#include <CLI/CLI.hpp>
#include <json/value.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "fail.h"
#include "log_files.h"
#include "log_names.h"
#include "package/root.h"
#include "stop_signal.h"
#include "table.h"

namespace {

struct TailOptions {
    unsigned lines = 10;
    bool follow = false;
    bool json = false;
    std::vector<std::string> categories;
    std::string level;
};

/// One line taken apart; views into it.
struct LogFields {
    std::string_view time, pid, tid, category, level, place, function, text;
};

/// @return nothing for a line that is not the log writer's: the rest of one that a full disk cut.
std::optional<LogFields> SplitLine(std::string_view line)
{
    std::array<std::string_view, 6> columns;
    for (std::string_view& column : columns) {
        const auto blank = line.find(' ');
        if (blank == line.npos || blank == 0) {
            return std::nullopt;
        }
        column = line.substr(0, blank);
        line.remove_prefix(blank + 1);
    }
    const auto colon = line.find(": ");
    if (colon == line.npos) {
        return std::nullopt;
    }
    return LogFields{columns[0],
                     columns[1],
                     columns[2],
                     columns[3],
                     columns[4],
                     columns[5],
                     line.substr(0, colon),
                     line.substr(colon + 2)};
}

/// What the options let through, names already checked.
class LineFilter {
public:
    explicit LineFilter(const TailOptions& options)
    {
        for (const std::string& text : options.categories) {
            const std::optional<int> categ = ParseCategory(text);
            if (!categ) {
                Fail(EXIT_USAGE, "log tail",
                     "'{}' is no category; take a name from 'vx log show', or a number", text);
            }
            m_categories.push_back(CategoryName(*categ));
        }
        if (!options.level.empty()) {
            m_level = ParseLevel(options.level);
            if (!m_level) {
                Fail(EXIT_USAGE, "log tail",
                     "'{}' is no level; take 1..7, or err, warn, notice, info, debug, trace, all",
                     options.level);
            }
        }
    }

    [[nodiscard]] bool Lets(std::string_view line) const
    {
        if (m_categories.empty() && !m_level) {
            return true;
        }
        const std::optional<LogFields> fields = SplitLine(line);
        return fields && LetsCategory(fields->category) && LetsLevel(fields->level);
    }

private:
    [[nodiscard]] bool LetsCategory(std::string_view category) const
    {
        return m_categories.empty() ||
               std::find(m_categories.begin(), m_categories.end(), category) != m_categories.end();
    }
    [[nodiscard]] bool LetsLevel(std::string_view level) const
    {
        const std::optional<int> number = m_level ? ParseLevel(std::string(level)) : std::nullopt;
        return !m_level || (number && *number <= *m_level);
    }

    std::vector<std::string> m_categories;
    std::optional<int> m_level;
};

void PrintLine(std::string_view line, bool json)
{
    if (!json) {
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fputc('\n', stdout);
        return;
    }
    Json::Value out;
    if (const std::optional<LogFields> fields = SplitLine(line)) {
        out["time"] = std::string(fields->time);
        out["pid"] = std::atoi(std::string(fields->pid).c_str());
        out["tid"] = std::atoi(std::string(fields->tid).c_str());
        out["category"] = std::string(fields->category);
        out["level"] = std::string(fields->level);
        out["place"] = std::string(fields->place);
        out["function"] = std::string(fields->function);
        out["text"] = std::string(fields->text);
    } else {
        out["text"] = std::string(line);
    }
    PrintJsonLine(out);
}

bool PrintLast(const TailOptions& options, const LineFilter& filter, const std::string& path,
               const LogPosition* before)
{
    std::vector<std::string> last;
    const bool found = ReadLogBackwards(path, before, [&](std::string_view line) {
        if (last.size() < options.lines && filter.Lets(line)) {
            last.emplace_back(line);
        }
        return last.size() < options.lines;
    });
    for (auto line = last.rbegin(); line != last.rend(); ++line) {
        PrintLine(*line, options.json);
    }
    return found;
}

void Follow(LogFollower& follower, const TailOptions& options, const LineFilter& filter,
            const StopSignal& stop)
{
    constexpr int LOOK_ANYWAY_MS = 500; // the folder may have been made anew, which no watch tells
    while (!stop.Stopped()) {
        const bool complete = follower.ReadNew([&](std::string_view line) {
            if (filter.Lets(line)) {
                PrintLine(line, options.json);
            }
            return true;
        });
        if (!complete) {
            fmt::print(
                stderr,
                "vx log tail: note: the log was rotated faster than it could be read; lines are missing\n");
        }
        if (std::fflush(stdout) != 0) {
            return; // main says so
        }
        std::array<pollfd, 2> readable{{{stop.Fd(), POLLIN, 0}, {follower.WatchFd(), POLLIN, 0}}};
        ::poll(readable.data(), readable.size(), LOOK_ANYWAY_MS);
        follower.ClearWatch();
    }
}

/// What hinders a process of this user from writing the log; 0 if nothing does. A log that is not there is made,
/// with its folders.
int WhyUnwritable(const std::string& path)
{
    std::string place = path;
    while (::access(place.c_str(), W_OK) != 0) {
        if (errno != ENOENT || place.rfind('/') == 0 || place.rfind('/') == place.npos) {
            return errno;
        }
        place.resize(place.rfind('/'));
    }
    struct stat info {};
    struct statvfs disk {};
    if (::stat(place.c_str(), &info) == 0 && S_ISDIR(info.st_mode) != (place != path)) {
        return place == path ? EISDIR : ENOTDIR;
    }
    return ::statvfs(place.c_str(), &disk) == 0 && disk.f_bavail == 0 ? ENOSPC : 0;
}

/// Says why no lines come, if that can be seen from here. Who may only read is nothing to tell: the processes
/// that write may be another user's.
void NoteIfUnwritable(const std::string& path, bool exists)
{
    const int error = WhyUnwritable(path);
    if (error != 0 && !(exists && error == EACCES)) {
        fmt::print(stderr,
                   "vx log tail: note: {} cannot be written: {}; lines go to the standard error of their "
                   "processes, or are counted and told later\n",
                   path, std::strerror(error));
    }
}

void Tail(const TailOptions& options)
{
    const LineFilter filter(options);
    const std::string path = GetPackageRoot() + "/log/vx.log";
    const int unreadable = ::access(path.c_str(), R_OK) == 0 ? 0 : errno;
    NoteIfUnwritable(path, unreadable == 0);
    if (!options.follow) {
        if (!PrintLast(options, filter, path, nullptr)) {
            if (unreadable == EACCES) {
                Fail(EXIT_UNREACHABLE, "log tail", "{} may not be read by this user; run as the recorder's",
                     path);
            }
            Fail(EXIT_UNREACHABLE, "log tail",
                 "there is no log at {}; set VX_ROOT to the recorder's folder, or wait with -f", path);
        }
        return;
    }
    const StopSignal stop;
    LogFollower follower(path);
    if (follower.Start()) {
        PrintLast(options, filter, path, &*follower.Start());
    }
    Follow(follower, options, filter, stop);
}

} // namespace

void AddLogTail(CLI::App& log)
{
    auto options = std::make_shared<TailOptions>();
    CLI::App* const verb = log.add_subcommand("tail", "The last lines of the log");
    verb->add_option("-n,--lines", options->lines, "How many lines")->capture_default_str();
    verb->add_flag("-f,--follow", options->follow, "Go on with the lines that come, also through rotation");
    verb->add_option("-c,--category", options->categories, "Only this category; may be given again")
        ->allow_extra_args(false);
    verb->add_option("-l,--level", options->level, "Only this level and more severe ones");
    verb->add_flag("--json", options->json, "One JSON document a line");
    verb->callback([options] { Tail(*options); });
}
