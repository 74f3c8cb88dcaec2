// SPDX-License-Identifier: Apache-2.0
// package/json.h - JSON values as text.
#pragma once

#include <json/forwards.h>

#include <string>

#include "package/export.h"

/// The value as JSON text on one line, without spaces. Bytes that are no UTF-8 are written as U+FFFD.
///
/// @return the text; empty when memory runs out or the value is nested too deep for the writer.
/// Thread-safety: any thread.
[[nodiscard]] VX_API std::string JsonWrite(const Json::Value& value) noexcept;

/// Reads one JSON value; nothing but blanks may follow it.
///
/// @return true, and `value` is set; false, `value` is unchanged and `error` says where and why, on one line.
/// Thread-safety: any thread.
[[nodiscard]] VX_API bool JsonRead(const std::string& text, Json::Value& value, std::string& error) noexcept;
