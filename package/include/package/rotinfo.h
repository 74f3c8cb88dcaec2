// SPDX-License-Identifier: Apache-2.0
// package/rotinfo.h - what one removal step of rotation removed.
#pragma once

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <string>

/// Names of removed items for each owner, a camera or a task.
using IdNameListMap = std::map<int, std::list<std::string>>;

/// Moves the lists of `from` behind those of the same ids in `into`; `from` is empty then.
inline void IdNameListMapMoveMerge(IdNameListMap& into, IdNameListMap& from)
{
    for (auto& [id, names] : from) {
        std::list<std::string>& target = into[id];
        target.splice(target.end(), names);
    }
    from.clear();
}

/// Names of one owner that a result keeps: the last ones. Millions of removed items need no more memory.
constexpr std::size_t ROT_MAX_NAMES = 10000;

/// Drops the first names of owners with more than `most`.
inline void IdNameListMapCap(IdNameListMap& lists, std::size_t most = ROT_MAX_NAMES)
{
    for (auto& [id, names] : lists) {
        while (names.size() > most) {
            names.pop_front();
        }
    }
}

/// The result of one removal step.
struct RotInfo {
    int count = 0;            ///< items removed, that is marked as deleted
    IdNameListMap camDelList; ///< their record identifiers for each camera or task id
    long long sizeMB = 0;     ///< their size, whole megabytes
};
