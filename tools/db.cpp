// SPDX-License-Identifier: Apache-2.0
// tools/db.cpp - vx db info, check and vacuum.
#include <CLI/CLI.hpp>
#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <list>
#include <memory>
#include <string>

#include "fail.h"
#include "package/dbadmin.h"
#include "package/root.h"
#include "table.h"

namespace {

using VxDB::DB_ADMIN_STATUS;

struct Options {
    std::list<std::string> names; ///< of databases; empty: all
    bool json = false;
};

std::string NameOf(const std::string& path)
{
    const std::string file = path.substr(path.rfind('/') + 1);
    return file.substr(0, file.size() - 3); // without ".db"
}

/// The files that the names mean.
std::list<std::string> Chosen(const Options& options, const char* verb)
{
    const std::string root = GetPackageRoot();
    if (::access(root.c_str(), X_OK) != 0) {
        Fail(EXIT_UNREACHABLE, verb,
             "the package's folder '{}' cannot be entered; check VX_ROOT and its volume", root);
    }
    std::list<std::string> all = VxDB::ListDatabases();
    if (options.names.empty()) {
        return all;
    }
    std::list<std::string> chosen;
    for (const std::string& name : options.names) {
        const auto found = std::ranges::find(all, name, NameOf);
        if (found == all.end()) {
            Fail(EXIT_USAGE, verb, "no database is called '{}'; 'vx db info' lists them", name);
        }
        chosen.push_back(*found);
    }
    return chosen;
}

const char* TextOf(DB_ADMIN_STATUS status)
{
    switch (status) {
    case DB_ADMIN_STATUS::OK:
        return "ok";
    case DB_ADMIN_STATUS::ABSENT:
        return "not made yet";
    case DB_ADMIN_STATUS::FAULTY:
        return "faulty";
    case DB_ADMIN_STATUS::UNREACHABLE:
        break;
    }
    return "unreachable";
}

/// Keeps the worst of what the databases of one call were found to be.
class Verdict {
public:
    void Add(DB_ADMIN_STATUS status) { m_worst = std::max(m_worst, status); }
    /// Ends the verb unless all was well; the problems are printed already.
    void End() const
    {
        if (m_worst == DB_ADMIN_STATUS::FAULTY) {
            throw CLI::RuntimeError(EXIT_FOUND);
        }
        if (m_worst == DB_ADMIN_STATUS::UNREACHABLE) {
            throw CLI::RuntimeError(EXIT_UNREACHABLE);
        }
    }

private:
    DB_ADMIN_STATUS m_worst = DB_ADMIN_STATUS::OK;
};

void PrintProblem(const char* verb, const std::string& problem)
{
    std::fprintf(stderr, "vx %s: %s\n", verb, problem.c_str());
}

Json::Value NewEntry(const std::string& path, DB_ADMIN_STATUS status)
{
    Json::Value entry;
    entry["name"] = NameOf(path);
    entry["path"] = path;
    entry["status"] = TextOf(status);
    return entry;
}

Json::Value ToJson(const std::string& path, DB_ADMIN_STATUS status, const VxDB::DBInfo& info)
{
    Json::Value entry = NewEntry(path, status);
    entry["schemaVersion"] = info.schemaVersion;
    entry["knownVersion"] = info.knownVersion;
    entry["sizeBytes"] = Json::Int64(info.sizeBytes);
    entry["unusedBytes"] = Json::Int64(info.unusedBytes);
    entry["tables"] = Json::Value(Json::objectValue);
    for (const VxDB::DBTableInfo& table : info.tables) {
        entry["tables"][table.name] = Json::Int64(table.rows);
    }
    return entry;
}

std::string RowsText(const VxDB::DBInfo& info)
{
    std::string text;
    for (const VxDB::DBTableInfo& table : info.tables) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", table.name, table.rows);
    }
    return text;
}

void RunInfo(const Options& options)
{
    constexpr const char* VERB = "db info";
    Verdict verdict;
    Json::Value list(Json::arrayValue);
    Table table({"DATABASE", "STATUS", ">SCHEMA", ">BYTES", ">UNUSED", "ROWS"});
    for (const std::string& path : Chosen(options, VERB)) {
        VxDB::DBInfo info;
        std::string problem;
        const DB_ADMIN_STATUS status = VxDB::GetDBInfo(path, info, &problem);
        verdict.Add(status);
        if (!problem.empty()) {
            PrintProblem(VERB, problem);
        }
        list.append(ToJson(path, status, info));
        const bool isKnown = status == DB_ADMIN_STATUS::OK;
        table.AddRow({NameOf(path), TextOf(status), isKnown ? fmt::format("{}", info.schemaVersion) : "",
                      isKnown ? fmt::format("{}", info.sizeBytes) : "",
                      isKnown ? fmt::format("{}", info.unusedBytes) : "", RowsText(info)});
    }
    options.json ? PrintJson(list) : table.Print();
    verdict.End();
}

void RunCheck(const Options& options)
{
    Verdict verdict;
    Json::Value list(Json::arrayValue);
    for (const std::string& path : Chosen(options, "db check")) {
        std::list<std::string> problems;
        const DB_ADMIN_STATUS status = VxDB::CheckDB(path, problems);
        verdict.Add(status);
        Json::Value entry = NewEntry(path, status);
        entry["problems"] = Json::Value(Json::arrayValue);
        if (!options.json) {
            std::printf("%-8s %s\n", NameOf(path).c_str(), TextOf(status));
        }
        for (const std::string& problem : problems) {
            entry["problems"].append(problem);
            if (!options.json) {
                std::printf("         %s\n", problem.c_str());
            }
        }
        list.append(entry);
    }
    if (options.json) {
        PrintJson(list);
    }
    verdict.End();
}

long long SizeOf(const std::string& path)
{
    VxDB::DBInfo info;
    return VxDB::GetDBInfo(path, info, nullptr) == DB_ADMIN_STATUS::OK ? info.sizeBytes : 0;
}

void RunVacuum(const Options& options)
{
    constexpr const char* VERB = "db vacuum";
    Verdict verdict;
    Json::Value list(Json::arrayValue);
    Table table({"DATABASE", "STATUS", ">BYTES BEFORE", ">AFTER"});
    for (const std::string& path : Chosen(options, VERB)) {
        const long long before = SizeOf(path);
        std::string problem;
        const DB_ADMIN_STATUS status = VxDB::VacuumDB(path, &problem);
        verdict.Add(status);
        if (!problem.empty()) {
            PrintProblem(VERB, problem);
        }
        Json::Value entry = NewEntry(path, status);
        entry["bytesBefore"] = Json::Int64(before);
        entry["bytesAfter"] = Json::Int64(SizeOf(path));
        table.AddRow(
            {NameOf(path), TextOf(status), entry["bytesBefore"].asString(), entry["bytesAfter"].asString()});
        list.append(entry);
    }
    options.json ? PrintJson(list) : table.Print();
    verdict.End();
}

void AddVerb(CLI::App& noun, const char* name, const char* help, void (*run)(const Options&))
{
    CLI::App* const verb = noun.add_subcommand(name, help);
    const auto options = std::make_shared<Options>();
    verb->add_option("DATABASE", options->names, "Names of databases; all when none is given");
    verb->add_flag("--json", options->json, "Print an array of objects");
    verb->callback([options, run] { run(*options); });
}

} // namespace

void AddDbNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("db", "The databases of the package");
    noun->require_subcommand(1);
    AddVerb(*noun, "info", "What exists, its schema version, size and rows", RunInfo);
    AddVerb(*noun, "check", "Read all of it and say what is damaged", RunCheck);
    AddVerb(*noun, "vacuum", "Give unused space back to the volume", RunVacuum);
}
