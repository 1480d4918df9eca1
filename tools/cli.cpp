// The command line, parsed by CLI11 after the table of commands.
#include "tools/cli.h"

#include "tools/batch.h"
#include "tools/conversion.h"
#include "tools/generate.h"
#include "tools/progress.h"
#include "tools/tool_error.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <sys/stat.h>

namespace dibprep::tool {

namespace {

// Where CLI11 stores what it finds for one command.
struct Target {
    const Command* command;
    CLI::App* app;
    std::map<std::string, std::string> texts;
    std::map<std::string, bool> flags;
    std::vector<std::string> words; // IN and OUT, or pages
};

std::string SeeHelp(const std::string& command) { return " See `dibprep " + command + " --help`."; }

[[noreturn]] void UsageError(const Command& command, const std::string& what) {
    throw ToolError(ExitUsage, "dibprep " + command.name + ": " + what + SeeHelp(command.name));
}

void Describe(Target& target) {
    const Command& command = *target.command;
    target.app->set_help_flag("--help,-h");
    if (command.TakesManyPages())
        target.app->add_option("PAGES", target.words);
    else
        for (const Positional& positional : command.positionals) {
            CLI::Option* option = positional.several
                                      ? target.app->add_option(positional.name, target.words)
                                      : target.app->add_option(positional.name, target.texts[positional.name]);
            option->required(!positional.optional);
        }
    for (const Option& option : command.options) {
        const std::string names = option.AllNames(",");
        if (option.kind == Option::Kind::Flag)
            target.app->add_flag(names, target.flags[option.name]);
        else
            target.app->add_option(names, target.texts[option.name]);
    }
}

[[noreturn]] void WrongValue(const Command& command, const Option& option, const std::string& wanted,
                             const std::string& given) {
    UsageError(command, option.name + " wants " + wanted + ", not \"" + given + "\".");
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

// The names on the command line of a converting command: IN and OUT, or pages for a folder.
void CollectWords(const Target& target, Arguments& arguments) {
    const Command& command = *target.command;
    const std::vector<std::string>& words = target.words;
    if (arguments.Has("--output-dir")) {
        if (words.empty() && !arguments.Has("--from-list"))
            UsageError(command, "no page is named. Write the pages behind -o " + arguments.Text("--output-dir") +
                                    ", or list them with --from-list.");
        for (const std::string& word : words)
            arguments.AddPage(word);
        return;
    }
    for (const Option& option : command.options)
        if (option.needsFolder && target.app->count(option.name) != 0)
            UsageError(command, option.name + " is for many pages, which want a folder: -o DIR.");
    if (words.size() > 2)
        UsageError(command, "\"" + words[2] + "\" is one name too many: IN is " + words[0] + ", OUT is " + words[1] +
                                ". For several pages write -o DIR PAGES...");
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string& name = command.positionals[i].name;
        if (words.size() <= i)
            UsageError(command, name + " is required: " + UsageLines(command)[0] + ".");
        arguments.Set(name, words[i]);
    }
    struct stat status;
    if (stat(words[1].c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        throw ToolError(ExitInputOutput, words[1] + ": is a folder. Write -o " + words[1] +
                                             " to keep the page's name, or name a file in it.");
}

Arguments Collect(const Target& target) {
    const Command& command = *target.command;
    Arguments arguments;
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
    if (command.TakesManyPages())
        CollectWords(target, arguments);
    else
        for (const Positional& positional : command.positionals)
            if (positional.several)
                for (const std::string& word : target.words)
                    arguments.AddPage(word);
            else if (target.app->count(positional.name) != 0)
                arguments.Set(positional.name, target.texts.at(positional.name));
    for (const Option& option : command.options)
        if (option.required && !arguments.Has(option.name))
            UsageError(command, option.name + " is required: " + UsageLines(command)[0] + ".");
    if (arguments.Has("--input-dpi") && arguments.Has("--missing-dpi"))
        UsageError(command, "--input-dpi is for every page and --missing-dpi for those without a resolution: give one "
                            "of the two.");
    if (arguments.Has("--quiet") && arguments.Has("--verbose"))
        UsageError(command, "--quiet says less and --verbose more: give one of the two.");
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
    what.resize(std::min(what.size(), what.find('\n')));
    while (!what.empty() && (what.back() == '.' || what.back() == ' '))
        what.pop_back();
    const std::string name = target ? "dibprep " + target->command->name : "dibprep";
    throw ToolError(ExitUsage, name + ": " + what + ". See `" + name + " --help`.");
}

// What the command cannot take: an option that does not exist, or a name too many.
[[noreturn]] void TooMuch(const Target* target, const std::vector<std::string>& rest) {
    if (!target || rest.empty())
        WrongUsage(target, "the command line cannot be understood");
    const Command& command = *target->command;
    const std::string& word = rest.front();
    if (word.size() < 2 || word[0] != '-') {
        std::string names;
        for (const Positional& positional : command.positionals)
            names += (names.empty() ? "" : " and ") + positional.name;
        UsageError(command, "\"" + word + "\" is one name too many; it takes " + names + ".");
    }
    const std::string name = word.substr(0, word.find('='));
    std::vector<std::string> known = {"--help"};
    for (const Option& option : command.options)
        known.push_back(option.name);
    const std::string nearest = NearestWord(name, known);
    UsageError(command, "there is no option " + name + "." + (nearest.empty() ? "" : " Did you mean " + nearest + "?"));
}

// The parser's own words about a missing command do not say what was found instead.
void CheckFirstWord(const std::string& word) {
    if (word == "--help" || word == "-h" || word == "--version" || FindCommand(word))
        return;
    std::vector<std::string> known;
    std::string names;
    for (const Command& command : CommandTable()) {
        known.push_back(command.name);
        names += (names.empty() ? "" : ", ") + command.name;
    }
    const std::string nearest = NearestWord(word, known);
    throw ToolError(ExitUsage, "dibprep: there is no command \"" + word + "\"; there are " + names + "." +
                                   (nearest.empty() ? "" : " Did you mean " + nearest + "?") +
                                   " See `dibprep --help`.");
}

// The most memory that this program has had, in whole MB; 0 where the system does not say. (The figure
// that getrusage gives counts what ran in this process before.)
unsigned long PeakMegabytes() {
    std::FILE* status = std::fopen("/proc/self/status", "r");
    unsigned long kilobytes = 0;
    char line[256];
    while (status && kilobytes == 0 && std::fgets(line, sizeof line, status))
        if (std::strncmp(line, "VmHWM:", 6) == 0)
            kilobytes = std::strtoul(line + 6, nullptr, 10);
    if (status)
        std::fclose(status);
    return kilobytes * 1024 / 1000000;
}

void SayVerbosely(const Conversion& conversion) {
    std::fprintf(stderr, "%s%s: read %llu bytes, wrote %llu; up to %lu MB of memory.\n",
                 ConversionText(conversion).c_str(), conversion.output.c_str(),
                 static_cast<unsigned long long>(conversion.inputBytes),
                 static_cast<unsigned long long>(conversion.outputBytes), PeakMegabytes());
}

int Run(const Command& command, const Arguments& arguments) {
    if (arguments.Has("--output-dir"))
        return RunBatch(command, arguments);
    if (arguments.Has("--quiet")) {
        SetAnnouncer([](const Conversion&) {});
        ProgressBar::Hide();
    } else if (arguments.Has("--verbose")) {
        SetAnnouncer(SayVerbosely);
    }
    command.run(arguments);
    return ExitDone;
}

// How the build makes manual pages and completions, and how tests see the table. Not for people.
bool RunHidden(int argc, char** argv) {
    const std::string word = argv[1];
    if (word == "--table" && argc == 2) {
        std::fputs(TableText().c_str(), stdout);
        return true;
    }
    if (word != "--generate-files" || argc != 3)
        return false;
    GenerateFiles(argv[2]);
    return true;
}

} // namespace

int RunCommandLine(int argc, char** argv) {
    CLI::App app;
    app.set_help_flag("--help,-h");
    app.set_version_flag("--version", "dibprep " DIBPREP_VERSION " (" DIBPREP_WIDTH " bits)");
    app.require_subcommand(1);
    std::list<Target> targets;
    for (const Command& command : CommandTable()) {
        targets.push_back({&command, app.add_subcommand(command.name), {}, {}, {}});
        Describe(targets.back());
    }
    if (argc < 2) {
        std::fputs(OverviewHelp().c_str(), stderr);
        return ExitUsage;
    }
    if (RunHidden(argc, argv))
        return ExitDone;
    CheckFirstWord(argv[1]);
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
        TooMuch(Chosen(targets), app.remaining(true));
    } catch (const CLI::ParseError& error) {
        WrongUsage(Chosen(targets), error.what());
    }
    const Target* target = Chosen(targets);
    return Run(*target->command, Collect(*target));
}

} // namespace dibprep::tool
