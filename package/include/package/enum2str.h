// SPDX-License-Identifier: Apache-2.0
// package/enum2str.h - the table behind Enum2String(), shared by both libraries.
#pragma once

#include <map>

/// The table of one enumeration: value to text. The constructor is defined once for each T, by the library
/// that owns the enumeration, and fills the map; the texts are literals.
///
/// Thread-safety: read-only once constructed.
template <typename T>
class VxEnum2StrMap {
public:
    VxEnum2StrMap();

    std::map<T, const char*> m_map;
};
