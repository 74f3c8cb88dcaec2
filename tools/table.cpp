// SPDX-License-Identifier: Apache-2.0
// tools/table.cpp - aligned columns and JSON output.
#include "table.h"

#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <utility>

#include "package/json.h"

namespace {

// Columns on a terminal: bytes that continue a UTF-8 character take none.
std::size_t WidthOf(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }));
}

std::string Indented(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value) + "\n";
}

} // namespace

Table::Table(std::vector<std::string> headings) : m_headings(std::move(headings))
{
    for (std::string& heading : m_headings) {
        const bool right = heading.starts_with('>');
        if (right) {
            heading.erase(0, 1);
        }
        m_alignRight.push_back(right);
        m_widths.push_back(WidthOf(heading));
    }
}

void Table::AddRow(std::vector<std::string> cells)
{
    cells.resize(m_headings.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        m_widths[i] = std::max(m_widths[i], WidthOf(cells[i]));
    }
    m_rows.push_back(std::move(cells));
}

std::string Table::Line(const std::vector<std::string>& cells) const
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string padding(m_widths[i] - WidthOf(cells[i]), ' ');
        line += i == 0 ? "" : "  ";
        line += m_alignRight[i] ? padding + cells[i] : cells[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

std::string Table::Text() const
{
    std::string text = Line(m_headings);
    for (const auto& row : m_rows) {
        text += Line(row);
    }
    return text;
}

void Table::Print(std::FILE* out) const
{
    std::fputs(Text().c_str(), out);
}

void PrintJson(const Json::Value& value, std::FILE* out)
{
    std::string text = Indented(value);
    // A name may hold any bytes, JSON may not: the package's writer replaces what is no UTF-8.
    Json::Value valid;
    std::string error;
    const bool isAscii = std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
    if (!isAscii && JsonRead(JsonWrite(value), valid, error)) {
        text = Indented(valid);
    }
    std::fputs(text.c_str(), out);
}

void PrintJsonLine(const Json::Value& value, std::FILE* out)
{
    std::fputs((JsonWrite(value) + "\n").c_str(), out);
    std::fflush(out);
}
