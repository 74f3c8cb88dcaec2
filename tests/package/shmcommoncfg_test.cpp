// SPDX-License-Identifier: Apache-2.0
// tests/package/shmcommoncfg_test.cpp - the record that all processes of the package share.
#include "package/shmcommoncfg.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/child_process.h"
#include "support/fake_clock.h"
#include "support/temp_root.h"

class ShmCommonCfgTest : public ::testing::Test {
protected:
    /// What a process of its own gets (the mapping is made once in a process).
    int InChild(const std::function<int()>& body)
    {
        return ChildProcess([&](const Channel&) { return body(); }).Wait();
    }

    TempRoot m_root;
};

// Catches: a record of one's own in each process, and a time that is stale from the start or is never set
// again.
TEST_F(ShmCommonCfgTest, OneRecordForAllWhoseTimeIsKeptFresh)
{
    EXPECT_EQ(InChild([] {
                  ShmCommonCfg* const pCfg = VxShmCommonCfgAt();
                  const bool fresh = pCfg != nullptr && pCfg->freshMonoSec == 1000 && pCfg->holdFrames == 0;
                  pCfg->holdFrames = 5;
                  g_fakeMonoSec = 1059;
                  VxShmCommonCfgAt();
                  const bool spared = pCfg->freshMonoSec == 1000;
                  g_fakeMonoSec = 1060;
                  VxShmCommonCfgAt();
                  return fresh && spared && pCfg->freshMonoSec == 1060 ? 0 : 1;
              }),
              0);
    g_fakeMonoSec = 7; // the machine was started anew: its clock is behind the record
    EXPECT_EQ(InChild([] {
                  return VxShmCommonCfgAt()->holdFrames == 5 && VxShmCommonCfgAt()->freshMonoSec == 7 ? 0 : 1;
              }),
              0);
    g_fakeMonoSec = 1000;
}

// Catches: a process that ends (SIGBUS) on a short file, or goes on without a record when there is one again.
TEST_F(ShmCommonCfgTest, ShortFileIsMadeWholeAndAMissingFolderIsAskedForAgain)
{
    std::filesystem::create_directory(m_root.Path() / "run");
    std::ofstream(m_root.Path() / "run" / "shmcommon") << "short";
    EXPECT_EQ(InChild([] { return VxShmCommonCfgAt()->holdFrames; }), 0);
    EXPECT_EQ(InChild([&] {
                  ::setenv("VX_ROOT", "/proc/no/such", 1);
                  const bool none = VxShmCommonCfgAt() == nullptr;
                  ::setenv("VX_ROOT", m_root.Path().c_str(), 1);
                  const bool notYet = VxShmCommonCfgAt() == nullptr;
                  g_fakeMonoSec += 1;
                  return none && notYet && VxShmCommonCfgAt() != nullptr ? 0 : 1;
              }),
              0);
}
