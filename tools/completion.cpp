// SPDX-License-Identifier: Apache-2.0
// Each script has a table of the words that may follow each noun and verb, and finds the longest of those before the
// cursor.
#include "completion.h"

#include <fmt/format.h>

#include "command_tree.h"

namespace {

/// A word that may come next, and what it is for.
struct Word {
    std::string text;
    std::string use;
    bool takesValue = false;
};

std::vector<Word> WordsOf(const CLI::App& app)
{
    std::vector<Word> words;
    for (const CLI::App* const sub : SubcommandsOf(app)) {
        words.push_back({sub->get_name(), sub->get_description()});
    }
    for (const CLI::Option* const option : OptionsOf(app)) {
        for (const std::string& name : option->get_lnames()) {
            words.push_back({"--" + name, option->get_description(), TakesValue(*option)});
        }
    }
    return words;
}

/// In single quotes; `apostrophe` is how the shell writes one in there.
std::string Quoted(const std::string& text, const char* apostrophe)
{
    std::string out = "'";
    for (const char c : text) {
        out += c == '\'' ? std::string(apostrophe) : std::string(1, c);
    }
    return out + "'";
}

} // namespace

void PrintBash(const CLI::App& vx)
{
    fmt::print(
        "# shellcheck shell=bash\n"
        "# Completion of vx for bash. Written by vx help --completion bash; script/lint --update makes it "
        "anew.\n"
        "declare -gA _vx_words=(\n");
    Walk(vx, "", [](const CLI::App& app, const std::string& path) {
        std::string words;
        for (const Word& word : WordsOf(app)) {
            words += (words.empty() ? "" : " ") + word.text;
        }
        fmt::print("    [\"/{}\"]=\"{}\"\n", path, words);
    });
    fmt::print("{}", R"BASH()
_vx() {
    local path="" word i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word="${path:+$path }${COMP_WORDS[i]}"
        [ -z "${_vx_words["/$word"]+set}" ] || path=$word
    done
    mapfile -t COMPREPLY < <(compgen -W "${_vx_words["/$path"]}" -- "${COMP_WORDS[COMP_CWORD]}")
}
complete -o default -F _vx vx
)BASH");
}

void PrintZsh(const CLI::App& vx)
{
    fmt::print("#compdef vx\n"
               "# Completion of vx for zsh. Written by vx help --completion zsh; script/lint --update makes "
               "it anew.\n"
               "typeset -gA _vx_words=(\n");
    Walk(vx, "", [](const CLI::App& app, const std::string& path) {
        std::string lines;
        for (const Word& word : WordsOf(app)) {
            lines += (lines.empty() ? "" : "\n") + word.text + ":" + word.use;
        }
        fmt::print("    '/{}' {}\n", path, Quoted(lines, R"('\'')"));
    });
    fmt::print("{}", R"ZSH()
_vx() {
    local place="" next i
    local -a choices
    for ((i = 2; i < CURRENT; i++)); do
        next="${place:+$place }${words[i]}"
        (( ! ${+_vx_words[/$next]} )) || place=$next
    done
    choices=("${(@f)_vx_words[/$place]}")
    _describe vx choices || _files
}
if [ "${funcstack[1]}" = _vx ]; then # loaded for the first completion
    _vx "$@"
else
    compdef _vx vx
fi
)ZSH");
}

void PrintFish(const CLI::App& vx)
{
    fmt::print(
        "# Completion of vx for fish. Written by vx help --completion fish; script/lint --update makes it "
        "anew.\n"
        "set -g __vx_places");
    Walk(vx, "", [](const CLI::App&, const std::string& path) { fmt::print(" {}", Quoted(path, "\\'")); });
    fmt::print("{}", R"FISH(
function __vx_at
    set -l place ''
    for word in (commandline -opc)[2..-1]
        set -l next (string trim "$place $word")
        contains -- $next $__vx_places; and set place $next
    end
    test "$place" = "$argv[1]"
end
)FISH");
    Walk(vx, "", [](const CLI::App& app, const std::string& path) {
        const std::string at = fmt::format("complete -c vx -n '__vx_at \"{}\"'", path);
        for (const Word& word : WordsOf(app)) {
            const std::string use = Quoted(word.use, "\\'");
            if (word.text.rfind("--", 0) == 0) {
                fmt::print("{} -l {}{} -d {}\n", at, word.text.substr(2), word.takesValue ? " -r" : "", use);
            } else {
                fmt::print("{} -f -a {} -d {}\n", at, word.text, use);
            }
        }
    });
}
