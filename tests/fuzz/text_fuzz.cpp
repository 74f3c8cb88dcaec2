// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/text_fuzz.cpp - id lists, id maps and weekly schedules as text of any bytes.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_root.h"
#include "package/idtext.h"
#include "package/weeklyschedule.h"

namespace {

// Catches: a map or list that its own text does not bring back, or a refusal that changes what was there.
void CheckIds(const std::string& text)
{
    std::map<int, int> ids{{7, 7}};
    if (StringToIdMap(text, ids) != 0) {
        Require(ids == std::map<int, int>{{7, 7}}, "a refused map changes nothing", text);
    } else {
        std::map<int, int> again;
        Require(StringToIdMap(IdMapToString(ids), again) == 0 && again == ids, "a map comes back", text);
    }
    std::list<int> list{7};
    std::set<int> set{7};
    const int listed = StringToIdList(text, list);
    Require(listed == StringToIdSet(text, set), "list and set agree", text);
    Require(listed == 0 ? set == std::set<int>(list.begin(), list.end()) : list == std::list<int>{7},
            "a refused list changes nothing", text);
}

// Catches: a schedule that its own text does not bring back, a refusal without a reason, a value that is none.
void CheckSchedule(const std::string& text, std::time_t instant)
{
    WeeklySchedule schedule;
    schedule.SetSlot(3, 3, 5);
    const WeeklySchedule before = schedule;
    std::string error;
    if (schedule.Parse(text, &error) != 0) {
        Require(schedule == before && !error.empty(), "a refused schedule changes nothing and says why",
                text);
    }
    WeeklySchedule again;
    Require(again.Parse(schedule.ToText()) == 0 && again == schedule, "a schedule comes back", text);
    const int value = schedule.ValueAt(instant);
    Require(value >= 0 && value <= WeeklySchedule::MAX_VALUE, "a value is one of ten", text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    FuzzedDataProvider input(data, size);
    const auto instant = static_cast<std::time_t>(input.ConsumeIntegralInRange<long long>(0, 4102444800LL));
    const std::string text = input.ConsumeRemainingBytesAsString();
    CheckIds(text);
    CheckSchedule(text, instant);
    return 0;
}
