// SPDX-License-Identifier: Apache-2.0
// vxenum.h - texts of enumeration values.
#pragma once

#include <map>

#include "package/export.h"

/// The table of one enumeration: value to text. The constructor, defined once for each T, fills it.
template <typename T>
class VxEnum2StrMap {
public:
    VxEnum2StrMap();

    std::map<T, const char*> m_map;
};

/// The text of an enumeration value.
///
/// @return the text, "unknown" for a value that the table lacks; valid for the life of the process.
/// Thread-safety: any thread; the table is built once, on first use.
template <typename T>
const char* Enum2String(T value);
