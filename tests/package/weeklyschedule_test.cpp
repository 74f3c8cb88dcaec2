// SPDX-License-Identifier: Apache-2.0
// tests/package/weeklyschedule_test.cpp - weekly schedules: text and messages; local time is in schedulezones_test.cpp.
#include "package/weeklyschedule.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr int WED = 3;
constexpr int SAT = 6;
constexpr int SUN = 0;

WeeklySchedule Parsed(const std::string& text)
{
    WeeklySchedule schedule;
    std::string error;
    EXPECT_EQ(schedule.Parse(text, &error), 0) << text << ": " << error;
    return schedule;
}

} // namespace

// Catches: a broken text that is half obeyed, or a message that leaves its reader searching.
TEST(WeeklyScheduleTest, BrokenTextChangesNothingAndIsNamed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"mo 08:00-09:00", "schedule, column 1: a day is one of"},
        {"mon-xyz 08:00-09:00", "schedule, column 5: a day is one of"},
        {"mon 8:00-09:00", "schedule, column 5: a time is HH:00 or HH:30"},
        {"mon 08:15-09:00", "schedule, column 5: a time is"},
        {"mon 08:00-24:30", "schedule, column 11: a time is"},
        {"mon 08:00 09:00", "schedule, column 11: two times are joined"},
        {"mon 08:00-09:00=x", "schedule, column 17: a value is"},
        {"mon 08:00-09:00 tue 08:00-09:00", "schedule, column 17: entries are separated"},
        {"always mon 08:00-09:00", "schedule, column 8: entries are separated"},
        {"mon 08:00-", "schedule, column 11: a time is"},
    };
    for (const auto& [text, message] : cases) {
        WeeklySchedule schedule = Parsed("sat 00:00-24:00=7");
        const WeeklySchedule before = schedule;
        std::string error;
        EXPECT_EQ(schedule.Parse(text, &error), -1) << text;
        EXPECT_EQ(error.rfind(message, 0), 0u) << text << " -> " << error;
        EXPECT_EQ(schedule, before) << text;
    }
}

// Catches: a range that leaves out its end, forgets midnight or the end of the week, or an order lost.
TEST(WeeklyScheduleTest, EntriesCoverExactlyTheirSlots)
{
    const WeeklySchedule schedule = Parsed("Wed 08:00-09:30 ; fri-sun 22:00 - 06:00=2;sat 23:30-24:00=off;");
    EXPECT_EQ(schedule.GetSlot(WED, 15), 0);
    EXPECT_EQ(schedule.GetSlot(WED, 16), 1);
    EXPECT_EQ(schedule.GetSlot(WED, 18), 1);
    EXPECT_EQ(schedule.GetSlot(WED, 19), 0);
    EXPECT_EQ(schedule.GetSlot(SAT, 11), 2);
    EXPECT_EQ(schedule.GetSlot(SAT, 12), 0);
    EXPECT_EQ(schedule.GetSlot(SAT, 46), 2);
    EXPECT_EQ(schedule.GetSlot(SAT, 47), 0); // the later entry
    EXPECT_EQ(schedule.GetSlot(SUN, 0), 2);
    EXPECT_EQ(schedule.GetSlot(1, 11), 2); // Sunday night ends on Monday
    EXPECT_EQ(Parsed("mon 07:30-07:30").GetSlot(2, 14), 1);
    EXPECT_EQ(Parsed("mon 07:30-07:30").GetSlot(2, 15), 0);
    EXPECT_EQ(Parsed(""), WeeklySchedule());
    EXPECT_EQ(Parsed("mon 00:00-24:00").GetSlot(2, 0), 0);
}

// Catches: a text that is written and cannot be read back, or that says something else.
TEST(WeeklyScheduleTest, WhatIsWrittenIsReadBackEqual)
{
    const std::pair<const char*, const char*> cases[] = {
        {"daily 00:00-24:00", "always"},
        {"daily 00:00-24:00=off", "never"},

        {"mon,tue,wed,thu,fri 08:00-18:00=on", "mon-fri 08:00-18:00"},
        {"sat-sun 10:00-12:00=3", "sun,sat 10:00-12:00=3"}};
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(Parsed(in).ToText(), out);
    }
}
