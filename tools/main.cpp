// SPDX-License-Identifier: Apache-2.0
// tools/main.cpp - vx NOUN VERB: parses, runs the verb, turns its end into an exit code.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "exit_code.h"
#include "nouns.h"
#include "reach.h"
#include "usage.h"

namespace {

int ExitCodeOf(CLI::App& vx, const CLI::Error& error)
{
    if (error.get_exit_code() == 0 || dynamic_cast<const CLI::RuntimeError*>(&error) != nullptr) {
        return vx.exit(error); // prints help; nothing for a verb that has said what was wrong
    }
    std::fputs(UsageText(vx, error).c_str(), stderr);
    return EXIT_USAGE;
}

/// Their verbs end with one line, instead of one for each failed statement, where the databases are out of reach.
void RequireDatabases(CLI::App& noun)
{
    for (CLI::App* const verb : noun.get_subcommands({})) {
        verb->parse_complete_callback(
            [words = noun.get_name() + " " + verb->get_name()] { ReachDatabases(words); });
    }
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
    for (const char* const noun : {"camera", "event", "history", "rotate", "rule", "task", "webhook"}) {
        RequireDatabases(*vx.get_subcommand(noun));
    }
    RefuseWhatIsNoNumber(vx);
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
