// SPDX-License-Identifier: Apache-2.0
// notificationutils.h - message bodies of notifications: plain text to HTML and back, a picture in place.
#pragma once

#include <cstddef>
#include <string>

#include "package/export.h"
#include "package/notifytype.h"

/// Bytes that every message buffer has at least, the terminating NUL included.
inline constexpr std::size_t NOTIFY_MESSAGE_SIZE = 0x1000;

// The three that change a message take a buffer of the caller's with a NUL-terminated text in it and room for
// NOTIFY_MESSAGE_SIZE bytes. A longer result is cut, in silence and at the byte, also within a character. A null
// buffer is left alone. Without memory for the result the buffer keeps its text (category of notifications, level 1).
// Thread-safety: any thread, each buffer on one.

/// Makes "<br>" of every line feed and ends the text with two line feeds. Nothing else is escaped.
VX_API void PlainTextToHtml(char* buf) noexcept;

/// Makes the two characters backslash and "n" of "<br>", "<BR>" and of every line feed; other forms of the tag stay.
VX_API void HtmlToPlainText(char* buf) noexcept;

/// Ends the text with an element that shows what the mail has attached under a content id.
///
/// @param cid  content id without "cid:" and without angle brackets; written as it stands
/// @param ext  file extension; "mp4" makes a video element, any other an image
VX_API void EmbedSnapShotInContent(char* buf, const std::string& cid, const std::string& ext) noexcept;

/// Whether a notification of this kind carries a snapshot; false for any number that is no kind.
VX_API bool IsSnapshotRequired(Vx_NOTIFY_TYPE type) noexcept;
