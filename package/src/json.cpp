// SPDX-License-Identifier: Apache-2.0
// package/json.cpp - JSON values as text.
#include "package/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string_view>

namespace {

/// "* Line 1, Column 2\n  What is wrong.\n* Line ..." as "line 1, column 2: what is wrong": one line, the first error.
std::string OneLine(std::string text)
{
    text = text.substr(0, text.find("\n* "));
    const std::size_t line = text.find("Line ");
    text.erase(0, line == std::string::npos ? 0 : line);
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n') {
            out += text[i];
            continue;
        }
        i = std::min(text.find_first_not_of(" \n", i), text.size()) - 1;
        out += i + 1 == text.size() ? "" : out.find(": ") == std::string::npos ? ": " : " ";
    }
    return out;
}

/// Bytes of the character that a text begins with; 0 if they are no UTF-8.
std::size_t CharacterSize(std::string_view text) noexcept
{
    const auto byteAt = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const unsigned first = byteAt(0);
    const std::size_t size = first < 0x80   ? 1
                             : first < 0xc2 ? 0
                             : first < 0xe0 ? 2
                             : first < 0xf0 ? 3
                             : first < 0xf5 ? 4
                                            : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byteAt(i) & 0xc0u) != 0x80u) {
            return 0;
        }
    }
    const unsigned second = byteAt(1);
    const bool isTooLong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
    const bool isNoCharacter = (first == 0xed && second > 0x9f) || (first == 0xf4 && second > 0x8f);
    return isTooLong || isNoCharacter ? 0 : size;
}

/// The writer copies bytes as they are: what is no UTF-8 is replaced behind it.
std::string ReplaceBroken(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        out += size > 0 ? text.substr(0, size) : "\xEF\xBF\xBD"; // U+FFFD
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return out;
}

} // namespace

std::string JsonWrite(const Json::Value& value) noexcept
try {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return ReplaceBroken(Json::writeString(builder, value));
} catch (const std::exception&) {
    return {};
}

bool JsonRead(const std::string& text, Json::Value& value, std::string& error) noexcept
try {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value parsed;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors)) {
        error = OneLine(std::move(errors));
        return false;
    }
    value.swap(parsed);
    return true;
} catch (const std::exception& e) {
    error = e.what();
    return false;
}
