// SPDX-License-Identifier: Apache-2.0
// tools/log_names.h - categories and levels as an operator types and reads them.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// A category by its name or number, 0..511. @return nothing for any other text.
std::optional<int> ParseCategory(const std::string& text);

/// A level by its name in either case, or by its number, 0..7; "off" is 0. @return nothing for any other text.
std::optional<int> ParseLevel(const std::string& text);

/// "shmfifo"; the number as text for a category without a name.
std::string CategoryName(int categ);

/// "ERR"; "off" for 0; the number as text for anything else.
std::string LevelName(int level);

/// The numbers of all categories that have a name, ascending.
std::vector<int> NamedCategories();
