// SPDX-License-Identifier: Apache-2.0
// tests/package/db_faults_test.cpp - databases that are locked, damaged, foreign, full, read-only or gone,
// and processes that die or fork in the middle.
#include <fcntl.h>

#include <atomic>
#include <future>
#include <thread>

#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/namespaces.h"
#include "support/sql.h"
#include "support/temp_root.h"

using VxDB::DB_SYSTEM;

namespace {

class DbFaultsTest : public ::testing::Test {
protected:
    std::string Path() const { return m_root.Path().string() + "/db/system.db"; }

    static int Add() { return VxDB::Execute(DB_SYSTEM, "INSERT INTO actionrule_multirule DEFAULT VALUES"); }
    static std::string Count() { return Sql("SELECT COUNT(*) FROM actionrule_multirule"); }
    static std::string Integrity() { return Sql("PRAGMA integrity_check"); }

    void ExpectRefused(const char* text)
    {
        m_log.Take();
        EXPECT_EQ(Add(), -1) << text;
        const std::vector<CapturedLine> lines = m_log.Take();
        ASSERT_EQ(lines.size(), 1U) << text;
        EXPECT_NE(lines[0].text.find(text), std::string::npos) << lines[0].text;
        EXPECT_NE(lines[0].text.find("system.db"), std::string::npos) << lines[0].text;
    }

    TempRoot m_root;
    LogCapture m_log;
};

constexpr int CANNOT_MOUNT = 77;

/// Fills the database up to the last page. @return how many rows went in before the first was refused; -1:
/// none was.
int FillVolume()
{
    const std::string sql = "INSERT INTO webhook (name) VALUES ('" + std::string(20000, 'x') + "')";
    for (int i = 0; i < 1000; ++i) {
        if (VxDB::Execute(DB_SYSTEM, sql) != 0) {
            return i;
        }
    }
    return -1;
}

} // namespace

// Catches: files that are overwritten because they are not understood, and a refusal without the reason.
TEST_F(DbFaultsTest, FileOfSomebodyElseIsLeftAlone)
{
    std::filesystem::create_directory(m_root.Path() / "db");
    std::ofstream(Path()) << std::string(9000, 'x');
    ExpectRefused("no database of this system");
    EXPECT_EQ(std::filesystem::file_size(Path()), 9000U);
    std::filesystem::remove(Path());
    std::ofstream(Path()).close(); // empty: as good as new
    EXPECT_EQ(Add(), 0);
    const std::string log = m_root.Path().string() + "/db/log.db";
    Sql("PRAGMA wal_checkpoint(TRUNCATE)", VxDB::DB_LOG);
    std::filesystem::rename(log, Path()); // a database of ours, but another one
    ExpectRefused("another file is in its place");
    ExpectRefused("not the system database");
}

// Catches: an older program that writes into a database whose tables it does not know.
TEST_F(DbFaultsTest, LaterVersionIsRefused)
{
    std::thread([] { Sql("PRAGMA user_version=1000"); }).join();
    ExpectRefused("a later version of this software");
    ExpectRefused("a later version of this software"); // and again: it is not opened by a second try
}

// Catches: damage that goes unnoticed, or that a caller cannot tell from a mistake in its statement.
TEST_F(DbFaultsTest, DamageIsTold)
{
    for (int i = 0; i < 3; ++i) {
        Sql("INSERT INTO webhook (name) VALUES ('" + std::string(50000, 'x') + "')");
    }
    Sql("PRAGMA wal_checkpoint(TRUNCATE)");
    const auto size = std::filesystem::file_size(Path());
    std::thread([&] { // a thread of its own has no page of it in memory
        std::fstream file(Path(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        file << std::string(static_cast<std::size_t>(size) - 4096, '\x5A');
    })
        .join();
    std::thread([&] { ExpectRefused("damaged"); }).join();
}

// Catches: statements on a file that nobody else sees any more, in silence.
TEST_F(DbFaultsTest, VanishedFileIsNoticedOnceAndThenMadeAnew)
{
    ASSERT_EQ(Add(), 0);
    std::filesystem::remove_all(m_root.Path() / "db");
    ExpectRefused("check that its volume is mounted");
    EXPECT_EQ(Add(), 0);
    EXPECT_EQ(Count(), "1");
}

// Catches: a missing volume on which a new, empty database is made.
TEST_F(DbFaultsTest, MissingVolumeIsNotMade)
{
    m_log.Take();
    EXPECT_EQ(VxDB::Executep(m_root.Path().string() + "/volume9/event.db", "SELECT 1"), -1);
    m_log.Expect({"check that its volume is mounted"});
    EXPECT_FALSE(std::filesystem::exists(m_root.Path() / "volume9"));
}

// Catches: a full or read-only volume that damages the database, is not named, or leaves the connection
// unusable.
TEST_F(DbFaultsTest, FullAndReadOnlyVolume)
{
    ChildProcess child([this](Channel&) {
        const std::string folder = m_root.Path().string() + "/db";
        std::filesystem::create_directory(folder);
        if (!EnterNamespaces()) {
            return CANNOT_MOUNT;
        }
        const TestVolume volume(folder, "size=1m,mode=700");
        const int rows = FillVolume();
        EXPECT_GT(rows, 3);
        EXPECT_NE(m_log.TakeText().find("its volume is full; free some space"), std::string::npos);
        EXPECT_EQ(Sql("SELECT COUNT(*) FROM webhook"), std::to_string(rows));
        EXPECT_EQ(Integrity(), "ok");
        EXPECT_EQ(::mount("none", folder.c_str(), "tmpfs", MS_REMOUNT, "size=8m"), 0);
        EXPECT_EQ(Add(), 0);
        std::thread([] { EXPECT_EQ(Add(), 0); }).join();
        ::fork() == 0 ? ::_exit(0) : static_cast<void>(0); // a fork closes all connections
        if (::mount("none", folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0) {
            ExpectRefused("it may not be written");
        }
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    const int code = child.Wait();
    if (code == CANNOT_MOUNT) {
        GTEST_SKIP() << "no right to mount a volume here";
    }
    EXPECT_EQ(code, 0);
}

// Catches: a transaction of a killed process that stays half, or holds its lock for ever.
TEST_F(DbFaultsTest, KilledInsideATransaction)
{
    ASSERT_EQ(Add(), 0);
    ChildProcess child([](Channel& toParent) {
        VxDB::Transaction transaction(DB_SYSTEM);
        static_cast<void>(transaction.Begin());
        for (int i = 0; i < 2000; ++i) { // enough to reach the file before the end
            Sql("INSERT INTO webhook (name) VALUES ('" + std::string(4000, 'x') + "')");
        }
        toParent.Send('L');
        ::pause();
        return 0;
    });
    ASSERT_EQ(child.Receive(), 'L');
    child.Kill(SIGKILL);
    EXPECT_EQ(Add(), 0);
    EXPECT_EQ(Count(), "2");
    EXPECT_EQ(Sql("SELECT COUNT(*) FROM webhook"), "0");
    EXPECT_EQ(Integrity(), "ok");
}

// Catches: a child that believes to hold the locks that its parent holds: once the parent closes, the child's
// rows go to a log that nobody reads.
TEST_F(DbFaultsTest, ForkedChildHasLocksOfItsOwn)
{
    sigset_t go;
    sigemptyset(&go);
    sigaddset(&go, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &go, nullptr);
    std::promise<void> isAdded;
    std::promise<void> mayEnd;
    std::thread other([&] {
        EXPECT_EQ(Add(), 0);
        isAdded.set_value();
        mayEnd.get_future().wait();
    });
    isAdded.get_future().wait();
    ChildProcess child([&go](Channel& toParent) {
        int code = Add();
        toParent.Send('A');
        int signal = 0;
        sigwait(&go, &signal);
        code += Add();
        toParent.Send('B');
        ::pause();
        return code;
    });
    ASSERT_EQ(child.Receive(), 'A');
    mayEnd.set_value();
    other.join(); // its connection closes
    child.Signal(SIGUSR1);
    ASSERT_EQ(child.Receive(), 'B');
    child.Kill(SIGKILL);
    EXPECT_EQ(Count(), "3");
    pthread_sigmask(SIG_UNBLOCK, &go, nullptr);
}

// Catches: a child that goes on with its parent's locks, or hangs on a lock that a thread of it held.
TEST_F(DbFaultsTest, ForkWhileThreadsWrite)
{
    constexpr int FORKS = 20;
    std::atomic<bool> isEnd{false};
    std::atomic<int> added{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!isEnd) {
                added += Add() == 0 ? 1 : 1000000;
            }
        });
    }
    for (int i = 0; i < FORKS; ++i) {
        ChildProcess child([](Channel&) { return Add() == 0 && Add() == 0 && Integrity() == "ok" ? 0 : 1; });
        EXPECT_EQ(Add(), 0); // at the same time
        EXPECT_EQ(child.Wait(), 0);
    }
    isEnd = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Count(), std::to_string(added + 3 * FORKS));
    EXPECT_EQ(Integrity(), "ok");
    EXPECT_EQ(m_log.TakeText(), "");
}
