// SPDX-License-Identifier: Apache-2.0
// package/weeklyschedule.h - what holds at which half hour of the week, as text and as an answer.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "package/export.h"

/// A week of half-hour slots, each with a value from 0 to 9. 0 is off, 1 is on; what 2 to 9 mean is the
/// user's own (another recording mode, another way to notify).
///
/// Text form, made to be written by hand:
///
///     mon-fri 08:00-18:00; sat,sun 22:00-06:00=2; daily 12:00-12:30=off
///
///   text     := "always" | "never" | entry { ";" entry }        an empty text means "always"
///   entry    := days time "-" time [ "=" value ]                no value: on
///   days     := "daily" | day [ "-" day ] { "," day [ "-" day ] }
///   day      := "sun" | "mon" | "tue" | "wed" | "thu" | "fri" | "sat"
///   time     := HH ":" ( "00" | "30" )                          00:00 to 24:00
///   value    := "off" | "on" | "0" to "9"
///
/// A range of days may run over the end of the week, a range of hours over midnight into the next day
/// (22:00-06:00); from a time to the same time is the whole 24 hours that begin there. A later entry
/// overrides an earlier one. Capitals and spaces do not matter. What no entry names is off.
///
/// The week is the local one. An instant is turned into local time by the tz database when it is asked
/// about, so the hour that a zone skips has no instants and the hour that it repeats is judged twice alike.
/// Thread-safety: reading from any thread; changing from one.
class VX_API WeeklySchedule {
public:
    static constexpr int DAYS = 7;
    static constexpr int SLOTS_PER_DAY = 48;
    static constexpr int SLOT_SEC = 1800;
    static constexpr int MAX_VALUE = 9;

    /// Always on.
    WeeklySchedule() noexcept { m_slots.fill(1); }

    /// Reads a text.
    ///
    /// @param pError  where not null, receives on failure one sentence that says what is wrong, at which
    ///                column (from 1), and what is right; unchanged on success
    /// @return 0; -1 and the schedule is as it was.
    [[nodiscard]] int Parse(std::string_view text, std::string* pError = nullptr) noexcept;

    /// The shortest usual text; Parse() of it gives an equal schedule.
    std::string ToText() const;

    /// The value that holds at an instant, in local time. Allocates nothing.
    int ValueAt(std::time_t instant) const noexcept;

    /// The value of one slot. @param day 0 = Sunday  @param slot 0 = from 00:00, 47 = from 23:30
    int GetSlot(int day, int slot) const noexcept { return m_slots[Index(day, slot)]; }
    void SetSlot(int day, int slot, int value) noexcept
    {
        m_slots[Index(day, slot)] = static_cast<std::uint8_t>(value);
    }

    /// Sets the slots of a week, 0 = Sunday 00:00, from `first` on; runs over the end of the week into its start.
    /// @param count 0..336
    void SetRun(int first, int count, int value) noexcept;

    bool operator==(const WeeklySchedule& other) const noexcept { return m_slots == other.m_slots; }

private:
    static std::size_t Index(int day, int slot) noexcept
    {
        return static_cast<std::size_t>(day * SLOTS_PER_DAY + slot);
    }

    std::array<std::uint8_t, DAYS * SLOTS_PER_DAY> m_slots;
};
