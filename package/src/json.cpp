// SPDX-License-Identifier: Apache-2.0
// package/json.cpp - JSON values as text.
#include "package/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>

std::string JsonWrite(const Json::Value& value) noexcept
try {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
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
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &error)) {
        return false;
    }
    value.swap(parsed);
    return true;
} catch (const std::exception& e) {
    error = e.what();
    return false;
}
