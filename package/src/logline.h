// SPDX-License-Identifier: Apache-2.0
// package/src/logline.h - the text of one log line. Knows nothing of files.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string_view>

/// Where a message comes from. Borrowed texts; a null one counts as "unknown".
struct LogPlace {
    const char* categText;
    const char* levelText;
    const char* file;
    int line;
    const char* func;
};

/// Which thread writes, and when.
struct LogMoment {
    timespec now;
    std::int32_t pid;
    std::int32_t tid;
};

/// One line, made in place: header, text without its newline, newline.
///
/// No allocation up to STACK_SIZE bytes. Where memory for more is lacking, the text is cut as if it were too long.
class LogLine {
public:
    static constexpr std::size_t STACK_SIZE = 2048;
    static constexpr std::size_t TEXT_MAX =
        64 * 1024; ///< bytes of a text before control characters are escaped

    LogLine() noexcept : m_pBuffer(m_stack) {}
    ~LogLine();
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    /// Formats the message; errno on entry is what %m prints. Once per object.
    void Format(const LogPlace& place, const LogMoment& moment, const char* fmt, va_list args) noexcept
        __attribute__((format(printf, 4, 0)));
    /// Says how often a message has come again: its place, the count, its text.
    ///
    /// @param body      Body() of the message
    /// @param textSize  how much of that is the text
    void FormatRepeat(std::string_view body, std::size_t textSize, const LogMoment& moment,
                      std::uint32_t repeats) noexcept;
    /// The same as Format() for a line that the writer itself has to say.
    void FormatOwn(const LogPlace& place, const LogMoment& moment, const char* fmt, ...) noexcept
        __attribute__((format(printf, 4, 5)));

    [[nodiscard]] std::string_view Whole() const noexcept { return {m_pBuffer, m_size}; }
    /// Everything behind time and ids, without the newline: what makes two messages the same.
    [[nodiscard]] std::string_view Body() const noexcept
    {
        return {m_pBuffer + m_bodyStart, m_size - m_bodyStart - 1};
    }
    [[nodiscard]] std::size_t TextSize() const noexcept { return m_size - m_headerSize - 1; }

private:
    void PutMoment(const LogMoment& moment) noexcept;
    void PutPlace(const LogPlace& place) noexcept;
    void Put(const char* text, std::size_t limit) noexcept;
    void PutChar(char c) noexcept;
    void PutNumber(std::uint32_t number, int minDigits = 1) noexcept;
    std::size_t FormatText(const char* fmt, va_list args) noexcept __attribute__((format(printf, 2, 0)));
    void Escape() noexcept;
    bool Grow(std::size_t capacity) noexcept;

    char m_stack[STACK_SIZE]; // left unset: only what is written is read
    char* m_pBuffer;
    std::size_t m_capacity = STACK_SIZE;
    std::size_t m_bodyStart = 0;
    std::size_t m_headerSize = 0;
    std::size_t m_size = 0;
};
