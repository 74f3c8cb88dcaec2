// SPDX-License-Identifier: Apache-2.0
// tools/notify.cpp - vx notify preview: the mail that a notification becomes, complete, for a mail program to show.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>

#include "fail.h"
#include "input_file.h"
#include "mime_message.h"
#include "notificationutils.h"
#include "nouns.h"
#include "table.h"
#include "trouble.h"

namespace {

constexpr const char* VERB = "notify preview";

struct Options {
    std::string from = "Recorder <recorder@vx.invalid>";
    std::vector<std::string> to{"operator@vx.invalid"};
    std::string subject = "Notification";
    std::string text;
    std::string textFile = "-";
    std::string picture;
    std::string cid = "snapshot@vx.invalid";
    std::string out = "-";
    long long date = -1;
    int type = NOTIFY_NONE;
    bool json = false;
};

std::string ReadAll(const std::string& path)
{
    return InputFile(VERB, path).ReadAll();
}

MailAddress AddressOf(const std::string& text)
{
    MailAddress address;
    if (!ReadAddress(text, address)) {
        Fail(EXIT_USAGE, VERB, "[{}]: expected user@domain or \"Name <user@domain>\" in plain letters", text);
    }
    return address;
}

InlineMedia MediaOf(const Options& options)
{
    InlineMedia media;
    if (options.picture.empty()) {
        return media;
    }
    const std::size_t dot = options.picture.rfind('.');
    media.extension = dot == std::string::npos ? "" : options.picture.substr(dot + 1);
    for (char& c : media.extension) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (MediaTypeOf(media.extension) == nullptr) {
        Fail(EXIT_USAGE, VERB, "{}: expected a picture (jpg, png, gif, webp) or a clip (mp4)",
             options.picture);
    }
    if (!IsAddrSpec(options.cid)) {
        Fail(EXIT_USAGE, VERB, "[{}]: a content id is name@domain in plain letters", options.cid);
    }
    media.cid = options.cid;
    media.bytes = ReadAll(options.picture);
    if (media.bytes.empty()) {
        Fail(EXIT_FOUND, VERB, "{}: is empty, so there is nothing to show", options.picture);
    }
    return media;
}

MailMessage MailOf(const Options& options)
{
    MailMessage mail;
    mail.from = AddressOf(options.from);
    for (const std::string& to : options.to) {
        mail.to.push_back(AddressOf(to));
    }
    mail.subject = options.subject;
    mail.date = options.date < 0 ? std::time(nullptr) : static_cast<std::time_t>(options.date);
    mail.id = fmt::format("{}.{}@vx.invalid", static_cast<long long>(mail.date), ::getpid());
    mail.media = MediaOf(options);
    mail.text = options.text.empty() ? ReadAll(options.textFile) : options.text;
    return mail;
}

void Write(const std::string& path, const std::string& message)
{
    if (path == "-") {
        std::fwrite(message.data(), 1, message.size(), stdout); // a failure shows at the program's end
        return;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << message << std::flush;
    if (!file) {
        Fail(EXIT_UNREACHABLE, VERB, "{}: not written whole: {}", path, std::strerror(errno));
    }
}

void Preview(const Options& options)
{
    const MailMessage mail = MailOf(options);
    const bool needsPicture = IsSnapshotRequired(static_cast<Vx_NOTIFY_TYPE>(options.type));
    bool isCut = false;
    const std::string html = HtmlBody(mail, isCut);
    if (needsPicture && mail.media.bytes.empty()) {
        Note(VERB, fmt::format("type {} carries a snapshot, and none was given (--picture)", options.type));
    }
    if (isCut) {
        Note(VERB, fmt::format("the text is too long for a message of {} bytes; the HTML has its beginning",
                               NOTIFY_MESSAGE_SIZE - 1));
    }
    if (!options.json) {
        Write(options.out, ComposeMail(mail));
        return;
    }
    Json::Value json(Json::objectValue);
    json["type"] = options.type;
    json["snapshot_required"] = needsPicture;
    json["shortened"] = isCut;
    json["html"] = html;
    json["message"] = ComposeMail(mail);
    PrintJson(json);
}

} // namespace

void AddNotifyNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("notify", "Notifications");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    CLI::App* const preview =
        noun->add_subcommand("preview", "Write the mail that a notification becomes; sends nothing");
    preview->add_option("--text", options->text,
                        "The text of the message; without it, it is read from a file");
    preview->add_option("--text-file", options->textFile,
                        "Where the text is; - (the default): standard input");
    preview->add_option("--subject", options->subject, "The subject")->capture_default_str();
    preview->add_option("--from", options->from, "Who sends it")->capture_default_str();
    preview->add_option("--to", options->to, "Who gets it; may be given again")->capture_default_str();
    preview->add_option("--type", options->type, "Number of the kind; says whether a picture belongs to it")
        ->capture_default_str();
    preview->add_option("--picture", options->picture, "A picture or clip that the message shows in place");
    preview->add_option("--cid", options->cid, "Content id of the picture")->capture_default_str();
    preview->add_option("--date", options->date, "Seconds since 1970; without it, now")
        ->check(
            CLI::Range(0LL, std::min<long long>(253402300799LL, std::numeric_limits<std::time_t>::max())));
    preview->add_option("-o,--out", options->out, "Where to; - (the default): standard output");
    preview->add_flag("--json", options->json, "Print JSON, the message as one text");
    preview->callback([options] { Preview(*options); });
}
