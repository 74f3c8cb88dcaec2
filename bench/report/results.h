// SPDX-License-Identifier: Apache-2.0
// bench/report/results.h - what the benchmark programs measured, by name.
#pragma once

#include <map>
#include <string>
#include <vector>

/// All repetitions of one benchmark at one size. Times are nanoseconds.
struct Measured {
    std::vector<double> timesNs;
    std::map<std::string, std::vector<double>> counters;
    std::string error; ///< why it did not run; empty when it did
};

/// Key: question ("FrameWrite"), contender ("Ours"), argument ("4096").
struct ResultKey {
    std::string question;
    std::string contender;
    long long argument;
    auto operator<=>(const ResultKey&) const = default;
};

using Results = std::map<ResultKey, Measured>;

/// Adds the repetitions of one JSON file of Google Benchmark. @return false (said on standard error) if
/// unreadable.
bool AddResults(const std::string& path, Results& results);

double Median(std::vector<double> values);
/// Distance of the quartiles over the median: how far the repetitions lie apart.
double Spread(std::vector<double> values);
