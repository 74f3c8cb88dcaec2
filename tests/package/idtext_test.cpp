// SPDX-License-Identifier: Apache-2.0
// tests/package/idtext_test.cpp - ids as text.
#include "package/idtext.h"

#include <gtest/gtest.h>

// Catches: a broken text that is half read, and ids that are cut to fit.
TEST(IdTextTest, BrokenTextLeavesTheOldIds)
{
    for (const char* const text :
         {",", "3,", "3,,5", "3;5", "3 5", "x", "2147483648", "-2147483649", "1:2", "0x3"}) {
        std::list<int> ids{7};
        EXPECT_EQ(StringToIdList(text, ids), -1) << text;
        EXPECT_EQ(ids, std::list<int>{7}) << text;
    }
    for (const char* const text : {"1", "1:", ":1", "1:2,", "1:2:3", "1:2;3:4", "1:2147483648"}) {
        std::map<int, int> ids{{7, 7}};
        EXPECT_EQ(StringToIdMap(text, ids), -1) << text;
        EXPECT_EQ(ids.size(), 1u) << text;
    }
}

// Catches: an order, a sign or a limit lost on the way.
TEST(IdTextTest, WellFormedTextIsReadWhole)
{
    std::list<int> ids{1};
    EXPECT_EQ(StringToIdList("5, -3 ,2147483647,5", ids), 0);
    EXPECT_EQ(ids, (std::list<int>{5, -3, 2147483647, 5}));
    EXPECT_EQ(StringToIdList("", ids), 0);
    EXPECT_TRUE(ids.empty());
    std::set<int> set;
    EXPECT_EQ(StringToIdSet("5,3,5", set), 0);
    EXPECT_EQ(set, (std::set<int>{3, 5}));
    std::map<int, int> map;
    EXPECT_EQ(StringToIdMap("5:1,-3:-2147483648,5:2", map), 0);
    EXPECT_EQ(IdMapToString(map), "-3:-2147483648,5:2");
}
