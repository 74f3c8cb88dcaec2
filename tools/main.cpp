// SPDX-License-Identifier: Apache-2.0
// tools/main.cpp - vx NOUN VERB.
#include <exception>
#include <iostream>

#include "nouns.h"

namespace {

int ExitCodeOf(CLI::App& vx, const CLI::Error& error)
{
    const int code = vx.exit(error); // prints help or the message
    if (code == 0 || dynamic_cast<const CLI::RuntimeError*>(&error) != nullptr) {
        return code;
    }
    return EXIT_USAGE;
}

} // namespace

int main(int argc, char** argv)
try {
    CLI::App vx{"The tools of the network video recorder's shared library", "vx"};
    vx.require_subcommand(1);
    AddLogNoun(vx);
    try {
        vx.parse(argc, argv);
    } catch (const CLI::Error& error) {
        return ExitCodeOf(vx, error);
    }
    return EXIT_DONE;
} catch (const std::exception& error) {
    std::cerr << "vx: " << error.what() << "\n";
    return EXIT_FOUND;
}
