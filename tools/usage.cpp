// SPDX-License-Identifier: Apache-2.0
#include "usage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cctype>
#include <cmath>

namespace {

/// The words of the noun or verb that parsing came to, and what may stand behind it.
struct Reached {
    const CLI::App* pApp;
    std::string path;
};

Reached ReachedBy(const CLI::App& vx)
{
    Reached reached{&vx, vx.get_name()};
    while (!reached.pApp->get_subcommands().empty()) {
        reached.pApp = reached.pApp->get_subcommands().back();
        reached.path += " " + reached.pApp->get_name();
    }
    return reached;
}

std::string SubcommandNames(const CLI::App& app)
{
    std::string names;
    for (const CLI::App* const sub : app.get_subcommands({})) {
        names += (names.empty() ? "" : ", ") + sub->get_name();
    }
    return names;
}

std::string WithoutPrefix(const std::string& text, const std::string& prefix)
{
    return text.rfind(prefix, 0) == 0 ? text.substr(prefix.size()) : text;
}

/// Takes leading zeros out of a number. @return what is wrong with it
std::string CheckNumber(std::string& input)
{
    const std::size_t first = input.find_first_of("0123456789");
    while (first + 1 < input.size() && input[first] == '0' && std::isdigit(input[first + 1]) != 0) {
        input.erase(first, 1);
    }
    double number = 0;
    const bool isNone = input.empty() || (CLI::detail::lexical_cast(input, number) && !std::isfinite(number));
    return isNone ? fmt::format("'{}': a number is expected", input) : "";
}

} // namespace

std::string UsageText(const CLI::App& vx, const CLI::Error& error)
{
    const auto [pApp, path] = ReachedBy(vx);
    const std::string names = SubcommandNames(*pApp);
    std::string what = error.what();
    if (!names.empty()) { // a noun without a verb that it knows
        const std::vector<std::string> rest = pApp->remaining();
        what = (rest.empty() ? "what?" : fmt::format("'{}' is not known here;", rest.front())) + " one of " +
               names;
    } else if (error.get_name() == "ArgumentMismatch" &&
               what.ends_with(" missing")) { // "--days: 1 required INT missing"
        what = what.substr(0, what.find(':')) + ": a value is missing";
    } else if (error.get_name() == "ConversionError") { // "Could not convert: ID = x"
        what = WithoutPrefix(what, "Could not convert: ") + ": a number is expected, and not too large a one";
    }
    return fmt::format("{}: {}; see {} --help\n", path, what, path);
}

void RefuseWhatIsNoNumber(CLI::App& app)
{
    for (CLI::Option* const option : app.get_options([](CLI::Option*) { return true; })) {
        const std::string type = option->get_type_name();
        if (type.starts_with("INT") || type.starts_with("UINT") || type.starts_with("FLOAT")) {
            option->transform(CLI::Validator(CheckNumber, ""));
        }
    }
    for (CLI::App* const verb : app.get_subcommands([](CLI::App*) { return true; })) {
        RefuseWhatIsNoNumber(*verb);
    }
}
