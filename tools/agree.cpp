// SPDX-License-Identifier: Apache-2.0
// tools/agree.cpp - asking before something is removed.
#include "agree.h"

#include <unistd.h>

#include <fmt/format.h>

#include <cstdio>
#include <iostream>

#include "fail.h"

bool Agreed(std::string_view verb, const std::string& question, bool yes)
{
    if (yes) {
        return true;
    }
    if (::isatty(STDIN_FILENO) == 0) {
        Fail(EXIT_REFUSED, verb, "nobody to ask; use --yes");
    }
    fmt::print(stderr, "{} [y/N] ", question); // standard output may be a file, or JSON
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "yes";
}
