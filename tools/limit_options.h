// SPDX-License-Identifier: Apache-2.0
// tools/limit_options.h - limits of rotation as options, in JSON and in words.
#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include "package/rotlimits.h"

namespace CLI {
class App;
}

/// What the options say; what they do not say stays as it is. 0 switches a limit off.
struct LimitOptions {
    std::optional<int> days;
    std::optional<int> sizeMB;
    std::optional<int> num;

    /// @param withNumber  the target can be limited by number, too
    void AddTo(CLI::App& verb, bool withNumber);
    void Apply(RotLimits& limits) const;
};

Json::Value LimitsJson(const RotLimits& limits);

/// "30 days, 2000 MB"; "no limit".
std::string LimitsText(const RotLimits& limits);
