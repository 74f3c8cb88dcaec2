// SPDX-License-Identifier: Apache-2.0
// bench/log_archive_bench.cpp - archiving a million rows of the event log, and deleting a fifth of them, beside
// what the database's own shell, the archiver and the bare statement take.
#include <archive.h>
#include <archive_entry.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include "package/db.h"
#include "package/exechelperd.h"
#include "package/logrotatesettings.h"
#include "package/monoclock.h"
#include "package/root.h"
#include "vxlogarchive.h"
#include "vxlogrotate.h"

namespace {

constexpr int ROW_COUNT = 1'000'000;
constexpr int DELETED = 200'000;

void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "log_archive_bench: %s\n", what);
        std::abort();
    }
}

void Execute(const std::string& sql)
{
    Require(VxDB::Execute(VxDB::DB_LOG, sql) == 0, "a statement failed");
}

/// Rows `first`..`last`, one a second.
void Fill(int first, int last)
{
    Execute(
        "WITH RECURSIVE n(i) AS (SELECT " + std::to_string(first) +
        " UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(last) +
        ") INSERT INTO log_event (timestamp, category, server_id, name, description) SELECT 1700000000 + i, "
        "i % 7, i % 3, 'Camera ' || (i % 50), 'Connection to [cam-' || (i % 50) || '] was lost & found <' || "
        "i "
        "|| '> after ' || (i % 1000) || ' seconds at the gate' FROM n;");
}

/// A million rows in the event log, made once.
void Prepare()
{
    static const bool isMade = [] {
        Fill(1, ROW_COUNT);
        Require(::system("sqlite3 -version >/dev/null") == 0, "sqlite3 is not installed");
        return true;
    }();
    benchmark::DoNotOptimize(isMade);
}

std::string Folder()
{
    return GetPackageDir(PackageDir::ARCHIVE);
}

constexpr const char* SELECT = "SELECT category,name,timestamp,server_id,description FROM log_event "
                               "WHERE timestamp < 1800000000 ORDER BY timestamp, id";

void BM_LogWrite_Sqlite3(benchmark::State& state)
{
    Prepare();
    const std::string page = Folder() + "/rival.html";
    const std::string command =
        "sqlite3 -html " + VxDB::GetDBPath(VxDB::DB_LOG) + " '" + SELECT + "' > " + page;
    for (auto _ : state) {
        Require(std::system(command.c_str()) == 0, "sqlite3 failed");
    }
    std::filesystem::remove(page);
}

/// Page and text, block by block as the rotater writes them.
void WriteFiles(const std::string& html, const std::string& txt)
{
    LangStrings strings;
    static_cast<void>(GetLangStrings("enu", strings)); // English is built in
    const ServerNames servers{{1, "Annexe"}};
    LogPiece piece = LogPiece::FIRST;
    LogEventFilterParam filter;
    filter.before = 1'800'000'000;
    bool isDone = VxLogEventRot::ArchiveToHtmlUpperPart(html, strings) == 0;
    isDone =
        isDone && VxLogEvent::GetEventList(filter, [&](std::span<const VxLogEvent> events) {
                      const bool isWritten =
                          VxLogEventRot::ArchiveToHtmlWithLog(html, events, strings, servers, piece) == 0 &&
                          VxLogEventRot::ArchiveToTxt(txt, events, strings, servers, piece) == 0;
                      piece = LogPiece::NEXT;
                      return isWritten ? 0 : -1;
                  }) == 0;
    Require(isDone && VxLogEventRot::ArchiveToHtmlLowerPart(html) == 0, "writing failed");
}

void BM_LogWrite_Ours(benchmark::State& state)
{
    Prepare();
    const std::string html = Folder() + "/ours.html";
    const std::string txt = Folder() + "/ours.txt";
    for (auto _ : state) {
        WriteFiles(html, txt);
    }
    std::filesystem::remove(html);
    std::filesystem::remove(txt);
}
BENCHMARK(BM_LogWrite_Sqlite3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogWrite_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Peak of a child that archives; the child is this process without its rows.
void BM_LogArchive_Ours(benchmark::State& state)
{
    Prepare();
    long peakKiB = 0;
    for (auto _ : state) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::_exit(VxLogEventRotater().Archive(1'800'000'000, Folder()) == 0 ? 0 : 1);
        }
        int status = 0;
        rusage usage{};
        ::wait4(pid, &status, 0, &usage);
        Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "archiving failed");
        peakKiB = usage.ru_maxrss;
    }
    state.counters["rss_mib"] = static_cast<double>(peakKiB) / 1024;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
        if (entry.path().filename().string().starts_with("vigeventlog_")) {
            std::filesystem::remove(entry.path());
        }
    }
}
BENCHMARK(BM_LogArchive_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The files to be packed, made once.
std::list<std::string> PackedFiles()
{
    static const std::list<std::string> files = [] {
        Prepare();
        const std::string html = Folder() + "/packed.html";
        const std::string txt = Folder() + "/packed.txt";
        WriteFiles(html, txt);
        return std::list<std::string>{html, txt};
    }();
    return files;
}

void PackBare(const std::string& path, const std::list<std::string>& files)
{
    archive* const pArchive = archive_write_new();
    archive_write_set_format_pax_restricted(pArchive);
    archive_write_add_filter_gzip(pArchive);
    Require(archive_write_open_filename(pArchive, path.c_str()) == ARCHIVE_OK, "no archive");
    std::vector<char> block(64 * 1024);
    for (const std::string& file : files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat info {};
        ::fstat(fd, &info);
        archive_entry* const pEntry = archive_entry_new();
        archive_entry_set_pathname(pEntry, std::filesystem::path(file).filename().c_str());
        archive_entry_set_size(pEntry, info.st_size);
        archive_entry_set_filetype(pEntry, AE_IFREG);
        archive_entry_set_perm(pEntry, 0640);
        archive_write_header(pArchive, pEntry);
        ssize_t got = 0;
        while ((got = ::read(fd, block.data(), block.size())) > 0) {
            archive_write_data(pArchive, block.data(), static_cast<std::size_t>(got));
        }
        archive_entry_free(pEntry);
        ::close(fd);
    }
    archive_write_free(pArchive);
}

void BM_LogPack_Libarchive(benchmark::State& state)
{
    const std::list<std::string> files = PackedFiles();
    const std::string path = Folder() + "/bare.tgz";
    for (auto _ : state) {
        PackBare(path, files);
    }
    std::filesystem::remove(path);
}

void BM_LogPack_Ours(benchmark::State& state)
{
    const std::list<std::string> files = PackedFiles();
    const std::string path = Folder() + "/ours.tgz";
    for (auto _ : state) {
        Require(ExecHelperdApi::Tar(path, files) == 0, "packing failed");
        state.PauseTiming();
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LogPack_Libarchive)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogPack_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Puts back what was deleted, and the write-ahead log into the database.
void Refill()
{
    Fill(1, DELETED);
    Execute("PRAGMA wal_checkpoint(TRUNCATE);");
}

/// The statements through the database's own calls, rows thrown away.
void DeleteBare(benchmark::State& state, const std::string& sql)
{
    Prepare();
    sqlite3* pDb = nullptr;
    sqlite3_open(VxDB::GetDBPath(VxDB::DB_LOG).c_str(), &pDb);
    sqlite3_exec(pDb, "PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON", nullptr, nullptr, nullptr);
    for (auto _ : state) {
        Require(sqlite3_exec(pDb, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, "deleting failed");
        state.PauseTiming();
        Require(sqlite3_changes(pDb) == DELETED, "not a fifth was deleted");
        Refill();
        state.ResumeTiming();
    }
    sqlite3_close(pDb);
}

std::string BareDelete()
{
    return "DELETE FROM log_event WHERE timestamp < " + std::to_string(1700000001 + DELETED) + ";";
}

void BM_LogDelete_Statement(benchmark::State& state)
{
    DeleteBare(state, BareDelete());
}

void BM_LogDelete_Statements(benchmark::State& state)
{
    DeleteBare(state, VxLogEventRotater().GetCountLimitSqlStr() +
                          VxLogEventRotater().GetSelectOffsetSqlStr(DELETED) + BareDelete());
}

void DeleteByRotater(benchmark::State& state, bool isByCount)
{
    Prepare();
    VxLogRotateSettings settings;
    settings.enabled = true;
    const auto bound = static_cast<std::time_t>(1700000001 + DELETED);
    settings.days = isByCount ? 36500 : static_cast<int>((GetWallTimeSec() - bound) / 86400);
    settings.countLimitEnabled = isByCount;
    settings.countLimit = ROW_COUNT - DELETED;
    Require(settings.Save(VX_ROTATED_LOG_EVENT) == 0, "no settings");
    VxLogEventRotater rotater;
    for (auto _ : state) {
        Require(rotater.LoadSettings() == 0, "no settings");
        Require(rotater.Rotate(isByCount ? rotater.GetTimeUPB()
                                         : std::min(rotater.GetTimeUPB(), static_cast<int>(bound))) == 0,
                "rotation failed");
        state.PauseTiming();
        Require(VxLogEvent::GetLogTotalCount() == ROW_COUNT - DELETED, "not a fifth was deleted");
        Refill();
        state.ResumeTiming();
    }
}

void BM_LogDelete_ByDays(benchmark::State& state)
{
    DeleteByRotater(state, false);
}

void BM_LogDelete_ByCount(benchmark::State& state)
{
    DeleteByRotater(state, true);
}
BENCHMARK(BM_LogDelete_Statement)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogDelete_Statements)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogDelete_ByDays)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogDelete_ByCount)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
