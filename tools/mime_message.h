// SPDX-License-Identifier: Apache-2.0
// tools/mime_message.h - a notification as a complete mail: text, HTML and a picture or clip shown in place.
// Source: RFC 5322 (message), RFC 2046 (multipart), RFC 2387 (related), RFC 2392 (content ids).
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

/// What a mail shows in place. Empty bytes: nothing.
struct InlineMedia {
    std::string cid;       ///< "name@domain", see IsAddrSpec()
    std::string extension; ///< one of MediaTypeOf()
    std::string bytes;
};

struct MailAddress {
    std::string name; ///< may be empty
    std::string spec; ///< "user@domain"
};

/// All texts are UTF-8; broken bytes are replaced.
struct MailMessage {
    MailAddress from;
    std::vector<MailAddress> to;
    std::string subject;
    std::time_t date = 0;
    std::string id; ///< "name@domain"
    std::string text;
    InlineMedia media;
};

/// The type of a file extension, "image/jpeg"; null for one that no mail program shows in place.
const char* MediaTypeOf(std::string_view extension);

/// Reads "user@domain" or "Name <user@domain>".  @return false for anything else.
bool ReadAddress(std::string_view text, MailAddress& address);

/// Whether `text` is a plain "name@domain", the form of addresses and content ids that needs no quoting anywhere.
bool IsAddrSpec(std::string_view text);

/// The HTML body of a message, made by the operations that senders use. A text that leaves no room for the picture's
/// element is shortened at a character, marked by an ellipsis; an element is never cut.
///
/// @param isCut  whether that happened
std::string HtmlBody(const MailMessage& mail, bool& isCut);

/// The whole mail, lines ended by CRLF: multipart/alternative of the text and the HTML, the latter with its picture as
/// multipart/related.
std::string ComposeMail(const MailMessage& mail);
