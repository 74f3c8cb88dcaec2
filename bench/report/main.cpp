// SPDX-License-Identifier: Apache-2.0
// bench/report/main.cpp - turns result files into the report, on standard output.
// usage: benchreport [--fact "NAME: VALUE"]... FILE.json...
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "report/questions.h"
#include "report/results.h"

namespace {

const Measured* Find(const Results& results, const Question& question, const std::string& contender,
                     long long argument)
{
    const auto found = results.find({question.name, contender, argument});
    return found != results.end() && !found->second.timesNs.empty() ? &found->second : nullptr;
}

std::string Time(double ns)
{
    char text[32];
    if (ns < 100) {
        std::snprintf(text, sizeof text, "%.2f ns", ns);
    } else if (ns < 10'000) {
        std::snprintf(text, sizeof text, "%.0f ns", ns);
    } else {
        std::snprintf(text, sizeof text, "%.1f µs", ns / 1000);
    }
    return text;
}

std::string Size(const Question& question, long long argument)
{
    if (question.argumentName == "bytes" && argument >= 1024) {
        return argument >= 1 << 20 ? std::to_string(argument >> 20) + " MiB"
                                   : std::to_string(argument >> 10) + " KiB";
    }
    return std::to_string(argument);
}

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text,
                  value == static_cast<double>(static_cast<long long>(value)) ? "%.0f" : "%.2f", value);
    return text;
}

std::vector<long long> ArgumentsOf(const Results& results, const Question& question)
{
    std::vector<long long> arguments;
    for (const auto& [key, measured] : results) {
        if (key.question == question.name &&
            std::find(arguments.begin(), arguments.end(), key.argument) == arguments.end()) {
            arguments.push_back(key.argument);
        }
    }
    std::sort(arguments.begin(), arguments.end());
    return arguments;
}

/// Against what a row's ratios are taken: the first contender at this argument, else at its only one.
const Measured* BaseOf(const Results& results, const Question& question, long long argument)
{
    const Measured* const base = Find(results, question, question.contenders[0], argument);
    return base != nullptr ? base : Find(results, question, question.contenders[0], 0);
}

void PrintHeader(const Question& question, const char* suffix)
{
    std::printf("| %s |", question.argumentName.c_str());
    for (const std::string& contender : question.contenders) {
        std::printf(" %s%s |", contender.c_str(), suffix);
    }
    std::printf("\n|---:|");
    for (std::size_t i = 0; i < question.contenders.size(); ++i) {
        std::printf("---:|");
    }
    std::printf("\n");
}

void PrintTimes(const Results& results, const Question& question)
{
    PrintHeader(question, "");
    for (const long long argument : ArgumentsOf(results, question)) {
        const Measured* const base = BaseOf(results, question, argument);
        std::printf("| %s |", Size(question, argument).c_str());
        for (const std::string& contender : question.contenders) {
            const Measured* const measured = Find(results, question, contender, argument);
            if (measured == nullptr) {
                std::printf(" |");
                continue;
            }
            const double time = Median(measured->timesNs);
            std::printf(" %s ±%.0f %%", Time(time).c_str(), 50 * Spread(measured->timesNs));
            if (measured != base && base != nullptr) {
                std::printf(" (×%.2f)", time / Median(base->timesNs));
            }
            std::printf(" |");
        }
        std::printf("\n");
    }
    std::printf("\n");
}

void PrintCounters(const Results& results, const Question& question)
{
    for (const std::string& counter : question.counters) {
        std::string rows;
        for (const long long argument : ArgumentsOf(results, question)) {
            std::string row = "| " + Size(question, argument) + " |";
            bool any = false;
            for (const std::string& contender : question.contenders) {
                const Measured* const measured = Find(results, question, contender, argument);
                const bool has = measured != nullptr && measured->counters.count(counter) != 0;
                any = any || has;
                row += has ? " " + Number(Median(measured->counters.at(counter))) + " |" : " |";
            }
            rows += any ? row + "\n" : "";
        }
        if (!rows.empty()) {
            std::printf("`%s`:\n\n", counter.c_str());
            PrintHeader(question, "");
            std::printf("%s\n", rows.c_str());
        }
    }
}

void PrintSkipped(const Results& results, const Question& question)
{
    for (const auto& [key, measured] : results) {
        if (key.question == question.name && !measured.error.empty()) {
            std::printf("- skipped: %s at %s: %s\n", key.contender.c_str(),
                        Size(question, key.argument).c_str(), measured.error.c_str());
        }
    }
}

void PrintTarget(const Results& results, const Question& question, const Target& target)
{
    const long long againstArgument = target.againstArgument >= 0 ? target.againstArgument : target.argument;
    const Measured* const ours = Find(results, question, target.ours, target.argument);
    const Measured* const against = Find(results, question, target.against, againstArgument);
    const bool needsAgainst = target.kind == TargetKind::RATIO || target.kind == TargetKind::DIFFERENCE;
    if (ours == nullptr || (needsAgainst && against == nullptr)) {
        return;
    }
    const double time = Median(ours->timesNs);
    double value = time;
    std::string promise = "at most " + Time(target.limit);
    std::string shown = Time(time);
    if (target.kind == TargetKind::RATIO) {
        value = time / Median(against->timesNs);
        char text[96];
        std::snprintf(text, sizeof text, "at most %.2f × %s%s", target.limit, target.against.c_str(),
                      target.againstArgument >= 0 ? (" at " + Size(question, againstArgument)).c_str() : "");
        promise = text;
        std::snprintf(text, sizeof text, "× %.2f", value);
        shown = text;
    } else if (target.kind == TargetKind::DIFFERENCE) {
        value = time - Median(against->timesNs);
        promise = target.against + " + " + Time(target.limit);
        shown = target.against + " + " + Time(value);
    } else if (target.kind == TargetKind::COUNTER) {
        const auto counter = ours->counters.find(target.against);
        value = counter != ours->counters.end() ? Median(counter->second) : 1e300;
        promise = target.against + " at most " + Number(target.limit);
        shown = Number(value);
    }
    std::printf("| %s, %s, %s | %s | %s | %s |\n", question.name.c_str(), target.ours.c_str(),
                Size(question, target.argument).c_str(), promise.c_str(), shown.c_str(),
                value <= target.limit ? "met" : "**missed**");
}

void PrintReport(const Results& results, const std::vector<std::string>& facts)
{
    std::printf("# Benchmarks\n\nWritten by `script/bench`; do not edit. Medians of all repetitions, ± half "
                "the distance "
                "of their quartiles; the\nnumber in brackets is the ratio to the first column. Only ratios "
                "of one run are "
                "worth comparing.\n\n");
    for (const std::string& fact : facts) {
        std::printf("- %s\n", fact.c_str());
    }
    std::printf("\n## Targets\n\n| question | target | measured | |\n|---|---|---:|---|\n");
    for (const Question& question : Questions()) {
        for (const Target& target : question.targets) {
            PrintTarget(results, question, target);
        }
    }
    for (const Question& question : Questions()) {
        if (ArgumentsOf(results, question).empty()) {
            continue;
        }
        std::printf("\n## %s\n\n%s\n\n", question.title.c_str(), question.note.c_str());
        PrintTimes(results, question);
        PrintCounters(results, question);
        PrintSkipped(results, question);
    }
}

} // namespace

int main(int argc, char** argv)
{
    Results results;
    std::vector<std::string> facts;
    bool good = true;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--fact") == 0 && i + 1 < argc) {
            facts.emplace_back(argv[++i]);
        } else {
            good = AddResults(argv[i], results) && good;
        }
    }
    if (results.empty()) {
        std::fprintf(stderr, "benchreport: no result read; give it the JSON files that script/bench keeps\n");
        return 1;
    }
    PrintReport(results, facts);
    return good ? 0 : 1;
}
