// Help texts, made from the table of commands.
#include "tools/cli.h"
#include "tools/formats.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cstdio>

namespace dibprep::tool {

namespace {

constexpr std::size_t LineWidth = 80;
constexpr std::size_t OptionColumn = 20;

// Words broken into lines that begin with `indent` spaces; the first begins behind `used` columns.
std::string Wrap(const std::string& text, std::size_t indent, std::size_t used) {
    std::string result;
    std::size_t column = used;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::size_t length = end - at;
        const bool lineBegins = column <= indent;
        if (!lineBegins && column + 1 + length > LineWidth) {
            result += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (!lineBegins) {
            result += ' ';
            ++column;
        }
        result += text.substr(at, length);
        column += length;
        at = end + 1;
    }
    return result + '\n';
}

std::string Entry(const std::string& name, std::size_t column, const std::string& text) {
    const std::string head = "  " + name;
    if (head.size() + 2 > column)
        return head + '\n' + std::string(column, ' ') + Wrap(text, column, column);
    return head + std::string(column - head.size(), ' ') + Wrap(text, column, column);
}

std::string OptionName(const Option& option) {
    const std::string names = option.AllNames(", ");
    return option.value.empty() ? names : names + ' ' + option.value;
}

// The shortest way to write it; an option and its value stay on one line.
std::string ShortName(const Option& option) {
    const std::string name = option.letter == 0 ? option.name : std::string{'-', option.letter};
    return option.value.empty() ? name : name + '\t' + option.value;
}

std::string ManyPagesInBrief() {
    std::string text = "Many pages:";
    for (const Option& option : ManyPagesOptions())
        text += ' ' + ShortName(option);
    text = Wrap(text + " (`dibprep help many` explains them)", 2, 0);
    std::replace(text.begin(), text.end(), '\t', ' ');
    return text;
}

} // namespace

std::string OptionHelp(const Option& option) {
    std::string help = option.help;
    if (!option.standard.empty())
        help += " Default: " + option.standard + ".";
    return help;
}

const std::vector<ExitMeaning>& ExitMeanings() {
    static const std::vector<ExitMeaning> meanings = {
        {"0", "done; compare: the pictures are equal"},
        {"1", "some of many pages or files failed; compare: the pictures differ"},
        {"2", "the command line is wrong"},
        {"3", "the input is damaged or of a kind that is not taken"},
        {"4", "a limit was met, or memory ran out"},
        {"5", "a file could not be read or written, or exists already"},
        {"130", "stopped by Ctrl-C (143: SIGTERM, 129: SIGHUP); no partial file is left"},
    };
    return meanings;
}

std::string FormatsText() { return "Formats: " + FormatNames() + "; OUT's ending or --format chooses."; }

std::string OverviewHelp() {
    std::string text = "dibprep prepares page images: resolution, depth, colours.\n"
                       "Usage: dibprep COMMAND ...\n"
                       "Example: " +
                       CommandTable().front().example + "\n\n";
    for (const Command& command : CommandTable())
        text += Entry(command.name, 13, command.summary);
    text += '\n' + Wrap(FormatsText(), 2, 0) + "Exit codes:\n";
    for (const ExitMeaning& exit : ExitMeanings())
        text += Entry(exit.code, 7, exit.meaning);
    return text;
}

std::vector<std::string> UsageLines(const Command& command) {
    std::string required;
    for (const Option& option : command.options)
        if (option.required)
            required += ' ' + OptionName(option);
    const std::string begin = "dibprep " + command.name;
    std::string single = begin;
    for (const Positional& positional : command.positionals)
        single += ' ' + (positional.optional ? '[' + positional.name + ']' : positional.name) +
                  (positional.several ? "..." : "");
    const std::string options = command.options.empty() ? "" : " [OPTIONS]";
    if (!command.TakesManyPages())
        return {single + required + options};
    return {single + required + options, begin + " -o DIR PAGES..." + required + options};
}

std::string CommandHelp(const Command& command) {
    std::string text;
    for (const std::string& line : UsageLines(command))
        text += (text.empty() ? "Usage: " : "       ") + line + '\n';
    text += '\n' + Wrap(command.description, 0, 0);
    bool first = true;
    for (const Option& option : command.options) {
        if (option.many)
            continue;
        text += (first ? "\n" : "") + Entry(OptionName(option), OptionColumn, OptionHelp(option));
        first = false;
    }
    if (command.TakesManyPages())
        text += '\n' + ManyPagesInBrief();
    return text + "\nExample: " + command.example + '\n';
}

std::string ManyPagesHelp() {
    std::string text =
        "Usage: dibprep COMMAND -o DIR PAGES... [OPTIONS]\n\n" +
        Wrap("Every page is converted in a process of its own: one that fails or dies takes nothing else "
             "with it. It is told, the rest goes on, and the exit code is 1.",
             0, 0) +
        '\n';
    for (const Option& option : ManyPagesOptions())
        text += Entry(OptionName(option), 22, OptionHelp(option));
    return text + "\nExample: dibprep resample -o fax --dpi 200 --jobs 4 --skip-existing scans/*.bmp\n";
}

namespace {

void RunHelp(const Arguments& arguments) {
    std::string text = OverviewHelp();
    if (arguments.Has("TOPIC")) {
        const std::string& topic = arguments.Text("TOPIC");
        const Command* command = FindCommand(topic);
        if (!command && topic != "many") {
            std::string names = "many";
            for (const Command& known : CommandTable())
                names += ", " + known.name;
            throw ToolError(ExitUsage, "dibprep help: there is no topic \"" + topic + "\"; there are " + names + ".");
        }
        text = command ? CommandHelp(*command) : ManyPagesHelp();
    }
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) != 0)
        throw ToolError(ExitInputOutput, "The help text cannot be written to the standard output.");
}

} // namespace

Command HelpCommand() {
    return {"help",
            "say more about a command, or about many pages (help many)",
            "Prints what there is, what a command does, or what the options for many pages mean.",
            "dibprep help resample",
            {{"TOPIC", "the name of a command, or many", true}},
            {},
            RunHelp};
}

} // namespace dibprep::tool
