// SPDX-License-Identifier: Apache-2.0
// tools/mime_encoding.h - texts and bytes in the forms that a mail may carry.
// Source: RFC 2045 (quoted-printable, base64), RFC 2047 (encoded words), RFC 5322 (lines and fields).
#pragma once

#include <string>
#include <string_view>

/// The same text as valid UTF-8 that can be read: U+FFFD for broken bytes, pictures for control characters but for
/// tab and line feed.
std::string ValidUtf8(std::string_view text);

/// Bytes of `text`, at most `limit`, that end with a whole character.
std::size_t WholeCharacters(std::string_view text, std::size_t limit);

/// Text as quoted-printable: lines of at most 76 characters, "\n" becomes CRLF, the last line is ended.
std::string QuotedPrintable(std::string_view text);

/// Bytes as base64 in lines of 76 characters, each ended by CRLF.
std::string Base64Lines(std::string_view bytes);

/// A header field with its CRLF, folded; a value that is not short printable ASCII becomes encoded words.
/// The name has at most 8 letters. Control characters become blanks, so that no value makes a field of its own.
std::string HeaderField(std::string_view name, std::string_view value);

/// The words of a text as a display name may carry them: quoted, or as encoded words.
std::string Phrase(std::string_view text);
