// SPDX-License-Identifier: Apache-2.0
// tests/package/logwriter_test.cpp - lines of one process: their form, repeats, and where they go.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <ctime>
#include <regex>
#include <thread>

#include "support/child_process.h"
#include "support/log_root.h"

namespace {
time_t g_clockAheadSec = 0;
std::function<void()> g_beforeNextWrite;
} // namespace

// The writer's clock, and everybody's in this program.
extern "C" int clock_gettime(clockid_t clock, timespec* pTime) noexcept
{
    const long result = ::syscall(SYS_clock_gettime, clock, pTime);
    pTime->tv_sec += g_clockAheadSec;
    return static_cast<int>(result);
}

// What is about to be written may be overtaken.
extern "C" ssize_t write(int fd, const void* data, size_t size)
{
    if (g_beforeNextWrite) {
        std::exchange(g_beforeNextWrite, nullptr)();
    }
    return ::syscall(SYS_write, fd, data, size);
}

namespace {

[[gnu::format(printf, 1, 2)]] void Say(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    VxVPrintf(0, "shmfifo", "ERR", "utils/shmfifo", 120, "WriteData", fmt, args);
    va_end(args);
}

std::string TextOf(const std::string& line)
{
    const auto colon = line.find("WriteData: ");
    return colon == line.npos ? "(no text in) " + line : line.substr(colon + 11);
}

std::vector<std::string> TextsOf(const std::vector<std::string>& lines)
{
    std::vector<std::string> texts;
    for (const std::string& line : lines) {
        texts.push_back(TextOf(line));
    }
    return texts;
}

using Texts = std::vector<std::string>;

class LogWriterTest : public ::testing::Test {
protected:
    ~LogWriterTest() override { g_clockAheadSec = 0; }
    LogRoot m_root;
};

// Catches: a column that is missing, swapped or in local time; an id that is stale in a child.
TEST_F(LogWriterTest, LineCarriesTimeIdsPlaceAndText)
{
    ::setenv("TZ", "America/Chicago", 1);
    g_clockAheadSec = 951'868'799 - ::time(nullptr); // the last second of a leap day
    Say("one\n");
    ChildProcess child([](Channel&) {
        Say("two\n");
        return 0;
    });
    EXPECT_EQ(child.Wait(), 0);
    const std::vector<std::string> lines = m_root.Lines();
    ASSERT_EQ(lines.size(), 2u);
    const std::string self = std::to_string(::getpid());
    const std::regex form(R"((2000-02-29T23:59:59|2000-03-01T00:00:0\d)\.\d{3}Z (\d+) (\d+) )"
                          R"(shmfifo ERR utils/shmfifo:120 WriteData: (one|two))");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(lines[0], parts, form)) << lines[0];
    EXPECT_EQ(parts[2], self);
    ASSERT_TRUE(std::regex_match(lines[1], parts, form)) << lines[1];
    EXPECT_NE(parts[2], self);
    EXPECT_EQ(parts[2], parts[3]);
    ::unsetenv("TZ");
}

// Catches: a text that makes a second line, drives the terminal, or is lost because it is empty or very long.
TEST_F(LogWriterTest, AnyTextIsOneLine)
{
    const auto xs = [](std::size_t size) { return std::string(size, 'x'); };
    const std::pair<std::string, std::string> cases[] = {
        {"a\nb\r\tc\x1b[31m\x7f end\n", R"(a\nb\r\tc\x1B[31m\x7F end)"},
        {"a delete character \x7f alone\n", R"(a delete character \x7F alone)"},
        {"", ""},
        {"no newline", "no newline"},
        {"only the last newline goes\n\n", R"(only the last newline goes\n)"},
        {"grüße\n", "grüße"},
        {xs(1900) + "\n", xs(1900)},
        {xs(1960) + "\n", xs(1960)},
        {xs(2048) + "\n", xs(2048)},
        {xs(65535) + "\n", xs(65535)},
        {xs(65536) + "\n", xs(65536) + "[1 more bytes cut]"}, // it was the newline
    };
    Texts expected;
    for (const auto& [said, written] : cases) {
        Say("%s", said.c_str());
        expected.push_back(written);
    }
    Say("%s\n", std::string(70'000, '\n').c_str());
    Texts texts = TextsOf(m_root.Lines());
    EXPECT_EQ(texts.back().size(), 2 * 65536u + std::string("[4465 more bytes cut]").size());
    texts.pop_back();
    EXPECT_EQ(texts, expected);
}

// Catches: repeats that fill the disk, hide what came between them, delay the first line or are never told.
TEST_F(LogWriterTest, RepeatsAreCounted)
{
    for (int i = 0; i < 1'000'000; ++i) {
        Say("lost %d\n", 1);
    }
    EXPECT_EQ(TextsOf(LinesOf(m_root.LogPath())).front(), "lost 1");
    EXPECT_LT(std::filesystem::file_size(m_root.LogPath()), 100'000u);
    Say("lost 2\n");
    g_clockAheadSec += 6;
    Say("lost 2\n"); // after a while the count comes without another message
    EXPECT_EQ(TextsOf(LinesOf(m_root.LogPath())).back(), "[repeated 1 times] lost 2");
    Say("lost 2\n");
    const Texts texts = TextsOf(m_root.Lines());
    EXPECT_EQ(texts.back(), "[repeated 1 times] lost 2");
    long long told = 0;
    for (const std::string& text : texts) {
        const bool counted = text.starts_with("[repeated ");
        told += text.ends_with("lost 1") ? (counted ? std::atoll(text.c_str() + 10) : 1) : 0;
    }
    EXPECT_EQ(told, 1'000'000);
}

// Catches: a count that a process takes with it when it ends, or that its child tells a second time.
TEST_F(LogWriterTest, CountIsWrittenOnceAtTheEnd)
{
    Say("again\n");
    Say("again\n");
    const pid_t pid = ::fork();
    if (pid == 0) {
        Say("own\n");
        Say("own\n");
        std::exit(0); // destructors, unlike _exit()
    }
    ::waitpid(pid, nullptr, 0);
    EXPECT_EQ(TextsOf(m_root.Lines()),
              (Texts{"again", "own", "[repeated 1 times] own", "[repeated 1 times] again"}));
}

// Catches: a log that was moved or removed by hand and takes all later lines with it.
TEST_F(LogWriterTest, MovedFileIsNoticedWithinASecond)
{
    Say("one\n");
    std::filesystem::rename(m_root.LogPath(), m_root.LogPath().string() + ".moved");
    g_clockAheadSec += 1;
    Say("two\n");
    std::filesystem::remove_all(m_root.LogPath().parent_path());
    g_clockAheadSec += 1;
    Say("three\n"); // nothing is there to be written to, not even the folder
    g_clockAheadSec += 1;
    Say("four\n");
    EXPECT_EQ(TextsOf(m_root.Lines()).back(), "four");
}

// Catches: a line that goes down with its file, because others rotated it away twice just before it was
// written.
TEST_F(LogWriterTest, OvertakenLineIsWrittenAgain)
{
    ::setenv("VX_LOG_MAX_BYTES", "4096", 1);
    ReopenDbgLog();
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    ChildProcess other([&](Channel& toParent) {
        char letter = 0;
        static_cast<void>(!::read(start[0], &letter, 1));
        for (int i = 0; i < 150; ++i) {
            Say("other %d\n", i);
        }
        toParent.Send('d');
        return 0;
    });
    Say("first\n");
    g_beforeNextWrite = [&] {
        static_cast<void>(!::write(start[1], "s", 1));
        EXPECT_EQ(other.Receive(), 'd');
    };
    Say("precious\n");
    EXPECT_EQ(TextsOf(m_root.Lines()).back(), "precious");
    ::close(start[0]);
    ::close(start[1]);
}

// Catches: lines in a file of the caller, which has closed all descriptors and got the log's number for its
// own.
TEST_F(LogWriterTest, ReusedDescriptorIsLeftAlone)
{
    const std::filesystem::path foreign = m_root.LogPath().parent_path() / "foreign";
    ChildProcess child([&](Channel&) {
        Say("one\n");
        ReopenDbgLog();
        Say("two\n");
        for (int fd = 3; fd < 64; ++fd) {
            ::close(fd);
        }
        while (::open(foreign.c_str(), O_WRONLY | O_CREAT, 0600) < 20) {
        }
        g_clockAheadSec += 1;
        Say("three\n");
        return 0;
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(std::filesystem::file_size(foreign), 0u);
    EXPECT_EQ(TextsOf(m_root.Lines()), (Texts{"one", "two", "three"}));
}

// Catches: messages lost because the log cannot be opened; the setting that sends them to standard error
// ignored.
TEST_F(LogWriterTest, StandardErrorTakesOver)
{
    for (const bool wanted : {false, true}) {
        if (wanted) {
            ::setenv("VX_LOG_STDERR", "1", 1);
        } else {
            std::filesystem::create_directories(m_root.LogPath()); // a folder in its place
        }
        ReopenDbgLog();
        ::testing::internal::CaptureStderr();
        Say("here\n");
        EXPECT_EQ(TextOf(::testing::internal::GetCapturedStderr()), "here\n");
        std::filesystem::remove_all(m_root.LogPath());
    }
    EXPECT_FALSE(std::filesystem::exists(m_root.LogPath()));
}

// Catches: a child that waits for ever for a lock that some thread of its parent held when it was forked.
TEST_F(LogWriterTest, ChildOfAThreadedProcessCanLog)
{
    std::atomic<bool> done{false};
    std::thread other([&] {
        for (int i = 0; !done; ++i) {
            Say("thread %d\n", i);
        }
    });
    for (int i = 0; i < 200; ++i) {
        ChildProcess child([&](Channel&) {
            ::alarm(10);
            Say("child %d\n", i);
            return 0;
        });
        ASSERT_EQ(child.Wait(), 0) << i;
    }
    done = true;
    other.join();
}

} // namespace
