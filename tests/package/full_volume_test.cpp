// SPDX-License-Identifier: Apache-2.0
// tests/package/full_volume_test.cpp - mapped records on a volume without room: an error, never a dead process.
#include <gtest/gtest.h>

#include <cerrno>

#include "package/dbglogctl.h"
#include "package/root.h"
#include "package/shmcommoncfg.h"
#include "support/child_process.h"
#include "support/namespaces.h"
#include "support/temp_root.h"
#include "vxlog.h"

// Catches: a file that is given its length but no storage, whose first use ends the process (SIGBUS).
TEST(FullVolumeTest, RecordsThatHaveNoRoomAreAnError)
{
    if (!EnterNamespaces()) {
        GTEST_SKIP() << "no namespaces here";
    }
    const TempRoot root;
    const TestVolume volume(root.Path().string(), "size=64k");
    ASSERT_TRUE(volume);
    ASSERT_FALSE(GetPackageDir(PackageDir::RUN).empty());
    ASSERT_FALSE(GetPackageDir(PackageDir::LOG).empty());
    const auto filler = root.Path() / "filler";
    std::ofstream(filler) << std::string(1 << 20, 'x'); // as much of it as there is room for

    const auto use = [](bool hasRoom) {
        return ChildProcess([hasRoom](const Channel&) {
                   const int made = CreateDbgLogCfg(4);
                   const int error = errno;
                   VX_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Said all the same.\n");
                   if (!hasRoom) {
                       return made == -1 && error == ENOSPC && VxShmCommonCfgAt() == nullptr ? 0 : 1;
                   }
                   return made == 0 && VxShmCommonCfgAt() != nullptr ? 0 : 1;
               })
            .Wait();
    };
    EXPECT_EQ(use(false), 0);
    std::filesystem::remove(filler);
    EXPECT_EQ(use(true), 0);
}
