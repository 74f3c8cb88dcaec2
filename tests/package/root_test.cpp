// SPDX-License-Identifier: Apache-2.0
// tests/package/root_test.cpp - where a file of the package stands, its folder being there or not.
#include <gtest/gtest.h>

#include <fstream>

#include "package/root.h"
#include "support/temp_root.h"

// Catches: a lock, a socket or a record in "/": the name alone, its folder being one that cannot be made.
TEST(PackagePathTest, AFolderThatCannotBeMadeStaysInThePath)
{
    const TempRoot root;
    ::setenv("VX_ROOT", "/proc/nowhere", 1);
    EXPECT_EQ(GetPackageDir(PackageDir::RUN), "");
    EXPECT_EQ(GetPackagePath(PackageDir::RUN, "sweep.lock"), "/proc/nowhere/run/sweep.lock");
    ::setenv("VX_ROOT", (root.Path() / "new").c_str(), 1);
    std::ofstream file(GetPackagePath(PackageDir::ETC, "nonrec"));
    EXPECT_TRUE(file);
    ::setenv("VX_ROOT", root.Path().c_str(), 1);
}
