// SPDX-License-Identifier: Apache-2.0
// tests/utils/vxlog_test.cpp - the logging step.
#include "vxlog.h"

#include <gtest/gtest.h>

// Catches: a configuration that cannot be loaded and silences the process.
TEST(LogStepTest, EverythingIsWrittenWithoutConfiguration)
{
    EXPECT_TRUE(VxLogWanted(LOG_CATEG_SHMFIFO, LOG_LEVEL_ALL));
}
