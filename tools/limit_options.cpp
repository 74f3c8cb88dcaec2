// SPDX-License-Identifier: Apache-2.0
// tools/limit_options.cpp - limits of rotation as options, in JSON and in words.
#include "limit_options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <limits>

namespace {

constexpr int MAX_DAYS = 36500; // a hundred years: more is a slip of the finger
constexpr int MAX_NUMBER = std::numeric_limits<int>::max();

} // namespace

void LimitOptions::AddTo(CLI::App& verb, bool withNumber)
{
    verb.add_option("--days", days, "Keep so many days; 0 = any age")->check(CLI::Range(0, MAX_DAYS));
    verb.add_option("--size", sizeMB, "Keep so many megabytes; 0 = any size")
        ->check(CLI::Range(0, MAX_NUMBER));
    if (withNumber) {
        verb.add_option("--number", num, "Keep so many items; 0 = any number")
            ->check(CLI::Range(0, MAX_NUMBER));
    }
}

void LimitOptions::Apply(RotLimits& limits) const
{
    if (days) {
        limits.byDate = *days > 0;
        limits.days = *days;
    }
    if (sizeMB) {
        limits.bySize = *sizeMB > 0;
        limits.sizeMB = *sizeMB;
    }
    limits.num = num.value_or(limits.num);
}

Json::Value LimitsJson(const RotLimits& limits)
{
    Json::Value json(Json::objectValue);
    json["by_date"] = limits.byDate;
    json["days"] = limits.days;
    json["by_size"] = limits.bySize;
    json["size_mb"] = limits.sizeMB;
    json["number"] = limits.num;
    return json;
}

std::string LimitsText(const RotLimits& limits)
{
    std::string text;
    const auto add = [&](bool isSet, int number, const char* unit) {
        if (isSet && number > 0) {
            text += fmt::format("{}{} {}", text.empty() ? "" : ", ", number, unit);
        }
    };
    add(limits.byDate, limits.days, "days");
    add(limits.bySize, limits.sizeMB, "MB");
    add(true, limits.num, "items");
    return text.empty() ? "no limit" : text;
}
