// SPDX-License-Identifier: Apache-2.0
// bench/report/results.cpp - reads the JSON files that the benchmark programs write.
#include "report/results.h"

#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>

namespace {

double NsOf(double time, const std::string& unit)
{
    return unit == "ns" ? time : unit == "us" ? time * 1e3 : unit == "ms" ? time * 1e6 : time * 1e9;
}

/// "BM_FrameWrite_Ours/4096/iterations:1/manual_time" -> FrameWrite, Ours, 4096.
bool ParseName(const std::string& name, ResultKey& key)
{
    const auto first = name.find('_');
    const auto second = name.find('_', first + 1);
    const auto slash = name.find('/', second);
    if (first == std::string::npos || second == std::string::npos || name.compare(0, first, "BM") != 0) {
        return false;
    }
    key.question = name.substr(first + 1, second - first - 1);
    key.contender = name.substr(second + 1, slash == std::string::npos ? slash : slash - second - 1);
    key.argument = slash == std::string::npos ? 0 : std::strtoll(name.c_str() + slash + 1, nullptr, 10);
    return true;
}

/// The members of a run that Google Benchmark itself writes; every other number is a counter of ours.
bool IsCounter(const std::string& member)
{
    static const std::set<std::string> own{"family_index", "per_family_instance_index",
                                           "repetitions",  "repetition_index",
                                           "threads",      "iterations",
                                           "real_time",    "cpu_time"};
    return own.count(member) == 0;
}

} // namespace

bool AddResults(const std::string& path, Results& results)
{
    std::ifstream file(path);
    Json::Value root;
    Json::CharReaderBuilder builder;
    builder["allowSpecialFloats"] = true; // the spread of a counter that is always 0
    std::string errors;
    if (!file || !Json::parseFromStream(builder, file, &root, &errors)) {
        std::fprintf(stderr, "benchreport: %s: not a result file: %s\n", path.c_str(), errors.c_str());
        return false;
    }
    for (const Json::Value& run : root["benchmarks"]) {
        ResultKey key;
        if (run["run_type"].asString() != "iteration" || !ParseName(run["run_name"].asString(), key)) {
            continue;
        }
        Measured& measured = results[key];
        if (run["error_occurred"].asBool()) {
            measured.error = run["error_message"].asString();
            continue;
        }
        measured.timesNs.push_back(NsOf(run["real_time"].asDouble(), run["time_unit"].asString()));
        for (const std::string& member : run.getMemberNames()) {
            if (run[member].isNumeric() && IsCounter(member)) {
                measured.counters[member].push_back(run[member].asDouble());
            }
        }
    }
    return true;
}

double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double Spread(std::vector<double> values)
{
    const double median = Median(values);
    if (values.size() < 4 || median <= 0) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return (values[values.size() * 3 / 4] - values[values.size() / 4]) / median;
}
