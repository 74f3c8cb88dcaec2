// SPDX-License-Identifier: Apache-2.0
// tools/numbers.h - numbers that an option takes, refused in plain words.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

/// Checks for verb.add_option(...)->check(): "from 0 on" or "above 0", whatever the option's own type.
inline CLI::Validator NumberCheck(bool allowsZero)
{
    const auto refuse = [allowsZero](std::string& input) {
        double number = -1;
        const bool isNumber = CLI::detail::lexical_cast(input, number);
        return isNumber && (allowsZero ? number >= 0 : number > 0)
                   ? std::string()
                   : "'" + input + "': a number " + (allowsZero ? "from 0 on" : "above 0") + " is expected";
    };
    return CLI::Validator(refuse, allowsZero ? "NONNEGATIVE" : "POSITIVE");
}

inline const CLI::Validator FROM_ZERO = NumberCheck(true);
inline const CLI::Validator ABOVE_ZERO = NumberCheck(false);
