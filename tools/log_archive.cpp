// SPDX-License-Identifier: Apache-2.0
// tools/log_archive.cpp - vx log archive ls and show: what was archived, and reading it.
#include <CLI/CLI.hpp>
#include <json/value.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>

#include "fail.h"
#include "htmlescape.h"
#include "log_rotate.h"
#include "package/exechelperd.h"
#include "package/timetext.h"
#include "reach.h"
#include "table.h"

namespace {

namespace fs = std::filesystem;

struct Options {
    std::string dir;
    std::string name;
    std::string format = "txt";
    bool json = false;
};

struct Archive {
    fs::path path;
    std::uintmax_t sizeBytes = 0;
    std::time_t modified = 0;
};

/// The folders that archives go to.
std::set<std::string> Folders(const std::string& verb, const Options& options)
{
    if (!options.dir.empty()) {
        return {options.dir};
    }
    ReachDatabases(verb);
    std::set<std::string> folders;
    for (const VX_ROTATED_LOG log : {VX_ROTATED_LOG_SYSTEM, VX_ROTATED_LOG_EVENT, VX_ROTATED_LOG_IO_MODULE}) {
        VxLogRotateSettings settings;
        static_cast<void>(settings.Load(log)); // else those of a fresh one, which name the package's folder
        folders.insert(settings.GetArchiveDir());
    }
    return folders;
}

bool IsArchive(const fs::path& path)
{
    const std::string name = path.filename().string();
    return name.ends_with(".tgz") && (name.starts_with("viglog_") || name.starts_with("vigeventlog_") ||
                                      name.starts_with("vigiomodulelog_"));
}

std::vector<Archive> Find(const std::string& verb, const Options& options)
{
    std::vector<Archive> found;
    for (const std::string& folder : Folders(verb, options)) {
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
            if (IsArchive(entries->path())) {
                std::error_code ignored; // it may have been removed meanwhile
                const auto modified = entries->last_write_time(ignored);
                found.push_back(
                    {entries->path(), entries->file_size(ignored),
                     std::chrono::system_clock::to_time_t(std::chrono::file_clock::to_sys(modified))});
            }
        }
        if (error) {
            Fail(EXIT_UNREACHABLE, verb, "{}: {}; check that its volume is mounted", folder, error.message());
        }
    }
    std::ranges::sort(found, {}, &Archive::path);
    return found;
}

void List(const Options& options)
{
    Json::Value list(Json::arrayValue);
    Table table({"ARCHIVE", ">BYTES", "WRITTEN", "FOLDER"});
    for (const Archive& archive : Find("log archive ls", options)) {
        Json::Value& json = list.append(Json::Value(Json::objectValue));
        json["path"] = archive.path.string();
        json["bytes"] = static_cast<Json::UInt64>(archive.sizeBytes);
        json["written"] = static_cast<Json::Int64>(archive.modified);
        table.AddRow({archive.path.filename().string(), std::to_string(archive.sizeBytes),
                      Time2Str(archive.modified, "%Y-%m-%d %H:%M:%S"), archive.path.parent_path().string()});
    }
    if (options.json) {
        PrintJson(list);
    } else {
        table.Print();
    }
}

fs::path PathOf(const Options& options)
{
    if (options.name.find('/') != options.name.npos) {
        return options.name;
    }
    for (const Archive& archive : Find("log archive show", options)) {
        if (archive.path.filename() == options.name || archive.path.stem() == options.name) {
            return archive.path;
        }
    }
    Fail(EXIT_FOUND, "log archive show", "no archive [{}]; see vx log archive ls", options.name);
}

/// Prints the lines of a text as JSON, a line each.
class LinePrinter {
public:
    void Add(std::string_view bytes)
    {
        m_rest += bytes;
        std::size_t start = 0;
        for (std::size_t end = 0; (end = m_rest.find('\n', start)) != m_rest.npos; start = end + 1) {
            Print(std::string_view(m_rest).substr(start, end - start));
        }
        m_rest.erase(0, start);
    }

private:
    static void Print(std::string_view line)
    {
        constexpr const char* NAMES[] = {"time", "kind", "from", "text"};
        Json::Value json(Json::objectValue);
        for (std::size_t i = 0; i < std::size(NAMES); ++i) {
            std::string cell = ReadLineText(line.substr(0, line.find('\t')));
            if (i == 1 || i == 2) {
                cell.erase(cell.find_last_not_of(' ') + 1); // what fills the column up
            }
            json[NAMES[i]] = cell;
            line.remove_prefix(
                std::min(line.size(), line.find('\t') == line.npos ? line.size() : line.find('\t') + 1));
        }
        PrintJsonLine(json);
    }

    std::string m_rest;
};

void Show(const Options& options)
{
    const fs::path path = PathOf(options);
    const std::string ending = "." + options.format;
    LinePrinter printer;
    bool isFound = false;
    const int result = ExecHelperdApi::ReadTar(
        path.string(),
        [&](const ArchiveEntry& entry) {
            const bool isWanted = entry.name.ends_with(ending);
            isFound = isFound || isWanted;
            return isWanted;
        },
        [&](std::string_view bytes) {
            if (options.json) {
                printer.Add(bytes);
                return true;
            }
            return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
        });
    if (result != 0) {
        Fail(EXIT_UNREACHABLE, "log archive show", "{} cannot be read; vx log tail says why", path.string());
    }
    if (!isFound) {
        Fail(EXIT_FOUND, "log archive show", "{} has no {} file", path.string(), ending);
    }
}

} // namespace

void AddLogArchive(CLI::App& log)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const verb = log.add_subcommand("archive", "What was archived");
    verb->require_subcommand(1);
    CLI::App* const list = verb->add_subcommand(
        "ls", "List the archives of the system log, the event log and the I/O module log");
    list->add_option("--dir", options->dir, "Another folder than that of the settings");
    list->add_flag("--json", options->json, "Print JSON");
    list->callback([options] { List(*options); });
    CLI::App* const show = verb->add_subcommand("show", "Print what an archive holds");
    show->add_option("ARCHIVE", options->name, "Its name as vx log archive ls prints it, or a path")
        ->required();
    show->add_option("--dir", options->dir, "Another folder than that of the settings");
    CLI::Option* const format = show->add_option("--format", options->format, "Which of its files")
                                    ->check(CLI::IsMember({"txt", "html", "xlsx"}))
                                    ->capture_default_str();
    show->add_flag("--json", options->json, "Print JSON, an entry a line")->excludes(format);
    show->callback([options] { Show(*options); });
}
