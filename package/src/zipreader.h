// SPDX-License-Identifier: Apache-2.0
// package/src/zipreader.h - reading a zip file again, as a spreadsheet is one.
#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Reads all of a zip file, and compares each part with its checksum.
///
/// @param part     is told the name of each part, before its bytes
/// @param content  gets the bytes of the part, piece by piece
/// @return 0; -1 (logged).
[[nodiscard]] int ReadZip(const std::string& path, const std::function<void(const std::string& name)>& part,
                          const std::function<void(std::string_view bytes)>& content) noexcept;
