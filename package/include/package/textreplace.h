// SPDX-License-Identifier: Apache-2.0
// package/textreplace.h - replacing pieces of a text.
#pragma once

#include <string>

#include "package/export.h"

/// Replaces `from` in `text` by `to`, from left to right; what was put in is not looked at again.
///
/// @param from  an empty one is found nowhere
/// @param flag  true: every occurrence; false: the first alone
/// Throws std::bad_alloc; `text` is as it was then.
/// Thread-safety: any thread.
VX_API void StringReplaceSymbol(std::string& text, const std::string& from, const std::string& to, bool flag);
