// SPDX-License-Identifier: Apache-2.0
// tools/command_tree.h - all nouns, verbs and options that are shown, for what is written from them.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

inline std::vector<const CLI::App*> SubcommandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
}

inline std::vector<const CLI::Option*> OptionsOf(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

inline bool TakesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

using CommandVisit = std::function<void(const CLI::App&, const std::string& path)>;

/// Every noun and verb in the order in which it was added; the path of vx itself is empty.
inline void Walk(const CLI::App& app, const std::string& path, const CommandVisit& visit)
{
    visit(app, path);
    for (const CLI::App* const sub : SubcommandsOf(app)) {
        Walk(*sub, path.empty() ? sub->get_name() : path + " " + sub->get_name(), visit);
    }
}
