// SPDX-License-Identifier: Apache-2.0
// tools/webhook.cpp - vx webhook list, show and rm: where notifications are posted.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <list>
#include <memory>

#include "agree.h"
#include "fail.h"
#include "package/db.h"
#include "table.h"
#include "webhook_common.h"

namespace {

struct Options {
    int id = 0;
    bool json = false;
    bool showSecrets = false;
    bool yes = false;
    bool dryRun = false;
};

std::list<NotificationWebhook> AllWebhooks(std::string_view verb)
{
    std::list<NotificationWebhook> all;
    if (NotificationWebhook::GetAll(all) != 0) {
        Fail(EXIT_UNREACHABLE, verb, "{}: the webhooks cannot be read; vx log tail says why",
             VxDB::GetDBPath(VxDB::DB_SYSTEM));
    }
    return all;
}

std::string TokenText(const NotificationWebhook& webhook, bool withSecrets)
{
    const std::string& token = webhook.Get<WEBHOOK_INFO_TOKEN>();
    return withSecrets || token.empty() ? token : MASKED_SECRET;
}

void List(const Options& options)
{
    const std::list<NotificationWebhook> all = AllWebhooks("webhook list");
    if (options.json) {
        Json::Value rows(Json::arrayValue);
        for (const NotificationWebhook& webhook : all) {
            rows.append(WebhookJson(webhook, options.showSecrets));
        }
        PrintJson(rows);
        return;
    }
    Table table({">ID", "NAME", "ENABLED", "METHOD", "TYPE", "TOKEN", "URL"});
    for (const NotificationWebhook& webhook : all) {
        table.AddRow({std::to_string(webhook.Id()), Printable(webhook.Get<WEBHOOK_INFO_NAME>()),
                      webhook.Get<WEBHOOK_INFO_ENABLED>() ? "yes" : "no",
                      Enum2String(webhook.Get<WEBHOOK_INFO_REQ_METHOD>()),
                      Enum2String(webhook.Get<WEBHOOK_INFO_CONTENT_TYPE>()),
                      Printable(TokenText(webhook, options.showSecrets)),
                      Printable(webhook.Get<WEBHOOK_INFO_URL>())});
    }
    if (table.Empty()) {
        fmt::print("No webhooks; vx webhook add makes one.\n");
    } else {
        table.Print();
    }
}

void Show(const Options& options)
{
    const NotificationWebhook webhook = FindWebhook("webhook show", options.id);
    if (options.json) {
        PrintJson(WebhookJson(webhook, options.showSecrets));
    } else {
        PrintWebhook(webhook, options.showSecrets);
    }
}

void Remove(const Options& options)
{
    NotificationWebhook webhook = FindWebhook("webhook rm", options.id);
    Json::Value json = WebhookJson(webhook, false);
    if (!options.json) {
        fmt::print("{} webhook {} \"{}\"\n", options.dryRun ? "Would remove" : "To be removed:", options.id,
                   Printable(webhook.Get<WEBHOOK_INFO_NAME>()));
    }
    const bool go =
        !options.dryRun && Agreed("webhook rm", fmt::format("Remove webhook {}?", options.id), options.yes);
    if (go && webhook.Delete() != 0) {
        Fail(EXIT_FOUND, "webhook rm", "{}: cannot be removed; vx log tail says why", options.id);
    }
    if (options.json) {
        json["removed"] = go;
        PrintJson(json);
    }
}

CLI::App* AddVerb(CLI::App& noun, const char* name, const char* what, void (*run)(const Options&),
                  const std::shared_ptr<Options>& options)
{
    CLI::App* const verb = noun.add_subcommand(name, what);
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options, run] { run(*options); });
    return verb;
}

} // namespace

NotificationWebhook FindWebhook(std::string_view verb, int id)
{
    for (const NotificationWebhook& webhook : AllWebhooks(verb)) {
        if (webhook.Id() == id) {
            return webhook;
        }
    }
    Fail(EXIT_FOUND, verb, "{}: there is no such webhook; see vx webhook list", id);
}

Json::Value WebhookJson(const NotificationWebhook& webhook, bool withSecrets)
{
    Json::Value json = webhook.GetJson();
    json[TaggedField<WEBHOOK_INFO_TOKEN>::COLUMN] = TokenText(webhook, withSecrets);
    return json;
}

void PrintWebhook(const NotificationWebhook& webhook, bool withSecrets)
{
    Table table({"COLUMN", "VALUE"});
    webhook.Visit([&]<WEBHOOK_INFO_FIELDS F, typename T>(std::integral_constant<WEBHOOK_INFO_FIELDS, F>,
                                                         const T& value) {
        std::string text;
        if constexpr (F == WEBHOOK_INFO_TOKEN) {
            text = TokenText(webhook, withSecrets);
        } else if constexpr (std::is_same_v<T, std::string>) {
            text = value;
        } else if constexpr (std::is_same_v<T, bool>) {
            text = value ? "yes" : "no";
        } else if constexpr (std::is_enum_v<T>) {
            text = Enum2String(value);
        } else {
            text = std::to_string(value);
        }
        table.AddRow({TaggedField<F>::COLUMN, Printable(text)});
    });
    table.Print();
}

std::string Printable(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f) {
            out += fmt::format("\\x{:02x}", byte);
        } else {
            out += c;
        }
    }
    return out;
}

void AddWebhookNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("webhook", "Where notifications are posted");
    noun->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    const char* const secrets = "Print tokens, too";
    CLI::App* const list = AddVerb(*noun, "list", "List the webhooks", &List, options);
    list->add_flag("--show-secrets", options->showSecrets, secrets);
    CLI::App* const show = AddVerb(*noun, "show", "Show one webhook", &Show, options);
    show->add_option("ID", options->id, "Its id, as list prints it")->required();
    show->add_flag("--show-secrets", options->showSecrets, secrets);
    AddWebhookAdd(*noun);
    AddWebhookEdit(*noun);
    CLI::App* const remove = AddVerb(*noun, "rm", "Remove a webhook", &Remove, options);
    remove->add_option("ID", options->id, "Its id, as list prints it")->required();
    remove->add_flag("--yes", options->yes, "Do not ask");
    remove->add_flag("--dry-run", options->dryRun, "Only say what would be removed");
}
