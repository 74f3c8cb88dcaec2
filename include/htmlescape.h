// SPDX-License-Identifier: Apache-2.0
// htmlescape.h - any bytes as content of a page or of a line.
#pragma once

#include <string>
#include <string_view>

#include "package/export.h"

/// Appends `text` as content of an element or of a quoted attribute: it reads as it was, and is valid whatever
/// it was. Markup characters become references; control characters their pictures (U+2400...), but for tab and
/// line feed; what is no UTF-8, or no character of a page, U+FFFD.
VX_API void AppendHtml(std::string& out, std::string_view text);

/// Appends `text` as UTF-8 without line feeds and tabs, from which ReadLineText() gets it back: a backslash as two,
/// line feed as `\n`, tab as `\t`, other control characters and bytes that are no UTF-8 as `\xE9`.
VX_API void AppendLineText(std::string& out, std::string_view text);
/// The text that AppendLineText() was given.
VX_API std::string ReadLineText(std::string_view line);

/// Appends `text` as UTF-8 for an XML document: control characters and broken bytes as in AppendHtml(), markup
/// as it is.
VX_API void AppendPlain(std::string& out, std::string_view text);
