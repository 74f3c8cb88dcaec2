// SPDX-License-Identifier: Apache-2.0
// tools/mime_encoding.cpp - texts and bytes in the forms that a mail may carry.
#include "mime_encoding.h"

#include <algorithm>
#include <cstdint>

#include "htmlescape.h"

namespace {

constexpr std::size_t LINE_SIZE = 76;

unsigned char ByteAt(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

std::string Base64(std::string_view bytes)
{
    static constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto word = static_cast<std::uint32_t>(ByteAt(bytes, i) << 16 | ByteAt(bytes, i + 1) << 8 |
                                                     ByteAt(bytes, i + 2));
        const std::size_t left = bytes.size() - i;
        out += DIGITS[word >> 18];
        out += DIGITS[(word >> 12) & 63];
        out += left > 1 ? DIGITS[(word >> 6) & 63] : '=';
        out += left > 2 ? DIGITS[word & 63] : '=';
    }
    return out;
}

void AppendQuoted(std::string& line, unsigned char byte)
{
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    line += '=';
    line += DIGITS[byte >> 4];
    line += DIGITS[byte & 15];
}

/// One line of text without its end. Blanks at its end would be lost on the way, so they are written as numbers.
void AppendQuotedLine(std::string& out, std::string_view text)
{
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char byte = ByteAt(text, i);
        const bool isBlank = byte == ' ' || byte == '\t';
        std::string next;
        if (isBlank ? i + 1 == text.size() : byte <= ' ' || byte > '~' || byte == '=') {
            AppendQuoted(next, byte);
        } else {
            next = text[i];
        }
        const std::size_t room = i + 1 == text.size() ? LINE_SIZE : LINE_SIZE - 1; // a soft break is one more
        if (line.size() + next.size() > room) {
            out += line + "=\r\n";
            line.clear();
        }
        line += next;
    }
    out += line + "\r\n";
}

/// Encoded words, each with whole characters, one a line; the lines are joined by folding.
std::string EncodedWords(std::string_view text)
{
    constexpr std::size_t WORD_BYTES = 42; // 56 of base64 and 12 around them stay below 75
    std::string out;
    do {
        const std::size_t size = WholeCharacters(text, WORD_BYTES);
        out += (out.empty() ? "=?utf-8?B?" : "\r\n =?utf-8?B?") + Base64(text.substr(0, size)) + "?=";
        text.remove_prefix(size);
    } while (!text.empty());
    return out;
}

std::string WithoutControls(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; },
        ' ');
    return ValidUtf8(text);
}

bool IsAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

std::string ValidUtf8(std::string_view text)
{
    std::string out;
    AppendPlain(out, text);
    return out;
}

std::size_t WholeCharacters(std::string_view text, std::size_t limit)
{
    std::size_t end = std::min(limit, text.size());
    if (end < text.size()) {
        while (end > 0 && (ByteAt(text, end) & 0xc0) == 0x80) {
            --end;
        }
    }
    return end;
}

std::string QuotedPrintable(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 16 + 2);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        AppendQuotedLine(out, text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return out;
}

std::string Base64Lines(std::string_view bytes)
{
    constexpr std::size_t LINE_BYTES = LINE_SIZE / 4 * 3;
    std::string out;
    out.reserve((bytes.size() / LINE_BYTES + 1) * (LINE_SIZE + 2));
    while (!bytes.empty()) {
        out += Base64(bytes.substr(0, LINE_BYTES)) + "\r\n";
        bytes.remove_prefix(std::min(LINE_BYTES, bytes.size()));
    }
    return out;
}

std::string HeaderField(std::string_view name, std::string_view value)
{
    const std::string text = WithoutControls(std::string(value));
    const bool isPlain = IsAscii(text) && name.size() + 2 + text.size() <= LINE_SIZE &&
                         text.find("=?") == std::string::npos && text.find_first_not_of(' ') == 0 &&
                         text.back() != ' ';
    std::string field(name);
    if (text.empty()) {
        return field + ":\r\n";
    }
    return field + ": " + (isPlain ? text : EncodedWords(text)) + "\r\n";
}

std::string Phrase(std::string_view text)
{
    const std::string words = WithoutControls(std::string(text));
    std::string quoted = "\"";
    for (const char c : words) {
        quoted += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    }
    quoted += "\"";
    const bool isPlain =
        IsAscii(words) && quoted.size() <= LINE_SIZE - 14 && words.find("=?") == std::string::npos;
    return isPlain ? quoted : EncodedWords(words);
}
