// SPDX-License-Identifier: Apache-2.0
// tools/table.h - what a verb prints: aligned columns for people, JSON for machines.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace Json {
class Value;
}

/// Rows under a heading. A column that starts with '>' in the heading is aligned to the right.
class Table {
public:
    /// Two blanks between columns; the last column is never padded.
    explicit Table(std::vector<std::string> headings);

    /// Missing cells are empty; cells beyond the headings are dropped.
    void AddRow(std::vector<std::string> cells);
    [[nodiscard]] bool Empty() const noexcept { return m_rows.empty(); }
    [[nodiscard]] std::string Text() const;
    void Print(std::FILE* out = stdout) const;

private:
    [[nodiscard]] std::string Line(const std::vector<std::string>& cells) const;

    std::vector<std::string> m_headings;
    std::vector<bool> m_alignRight;
    std::vector<std::size_t> m_widths;
    std::vector<std::vector<std::string>> m_rows;
};

/// Prints one JSON document, indented, with a newline behind it: what --json prints for a verb that ends.
void PrintJson(const Json::Value& value, std::FILE* out = stdout);

/// Prints one JSON document on one line and flushes it: what --json prints for a verb that goes on.
void PrintJsonLine(const Json::Value& value, std::FILE* out = stdout);
