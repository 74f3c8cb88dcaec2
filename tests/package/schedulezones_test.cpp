// SPDX-License-Identifier: Apache-2.0
// tests/package/schedulezones_test.cpp - schedules in every zone, against a tz library of another maker.
#include <date/tz.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <ctime>
#include <set>

#include "package/weeklyschedule.h"

namespace {

using Seconds = std::chrono::seconds;
using Instant = date::sys_seconds;
constexpr int WEEK_SLOTS = WeeklySchedule::DAYS * WeeklySchedule::SLOTS_PER_DAY;

/// Three schedules that together say which slot it is: one digit of its number each.
class SlotFinder {
public:
    SlotFinder()
    {
        for (int slot = 0; slot < WEEK_SLOTS; ++slot) {
            int rest = slot;
            for (WeeklySchedule& digit : m_digits) {
                digit.SetRun(slot, 1, rest % 10);
                rest /= 10;
            }
        }
    }
    int SlotAt(Instant instant) const
    {
        const auto time = static_cast<std::time_t>(instant.time_since_epoch().count());
        return m_digits[0].ValueAt(time) + 10 * m_digits[1].ValueAt(time) + 100 * m_digits[2].ValueAt(time);
    }

private:
    WeeklySchedule m_digits[3];
};

int ExpectedSlot(Instant instant, const date::sys_info& info)
{
    const date::local_seconds local{instant.time_since_epoch() + info.offset};
    const auto day = date::floor<date::days>(local);
    return static_cast<int>(date::weekday(day).c_encoding()) * WeeklySchedule::SLOTS_PER_DAY +
           static_cast<int>((local - day) / std::chrono::minutes(30));
}

/// Every change of a zone's clocks within the years, and two instants of each month.
std::set<Instant> InterestingInstants(const date::time_zone& zone)
{
    using namespace date;
    const Instant first = sys_days(2026_y / 11 / 21);
    const Instant last = sys_days(2036_y / 11 / 21);
    std::set<Instant> instants;
    for (Instant change = zone.get_info(first).end; change < last; change = zone.get_info(change).end) {
        for (const int sec : {-7200, -3601, -3600, -1801, -1, 0, 1, 1799, 1800, 3599, 3600, 7200}) {
            instants.insert(change + Seconds(sec));
        }
    }
    for (Instant instant = first; instant < last; instant += days(15) + Seconds(1787)) {
        instants.insert(instant);
    }
    return instants;
}

} // namespace

// Catches: an hour's shift, in any zone, around any change of its clocks: the gap, the overlap, and a zone whose
// offset is no multiple of the slot.
TEST(ScheduleZonesTest, EveryZoneAndEveryChangeOfTenYears)
{
    const SlotFinder finder;
    std::size_t zones = 0;
    std::size_t asked = 0;
    for (const date::time_zone& zone : date::get_tzdb().zones) {
        ::setenv("TZ", (":" + zone.name()).c_str(), 1);
        ::tzset();
        ++zones;
        for (const Instant instant : InterestingInstants(zone)) {
            ++asked;
            ASSERT_EQ(finder.SlotAt(instant), ExpectedSlot(instant, zone.get_info(instant)))
                << zone.name() << " at " << instant.time_since_epoch().count();
        }
    }
    ::unsetenv("TZ");
    ::tzset();
    EXPECT_GT(zones, 300u);
    EXPECT_GT(asked, 100'000u);
}
