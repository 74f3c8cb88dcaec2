// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxlog_test.cpp - the logging step: what it decides, what it costs, what it leaves alone.
#include "vxlog.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <string_view>

#include "support/allocation.h"
#include "support/log_root.h"

// Calls that a call site of this file makes; the linker sends them here first.
namespace {
int g_calls = 0;
DbgLogCfg* g_pClearedByGetpid = nullptr; // somebody clears the pid list just then
} // namespace

extern "C" {
int __real_getpid();
int __wrap_getpid()
{
    ++g_calls;
    if (g_pClearedByGetpid != nullptr) {
        g_pClearedByGetpid->pidCount = 0;
    }
    return __real_getpid();
}
void __real__Z15ReinitDbgLogCfgv();
void __wrap__Z15ReinitDbgLogCfgv()
{
    ++g_calls;
    __real__Z15ReinitDbgLogCfgv();
}
int* __real___errno_location();
int* __wrap___errno_location()
{
    ++g_calls;
    return __real___errno_location();
}
}

namespace {

class LogStepTest : public ::testing::Test {
protected:
    LogStepTest()
    {
        g_DbgLogPid = 0;
        g_pDbgLogCfg = &m_cfg;
    }
    ~LogStepTest() override { g_pClearedByGetpid = nullptr; }

    /// The highest level that is wanted; every lower one has to be wanted too.
    static int HighestWanted(LOG_CATEG categ)
    {
        int highest = 0;
        for (int level = LOG_LEVEL_ERR; level <= LOG_LEVEL_ALL; ++level) {
            if (VxLogWanted(categ, static_cast<LOG_LEVEL>(level))) {
                EXPECT_EQ(highest, level - 1);
                highest = level;
            }
        }
        return highest;
    }

    LogRoot m_root;
    DbgLogCfg m_cfg{};
};

struct PidListCase {
    const char* what;
    int pidCount;
    std::array<int, 3> others; // 0 stands for this process
    int highestAtThreshold3;
};
constexpr PidListCase PID_LISTS[] = {
    {"none", 0, {1, 1, 1}, 3},       {"negative", -7, {1, 1, 1}, 3},
    {"two others", 2, {1, 2, 0}, 7}, // this process behind the end is not listed
    {"self last", 3, {1, 2, 0}, 3},  {"self first", 1, {0, 2, 3}, 3},
};

// Catches: a list that filters the wrong processes, is read beyond its end, or counts when it is empty.
TEST_F(LogStepTest, ThresholdsApplyToEverybodyOrToTheListed)
{
    for (const PidListCase& list : PID_LISTS) {
        SCOPED_TRACE(list.what);
        m_cfg.threshold[LOG_CATEG_SHMFIFO] = 3;
        m_cfg.pidCount = list.pidCount;
        for (std::size_t i = 0; i < list.others.size(); ++i) {
            m_cfg.pid[i] = list.others[i] == 0 ? __real_getpid() : list.others[i];
        }
        EXPECT_EQ(HighestWanted(LOG_CATEG_SHMFIFO), list.highestAtThreshold3);
        EXPECT_EQ(HighestWanted(LOG_CATEG_CAMERA), list.highestAtThreshold3 == 7 ? 7 : 0);
    }
}

// Catches: a list cleared while the process looks up its own id, that silences it by the thresholds after
// all.
TEST_F(LogStepTest, ListClearedMeanwhileLetsTheMessageThrough)
{
    m_cfg.pidCount = 1;
    m_cfg.pid[0] = __real_getpid();
    g_pClearedByGetpid = &m_cfg;
    EXPECT_TRUE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ALL));
    EXPECT_EQ(g_DbgLogPid, __real_getpid());
    EXPECT_FALSE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ALL));
}

// Catches: a damaged count or category that reads behind the record.
TEST_F(LogStepTest, NothingBehindTheRecordIsRead)
{
    auto* const pPages = static_cast<DbgLogCfg*>(
        ::mmap(nullptr, 2 * sizeof(DbgLogCfg), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_EQ(::mprotect(pPages + 1, sizeof(DbgLogCfg), PROT_NONE), 0);
    g_pDbgLogCfg = pPages;
    pPages->pidCount = 0x7fffffff;
    EXPECT_TRUE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ALL));
    EXPECT_TRUE(VxLogWanted(static_cast<LOG_CATEG>(0x7ffffff), LOG_LEVEL_ALL));
    EXPECT_TRUE(VxLogWanted(static_cast<LOG_CATEG>(-1), LOG_LEVEL_ALL));
    pPages->pidCount = 0;
    EXPECT_FALSE(VxLogWanted(static_cast<LOG_CATEG>(511), LOG_LEVEL_ERR));
    ::munmap(pPages, 2 * sizeof(DbgLogCfg));
}

// Catches: a suppressed message that calls, allocates, evaluates its arguments or touches errno.
TEST_F(LogStepTest, SuppressedMessageCostsNoCallAndNoAllocation)
{
    int evaluated = 0;
    const auto step = [&] { VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "%d\n", ++evaluated); };
    m_cfg.pid[0] = __real_getpid();
    for (m_cfg.pidCount = 0; m_cfg.pidCount < 2; ++m_cfg.pidCount) {
        step(); // looks up the process id once
        g_calls = 0;
        const long before = AllocationCount();
        step();
        EXPECT_EQ(g_calls, 0);
        EXPECT_EQ(AllocationCount(), before);
    }
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(m_root.Lines().empty());
}

// Catches: a configuration that is not there, or of no use, and silences the process or is made by the
// reader.
TEST_F(LogStepTest, EverythingIsWrittenWithoutAUsableConfiguration)
{
    enum class File { MISSING, SHORT, FOLDER };
    for (const File file : {File::MISSING, File::SHORT, File::FOLDER}) {
        std::filesystem::remove_all(m_root.CfgPath().parent_path());
        std::filesystem::create_directories(file == File::FOLDER ? m_root.CfgPath()
                                                                 : m_root.CfgPath().parent_path());
        if (file == File::SHORT) {
            std::ofstream(m_root.CfgPath()) << std::string(sizeof(DbgLogCfg) - 1, '\0');
        }
        g_pDbgLogCfg = nullptr;
        EXPECT_TRUE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ALL));
        EXPECT_EQ(g_pDbgLogCfg, nullptr);
        EXPECT_EQ(std::filesystem::exists(m_root.CfgPath()), file != File::MISSING);
    }
}

// Catches: %m, or an errno among the arguments, that shows what the logging step did; an errno lost by
// logging.
TEST_F(LogStepTest, CallersErrnoIsPrintedAndKept)
{
    g_pDbgLogCfg = nullptr; // the loader fails and sets errno
    errno = EXDEV;
    VX_LOG(LOG_CATEG_SHMFIFO, LOG_LEVEL_ERR, "Failed [%d]: %m.\n", errno);
    EXPECT_EQ(errno, EXDEV);
    const std::vector<std::string> lines = m_root.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("utils/vxlog_test:"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find(": Failed [18]: Invalid cross-device link."), std::string::npos) << lines[0];
}

enum class Fruit { PEAR };

} // namespace

template <>
VxEnum2StrMap<Fruit>::VxEnum2StrMap() : m_map{{Fruit::PEAR, "pear"}}
{}

namespace {

// Catches: a message about missing memory that ends the process, because its table needs some.
TEST(Enum2StringTest, TableThatCannotBeMadeIsMadeLater)
{
    {
        const FailAllocation first(0);
        EXPECT_STREQ(Enum2String(Fruit::PEAR), "unknown");
    }
    EXPECT_STREQ(Enum2String(Fruit::PEAR), "pear");
}

template <typename T>
std::string TextsOf(int first, int last)
{
    std::string all;
    for (int i = first; i <= last; ++i) {
        all += std::string(Enum2String(static_cast<T>(i))) + "|";
    }
    return all;
}

// Catches: a text that differs from what other programs compare with; an empty text taken for a missing one.
TEST(Enum2StringTest, TextsAreTheAgreedOnes)
{
    EXPECT_EQ(TextsOf<FAILOVER_STATUS>(-1, 5),
              "unknown||failovering|recovering|wait_manual_restore|failover_error|unknown|");
    EXPECT_EQ(TextsOf<FAILOVER_REASON>(-1, 8),
              "unknown||reason_discon|reason_vol_crash|reason_vol_degrade|reason_manual|reason_pkg_uninstall|"
              "reason_pkg_disable|reason_cnt|unknown|");
    EXPECT_EQ(TextsOf<FAILOVERD_CMD_TYPE>(-1, 4),
              "unknown|set-push-flags|set-admit-by-host-flag|get-all-flags|num-of-cmds|unknown|");
    EXPECT_EQ(TextsOf<FAILOVER_RESTORE_TYPE>(-1, 3), "unknown|restore|cancel|replace|unknown|");
    EXPECT_EQ(TextsOf<LOG_LEVEL>(0, 8), "unknown|ERR|WARN|NOTICE|INFO|DEBUG|TRACE|ALL|unknown|");
}

// Catches: a category that falls out of the table, or two that an operator cannot tell apart.
TEST(Enum2StringTest, EveryCategoryHasANameOfItsOwn)
{
    std::map<std::string_view, int> named;
    for (const int categ : {0,  2,  6,  7,  11, 14, 19, 28, 29, 33,  34,  38,  40,  42,
                            49, 61, 62, 66, 73, 78, 80, 90, 92, 101, 106, 114, 116, 117}) {
        const std::string_view name = Enum2String(static_cast<LOG_CATEG>(categ));
        EXPECT_NE(name, "unknown") << categ;
        EXPECT_EQ(name.find(' '), name.npos) << categ;
        EXPECT_TRUE(named.emplace(name, categ).second) << categ << " and " << named[name];
    }
}

// Catches: a tag that shows where the project was built or installed instead of where the file lives.
#define EXPECT_TAG(path, tag) static_assert(std::string_view(VxFileTag(path).text) == (tag))
EXPECT_TAG("utils/shmfifo.cpp", "utils/shmfifo");
EXPECT_TAG("/home/a/vx-1.0/utils/shmfifo.cpp", "utils/shmfifo");
EXPECT_TAG("../../third/vx/log/vxlogrotate.cpp", "log/vxlogrotate");
EXPECT_TAG("dva/common/rotatedva.cpp", "dva/common/rotatedva");
EXPECT_TAG("include/dbmapping.h", "include/dbmapping");
EXPECT_TAG("stage/usr/include/vxutil/dbmapping.h", "include/dbmapping");
EXPECT_TAG("/home/include/app/main.cpp", "app/main");
EXPECT_TAG("main.cpp", "main");
EXPECT_TAG("a.b/Makefile", "a.b/Makefile");

} // namespace
