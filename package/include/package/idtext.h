// SPDX-License-Identifier: Apache-2.0
// package/idtext.h - ids as text: lists ("3,5") and maps ("3:1,5:2").
#pragma once

#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "package/export.h"

/// Reads a map of ids from "id:value" pairs joined by commas. Spaces around a number are allowed.
///
/// @param out  replaced on success, unchanged on failure; of an id that stands twice the last value holds
/// @return 0 (an empty text is an empty map); -1 for a text of any other form or a number beyond 32 bits.
/// Thread-safety: any thread.
[[nodiscard]] VX_API int StringToIdMap(std::string_view text, std::map<int, int>& out) noexcept;

/// The text that StringToIdMap() reads, in ascending order of the ids.
VX_API std::string IdMapToString(const std::map<int, int>& ids);

/// Reads ids joined by commas, in their order. An empty text is an empty list.
///
/// @param out  replaced on success, unchanged on failure
/// @return 0; -1 for a text of any other form ("3,,5", "3;5") or a number beyond 32 bits.
[[nodiscard]] VX_API int StringToIdList(std::string_view text, std::list<int>& out) noexcept;

/// The same into a vector, and into a set.
[[nodiscard]] VX_API int StringToIdVector(std::string_view text, std::vector<int>& out) noexcept;
[[nodiscard]] VX_API int StringToIdSet(std::string_view text, std::set<int>& out) noexcept;
