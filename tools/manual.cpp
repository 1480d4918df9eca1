// Manual pages in the man macros, made from the table of commands.
#include "tools/cli.h"
#include "tools/generate.h"

namespace dibprep::tool {

namespace {

// Text as the formatter takes it: `words` in bold, hyphens that can be copied, no accidental requests.
std::string Roff(const std::string& text) {
    std::string result;
    bool bold = false;
    for (const char letter : text) {
        if (letter == '`') {
            bold = !bold;
            result += bold ? "\\fB" : "\\fR";
        } else if (letter == '\\') {
            result += "\\e";
        } else if (letter == '-') {
            result += "\\-";
        } else {
            result += letter;
        }
    }
    const bool request = !result.empty() && (result[0] == '.' || result[0] == '\'');
    return request ? "\\&" + result : result;
}

std::string Title(std::string name) {
    for (char& letter : name)
        letter = static_cast<char>(letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter);
    return ".\\\" Made from the tool's table of commands.\n.TH " + Roff(name) +
           " 1 \"\" \"dibprep " DIBPREP_VERSION "\" \"dibprep\"\n";
}

std::string Section(const std::string& name) { return ".SH " + name + '\n'; }

// A term and what it means.
std::string Item(const std::string& term, const std::string& text) {
    return ".TP\n\\fB" + Roff(term) + "\\fR\n" + Roff(text) + '\n';
}

std::string OptionItem(const Option& option) {
    const std::string value = option.value.empty() ? "" : " \\fI" + Roff(option.value) + "\\fR";
    const std::string shortForm =
        option.letter == 0 ? "" : "\\fB" + Roff(std::string{'-', option.letter}) + "\\fR" + value + ", ";
    return ".TP\n" + shortForm + "\\fB" + Roff(option.name) + "\\fR" + value + '\n' + Roff(OptionHelp(option)) + '\n';
}

std::string ExitStatus() {
    std::string text = Section("EXIT STATUS");
    for (const ExitMeaning& exit : ExitMeanings())
        text += Item(exit.code, std::string(exit.meaning) + '.');
    return text;
}

std::string Overview() {
    std::string text = Title("dibprep") + Section("NAME") +
                       "dibprep \\- prepares page images: resolution, depth, colours\n" + Section("SYNOPSIS") +
                       "\\fBdibprep\\fR \\fICOMMAND\\fR ...\n" + Section("DESCRIPTION") +
                       "Changes the resolution, the depth and the number of colours of page images. The result appears "
                       "complete or\nnot at all, and replaces a file only with \\fB\\-\\-force\\fR. "
                       "\\- stands for the standard input, and for the standard output.\n" +
                       Section("COMMANDS");
    for (const Command& command : CommandTable())
        text += Item("dibprep-" + command.name + "(1)", command.summary + '.');
    text += Section("FILES") + Roff(FormatsText()) + '\n' + Section("MANY PAGES") +
            "Every page is converted in a process of its own: one that fails or dies takes nothing else with it.\n";
    for (const Option& option : ManyPagesOptions())
        text += OptionItem(option);
    return text + ExitStatus();
}

std::string OfCommand(const Command& command) {
    std::string text = Title("dibprep-" + command.name) + Section("NAME") + Roff("dibprep-" + command.name) + " \\- " +
                       Roff(command.summary) + '\n' + Section("SYNOPSIS");
    bool first = true;
    for (const std::string& line : UsageLines(command)) {
        text += (first ? "" : ".br\n") + Roff(line) + '\n';
        first = false;
    }
    text += Section("DESCRIPTION") + Roff(command.description) + '\n';
    if (!command.options.empty())
        text += Section("OPTIONS");
    for (const Option& option : command.options)
        text += OptionItem(option);
    return text + ExitStatus() + Section("EXAMPLE") + ".nf\n" + Roff(command.example) + "\n.fi\n" +
           Section("SEE ALSO") + "\\fBdibprep\\fR(1)\n";
}

} // namespace

std::string ManualPage(const std::string& command) {
    return command.empty() ? Overview() : OfCommand(*FindCommand(command));
}

} // namespace dibprep::tool
