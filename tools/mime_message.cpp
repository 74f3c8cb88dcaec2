// SPDX-License-Identifier: Apache-2.0
// tools/mime_message.cpp - a notification as a complete mail.
#include "mime_message.h"

#include <algorithm>
#include <cctype>

#include "htmlescape.h"
#include "mime_encoding.h"
#include "notificationutils.h"
#include "package/textreplace.h"

namespace {

// "=_" occurs in neither encoding, so no part holds a boundary, not even a mail of ours that is sent as a part.
constexpr const char* BOUNDARY_ALTERNATIVE = "=_vx_alternative";
constexpr const char* BOUNDARY_RELATED = "=_vx_related";
constexpr std::string_view ELLIPSIS = "\xe2\x80\xa6";

struct MediaType {
    std::string_view extension;
    const char* type;
};
constexpr MediaType MEDIA_TYPES[] = {
    {"jpg", "image/jpeg"}, {"jpeg", "image/jpeg"}, {"png", "image/png"},
    {"gif", "image/gif"},  {"webp", "image/webp"}, {"mp4", "video/mp4"},
};

/// Letters, digits and the signs of a mail address's parts that need no quoting in HTML or in a URL.
bool IsAtom(std::string_view text)
{
    return !text.empty() && text.front() != '.' && text.back() != '.' &&
           text.find("..") == std::string_view::npos && std::all_of(text.begin(), text.end(), [](char c) {
               return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                      (c != '\0' && std::string_view(".-_+=").find(c) != std::string_view::npos);
           });
}

std::string Escaped(std::string_view text)
{
    std::string html;
    AppendHtml(html, text);
    return html;
}

/// What a mail can carry of a text: line feeds alone end its lines.
std::string BodyText(const std::string& text)
{
    std::string body = text;
    StringReplaceSymbol(body, "\r\n", "\n", true);
    std::erase(body, '\0');
    return ValidUtf8(body);
}

/// The text as the senders' buffer holds it in the end.
std::string Edited(const std::string& text, const InlineMedia& media)
{
    std::string buf(std::max(text.size() + 1, NOTIFY_MESSAGE_SIZE), '\0');
    text.copy(buf.data(), text.size());
    PlainTextToHtml(buf.data());
    if (!media.bytes.empty()) {
        EmbedSnapShotInContent(buf.data(), media.cid, media.extension);
    }
    return buf.c_str();
}

/// Bytes of `text` in the buffer: escaped, and with tags for its line feeds.
std::size_t EditedSize(std::string_view text)
{
    const auto lineFeeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    return Escaped(text).size() + 3 * lineFeeds;
}

std::string AddressField(const char* name, const std::vector<MailAddress>& addresses)
{
    std::string field = std::string(name) + ":";
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        const MailAddress& address = addresses[i];
        field += (i == 0 ? " " : ",\r\n ");
        field += address.name.empty() ? address.spec : Phrase(address.name) + "\r\n <" + address.spec + ">";
    }
    return field + "\r\n";
}

std::string DateField(std::time_t date)
{
    static constexpr const char* DAYS[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr const char* MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm utc{};
    ::gmtime_r(&date, &utc);
    char rest[32];
    static_cast<void>(std::strftime(rest, sizeof(rest), "%Y %H:%M:%S +0000", &utc));
    return std::string("Date: ") + DAYS[utc.tm_wday] + ", " + std::to_string(utc.tm_mday) + " " +
           MONTHS[utc.tm_mon] + " " + rest + "\r\n";
}

std::string TextPart(const char* subtype, std::string_view text)
{
    return std::string("Content-Type: text/") + subtype +
           "; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" + QuotedPrintable(text);
}

std::string MediaPart(const InlineMedia& media)
{
    const std::string fileName = "snapshot." + media.extension;
    return std::string("Content-Type: ") + MediaTypeOf(media.extension) + "; name=\"" + fileName +
           "\"\r\nContent-Transfer-Encoding: base64\r\nContent-ID: <" + media.cid +
           ">\r\nContent-Disposition: inline; filename=\"" + fileName + "\"\r\n\r\n" +
           Base64Lines(media.bytes);
}

std::string Multipart(const std::string& type, const std::string& boundary,
                      const std::vector<std::string>& parts)
{
    std::string out = "Content-Type: multipart/" + type + ";\r\n boundary=\"" + boundary + "\"\r\n";
    for (const std::string& part : parts) {
        out += "\r\n--" + boundary + "\r\n" + part;
    }
    return out + "\r\n--" + boundary + "--\r\n";
}

} // namespace

const char* MediaTypeOf(std::string_view extension)
{
    for (const MediaType& type : MEDIA_TYPES) {
        if (type.extension == extension) {
            return type.type;
        }
    }
    return nullptr;
}

bool IsAddrSpec(std::string_view text)
{
    const std::size_t at = text.find('@');
    return at != std::string_view::npos && text.size() <= 200 && IsAtom(text.substr(0, at)) &&
           IsAtom(text.substr(at + 1));
}

bool ReadAddress(std::string_view text, MailAddress& address)
{
    const std::size_t open = text.rfind('<');
    std::string_view name;
    if (open != std::string_view::npos) {
        if (text.back() != '>') {
            return false;
        }
        name = text.substr(0, open);
        text = text.substr(open + 1, text.size() - open - 2);
    }
    while (!name.empty() && name.back() == ' ') {
        name.remove_suffix(1);
    }
    if (!IsAddrSpec(text)) {
        return false;
    }
    address = {std::string(name), std::string(text)};
    return true;
}

std::string HtmlBody(const MailMessage& mail, bool& isCut)
{
    // What stays is a text whose edited form, two line feeds and the element come to 4095 bytes at most.
    const std::size_t around = Edited("", mail.media).size();
    const std::size_t room = NOTIFY_MESSAGE_SIZE - 1 - std::min(around, NOTIFY_MESSAGE_SIZE - 1);
    std::string text = BodyText(mail.text);
    isCut = EditedSize(text) > room;
    if (isCut) {
        std::size_t size = std::min(text.size(), room);
        while (size > 0 && EditedSize(std::string_view(text).substr(0, size)) + ELLIPSIS.size() > room) {
            --size;
        }
        text.resize(WholeCharacters(text, size));
        text += ELLIPSIS;
    }
    return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + Escaped(mail.subject) +
           "</title></head>\n<body>\n" + Edited(Escaped(text), mail.media) + "</body></html>\n";
}

std::string ComposeMail(const MailMessage& mail)
{
    bool isCut = false;
    std::string html = TextPart("html", HtmlBody(mail, isCut));
    if (!mail.media.bytes.empty()) {
        html = Multipart("related; type=\"text/html\"", BOUNDARY_RELATED, {html, MediaPart(mail.media)});
    }
    return AddressField("From", {mail.from}) + AddressField("To", mail.to) +
           HeaderField("Subject", mail.subject) + DateField(mail.date) + "Message-ID: <" + mail.id +
           ">\r\nMIME-Version: 1.0\r\n" +
           Multipart("alternative", BOUNDARY_ALTERNATIVE, {TextPart("plain", BodyText(mail.text)), html});
}
