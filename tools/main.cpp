// SPDX-License-Identifier: Apache-2.0
// tools/main.cpp - vx NOUN VERB: parses, runs the verb, turns its end into an exit code.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "exit_code.h"
#include "nouns.h"

namespace {

int ExitCodeOf(CLI::App& vx, const CLI::Error& error)
{
    const int code = vx.exit(error); // prints help or the message; nothing for a verb that has said it
    if (code == 0 || dynamic_cast<const CLI::RuntimeError*>(&error) != nullptr) {
        return code;
    }
    return EXIT_USAGE;
}

int Run(int argc, char** argv)
{
    CLI::App vx{"The tools of the network video recorder's shared library", "vx"};
    vx.set_version_flag("--version", "vx " VX_VERSION);
    vx.footer("Exit codes: 0 done, 1 found a problem or failed, 2 wrong usage, 3 cannot reach what it needs, "
              "4 refused for safety.");
    vx.require_subcommand(1);
#ifdef VX_WITH_MEDIA
    AddCaptureNoun(vx);
    AddRecordNoun(vx);
#endif
    AddCameraNoun(vx);
    AddDbNoun(vx);
    AddDoctorNoun(vx);
    AddEventNoun(vx);
    AddFifoNoun(vx);
    AddHelpNoun(vx);
    AddHistoryNoun(vx);
    AddLogNoun(vx);
    AddMsgNoun(vx);
    AddNotifyNoun(vx);
    AddRotateNoun(vx);
    AddRuleNoun(vx);
    AddTaskNoun(vx);
    AddWebhookNoun(vx);
    try {
        vx.parse(argc, argv);
    } catch (const CLI::Error& error) {
        return ExitCodeOf(vx, error);
    }
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    int code = EXIT_FOUND;
    try {
        code = Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vx: %s\n", error.what());
    }
    // What was printed counts only once it has left the process: a full disk must not look like success.
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && code == EXIT_DONE) {
        std::perror("vx: cannot write to standard output");
        code = EXIT_FOUND;
    }
    return code;
}
