// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/message_fuzz.cpp - message texts of any bytes: turned as agreed, cut at the byte, carried whole by a mail.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <string_view>
#include <vector>

#include "fuzz_root.h"
#include "mime_encoding.h"
#include "mime_message.h"
#include "notificationutils.h"

namespace {

/// The text that a buffer holds in the end, by a second and slower hand.
std::string Cut(const std::string& text)
{
    return text.substr(0, NOTIFY_MESSAGE_SIZE - 1);
}

std::string HtmlOf(const std::string& text)
{
    std::string html;
    for (const char c : text) {
        html += c == '\n' ? "<br>" : std::string(1, c);
    }
    return Cut(html + "\n\n");
}

std::string PlainOf(std::string text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isTag = text.compare(i, 4, "<br>") == 0 || text.compare(i, 4, "<BR>") == 0;
        plain += isTag || text[i] == '\n' ? "\\n" : std::string(1, text[i]);
        i += isTag ? 3 : 0;
    }
    return Cut(plain);
}

template <typename Edit>
std::string Edited(const std::string& text, const Edit& edit)
{
    std::vector<char> buf(
        std::max(text.size() + 1, NOTIFY_MESSAGE_SIZE)); // to the byte: the sanitizer watches its end
    std::memcpy(buf.data(), text.c_str(), text.size() + 1);
    edit(buf.data());
    return buf.data();
}

std::string Unquoted(std::string_view quoted)
{
    std::string text;
    for (std::size_t i = 0; i < quoted.size(); ++i) {
        if (quoted[i] == '=' && quoted.substr(i + 1, 2) != "\r\n") {
            text += static_cast<char>(std::stoi(std::string(quoted.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else if (quoted[i] == '=') {
            i += 2;
        } else if (quoted[i] != '\r') {
            text += quoted[i];
        }
    }
    return text;
}

void CheckMail(const std::string& mail)
{
    std::size_t from = 0;
    for (std::size_t end = 0; (end = mail.find('\n', from)) != std::string::npos; from = end + 1) {
        Require(end > from && mail[end - 1] == '\r', "lines end with CRLF", mail);
        Require(end - from <= 79, "lines are short", mail);
    }
    Require(from == mail.size(), "the last line is ended", mail);
    for (const char c : mail) {
        Require(static_cast<unsigned char>(c) < 0x7f && c != '\0', "a mail is ASCII", mail);
    }
    Require(mail.find("\r\nMIME-Version: 1.0\r\n") < mail.find("\r\n\r\n"), "no value ends the header", mail);
}

} // namespace

/// A subject, a name, and the text, which a number of repetitions brings to where it is cut.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    FuzzedDataProvider input(data, size);
    MailMessage mail;
    mail.subject = input.ConsumeRandomLengthString(200);
    mail.from = {input.ConsumeRandomLengthString(100), "a@b"};
    mail.to = {mail.from};
    mail.id = "id@b";
    mail.media = {"c@d", input.ConsumeBool() ? "mp4" : "jpg", input.ConsumeRandomLengthString(40)};
    const auto padding = input.ConsumeIntegralInRange<std::size_t>(0, 5000);
    mail.text = std::string(padding, 'a') + input.ConsumeRemainingBytesAsString();

    const std::string text = mail.text.c_str(); // what a buffer can hold
    Require(Edited(text, PlainTextToHtml) == HtmlOf(text), "HTML is the agreed text", text);
    Require(Edited(text, HtmlToPlainText) == PlainOf(text), "plain text is the agreed one", text);
    const auto embed = [&mail](char* buf) {
        EmbedSnapShotInContent(buf, mail.media.cid, mail.media.extension);
    };
    const std::string element = std::string(mail.media.extension == "mp4" ? "<video" : "<img") +
                                " src=\"cid:c@d\" style=\"max-width:100%; margin:3px 0;\">\n";
    Require(Edited(text, embed) == Cut(text + element), "the element is the agreed one", text);

    CheckMail(ComposeMail(mail));
    bool isCut = false;
    const std::string html = HtmlBody(mail, isCut);
    Require(mail.media.bytes.empty() || html.find(element) != std::string::npos, "the picture stays", html);
    Require(ValidUtf8(html) == html, "no character is cut", html);
    const std::string valid = ValidUtf8(mail.text);
    const std::string carried = Unquoted(QuotedPrintable(valid));
    Require(carried == valid || carried == valid + "\n", "the text arrives as it was", valid);
    return 0;
}
