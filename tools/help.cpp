// SPDX-License-Identifier: Apache-2.0
// tools/help.cpp - vx help: the manual page, made from what the parser knows, and the shells' completion.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>

#include "command_tree.h"
#include "completion.h"
#include "nouns.h"

namespace {

/// Text as troff prints it: no line of ours is taken for a request, no hyphen for a break.
std::string Troff(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else if (c == '\n') {
            out += "\n.br\n";
        } else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) {
            out += std::string("\\&") + c;
        } else if (c == ' ' && !out.empty() && out.back() == '\n') {
            out += "\\ "; // a line that begins with blanks breaks; ours are set by .br already
        } else {
            out += c;
        }
    }
    return out;
}

std::string ValueName(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    return type.empty() ? "VALUE"
                        : type.substr(0, type.find(':')); // behind the colon stands what is accepted
}

void PrintOption(const CLI::Option& option)
{
    const std::string names = option.get_positional() ? option.get_name(true) : option.get_name(false, true);
    std::string head = "\\fB" + Troff(names) + "\\fR";
    if (!option.get_positional() && TakesValue(option)) {
        head += " \\fI" + Troff(ValueName(option)) + "\\fR";
    }
    std::string text = Troff(option.get_description());
    if (!option.get_default_str().empty()) {
        text += " (default: " + Troff(option.get_default_str()) + ")";
    }
    fmt::print(".TP\n{}\n{}\n", head, text.empty() ? "." : text);
}

std::string Synopsis(const CLI::App& app, const std::string& path)
{
    std::string line = "\\fBvx" + (path.empty() ? "" : " " + Troff(path)) + "\\fR";
    if (!SubcommandsOf(app).empty()) {
        return line + " \\fIVERB\\fR";
    }
    line += " [\\fIoptions\\fR]";
    for (const CLI::Option* const option : OptionsOf(app)) {
        if (option->get_positional()) {
            const std::string name = "\\fI" + Troff(option->get_name(true)) + "\\fR";
            line += option->get_required() ? " " + name : " [" + name + "]";
        }
    }
    return line;
}

void PrintManual(const CLI::App& vx)
{
    fmt::print(".\\\" Written by vx help --man; script/lint --update makes it anew.\n"
               ".TH VX 1 \"\" \"vx {}\" \"User commands\"\n.SH NAME\nvx \\- {}\n"
               ".SH SYNOPSIS\n.B vx\n.I NOUN VERB\n[\\fIoptions\\fR]\n.SH DESCRIPTION\n"
               "Shows, moves and mends what the processes of a recorder share. What deletes says first what "
               "it would "
               "delete (\\fB\\-\\-dry\\-run\\fR) and asks (\\fB\\-\\-yes\\fR).\n.SH COMMANDS\n",
               VX_VERSION, Troff(vx.get_description()));
    Walk(vx, "", [](const CLI::App& app, const std::string& path) {
        if (path.empty()) {
            return;
        }
        fmt::print(".SS {}\n{}.\n", Synopsis(app, path), Troff(app.get_description()));
        for (const CLI::Option* const option : OptionsOf(app)) {
            if (option->get_name(false, true) != "-h,--help") {
                PrintOption(*option);
            }
        }
        if (!app.get_footer().empty()) {
            fmt::print(".PP\n{}\n", Troff(app.get_footer()));
        }
    });
    fmt::print(
        ".SH EXIT STATUS\n.TP\n0\nDone.\n.TP\n1\nFound a problem, or failed.\n.TP\n2\nCalled wrongly.\n"
        ".TP\n3\nCannot reach what it needs.\n.TP\n4\nRefused for safety.\n"
        ".SH ENVIRONMENT\n.TP\n.B VX_ROOT\nThe folder with everything that is stored (default: "
        "/var/lib/vx).\n"
        ".TP\n.BR VX_LOG_MAX_BYTES \", \" VX_LOG_KEEP\nSize at which the log is rotated (8 MiB), and how "
        "many old "
        "files are kept (1).\n.TP\n.B VX_LOG_STDERR\nLog lines go to standard error.\n"
        ".SH EXAMPLES\n.TP\n.B vx capture rtsp://camera/stream \\-\\-key 4711\nPuts a camera's frames into "
        "shared "
        "memory.\n.TP\n.B vx fifo top\nShows what flows.\n.TP\n.B vx doctor\nSays what is wrong with this "
        "box.\n"
        ".SH SEE ALSO\n.BR ffmpeg (1),\n.BR sysvipc (7)\n");
}

} // namespace

void AddHelpNoun(CLI::App& vx)
{
    CLI::App* const noun =
        vx.add_subcommand("help", "The manual page and the completion for shells, as text");
    const auto man = std::make_shared<bool>(false);
    const auto shell = std::make_shared<std::string>();
    noun->add_flag("--man", *man, "The manual page, for man(1)");
    noun->add_option("--completion", *shell, "The completion for this shell")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->excludes("--man");
    noun->callback([&vx, man, shell] {
        if (*man) {
            PrintManual(vx);
        } else if (!shell->empty()) {
            *shell == "bash" ? PrintBash(vx) : *shell == "zsh" ? PrintZsh(vx) : PrintFish(vx);
        } else {
            throw CLI::CallForHelp();
        }
    });
}
