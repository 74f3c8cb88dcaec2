// SPDX-License-Identifier: Apache-2.0
// package/src/json.cpp - JSON values as text.
#include "package/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string_view>

#include "package/utf8.h"

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

/// The writer copies bytes as they are: what is no UTF-8 is replaced behind it, byte by byte.
std::string ReplaceBroken(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const bool isAscii = static_cast<unsigned char>(text.front()) < 0x80;
        const Utf8 character = isAscii ? Utf8{1, 0, true} : DecodeUtf8(text);
        out += character.isValid ? text.substr(0, character.size) : "\xEF\xBF\xBD"; // U+FFFD
        text.remove_prefix(character.isValid ? character.size : 1);
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
