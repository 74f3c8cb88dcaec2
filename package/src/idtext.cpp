// SPDX-License-Identifier: Apache-2.0
// package/src/idtext.cpp - reading and writing ids as text.
#include "package/idtext.h"

#include <charconv>

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

} // namespace

int StringToIdMap(std::string_view text, std::map<int, int>& out)
{
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
}

std::string IdMapToString(const std::map<int, int>& ids)
{
    std::string text;
    for (const auto& [id, value] : ids) {
        text += (text.empty() ? "" : ",") + std::to_string(id) + ":" + std::to_string(value);
    }
    return text;
}

int StringToIdList(std::string_view text, std::list<int>& out)
{
    std::list<int> ids;
    const bool isRead =
        ForEachPiece(text, [&ids](std::string_view piece) { return ToInt(piece, ids.emplace_back()); });
    if (!isRead) {
        return -1;
    }
    out = std::move(ids);
    return 0;
}

int StringToIdVector(std::string_view text, std::vector<int>& out)
{
    const std::size_t size = out.size();
    if (!ForEachPiece(text, [&out](std::string_view piece) { return ToInt(piece, out.emplace_back()); })) {
        out.resize(size);
        return -1;
    }
    out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size));
    return 0;
}

int StringToIdSet(std::string_view text, std::set<int>& out)
{
    std::set<int> ids;
    const bool isRead = ForEachPiece(text, [&ids](std::string_view piece) {
        int id = 0;
        return ToInt(piece, id) && (ids.insert(id), true);
    });
    if (!isRead) {
        return -1;
    }
    out = std::move(ids);
    return 0;
}
