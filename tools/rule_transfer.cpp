// SPDX-License-Identifier: Apache-2.0
// tools/rule_transfer.cpp - vx rule export and import: a whole set of rules as one JSON document.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <memory>

#include "actruleutils.h"
#include "fail.h"
#include "rule_common.h"
#include "table.h"

namespace {

constexpr const char* FORMAT = "vx-rules-1";

struct Options {
    std::string path = "-";
    bool showSecrets = false;
    bool dryRun = false;
    bool json = false;
};

Json::Value ExportJson(const ActionRule& rule, bool withSecrets)
{
    Json::Value json = rule.GetJson();
    if (withSecrets || rule.GetPassword().empty()) {
        return json;
    }
    const std::string sealed = rule.GetSealedPassword();
    if (sealed.empty()) {
        Fail(EXIT_UNREACHABLE, "rule export",
             "rule {}: its password cannot be enciphered; vx log tail says why", rule.GetId());
    }
    json.removeMember("password");
    json["password_sealed"] = sealed;
    return json;
}

void Export(const Options& options)
{
    Json::Value document(Json::objectValue);
    document["format"] = FORMAT;
    Json::Value& rules = document["rules"] = Json::Value(Json::arrayValue);
    for (const ActionRule& rule : FindRules("rule export", "")) {
        rules.append(ExportJson(rule, options.showSecrets));
    }
    if (options.path == "-") {
        PrintJson(document);
        return;
    }
    const int fd = ::open(options.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::FILE* const file = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
    if (file == nullptr) {
        Fail(EXIT_UNREACHABLE, "rule export", "{}: cannot be written: {}", options.path,
             std::strerror(errno));
    }
    PrintJson(document, file);
    const bool isWritten = std::ferror(file) == 0 && std::fflush(file) == 0 && ::fsync(fd) == 0;
    const int error = errno;
    std::fclose(file);
    if (!isWritten) {
        Fail(EXIT_FOUND, "rule export", "{}: not written whole: {}", options.path, std::strerror(error));
    }
}

/// One rule of the document; ends the verb and says which rule and field is wrong.
ActionRule ImportRule(const Json::Value& json, Json::ArrayIndex place)
{
    std::string error;
    ActionRule rule;
    if (rule.SetByJson(json, &error) != 0) {
        Fail(EXIT_FOUND, "rule import", "rule {}: {}; nothing is imported", place + 1, error);
    }
    const Json::Value& sealed = json["password_sealed"];
    if (!sealed.isNull() && (!sealed.isString() || rule.SetSealedPassword(sealed.asString()) != 0)) {
        Fail(EXIT_FOUND, "rule import",
             "rule {}: field \"password_sealed\" was enciphered on another box or altered; export there with "
             "--show-secrets; nothing is imported",
             place + 1);
    }
    return rule;
}

void Import(const Options& options)
{
    const Json::Value document = ReadJsonFile("rule import", options.path);
    if (!document.isObject() || document["format"] != FORMAT || !document["rules"].isArray()) {
        Fail(EXIT_USAGE, "rule import", "{}: not a document that vx rule export writes (format {})",
             options.path, FORMAT);
    }
    if (!options.dryRun) {
        ReachRules("rule import");
    }
    std::list<ActionRule> rules;
    for (Json::ArrayIndex i = 0; i < document["rules"].size(); ++i) {
        rules.push_back(ImportRule(document["rules"][i], i));
    }
    if (!options.dryRun && RestoreActRules(rules) != 0) {
        Fail(EXIT_FOUND, "rule import", "{}: cannot be stored, nothing is imported; vx log tail says why",
             options.path);
    }
    std::list<int> ids;
    Json::Value json(Json::objectValue);
    json["ids"] = Json::Value(Json::arrayValue);
    for (const ActionRule& rule : rules) {
        ids.push_back(rule.GetId());
        json["ids"].append(rule.GetId());
    }
    if (!options.dryRun) {
        NotifyActRuleUpdate(ids, UPDATE_TYPE_ADD);
    }
    json["imported"] = !options.dryRun;
    if (options.json) {
        PrintJson(json);
    } else {
        fmt::print("{} {} rule(s)\n", options.dryRun ? "Would import" : "Imported", rules.size());
    }
}

} // namespace

void AddRuleTransferVerbs(CLI::App& rule)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const exportVerb = rule.add_subcommand("export", "Write all rules as one JSON document");
    exportVerb->add_option("FILE", options->path, "Where to, mode 0600; - (the default) for standard output");
    exportVerb->add_flag("--show-secrets", options->showSecrets, "Passwords in plain text, for another box");
    exportVerb->callback([options] { Export(*options); });
    CLI::App* const import =
        rule.add_subcommand("import", "Store the rules of such a document: all of them, or none");
    import->add_option("FILE", options->path, "The document; - (the default) for standard input");
    import->add_flag("--dry-run", options->dryRun, "Only check it");
    import->add_flag("--json", options->json, "Print JSON");
    import->callback([options] { Import(*options);
});
}
