// SPDX-License-Identifier: Apache-2.0
// package/src/textreplace.cpp - replacing pieces of a text.
#include "package/textreplace.h"

void StringReplaceSymbol(std::string& text, const std::string& from, const std::string& to, bool flag)
{
    std::size_t found = from.empty() ? std::string::npos : text.find(from);
    if (found == std::string::npos) {
        return;
    }
    std::string result; // built aside: replacing in place moves the rest of the text once an occurrence
    std::size_t copied = 0;
    while (found != std::string::npos) {
        result.append(text, copied, found - copied).append(to);
        copied = found + from.size();
        found = flag ? text.find(from, copied) : std::string::npos;
    }
    text = result.append(text, copied);
}
