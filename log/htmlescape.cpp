// SPDX-License-Identifier: Apache-2.0
// log/htmlescape.cpp - any bytes made harmless. Runs of ordinary characters are copied at once.
#include "htmlescape.h"

#include <array>
#include <charconv>
#include <cstdint>

#include "package/utf8.h"

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

/// Bytes of `specials` and everything that is not printable ASCII.
constexpr std::array<bool, 256> Specials(std::string_view specials, std::string_view allowed)
{
    std::array<bool, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = i < 0x20 || i > 0x7E;
    }
    for (const char c : specials) {
        table[static_cast<unsigned char>(c)] = true;
    }
    for (const char c : allowed) {
        table[static_cast<unsigned char>(c)] = false;
    }
    return table;
}

constexpr auto HTML_SPECIALS = Specials("&<>\"'", "\t\n");
constexpr auto PLAIN_SPECIALS = Specials("", "\t\n");
constexpr auto LINE_SPECIALS = Specials("\\", "");

/// Whether a page and an XML document may hold the character: no control character and no noncharacter.
bool IsText(std::uint32_t code) noexcept
{
    return code > 0x9F && (code < 0xFDD0 || code > 0xFDEF) && (code & 0xFFFE) != 0xFFFE;
}

/// Appends the picture of a control character: U+2400 and on, U+2421 for 0x7F.
void AppendPicture(std::string& out, unsigned char control)
{
    out += "\xE2\x90";
    out += static_cast<char>(control == 0x7F ? 0xA1 : 0x80 + control);
}

void AppendReference(std::string& out, char markup)
{
    switch (markup) {
    case '&':
        out += "&amp;";
        break;
    case '<':
        out += "&lt;";
        break;
    case '>':
        out += "&gt;";
        break;
    case '"':
        out += "&quot;";
        break;
    default:
        out += "&#39;";
        break;
    }
}

/// Copies runs without special bytes, and has `special` append what starts at each special one.
///
/// @param special  gets the text from there on; returns the bytes that it has dealt with
template <typename Special>
void AppendRuns(std::string& out, std::string_view text, const std::array<bool, 256>& specials,
                Special special)
{
    std::size_t start = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        if (!specials[static_cast<unsigned char>(text[i])]) {
            ++i;
            continue;
        }
        out.append(text, start, i - start);
        i += special(text.substr(i));
        start = i;
    }
    out.append(text, start, i - start);
}

std::size_t AppendSpecial(std::string& out, std::string_view rest)
{
    const auto byte = static_cast<unsigned char>(rest.front());
    if (byte < 0x20 || byte == 0x7F) {
        AppendPicture(out, byte);
        return 1;
    }
    if (byte < 0x80) {
        AppendReference(out, rest.front());
        return 1;
    }
    const Utf8 character = DecodeUtf8(rest);
    out += character.isValid && IsText(character.code) ? rest.substr(0, character.size) : REPLACEMENT;
    return character.size;
}

void AppendHex(std::string& out, char byte)
{
    constexpr const char* DIGITS = "0123456789ABCDEF";
    out += "\\x";
    out += DIGITS[static_cast<unsigned char>(byte) >> 4];
    out += DIGITS[static_cast<unsigned char>(byte) & 15];
}

std::size_t AppendLineSpecial(std::string& out, std::string_view rest)
{
    const char c = rest.front();
    const Utf8 character = static_cast<unsigned char>(c) >= 0x80 ? DecodeUtf8(rest) : Utf8{1, 0, false};
    if (c == '\\' || c == '\n' || c == '\t') {
        out += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : "\\t";
    } else if (character.isValid && character.code > 0x9F) {
        out += rest.substr(0, character.size);
    } else {
        for (const char byte : rest.substr(0, character.size)) {
            AppendHex(out, byte);
        }
    }
    return character.size;
}

} // namespace

void AppendHtml(std::string& out, std::string_view text)
{
    AppendRuns(out, text, HTML_SPECIALS, [&out](std::string_view rest) { return AppendSpecial(out, rest); });
}

void AppendPlain(std::string& out, std::string_view text)
{
    AppendRuns(out, text, PLAIN_SPECIALS, [&out](std::string_view rest) { return AppendSpecial(out, rest); });
}

void AppendLineText(std::string& out, std::string_view text)
{
    AppendRuns(out, text, LINE_SPECIALS,
               [&out](std::string_view rest) { return AppendLineSpecial(out, rest); });
}

std::string ReadLineText(std::string_view line)
{
    std::string text;
    while (!line.empty()) {
        const std::size_t size = line.front() == '\\' && line.size() > 1 ? (line[1] == 'x' ? 4 : 2) : 1;
        unsigned int byte = 0;
        if (size == 4 && line.size() >= 4 &&
            std::from_chars(line.data() + 2, line.data() + 4, byte, 16).ec == std::errc()) {
            text += static_cast<char>(byte);
        } else if (size == 2) {
            text += line[1] == 'n' ? '\n' : line[1] == 't' ? '\t' : line[1];
        } else {
            text += line.front();
            line.remove_prefix(1);
            continue;
        }
        line.remove_prefix(size);
    }
    return text;
}
