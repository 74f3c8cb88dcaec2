// SPDX-License-Identifier: Apache-2.0
// tools/rule_transfer.cpp - vx rule export and import: a whole set of rules as one JSON document.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "actruleutils.h"
#include "fail.h"
#include "rule_common.h"
#include "table.h"
#include "webhook_common.h"

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

/// Writes beside the file and puts it into its place when it is complete: an older export survives a full disk.
void WriteWhole(const std::string& path, const Json::Value& document)
{
    std::error_code none;
    const auto type = std::filesystem::symlink_status(path, none).type();
    const bool isFile =
        type == std::filesystem::file_type::not_found || type == std::filesystem::file_type::regular;
    const std::string part = isFile ? path + ".unfinished" : path; // a device or a pipe stays what it is
    const int fd = ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::FILE* const file = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
    if (file == nullptr) {
        Fail(EXIT_UNREACHABLE, "rule export", "{}: cannot be written: {}", part, std::strerror(errno));
    }
    PrintJson(document, file);
    const bool isWritten = std::ferror(file) == 0 && std::fflush(file) == 0 &&
                           (!isFile || (::fsync(fd) == 0 && std::rename(part.c_str(), path.c_str()) == 0));
    const int error = errno;
    std::fclose(file);
    if (!isWritten) {
        if (isFile) {
            ::unlink(part.c_str());
        }
        Fail(EXIT_FOUND, "rule export", "{}: not written whole: {}", path, std::strerror(error));
    }
}

void Export(const Options& options)
{
    Json::Value document(Json::objectValue);
    document["format"] = FORMAT;
    Json::Value& rules = document["rules"] = Json::Value(Json::arrayValue);
    for (const ActionRule& rule : AllRules("rule export")) {
        rules.append(ExportJson(rule, options.showSecrets));
    }
    if (options.path == "-") {
        PrintJson(document);
        return;
    }
    WriteWhole(options.path, document);
    if (options.json) {
        Json::Value json(Json::objectValue);
        json["path"] = options.path;
        json["rules"] = rules.size();
        PrintJson(json);
    } else {
        fmt::print("Exported {} rule(s)\n", rules.size());
    }
}

/// One rule of the document; ends the verb and says which rule and field is wrong.
ActionRule ImportRule(const Json::Value& json, Json::ArrayIndex place)
{
    Json::Value fields = json;
    Json::Value sealed;
    std::string error;
    if (fields.isObject()) {
        fields.removeMember("password_sealed", &sealed);
        error = json["password"] == MASKED_SECRET
                    ? "field \"password\" is masked; vx rule export writes rules as they are"
                    : UnknownField(fields);
    }
    ActionRule rule;
    if (!error.empty() || rule.SetByJson(fields, &error) != 0) {
        Fail(EXIT_FOUND, "rule import", "rule {}: {}; nothing is imported", place + 1, error);
    }
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
    exportVerb->add_flag("--json", options->json, "With a FILE: print as JSON what was written");
    exportVerb->callback([options] { Export(*options); });
    CLI::App* const importVerb =
        rule.add_subcommand("import", "Store the rules of such a document: all of them, or none");
    importVerb->add_option("FILE", options->path, "The document; - (the default) for standard input");
    importVerb->add_flag("--dry-run", options->dryRun, "Only check it");
    importVerb->add_flag("--json", options->json, "Print JSON");
    importVerb->callback([options] { Import(*options); });
}
