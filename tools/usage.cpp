// SPDX-License-Identifier: Apache-2.0
#include "usage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

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
    } else if (error.get_name() == "ConversionError") { // "Could not convert: ID = x"
        what = WithoutPrefix(what, "Could not convert: ") + ": a number is expected, and not too large a one";
    }
    return fmt::format("{}: {}; see {} --help\n", path, what, path);
}
