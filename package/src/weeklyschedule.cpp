// SPDX-License-Identifier: Apache-2.0
// package/src/weeklyschedule.cpp - reading, writing and judging weekly schedules.
#include "package/weeklyschedule.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

namespace {

constexpr int SLOTS_PER_WEEK = WeeklySchedule::DAYS * WeeklySchedule::SLOTS_PER_DAY;
constexpr const char* DAY_NAMES[] = {"sun", "mon", "tue", "wed", "thu", "fri", "sat"};

/// One entry of the text, read but not yet applied.
struct Entry {
    std::array<bool, WeeklySchedule::DAYS> days{};
    int from = 0; // slots of a day, 0..48
    int to = 0;
    int value = 1;
};

/// A reader of one text. The first failure is kept; after it every step fails.
class Parser {
public:
    explicit Parser(std::string_view text) : m_text(text) {}

    bool AtEnd()
    {
        SkipSpace();
        return m_pos >= m_text.size();
    }

    bool Accept(std::string_view word)
    {
        SkipSpace();
        if (m_text.size() - m_pos < word.size()) {
            return false;
        }
        for (std::size_t i = 0; i < word.size(); ++i) {
            if (std::tolower(static_cast<unsigned char>(m_text[m_pos + i])) != word[i]) {
                return false;
            }
        }
        m_pos += word.size();
        return true;
    }

    bool ReadEntry(Entry& entry)
    {
        return ReadDays(entry) && ReadTime(entry.from) && Expect("-", "two times are joined by '-'") &&
               ReadTime(entry.to) && ReadValue(entry);
    }

    bool Fail(const std::string& what)
    {
        if (m_error.empty()) {
            m_error = "schedule, column " + std::to_string(m_pos + 1) + ": " + what;
        }
        return false;
    }

    const std::string& Error() const { return m_error; }

private:
    void SkipSpace()
    {
        while (m_pos < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_pos]))) {
            ++m_pos;
        }
    }

    bool Expect(std::string_view word, const char* rule) { return Accept(word) || Fail(rule); }

    std::optional<int> ReadDay()
    {
        for (int day = 0; day < WeeklySchedule::DAYS; ++day) {
            if (Accept(DAY_NAMES[day])) {
                return day;
            }
        }
        Fail("a day is one of sun, mon, tue, wed, thu, fri, sat, or all of them: daily");
        return std::nullopt;
    }

    bool ReadDays(Entry& entry)
    {
        if (Accept("daily")) {
            entry.days.fill(true);
            return true;
        }
        do {
            const auto first = ReadDay();
            const auto last = first && Accept("-") ? ReadDay() : first;
            if (!last) {
                return false;
            }
            for (int day = *first;; day = (day + 1) % WeeklySchedule::DAYS) {
                entry.days[static_cast<std::size_t>(day)] = true;
                if (day == *last) {
                    break;
                }
            }
        } while (Accept(","));
        return true;
    }

    std::optional<int> ReadTwoDigits()
    {
        int number = 0;
        for (int i = 0; i < 2; ++i, ++m_pos) {
            if (m_pos >= m_text.size() || !std::isdigit(static_cast<unsigned char>(m_text[m_pos]))) {
                return std::nullopt;
            }
            number = number * 10 + (m_text[m_pos] - '0');
        }
        return number;
    }

    bool ReadTime(int& slot)
    {
        SkipSpace();
        const std::size_t start = m_pos;
        const auto hour = ReadTwoDigits();
        const bool hasColon = hour && Accept(":");
        const auto minute = hasColon ? ReadTwoDigits() : std::nullopt;
        if (!minute || (*minute != 0 && *minute != 30) || *hour * 60 + *minute > 24 * 60) {
            m_pos = start;
            return Fail("a time is HH:00 or HH:30, from 00:00 to 24:00");
        }
        slot = *hour * 2 + *minute / 30;
        return true;
    }

    bool ReadValue(Entry& entry)
    {
        if (!Accept("=")) {
            return true;
        }
        if (Accept("off")) {
            entry.value = 0;
            return true;
        }
        if (Accept("on")) {
            return true;
        }
        SkipSpace();
        if (m_pos >= m_text.size() || !std::isdigit(static_cast<unsigned char>(m_text[m_pos]))) {
            return Fail("a value is off, on, or a digit from 0 to 9");
        }
        entry.value = m_text[m_pos++] - '0';
        return true;
    }

    std::string_view m_text;
    std::size_t m_pos = 0;
    std::string m_error;
};

void Apply(const Entry& entry, WeeklySchedule& schedule)
{
    int length = entry.to - entry.from;
    if (length <= 0) {
        length += WeeklySchedule::SLOTS_PER_DAY; // over midnight
    }
    for (int day = 0; day < WeeklySchedule::DAYS; ++day) {
        if (entry.days[static_cast<std::size_t>(day)]) {
            schedule.SetRun(day * WeeklySchedule::SLOTS_PER_DAY + entry.from, length, entry.value);
        }
    }
}

bool ParseText(std::string_view text, WeeklySchedule& schedule, std::string& error)
{
    Parser parser(text);
    schedule.SetRun(0, SLOTS_PER_WEEK, 0);
    if (parser.AtEnd() || parser.Accept("always")) {
        schedule.SetRun(0, SLOTS_PER_WEEK, 1);
    } else if (!parser.Accept("never")) {
        do {
            Entry entry;
            if (parser.AtEnd()) {
                break; // a ';' at the end
            }
            if (!parser.ReadEntry(entry)) {
                error = parser.Error();
                return false;
            }
            Apply(entry, schedule);
        } while (parser.Accept(";"));
    }
    if (!parser.AtEnd()) {
        parser.Fail("entries are separated by ';'");
        error = parser.Error();
        return false;
    }
    return true;
}

std::string TimeText(int slot)
{
    const int hour = slot / 2;
    return {static_cast<char>('0' + hour / 10), static_cast<char>('0' + hour % 10), ':',
            slot % 2 == 0 ? '0' : '3', '0'};
}

/// The times of one day, as they stand behind the days: one text for each run of equal slots.
std::vector<std::string> DayRuns(const WeeklySchedule& schedule, int day)
{
    std::vector<std::string> runs;
    for (int from = 0; from < WeeklySchedule::SLOTS_PER_DAY;) {
        const int value = schedule.GetSlot(day, from);
        int to = from + 1;
        while (to < WeeklySchedule::SLOTS_PER_DAY && schedule.GetSlot(day, to) == value) {
            ++to;
        }
        if (value != 0) {
            runs.push_back(TimeText(from) + "-" + TimeText(to) +
                           (value == 1 ? "" : "=" + std::to_string(value)));
        }
        from = to;
    }
    return runs;
}

/// "mon-fri" or "sun,tue" for the days that are set; "daily" for all.
std::string DaysText(const std::array<bool, WeeklySchedule::DAYS>& days)
{
    if (std::all_of(days.begin(), days.end(), [](bool isSet) { return isSet; })) {
        return "daily";
    }
    std::string text;
    for (std::size_t first = 0; first < days.size();) {
        std::size_t last = first;
        while (days[first] && last + 1 < days.size() && days[last + 1]) {
            ++last;
        }
        if (days[first]) {
            text += (text.empty() ? "" : ",") + std::string(DAY_NAMES[first]);
            text += last == first ? "" : (last == first + 1 ? "," : "-") + std::string(DAY_NAMES[last]);
        }
        first = last + 1;
    }
    return text;
}

} // namespace

int WeeklySchedule::Parse(std::string_view text, std::string* pError) noexcept
try {
    WeeklySchedule parsed;
    std::string error;
    if (!ParseText(text, parsed, error)) {
        if (pError != nullptr) {
            *pError = std::move(error);
        }
        return -1;
    }
    *this = parsed;
    return 0;
} catch (const std::exception&) {
    return -1; // out of memory for the message
}

std::string WeeklySchedule::ToText() const
{
    const auto isAll = [this](int value) {
        return std::all_of(m_slots.begin(), m_slots.end(), [value](int slot) { return slot == value; });
    };
    if (isAll(0) || isAll(1)) {
        return isAll(0) ? "never" : "always";
    }
    std::string text;
    std::array<bool, DAYS> done{};
    for (int day = 0; day < DAYS; ++day) {
        const auto runs = DayRuns(*this, day);
        std::array<bool, DAYS> alike{};
        for (int other = day; other < DAYS && !done[static_cast<std::size_t>(day)]; ++other) {
            alike[static_cast<std::size_t>(other)] = DayRuns(*this, other) == runs;
        }
        for (std::size_t other = 0; other < alike.size(); ++other) {
            done[other] = done[other] || alike[other];
        }
        const bool isFirst = alike[static_cast<std::size_t>(day)];
        for (std::size_t i = 0; isFirst && i < runs.size(); ++i) {
            text += (text.empty() ? "" : "; ") + DaysText(alike) + " " + runs[i];
        }
    }
    return text;
}

void WeeklySchedule::SetRun(int first, int count, int value) noexcept
{
    const int start = first % SLOTS_PER_WEEK;
    const int untilEnd = std::min(count, SLOTS_PER_WEEK - start);
    std::fill_n(m_slots.begin() + start, untilEnd, static_cast<std::uint8_t>(value));
    std::fill_n(m_slots.begin(), count - untilEnd, static_cast<std::uint8_t>(value));
}

int WeeklySchedule::ValueAt(std::time_t instant) const noexcept
{
    tm local{};
    if (::localtime_r(&instant, &local) == nullptr) {
        return 0; // a year that no calendar holds
    }
    return GetSlot(local.tm_wday, local.tm_hour * 2 + local.tm_min / 30);
}
