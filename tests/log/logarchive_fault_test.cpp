// SPDX-License-Identifier: Apache-2.0
// tests/log/logarchive_fault_test.cpp - rotations that are killed, and archive folders that are of no use.
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <set>
#include <sstream>
#include <thread>

#include "log_fixture.h"
#include "package/spreadsheet.h"
#include "support/child_process.h"
#include "support/namespaces.h"
#include "support/wait_for.h"
#include "vxlogrotate.h"

namespace {

namespace fs = std::filesystem;

constexpr int ROWS = 5;

class LogFaultTest : public LogFixture {
protected:
    void FillEvents() { Fill(VX_ROTATED_LOG_EVENT, ROWS); }
    void Fill(VX_ROTATED_LOG log, int rows)
    {
        if (log == VX_ROTATED_LOG_EVENT) {
            FillLog("log_event", rows, ",description", ",'row ' || i");
        } else {
            FillLog("log", rows, ",log_id,args", ",0x133000ff,json_array('row ' || i)");
        }
        Keep(log, Settings(1));
    }
};

std::set<std::string> RowsOfArchives(const fs::path& dir)
{
    std::set<std::string> rows;
    for (const std::string& name : NamesIn(dir)) {
        if (!name.starts_with(".") && name.ends_with(".tgz")) {
            for (const std::string& line : LinesOfArchive(dir / name)) {
                rows.insert(line.substr(line.rfind("row ")));
            }
        }
    }
    return rows;
}

std::set<std::string> RowsOfTable(VX_ROTATED_LOG log = VX_ROTATED_LOG_EVENT)
{
    std::istringstream text(
        ExecuteOnLogs(log == VX_ROTATED_LOG_EVENT
                          ? "SELECT group_concat(description, char(10)) FROM log_event"
                          : "SELECT group_concat(args ->> 0, char(10)) FROM log WHERE log_id = 0x133000ff"));
    std::set<std::string> rows;
    for (std::string row; std::getline(text, row);) {
        rows.insert(row);
    }
    return rows;
}

std::set<std::string> AllRows()
{
    std::set<std::string> rows;
    for (int i = 1; i <= ROWS; ++i) {
        rows.insert("row " + std::to_string(i));
    }
    return rows;
}

/// Whether a process is about to change something that outlives it: names, or their content as well.
bool IsAboutToChange(pid_t pid, bool isNamesOnly)
{
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info);
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY) {
        return false;
    }
    switch (info.entry.nr) {
    case SYS_openat:
        return (info.entry.args[2] & O_CREAT) != 0;
    case SYS_renameat2:
    case SYS_unlink:
    case SYS_unlinkat:
    case SYS_mkdir:
    case SYS_rmdir:
        return true;
    case SYS_write:
    case SYS_pwrite64:
    case SYS_fsync:
    case SYS_fdatasync:
    case SYS_ftruncate:
    case SYS_close:
        return !isNamesOnly;
    default:
        return false;
    }
}

int Rotate(VX_ROTATED_LOG log)
{
    std::vector<std::unique_ptr<VxLogRotaterBase>> rotaters;
    return MakeLogRotaters(log, rotaters) == 0 ? rotaters.front()->Run() : -1;
}

/// Rotates in a child that is killed at its change number `step`. @return false when it ended before that.
bool RotateKilledAt(int step, VX_ROTATED_LOG log)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        ::_exit(Rotate(log) == 0 ? 0 : 1);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (::ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr) == 0 && ::waitpid(pid, &status, 0) == pid &&
           WIFSTOPPED(status)) {
        if (IsAboutToChange(pid, log == VX_ROTATED_LOG_SYSTEM) && --step == 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            return true;
        }
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return false;
}

/// Runs `body` where a folder is a volume of its own. @return its result; -1 where that cannot be had.
int InTinyVolume(const std::string& dir, unsigned long flags, const std::function<int()>& body,
                 int sizeKB = 64)
{
    const int code =
        ChildProcess([&](const Channel&) {
            const bool isOurs = EnterNamespaces();
            const TestVolume volume(dir, ("size=" + std::to_string(sizeKB) + "k").c_str(), flags);
            return isOurs && volume ? body() : 99;
        }).Wait();
    return code == 99 ? -1 : code;
}

/// Has this process obey the modes of its own files, as a user other than root does.
bool ObeyModes()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2]{};
    return ::syscall(SYS_capset, &header, none) == 0;
}

} // namespace

// Catches: a row that is neither in the table nor in an archive, an archive that is not whole, and litter that the
// next rotation leaves.
TEST_F(LogFaultTest, KilledAtAnyStepNoRowIsLost)
{
    const std::set<std::string> all = AllRows();
    for (const VX_ROTATED_LOG log : {VX_ROTATED_LOG_EVENT, VX_ROTATED_LOG_SYSTEM}) {
        int step = 0;
        for (bool isKilled = true; isKilled && !HasFailure();) {
            SCOPED_TRACE("log " + std::to_string(log) + " killed at step " + std::to_string(++step));
            ExecuteOnLogs("DELETE FROM log; DELETE FROM log_event;");
            fs::remove_all(ArchiveDir());
            Fill(log, ROWS);
            isKilled = RotateKilledAt(step, log);
            std::set<std::string> rows = RowsOfTable(log);
            rows.merge(RowsOfArchives(ArchiveDir()));
            ASSERT_EQ(rows, all);
            g_fakeWallSec += 1;
            Fill(log, 1); // so that there is something to archive
            ASSERT_EQ(Rotate(log), 0) << m_log.TakeText();
            EXPECT_EQ(RowsOfArchives(ArchiveDir()), all);
            for (const std::string& name : NamesIn(ArchiveDir())) {
                EXPECT_TRUE(name.ends_with(".tgz") || name.ends_with(".lock")) << "left " << name;
            }
            m_log.Take();
        }
        EXPECT_GT(step, 20) << "so many changes there are at least";
    }
}

// Catches: a rotation that stops, or claims success, because its archive cannot be written; half a page that is
// left behind.
TEST_F(LogFaultTest, WithoutAnArchiveTheLogIsTrimmedAllTheSame)
{
    std::ofstream(m_root.Path() / "file") << "no folder";
    for (const auto& [name, problem] :
         {std::pair("missing", "No such file or directory"), std::pair("file", "Not a directory")}) {
        const std::string dir = (m_root.Path() / name).string();
        FillEvents();
        VxLogRotateSettings settings = Settings(1);
        settings.archiveDir = dir;
        Keep(VX_ROTATED_LOG_EVENT, settings);
        EXPECT_EQ(VxLogEventRotater().Run(), -1);
        m_log.Expect({"[event log] archive path [" + dir + "] does not exist [" + problem + "].\n",
                      "Failed to create html archive file in [" + dir + "].\n",
                      "Run: Failed to archive [event log].\n"},
                     "log/vxlogrotate");
        EXPECT_EQ(RowsOfTable().size(), 0U);
        Keep(VX_ROTATED_LOG_MESSAGE, settings);
        EXPECT_EQ(VxMessageRotater().Run(), 0) << "which makes no archive";
    }
}

// Catches: the same on a full volume and on one that may not be written, and an archive over its end.
TEST_F(LogFaultTest, VolumesThatAreFullOrMayNotBeWritten)
{
    fs::create_directory(ArchiveDir());
    const auto rotate = [this] {
        const bool isTrimmed = VxLogEventRotater().Run() == -1 && RowsOfTable().empty();
        const std::vector<std::string> names = NamesIn(ArchiveDir());
        const bool isClean = std::ranges::none_of(names, [](const std::string& name) {
            return name.ends_with(".tgz") || name.ends_with(".html") || name.ends_with(".part");
        });
        return isTrimmed && isClean ? 0 : 1;
    };
    FillLog("log_event", 200, ",description", ",hex(randomblob(1000))");
    Keep(VX_ROTATED_LOG_EVENT, Settings(1));
    const int full = InTinyVolume(ArchiveDir(), 0, rotate);
    if (full < 0) {
        GTEST_SKIP() << "no volume of its own can be had here";
    }
    EXPECT_EQ(full, 0);
    FillEvents();
    EXPECT_EQ(InTinyVolume(ArchiveDir(), MS_RDONLY, rotate), 0);
    FillEvents();
    EXPECT_EQ(InTinyVolume(ArchiveDir(), 0,
                           [this] {
                               return VxLogEventRotater().Run() == 0 &&
                                              RowsOfArchives(ArchiveDir()) == AllRows()
                                          ? 0
                                          : 1;
                           }),
              0)
        << "another volume than that of the databases";
}

// Catches: files that are the only archive of rows and are removed because they could not be packed.
TEST_F(LogFaultTest, FilesThatCannotBePackedStay)
{
    fs::create_directory(ArchiveDir());
    fs::create_directory(ArchiveDir() + "/.vigeventlog_20270115_080000.tgz.part"); // where the packer writes
    FillEvents();
    EXPECT_EQ(VxLogEventRotater().Run(), -1);
    const std::string tgz = ArchiveDir() + "/vigeventlog_20270115_080000.tgz";
    m_log.Expect({"Failed to create tgz archive file [" + tgz + "].\n"}, "log/vxlogrotate");
    for (int i = 0; i < 2; ++i) {
        std::ifstream page(ArchiveDir() + "/vigeventlog_20270115_080000.html");
        const std::string text(std::istreambuf_iterator<char>(page), {});
        EXPECT_NE(text.find("row 5"), std::string::npos);
        EXPECT_TRUE(text.ends_with("</html>\n"));
        EXPECT_TRUE(fs::exists(ArchiveDir() + "/vigeventlog_20270115_080000.txt"));
        FillEvents();
        EXPECT_EQ(VxLogEventRotater().Run(), 0) << "the next one takes the next name";
    }
}

// Catches: an archive under its name although its packing is said to have failed: nobody can say whether it lasts.
TEST_F(LogFaultTest, WithoutASyncedFolderThereIsNoArchive)
{
    FillEvents();
    fs::create_directory(ArchiveDir());
    const int failed = ChildProcess([this](const Channel&) {
                           ::chmod(ArchiveDir().c_str(), 0300); // may be written, but not opened to be synced
                           return ObeyModes() && VxLogEventRotater().Run() == -1 ? 0 : 1;
                       }).Wait();
    ::chmod(ArchiveDir().c_str(), 0700);
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(NamesIn(ArchiveDir()),
              (std::vector<std::string>{".vigeventlog.lock", "vigeventlog_20270115_080000.html",
                                        "vigeventlog_20270115_080000.txt"}));
}

// Catches: a spreadsheet without some of its rows, for want of room while it was put together.
TEST_F(LogFaultTest, ASpreadsheetIsWholeOrAFailure)
{
    constexpr int COUNT = 1000;
    fs::create_directory(ArchiveDir());
    const std::string path = ArchiveDir() + "/sheet.xlsx";
    const std::string check =
        "test $(/usr/bin/python3 -c 'import sys,zipfile;print(zipfile.ZipFile(sys.argv[1])"
        ".read(\"xl/worksheets/sheet1.xml\").count(b\"<row \"))' " +
        path + ") = " + std::to_string(COUNT + 1);
    int written = 0;
    int refused = 0;
    for (int sizeKB = 60; sizeKB <= 300;
         sizeKB += 12) { // its rows take 107 KiB, twice, and little when packed
        const int result = InTinyVolume(
            ArchiveDir(), 0,
            [&] {
                SpreadsheetWriter sheet;
                const std::string cells[] = {"the same for every row"};
                bool isWritten = sheet.Open(path, cells) == 0;
                for (int i = 0; i < COUNT; ++i) {
                    isWritten = isWritten && sheet.AddRow(cells) == 0;
                }
                return !isWritten || sheet.Close() != 0 ? 2 : std::system(check.c_str()) == 0 ? 0 : 1;
            },
            sizeKB);
        if (result < 0) {
            GTEST_SKIP() << "no volume of its own can be had here";
        }
        EXPECT_NE(result, 1) << "rows are missing with " << sizeKB << " KiB";
        ++(result == 0 ? written : refused);
    }
    EXPECT_TRUE(written > 0 && refused > 0) << written << " " << refused;
}

// Catches: a bound that moves between archiving and deleting when the clock does; a deletion by anything but the time, so
// that a row of an old time, written meanwhile, stays for ever, or an archive that has it or not as it comes.
TEST_F(LogFaultTest, WhatHappensBehindTheArchiveMovesNoBound)
{
    struct Between : VxLogEventRotater {
        explicit Between(std::function<void()> what) : m_what(std::move(what)) {}
        int LogAndNotify(int) noexcept override
        {
            m_what();
            return 0;
        }
        std::function<void()> m_what;
    };
    ExecuteOnLogs("INSERT INTO log_event (timestamp, description) VALUES (" + std::to_string(NOW) +
                  ", 'today');");
    for (const std::function<void()>& what : {std::function<void()>([] { g_fakeWallSec -= 2'000'000'000L; }),
                                              {[] { g_fakeWallSec += 300'000'000L; }},
                                              {[] { FillLog("log_event", 1, ",description", ",'late'"); }}}) {
        FillEvents();
        g_fakeWallSec = NOW;
        EXPECT_EQ(Between(what).Run(), 0);
        EXPECT_EQ(RowsOfTable(), (std::set<std::string>{"today"}));
    }
    EXPECT_EQ(RowsOfArchives(ArchiveDir()), AllRows());
}

// Catches: rows of the system log that are in no archive, because there was no room for their spreadsheet; a
// spreadsheet that is not whole.
TEST_F(LogFaultTest, WithoutRoomForASpreadsheetPageAndTextAreTheArchive)
{
    constexpr int COUNT = 200; // page, text and lines take 44 KiB, the sheet 40 KiB before it is packed
    fs::create_directory(ArchiveDir());
    FillLog("log", COUNT, ",log_id,args", ",0x133000ff,json_array('note ' || i)");
    Keep(VX_ROTATED_LOG_SYSTEM, Settings(1));
    const int result = InTinyVolume(ArchiveDir(), 0, [this] {
        const bool isTold =
            VxLogRotater().Run() == -1 &&
            m_log.TakeText().find("Archive To pyxl txt [" + ArchiveDir() +
                                  "/viglog_20270115_080000.pyxl] failed.\n") != std::string::npos;
        const std::string tgz = "viglog_20270115_080000.tgz";
        const bool isOnly = NamesIn(ArchiveDir()) == std::vector<std::string>{".viglog.lock", tgz};
        std::vector<std::string> files;
        static_cast<void>(ExecHelperdApi::ReadTar(
            ArchiveDir() + "/" + tgz,
            [&files](const ArchiveEntry& entry) {
                files.push_back(entry.name.substr(entry.name.rfind('.')));
                return false;
            },
            [](std::string_view) { return true; }));
        const bool isWhole = files == std::vector<std::string>{".html", ".txt"} &&
                             LinesOfArchive(ArchiveDir() + "/" + tgz).size() == COUNT;
        return isTold && isOnly && isWhole ? 0 : (isTold ? 2 : 0) + (isOnly ? 4 : 0) + (isWhole ? 8 : 0) + 1;
    });
    if (result < 0) {
        GTEST_SKIP() << "no volume of its own can be had here";
    }
    EXPECT_EQ(result, 0);
}

// Catches: a wait that nobody is told of; a page without a row, left by a rotation whose rows another
// one has archived and removed meanwhile.
TEST_F(LogFaultTest, RowsThatWentWhileWaitingLeaveNoArchive)
{
    fs::create_directory(ArchiveDir());
    FillEvents();
    const int other =
        ::open((ArchiveDir() + "/.vigeventlog.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    int result = -1;
    std::thread waiting([this, &result] { result = VxLogEventRotater().Archive(NOW, ArchiveDir()); });
    const bool isWaiting = WaitFor([] { return IsWaitingForALock(::getpid()); });
    ExecuteOnLogs("DELETE FROM log_event;");
    ::close(other);
    waiting.join();
    EXPECT_TRUE(isWaiting);
    EXPECT_EQ(result, 0) << m_log.TakeText();
    m_log.Expect({"Waits for another process that archives into [" + ArchiveDir() + "].\n",
                  "No event logs to archive.\n"},
                 "log/vxlogrotate");
    EXPECT_EQ(NamesIn(ArchiveDir()), std::vector<std::string>{".vigeventlog.lock"});
}
