// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/html_fuzz.cpp - any bytes as a cell of a page, a line of a text and a cell of a spreadsheet.
#include <string_view>

#include "fuzz_root.h"
#include "htmlescape.h"

namespace {

/// The bytes of a UTF-8 character that starts at `text`; 0 for none. By the table of well-formed sequences, unlike
/// the product's.
std::size_t WellFormed(std::string_view text)
{
    const struct {
        unsigned first[2];  ///< the least and the greatest first byte
        unsigned second[2]; ///< of the second one; all behind it are 80 to BF
        std::size_t size;
    } table[] = {
        {{0x00, 0x7F}, {0x00, 0xFF}, 1}, {{0xC2, 0xDF}, {0x80, 0xBF}, 2}, {{0xE0, 0xE0}, {0xA0, 0xBF}, 3},
        {{0xE1, 0xEC}, {0x80, 0xBF}, 3}, {{0xED, 0xED}, {0x80, 0x9F}, 3}, {{0xEE, 0xEF}, {0x80, 0xBF}, 3},
        {{0xF0, 0xF0}, {0x90, 0xBF}, 4}, {{0xF1, 0xF3}, {0x80, 0xBF}, 4}, {{0xF4, 0xF4}, {0x80, 0x8F}, 4}};
    for (const auto& [first, second, size] : table) {
        bool isOne = text.size() >= size;
        for (std::size_t i = 0; i < size && isOne; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            isOne = i == 0 ? byte >= first[0] && byte <= first[1]
                           : byte >= (i == 1 ? second[0] : 0x80) && byte <= (i == 1 ? second[1] : 0xBF);
        }
        if (isOne) {
            return size;
        }
    }
    return 0;
}

bool IsUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t size = WellFormed(text);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

bool HasControl(std::string_view text, std::string_view allowed)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isC1 =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (isC1 || ((byte < 0x20 || byte == 0x7F) && allowed.find(text[i]) == allowed.npos)) {
            return true;
        }
    }
    return false;
}

/// What a page's reader makes of references; ends the program at any other "&".
std::string WithoutReferences(std::string_view page)
{
    std::string text;
    while (!page.empty()) {
        std::size_t size = 1;
        char c = page.front();
        if (c == '&') {
            size = 0;
            for (const auto& [name, meaning] : {std::pair<std::string_view, char>{"&amp;", '&'},
                                                {"&lt;", '<'},
                                                {"&gt;", '>'},
                                                {"&quot;", '"'},
                                                {"&#39;", '\''}}) {
                if (page.starts_with(name)) {
                    size = name.size();
                    c = meaning;
                }
            }
            Require(size > 0, "every & is one of the five references", std::string(page.substr(0, 10)));
        }
        text += c;
        page.remove_prefix(size);
    }
    return text;
}

// Catches: markup, a control character or a broken byte that reaches the page; a text that reads as another.
void CheckHtml(const std::string& text)
{
    std::string html;
    std::string plain;
    AppendHtml(html, text);
    AppendPlain(plain, text);
    Require(html.find_first_of("<>\"'") == html.npos, "no markup is left", html);
    Require(WithoutReferences(html) == plain, "references read as what they stand for", html);
    Require(IsUtf8(plain) && !HasControl(plain, "\t\n"), "it is UTF-8 without control characters", plain);
    if (IsUtf8(text) && !HasControl(text, "\t\n") && text.find("\xEF\xB7") == text.npos &&
        text.find("\xBF\xBE") == text.npos && text.find("\xBF\xBF") == text.npos) {
        Require(plain == text, "what is harmless stays as it was", text);
    }
    std::string joined;
    AppendHtml(joined, text + "<" + text);
    Require(joined == html + "&lt;" + html, "each piece is escaped for itself", text);
}

// Catches: a line that is two, or from which another text comes back.
void CheckLine(const std::string& text)
{
    std::string line;
    AppendLineText(line, text);
    Require(IsUtf8(line) && !HasControl(line, ""), "a line is UTF-8 without control characters", line);
    Require(ReadLineText(line) == text, "the text comes back", line);
    static_cast<void>(ReadLineText(text)); // any bytes may be read
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckHtml(text);
    CheckLine(text);
    return 0;
}
