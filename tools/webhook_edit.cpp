// SPDX-License-Identifier: Apache-2.0
// tools/webhook_edit.cpp - vx webhook add and edit: a record from options, from JSON, or from both.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>

#include "fail.h"
#include "input_file.h"
#include "package/json.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    const char* verb = "";
    int id = 0;
    std::string record;                          ///< JSON text
    std::string from;                            ///< file with JSON, "-": standard input
    Json::Value given{Json::objectValue};        ///< what the plain options say; overrides the JSON
    std::map<std::string, std::string> optionOf; ///< by column
    bool json = false;
    bool dryRun = false;

    /// What the user has to change: the option, or the member of the JSON that was given.
    const std::string& NameOf(const std::string& column) const
    {
        const auto found = optionOf.find(column);
        const bool isOption = given.isMember(column) || (record.empty() && from.empty());
        return found != optionOf.end() && isOption ? found->second : column;
    }
};

/// Enumerations may be written by name, in options and in JSON: "POST" for 1.
template <typename T>
void NumberOfName(const Options& options, const char* column, Json::Value& member)
{
    if (!member.isString()) {
        return;
    }
    std::string names;
    for (const auto& [value, name] : VxEnum2StrMap<T>().m_map) {
        if (CLI::detail::to_lower(name) == CLI::detail::to_lower(member.asString())) {
            member = static_cast<int>(value);
            return;
        }
        names += names.empty() ? "" : ", ";
        names += name;
    }
    Fail(EXIT_USAGE, options.verb, "{} [{}]: one of {} is expected", options.NameOf(column),
         member.asString(), names);
}

void NumbersOfNames(const Options& options, Json::Value& json)
{
    NotificationWebhook().Visit(
        [&]<WEBHOOK_INFO_FIELDS F, typename T>(std::integral_constant<WEBHOOK_INFO_FIELDS, F>, const T&) {
            constexpr const char* COLUMN = TaggedField<F>::COLUMN;
            if constexpr (std::is_enum_v<T>) {
                if (json.isMember(COLUMN)) {
                    NumberOfName<T>(options, COLUMN, json[COLUMN]);
                }
            }
        });
}

Json::Value ParseRecord(const Options& options, const std::string& what, const std::string& text)
{
    Json::Value json;
    std::string error;
    if (!JsonRead(text, json, error)) {
        Fail(EXIT_USAGE, options.verb, "{}: not JSON: {}", what, error);
    }
    if (!json.isObject()) {
        Fail(EXIT_USAGE, options.verb, "{}: one object is expected, as vx webhook show --json prints it",
             what);
    }
    return json;
}

/// The JSON that the user gave, an empty object if none.
Json::Value GivenRecord(const Options& options)
{
    if (!options.record.empty()) {
        return ParseRecord(options, "--record", options.record);
    }
    if (options.from.empty()) {
        return Json::Value(Json::objectValue);
    }
    return ParseRecord(options, options.from == "-" ? "standard input" : options.from,
                       InputFile(options.verb, options.from).ReadAll());
}

/// Sets each member by itself, so that what is wrong can be named with its value.
void Apply(const Options& options, const Json::Value& json, NotificationWebhook& webhook)
{
    const Json::Value known = webhook.GetJson();
    for (const std::string& name : json.getMemberNames()) {
        if (!known.isMember(name)) {
            Fail(EXIT_USAGE, options.verb, "{} [{}]: a webhook has no such column", name,
                 JsonWrite(json[name]));
        }
        if (name == TaggedField<WEBHOOK_INFO_TOKEN>::COLUMN && json[name] == MASKED_SECRET) {
            continue;
        }
        Json::Value one(Json::objectValue);
        one[name] = json[name];
        if (webhook.SetByJson(one) != 0) {
            Fail(EXIT_USAGE, options.verb, "{} [{}]: a value like {} is expected", options.NameOf(name),
                 JsonWrite(json[name]), JsonWrite(known[name]));
        }
    }
}

void Store(const Options& options, NotificationWebhook& webhook)
{
    Json::Value json = GivenRecord(options);
    for (const std::string& name : options.given.getMemberNames()) {
        json[name] = options.given[name];
    }
    NumbersOfNames(options, json);
    Apply(options, json, webhook);
    if (const std::string problem = webhook.Check(); !problem.empty()) {
        const std::size_t end = std::min(problem.find(' '), problem.size()); // behind the column
        Fail(EXIT_USAGE, options.verb, "{}{}", options.NameOf(problem.substr(0, end)),
             Printable(problem.substr(end)));
    }
    if (!options.dryRun && webhook.Save() != 0) {
        Fail(EXIT_UNREACHABLE, options.verb, "\"{}\": cannot be stored; vx log tail says why",
             Printable(webhook.Get<WEBHOOK_INFO_NAME>()));
    }
    if (options.json) {
        PrintJson(WebhookJson(webhook, false));
    } else if (options.dryRun) {
        fmt::print("Would store:\n");
        PrintWebhook(webhook, false);
    } else {
        fmt::print("Stored webhook {}.\n", webhook.Id());
    }
}

void AddColumn(CLI::App& verb, Options& options, const char* option, const char* column, const char* what)
{
    options.optionOf[column] = option;
    verb.add_option_function<std::string>(
        option, [&options, column](const std::string& text) { options.given[column] = text; }, what);
}

void AddOptions(CLI::App& verb, Options& options)
{
    AddColumn(verb, options, "--name", "name", "What it is called");
    AddColumn(verb, options, "--url", "webhook_url", "Address to post to, http or https");
    AddColumn(verb, options, "--method", "webhook_req_method", "GET, POST, PUT or DELETE");
    AddColumn(verb, options, "--content-type", "http_content_type", "json, form, text or xml");
    AddColumn(verb, options, "--provider", "provider", "custom or chat");
    AddColumn(verb, options, "--body", "http_body", "Body of the request");
    AddColumn(verb, options, "--token", "token", "Secret that the receiver expects");
    AddColumn(verb, options, "--host-url", "host_access_url", "Address at which the receiver finds this box");
    AddColumn(verb, options, "--headers", "headers", "Further headers, one \"Name: value\" a line");
    verb.add_flag_function(
        "--enable,!--disable", [&options](std::int64_t count) { options.given["enabled"] = count > 0; },
        "Whether it is used");
    CLI::Option* const record = verb.add_option("--record", options.record, "The record as JSON text");
    verb.add_option("--from", options.from, "File with the record as JSON; - is standard input")
        ->excludes(record);
    verb.add_flag("--json", options.json, "Print the record as it is stored");
    verb.add_flag("--dry-run", options.dryRun, "Only say what would be stored");
}

} // namespace

void AddWebhookAdd(CLI::App& webhook)
{
    CLI::App* const verb = webhook.add_subcommand("add", "Add a webhook");
    const auto options = std::make_shared<Options>();
    options->verb = "webhook add";
    AddOptions(*verb, *options);
    verb->callback([options] {
        NotificationWebhook record;
        Store(*options, record);
    });
}

void AddWebhookEdit(CLI::App& webhook)
{
    CLI::App* const verb = webhook.add_subcommand("edit", "Change a webhook; what is not given stays");
    const auto options = std::make_shared<Options>();
    options->verb = "webhook edit";
    verb->add_option("ID", options->id, "Its id, as list prints it")->required();
    AddOptions(*verb, *options);
    verb->callback([options] {
        NotificationWebhook record = FindWebhook(options->verb, options->id);
        Store(*options, record);
    });
}
