// SPDX-License-Identifier: Apache-2.0
// tests/package/weeklyschedule_test.cpp - weekly schedules: text, messages, local time.
#include "package/weeklyschedule.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
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

/// Puts a zone in place for the life of a test.
class ZoneGuard {
public:
    explicit ZoneGuard(const char* zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ZoneGuard()
    {
        ::unsetenv("TZ");
        ::tzset();
    }
    ZoneGuard(const ZoneGuard&) = delete;
    ZoneGuard& operator=(const ZoneGuard&) = delete;
};

} // namespace

// Catches: a broken text that is half obeyed, or a message that leaves its reader searching.
TEST(WeeklyScheduleTest, BrokenTextChangesNothingAndIsNamed)
{
    struct {
        const char* text;
        const char* message;
    } const cases[] = {
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
    const struct {
        const char* in;
        const char* out;
    } cases[] = {{"daily 00:00-24:00", "always"},
                 {"daily 00:00-24:00=off", "never"},

                 {"mon,tue,wed,thu,fri 08:00-18:00=on", "mon-fri 08:00-18:00"},
                 {"sat-sun 10:00-12:00=3", "sun,sat 10:00-12:00=3"}};
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(Parsed(in).ToText(), out);
    }
    std::mt19937 random(20261121);
    for (int round = 0; round < 300; ++round) {
        WeeklySchedule schedule = Parsed("never");
        for (int i = 0; i < round; ++i) {
            schedule.SetSlot(static_cast<int>(random() % 7), static_cast<int>(random() % 48),
                             static_cast<int>(random() % 10));
        }
        ASSERT_EQ(Parsed(schedule.ToText()), schedule) << schedule.ToText();
    }
}

// Catches: an hour's shift after the clocks change, in the hour that is skipped or repeated.
TEST(WeeklyScheduleTest, LocalTimeIsThatOfTheInstant)
{
    const ZoneGuard zone("America/Chicago");
    const WeeklySchedule night = Parsed("sun 01:00-02:00; sun 02:00-03:00=2; sun 03:00-04:00=3");
    // 2026-03-08: 08:00 UTC is when 02:00 becomes 03:00.
    constexpr std::time_t SPRING = 1772956800;
    EXPECT_EQ(night.ValueAt(SPRING - 1), 1);
    EXPECT_EQ(night.ValueAt(SPRING), 3);
    // 2026-11-01: 07:00 UTC is when 02:00 becomes 01:00 again.
    constexpr std::time_t AUTUMN = 1793516400;
    EXPECT_EQ(night.ValueAt(AUTUMN - 1), 1);
    EXPECT_EQ(night.ValueAt(AUTUMN), 1);
    EXPECT_EQ(night.ValueAt(AUTUMN + 3599), 1);
    EXPECT_EQ(night.ValueAt(AUTUMN + 3600), 2);
}
