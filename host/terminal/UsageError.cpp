// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/UsageError.h>

#include <KetSDK/MeshJobs/EditDistance.h>

#include <algorithm>
#include <vector>

namespace ketmesh {

namespace {

std::vector<std::string> OptionNames(CLI::App const& command) {
    std::vector<std::string> names;
    for (CLI::Option const* const option : command.get_options()) {
        for (std::string const& name : option->get_lnames())
            names.push_back("--" + name);
        for (std::string const& name : option->get_snames())
            names.push_back("-" + name);
    }
    return names;
}

std::vector<std::string> CommandNames(CLI::App const& app) {
    std::vector<std::string> names;
    for (CLI::App const* const command : app.get_subcommands([](CLI::App const*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

// "there is no option --bin; did you mean --bins?"
std::string Suggest(std::string const& kind, std::string const& word, std::vector<std::string> names) {
    std::erase(names, "-h"); // as near to every other letter as what was meant
    auto const nearest = std::ranges::min_element(
        names, {}, [&word](std::string const& name) { return KetSDK::MeshJobs::EditDistance(word, name); });
    return "there is no " + kind + " " + word + "; did you mean " + *nearest + "?";
}

// The first option among words that were not understood, without a value; empty for none.
std::string FirstOption(std::vector<std::string> const& words) {
    auto const option = std::ranges::find_if(
        words, [](std::string const& word) { return word.size() > 1 && word.front() == '-'; });
    return option == words.end() ? std::string() : option->substr(0, option->find('='));
}

// What was not understood, in words of our own; empty where the parser's own words will do.
std::string DescribeUnknown(CLI::App const& app, CLI::App const* command) {
    if (command)
        if (std::string const option = FirstOption(command->remaining()); !option.empty())
            return Suggest("option", option, OptionNames(*command));
    std::vector<std::string> const words = app.remaining();
    if (!command && !words.empty() && !words.front().starts_with('-'))
        return Suggest("command", words.front(), CommandNames(app));
    if (std::string const option = FirstOption(words); !option.empty())
        return Suggest("option", option, OptionNames(app)) + " Those of a command stand behind it";
    return {};
}

} // namespace

std::string DescribeUsageError(CLI::App const& app, CLI::Error const& error) {
    std::vector<CLI::App*> const commands = app.get_subcommands();
    CLI::App const* const command = commands.empty() ? nullptr : commands.front();
    std::string const unknown = DescribeUnknown(app, command);
    return (unknown.empty() ? std::string(error.what()) : unknown) + " (see ketmesh " +
           (command ? command->get_name() + " " : "") + "--help)";
}

} // namespace ketmesh
