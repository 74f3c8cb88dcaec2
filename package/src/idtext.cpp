// SPDX-License-Identifier: Apache-2.0
// package/src/idtext.cpp - reading and writing ids as text.
#include "package/idtext.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <utility>

namespace {

std::string_view Trimmed(std::string_view text) noexcept
{
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

bool ToInt(std::string_view text, int& value) noexcept
{
    text = Trimmed(text);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 10);
    return error == std::errc() && end == text.data() + text.size();
}

/// Hands each piece between commas to take(piece); stops at the first that is refused.
template <typename Take>
bool ForEachPiece(std::string_view text, Take take)
{
    if (Trimmed(text).empty()) {
        return true;
    }
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        if (!take(text.substr(from, comma - from))) {
            return false;
        }
        from = comma + 1;
    }
    return true;
}

/// Fills a container with the ids of a text; take(container, id) adds one.
template <typename Container, typename Take>
int ReadIds(std::string_view text, Container& out, Take take) noexcept
try {
    Container ids;
    const bool isRead = ForEachPiece(text, [&](std::string_view piece) {
        int id = 0;
        if (!ToInt(piece, id)) {
            return false;
        }
        take(ids, id);
        return true;
    });
    if (isRead) {
        out = std::move(ids);
    }
    return isRead ? 0 : -1;
} catch (const std::exception&) {
    return -1; // no memory; `out` is unchanged
}

} // namespace

int StringToIdMap(std::string_view text, std::map<int, int>& out) noexcept
try {
    std::map<int, int> ids;
    const bool isRead = ForEachPiece(text, [&ids](std::string_view piece) {
        int id = 0;
        int value = 0;
        const std::size_t colon = piece.find(':');
        if (colon == std::string_view::npos || !ToInt(piece.substr(0, colon), id) ||
            !ToInt(piece.substr(colon + 1), value)) {
            return false;
        }
        ids[id] = value;
        return true;
    });
    if (!isRead) {
        return -1;
    }
    out = std::move(ids);
    return 0;
} catch (const std::exception&) {
    return -1; // no memory; `out` is unchanged
}

std::string IdMapToString(const std::map<int, int>& ids)
{
    std::string text;
    for (const auto& [id, value] : ids) {
        text += (text.empty() ? "" : ",") + std::to_string(id) + ":" + std::to_string(value);
    }
    return text;
}

int StringToIdList(std::string_view text, std::list<int>& out) noexcept
{
    return ReadIds(text, out, [](std::list<int>& ids, int id) { ids.push_back(id); });
}

int StringToIdVector(std::string_view text, std::vector<int>& out) noexcept
{
    return ReadIds(text, out, [](std::vector<int>& ids, int id) { ids.push_back(id); });
}

int StringToIdSet(std::string_view text, std::set<int>& out) noexcept
{
    return ReadIds(text, out, [](std::set<int>& ids, int id) { ids.insert(id); });
}
