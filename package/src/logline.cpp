// SPDX-License-Identifier: Apache-2.0
// package/src/logline.cpp - header, text and escapes of one log line.
#include "logline.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t NAME_MAX_SIZE = 64;   // category, level
constexpr std::size_t PLACE_MAX_SIZE = 256; // file, function
constexpr std::size_t MARK_ROOM = 48;       // the mark of a text that was cut

constexpr std::size_t SECOND_SIZE = 19; // 2026-11-21T03:36:00

void WriteTwo(char* p, unsigned value) noexcept
{
    p[0] = static_cast<char>('0' + value / 10 % 10);
    p[1] = static_cast<char>('0' + value % 10);
}

// By the calendar alone: gmtime_r() takes a lock, which a child after fork() may find held.
void WriteSecond(char* p, std::time_t second) noexcept
{
    using namespace std::chrono;
    const sys_seconds moment{seconds{second}};
    const sys_days day = floor<days>(moment);
    const year_month_day date{day};
    const auto inDay = static_cast<unsigned>((moment - day).count());
    const int year = std::clamp(static_cast<int>(date.year()), 0, 9999);
    WriteTwo(p, static_cast<unsigned>(year) / 100);
    WriteTwo(p + 2, static_cast<unsigned>(year) % 100);
    p[4] = '-';
    WriteTwo(p + 5, static_cast<unsigned>(date.month()));
    p[7] = '-';
    WriteTwo(p + 8, static_cast<unsigned>(date.day()));
    p[10] = 'T';
    WriteTwo(p + 11, inDay / 3600);
    p[13] = ':';
    WriteTwo(p + 14, inDay / 60 % 60);
    p[16] = ':';
    WriteTwo(p + 17, inDay % 60);
}

// The second changes far less often than a line is written.
struct SecondText {
    std::time_t second = -1;
    char text[SECOND_SIZE] = {};
};
constinit thread_local SecondText t_second;

bool IsControl(char c) noexcept
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Whether any is there, eight bytes at a time: nearly every text has none.
bool HasControl(const char* p, const char* end) noexcept
{
    constexpr std::uint64_t ONES = 0x0101010101010101u;
    constexpr std::uint64_t HIGH = 0x80u * ONES;
    for (std::uint64_t word = 0; end - p >= 8; p += 8) {
        std::memcpy(&word, p, sizeof word);
        const std::uint64_t delete7f = word ^ (0x7fu * ONES);
        const std::uint64_t below = (word - 0x20u * ONES) & ~word;   // a byte below 0x20 sets its high bit
        const std::uint64_t deleted = (delete7f - ONES) & ~delete7f; // a byte that is 0x7f sets its high bit
        if (((below | deleted) & HIGH) != 0) {
            return true;
        }
    }
    return std::any_of(p, end, IsControl);
}

// How a control character is written, without the backslash; the size is 1 or 3.
std::size_t EscapeOf(char c, char (&out)[3]) noexcept
{
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    switch (c) {
    case '\n':
        out[0] = 'n';
        return 1;
    case '\r':
        out[0] = 'r';
        return 1;
    case '\t':
        out[0] = 't';
        return 1;
    default:
        out[0] = 'x';
        out[1] = DIGITS[static_cast<unsigned char>(c) >> 4];
        out[2] = DIGITS[static_cast<unsigned char>(c) & 0xF];
        return 3;
    }
}

} // namespace

LogLine::~LogLine()
{
    if (m_pBuffer != m_stack) {
        std::free(m_pBuffer);
    }
}

bool LogLine::Grow(std::size_t capacity) noexcept
{
    if (capacity <= m_capacity) {
        return true;
    }
    auto* const pLarger = static_cast<char*>(std::malloc(capacity));
    if (pLarger == nullptr) {
        return false;
    }
    std::memcpy(pLarger, m_pBuffer, m_size);
    if (m_pBuffer != m_stack) {
        std::free(m_pBuffer);
    }
    m_pBuffer = pLarger;
    m_capacity = capacity;
    return true;
}

// The pieces of the header are bounded, so that it always fits.
void LogLine::Put(const char* text, std::size_t limit) noexcept
{
    const char* const known = text != nullptr ? text : "unknown";
    const std::size_t size = ::strnlen(known, limit);
    std::memcpy(m_pBuffer + m_size, known, size);
    m_size += size;
}

void LogLine::PutChar(char c) noexcept
{
    m_pBuffer[m_size++] = c;
}

void LogLine::PutNumber(std::uint32_t number, int minDigits) noexcept
{
    char digits[10];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    for (auto missing = minDigits - (end - digits); missing > 0; --missing) {
        PutChar('0');
    }
    std::memcpy(m_pBuffer + m_size, digits, static_cast<std::size_t>(end - digits));
    m_size += static_cast<std::size_t>(end - digits);
}

void LogLine::PutMoment(const LogMoment& moment) noexcept
{
    SecondText& cached = t_second;
    if (cached.second != moment.now.tv_sec) {
        WriteSecond(cached.text, moment.now.tv_sec);
        cached.second = moment.now.tv_sec;
    }
    std::memcpy(m_pBuffer, cached.text, SECOND_SIZE);
    m_size = SECOND_SIZE;
    PutChar('.');
    PutNumber(static_cast<std::uint32_t>(moment.now.tv_nsec / 1'000'000), 3);
    PutChar('Z');
    PutChar(' ');
    PutNumber(static_cast<std::uint32_t>(moment.pid));
    PutChar(' ');
    PutNumber(static_cast<std::uint32_t>(moment.tid));
    PutChar(' ');
    m_bodyStart = m_size;
}

void LogLine::PutPlace(const LogPlace& place) noexcept
{
    Put(place.categText, NAME_MAX_SIZE);
    PutChar(' ');
    Put(place.levelText, NAME_MAX_SIZE);
    PutChar(' ');
    Put(place.file, PLACE_MAX_SIZE);
    PutChar(':');
    PutNumber(static_cast<std::uint32_t>(std::max(place.line, 0)));
    PutChar(' ');
    Put(place.func, PLACE_MAX_SIZE);
    PutChar(':');
    PutChar(' ');
    m_headerSize = m_size;
}

/// @return how many bytes of the text were cut; 0 as a rule.
std::size_t LogLine::FormatText(const char* fmt, va_list args) noexcept
{
    const int callersErrno = errno;
    va_list again;
    va_copy(again, args);
    std::size_t room = m_capacity - m_headerSize - MARK_ROOM;
    const int needed = std::vsnprintf(m_pBuffer + m_headerSize, room, fmt, args);
    std::size_t size = needed < 0 ? 0 : static_cast<std::size_t>(needed);
    const std::size_t wanted = size;
    if (needed < 0) { // a text that cannot be converted: the format says at least which message it was
        Put("[unprintable] ", PLACE_MAX_SIZE);
        Put(fmt, PLACE_MAX_SIZE);
        va_end(again);
        return 0;
    }
    if (size >= room && Grow(m_headerSize + std::min(size, TEXT_MAX) + 1 + MARK_ROOM)) {
        room = m_capacity - m_headerSize - MARK_ROOM;
        errno = callersErrno;
        std::vsnprintf(m_pBuffer + m_headerSize, room, fmt, again);
    }
    va_end(again);
    size = std::min(size, room - 1);
    m_size += size;
    return wanted - size;
}

// Backwards in place, each character moved once.
void LogLine::Escape() noexcept
{
    const char* const pText = m_pBuffer + m_headerSize;
    if (!HasControl(pText, m_pBuffer + m_size)) {
        return;
    }
    std::size_t extra = 0;
    char escape[3];
    for (const char* p = pText; p != m_pBuffer + m_size; ++p) {
        extra += IsControl(*p) ? EscapeOf(*p, escape) : 0;
    }
    if (!Grow(m_size + extra + MARK_ROOM)) {
        std::replace_if(m_pBuffer + m_headerSize, m_pBuffer + m_size, IsControl, '?');
        return;
    }
    std::size_t from = m_size;
    std::size_t to = m_size + extra;
    m_size = to;
    while (from > m_headerSize) {
        const char c = m_pBuffer[--from];
        if (!IsControl(c)) {
            m_pBuffer[--to] = c;
            continue;
        }
        const std::size_t size = EscapeOf(c, escape);
        to -= size;
        std::memcpy(m_pBuffer + to, escape, size);
        m_pBuffer[--to] = '\\';
    }
}

void LogLine::Format(const LogPlace& place, const LogMoment& moment, const char* fmt, va_list args) noexcept
{
    PutMoment(moment);
    PutPlace(place);
    const std::size_t cut = FormatText(fmt != nullptr ? fmt : "", args);
    if (cut == 0 && m_size > m_headerSize && m_pBuffer[m_size - 1] == '\n') {
        --m_size;
    }
    Escape();
    if (cut != 0) {
        m_size += static_cast<std::size_t>(
            std::snprintf(m_pBuffer + m_size, MARK_ROOM - 1, "[%zu more bytes cut]", cut));
    }
    PutChar('\n');
}

void LogLine::FormatRepeat(std::string_view body, std::size_t textSize, const LogMoment& moment,
                           std::uint32_t repeats) noexcept
{
    PutMoment(moment);
    const std::size_t placeSize = body.size() - textSize;
    std::memcpy(m_pBuffer + m_size, body.data(), placeSize);
    m_size += placeSize;
    m_headerSize = m_size;
    Put("[repeated ", PLACE_MAX_SIZE);
    PutNumber(repeats);
    Put(" times] ", PLACE_MAX_SIZE);
    std::memcpy(m_pBuffer + m_size, body.data() + placeSize, textSize);
    m_size += textSize;
    PutChar('\n');
}

void LogLine::FormatOwn(const LogPlace& place, const LogMoment& moment, const char* fmt, ...) noexcept
{
    va_list args;
    va_start(args, fmt);
    Format(place, moment, fmt, args);
    va_end(args);
}
