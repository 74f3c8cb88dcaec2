// SPDX-License-Identifier: Apache-2.0
// tools/trouble.h - why a verb cannot do what it was asked to, and how it ends then.
#pragma once

#include <cstdio>
#include <string>

#include "fail.h"

/// What went wrong: the exit code and a text "what, where, what to do". Empty means that nothing did.
struct Trouble {
    ExitCode code = EXIT_DONE;
    std::string text;

    explicit operator bool() const { return code != EXIT_DONE; }
};

/// Ends the verb if there is trouble.
inline void EndIf(const Trouble& trouble, const char* verb)
{
    if (trouble) {
        FailWith(trouble.code, verb, trouble.text);
    }
}

/// Prints "vx VERB: TEXT" to standard error and goes on.
inline void Note(const char* verb, const std::string& text)
{
    std::fprintf(stderr, "vx %s: %s\n", verb, text.c_str());
}
