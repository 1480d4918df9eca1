// The command line, parsed by CLI11 after the table of commands.
#include "tools/cli.h"

#include "tools/tool_error.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <list>

namespace dibprep::tool {

namespace {

// Where CLI11 stores what it finds for one command.
struct Target {
    const Command* command;
    CLI::App* app;
    std::map<std::string, std::string> texts;
    std::map<std::string, bool> flags;
};

void Describe(Target& target) {
    const Command& command = *target.command;
    target.app->set_help_flag("--help,-h");
    for (const Positional& positional : command.positionals)
        target.app->add_option(positional.name, target.texts[positional.name])->required();
    for (const Option& option : command.options) {
        if (option.kind == Option::Kind::Flag)
            target.app->add_flag(option.name, target.flags[option.name]);
        else
            target.app->add_option(option.name, target.texts[option.name])->required(option.required);
    }
}

[[noreturn]] void WrongValue(const Command& command, const Option& option, const std::string& wanted,
                             const std::string& given) {
    throw ToolError(ExitUsage, "dibprep " + command.name + ": " + option.name + " wants " + wanted + ", not \"" +
                                   given + "\". See `dibprep " + command.name + " --help`.");
}

void CheckNumber(const Command& command, const Option& option, const std::string& given) {
    const std::string wanted =
        "a whole number from " + std::to_string(option.least) + " to " + std::to_string(option.most);
    const bool digits =
        !given.empty() && given.size() <= 18 && given.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || std::stoll(given) < option.least || std::stoll(given) > option.most)
        WrongValue(command, option, wanted, given);
}

void CheckChoice(const Command& command, const Option& option, const std::string& given) {
    if (std::find(option.choices.begin(), option.choices.end(), given) != option.choices.end())
        return;
    std::string wanted;
    for (const std::string& choice : option.choices)
        wanted += (wanted.empty() ? "" : " or ") + choice;
    WrongValue(command, option, wanted, given);
}

Arguments Collect(const Target& target) {
    const Command& command = *target.command;
    Arguments arguments;
    for (const Positional& positional : command.positionals)
        arguments.Set(positional.name, target.texts.at(positional.name));
    for (const Option& option : command.options) {
        if (target.app->count(option.name) == 0) {
            if (!option.standard.empty())
                arguments.Set(option.name, option.standard);
            continue;
        }
        const std::string value = option.kind == Option::Kind::Flag ? "1" : target.texts.at(option.name);
        if (option.kind == Option::Kind::Number)
            CheckNumber(command, option, value);
        if (option.kind == Option::Kind::Choice)
            CheckChoice(command, option, value);
        arguments.Set(option.name, value);
    }
    return arguments;
}

const Target* Chosen(const std::list<Target>& targets) {
    for (const Target& target : targets)
        if (target.app->parsed())
            return &target;
    return nullptr;
}

[[noreturn]] void WrongUsage(const Target* target, std::string what) {
    // The parser's sentences begin in several ways and may carry a line about --help already.
    what = what.substr(0, what.find('\n'));
    while (!what.empty() && (what.back() == '.' || what.back() == ' '))
        what.pop_back();
    const std::string name = target ? "dibprep " + target->command->name : "dibprep";
    throw ToolError(ExitUsage, name + ": " + what + ". See `" + name + " --help`.");
}

// The parser's own words about a missing command do not say what was found instead.
void CheckFirstWord(const std::string& word) {
    if (word == "--help" || word == "-h" || word == "--version")
        return;
    std::string names;
    for (const Command& command : CommandTable()) {
        if (command.name == word)
            return;
        names += (names.empty() ? "" : ", ") + command.name;
    }
    throw ToolError(ExitUsage,
                    "dibprep: there is no command \"" + word + "\"; there are " + names + ". See `dibprep --help`.");
}

} // namespace

int RunCommandLine(int argc, char** argv) {
    CLI::App app;
    app.set_help_flag("--help,-h");
    app.set_version_flag("--version", "dibprep " DIBPREP_VERSION " (" DIBPREP_WIDTH " bits)");
    app.require_subcommand(1);
    std::list<Target> targets;
    for (const Command& command : CommandTable()) {
        targets.push_back({&command, app.add_subcommand(command.name), {}, {}});
        Describe(targets.back());
    }
    if (argc >= 2)
        CheckFirstWord(argv[1]);
    if (argc < 2) {
        std::fputs(OverviewHelp().c_str(), stderr);
        return ExitUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const Target* target = Chosen(targets);
        std::fputs((target ? CommandHelp(*target->command) : OverviewHelp()).c_str(), stdout);
        if (std::fflush(stdout) != 0)
            throw ToolError(ExitInputOutput, "The help text cannot be written to the standard output.");
        return ExitDone;
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
        return ExitDone;
    } catch (const CLI::ExtrasError&) {
        std::string words;
        for (const std::string& word : app.remaining(true))
            words += (words.empty() ? "" : " ") + word;
        WrongUsage(Chosen(targets), "this is too much: " + words);
    } catch (const CLI::ParseError& error) {
        WrongUsage(Chosen(targets), error.what());
    }
    const Target* target = Chosen(targets);
    target->command->run(Collect(*target));
    return ExitDone;
}

} // namespace dibprep::tool
