// SPDX-License-Identifier: Apache-2.0
// actionrule/actrulepredicates.cpp - what the numbers of actions, events and units mean.
#include "actrulepredicates.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace {

bool IsOneOf(int value, std::initializer_list<int> values) noexcept
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

/// Event-name codes of the consecutive events first, first + 1, ...
struct EventNames {
    int source;
    int first;
    const unsigned char* codes;
    int count;
};

constexpr std::array<unsigned char, 12> CAMERA_NAMES = {17, 2, 18, 0, 0, 0, 0, 0, 0, 3, 4, 5}; // 48..59
constexpr std::array<unsigned char, 47> SOURCE_11_NAMES = {
    6, 7,                                                    // 1, 2
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 3..21
    1,                                                       // 22
    0, 0, 0, 0, 0, 0, 0, 0,                                  // 23..30
    8, 0, 8,                                                 // 31..33
    0, 0, 0, 0, 0, 0, 0, 0,                                  // 34..41
    2, 3, 4, 5, 9, 9,                                        // 42..47
};
constexpr std::array<unsigned char, 40> SOURCE_14_NAMES = {
    6,  7, // 1, 2
    0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0,
    0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0, 0, 0, 0, // 3..33
    13, 12, 14, 11, 10, 15, 16,                         // 34..40
};

template <std::size_t N>
constexpr EventNames NamesOf(int source, int first, const std::array<unsigned char, N>& codes) noexcept
{
    return {source, first, codes.data(), static_cast<int>(N)};
}

constexpr EventNames EVENT_NAMES[] = {
    NamesOf(0, 48, CAMERA_NAMES),
    NamesOf(11, 1, SOURCE_11_NAMES),
    NamesOf(14, 1, SOURCE_14_NAMES),
};

} // namespace

bool IsDeviceEnableAct(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {1, 2});
}

bool IsRecordAct(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {3, 13});
}

bool IsLensAct(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {5, 6, 7, 8});
}

bool IsAudioOutAct(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {9, 11, 12});
}

bool IsDOAct(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {10, 14});
}

bool IsCheckActItemAsSameRule(RULE_ACTION action) noexcept
{
    return IsOneOf(action, {5, 6, 10, 14});
}

bool IsEnableRelateEvt(DEVICE_SRC source, RULE_EVENT event) noexcept
{
    return IsOneOf(source, {0, 7, 9, 11, 14}) && IsOneOf(event, {1, 2});
}

bool IsEnableRelateEvt(const ActionRuleEvent& event) noexcept
{
    return IsEnableRelateEvt(event.GetEvtSrc(), event.GetEvtId());
}

int TimeUnit2Sec(int unit) noexcept
{
    switch (unit) {
    case -2:
        return 0;
    case 2:
        return 60;
    case 3:
        return 3600;
    default:
        return 1; // 0 and 1 are both one second, on purpose
    }
}

int SourceDependentService(DEVICE_SRC source) noexcept
{
    static constexpr int SERVICES[] = {5, 5, 0, 0, 3, 16, 7, 9, 9}; // of the sources 2..10
    return source >= 2 && source <= 10 ? SERVICES[source - 2] : 0;
}

int EventDependentService(RULE_EVENT /*event*/) noexcept
{
    return 0;
}

int GetEventName(RULE_EVENT event, DEVICE_SRC source) noexcept
{
    for (const EventNames& names : EVENT_NAMES) {
        if (names.source == source && event >= names.first && event < names.first + names.count) {
            return names.codes[event - names.first];
        }
    }
    return 0;
}
