// Help texts, made from the table of commands.
#include "tools/cli.h"

#include <algorithm>

namespace dibprep::tool {

namespace {

constexpr std::size_t LineWidth = 80;

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
    return option.value.empty() ? option.name : option.name + ' ' + option.value;
}

std::string OptionHelp(const Option& option) {
    std::string help = option.help;
    if (!option.standard.empty())
        help += " Default: " + option.standard + ".";
    return help;
}

} // namespace

std::string OverviewHelp() {
    std::string text = "dibprep prepares page images: resolution, depth, colours.\n\n"
                       "Usage: dibprep COMMAND ...\n\nCommands:\n";
    for (const Command& command : CommandTable())
        text += Entry(command.name, 13, command.summary);
    text +=
        "\n" + Wrap("Files are BMP. OUT appears complete or not at all, and replaces a file only with --force.", 0, 0);
    text += "\nExit codes:\n";
    for (const auto& [code, meaning] : {std::pair{"0", "done"},
                                        {"2", "the command line is wrong"},
                                        {"3", "the input is damaged or of a kind that is not taken"},
                                        {"4", "a limit was met, or memory ran out"},
                                        {"5", "a file could not be read or written, or exists already"},
                                        {"130", "stopped by Ctrl-C (143: by SIGTERM, 129: by SIGHUP); nothing is left behind"}})
        text += Entry(code, 7, meaning);
    text += "\n`dibprep COMMAND --help` says more about a command.\n";
    return text;
}

std::string CommandHelp(const Command& command) {
    std::string usage = "Usage: dibprep " + command.name;
    for (const Positional& positional : command.positionals)
        usage += ' ' + positional.name;
    for (const Option& option : command.options)
        if (option.required)
            usage += ' ' + OptionName(option);
    std::string text = usage + " [OPTIONS]\n\n" + Wrap(command.description, 0, 0) + '\n';
    constexpr std::size_t column = 22;
    for (const Positional& positional : command.positionals)
        text += Entry(positional.name, column, positional.help);
    for (const Option& option : command.options)
        text += Entry(OptionName(option), column, OptionHelp(option));
    text += Entry("--help", column, "Print this text.");
    return text + "\nExample:\n  " + command.example + '\n';
}

} // namespace dibprep::tool
