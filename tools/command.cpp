// The table of commands.
#include "tools/cli.h"

#include <algorithm>
#include <utility>

namespace dibprep::tool {

Option Flag(const std::string& name, const std::string& help) {
    Option option;
    option.kind = Option::Kind::Flag;
    option.name = name;
    option.help = help;
    return option;
}

Option Number(const std::string& name, std::int64_t least, std::int64_t most, const std::string& help,
              const std::string& standard) {
    Option option = Text(name, "N", help);
    option.kind = Option::Kind::Number;
    option.least = least;
    option.most = most;
    option.standard = standard;
    return option;
}

Option Choice(const std::string& name, const std::vector<std::string>& choices, const std::string& help) {
    std::string value;
    for (const std::string& choice : choices)
        value += (value.empty() ? "" : "|") + choice;
    Option option = Text(name, value, help);
    option.kind = Option::Kind::Choice;
    option.choices = choices;
    return option;
}

Option Text(const std::string& name, const std::string& value, const std::string& help) {
    Option option = Flag(name, help);
    option.kind = Option::Kind::Text;
    option.value = value;
    return option;
}

Option Required(Option option) {
    option.required = true;
    return option;
}

Option WithLetter(char letter, Option option) {
    option.letter = letter;
    return option;
}

Option Naming(Option::Names names, Option option) {
    option.names = names;
    return option;
}

const Command* FindCommand(const std::string& name) {
    for (const Command& command : CommandTable())
        if (command.name == name)
            return &command;
    return nullptr;
}

std::string NearestWord(const std::string& word, const std::vector<std::string>& words) {
    // Letters to change, add or drop: more than a third of the word is another word.
    std::size_t least = std::max<std::size_t>(word.size() / 3, 2) + 1;
    std::string nearest;
    for (const std::string& candidate : words) {
        std::vector<std::size_t> row(candidate.size() + 1);
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = i;
        for (const char letter : word) {
            std::size_t diagonal = row[0]++;
            for (std::size_t x = 0; x < candidate.size(); ++x) {
                const std::size_t changed = diagonal + (letter == candidate[x] ? 0 : 1);
                diagonal = row[x + 1];
                row[x + 1] = std::min({changed, row[x] + 1, row[x + 1] + 1});
            }
        }
        if (row.back() < least) {
            least = row.back();
            nearest = candidate;
        }
    }
    return nearest;
}

std::string Option::AllNames(const std::string& separator) const {
    return letter == 0 ? name : std::string{'-', letter} + separator + name;
}

bool Command::TakesManyPages() const {
    return std::any_of(options.begin(), options.end(), [](const Option& option) { return option.many; });
}

std::vector<Option> ManyPagesOptions() {
    std::vector<Option> options = {
        WithLetter('o', Naming(Option::Names::Folder,
                               Text("--output-dir", "DIR",
                                    "Write every page into this folder, under its own name. It is made when "
                                    "missing."))),
        Naming(Option::Names::File,
               Text("--from-list", "FILE",
                    "Take the names of pages from FILE, or from the standard input (-): one a line, or with a "
                    "zero byte behind each.")),
        Text("--shard", "I/N",
             "Take only every N-th page, beginning with the I-th: N runs from 1/N to N/N share the pages."),
        Flag("--skip-existing", "Leave out pages whose result is there already."),
        WithLetter('j', Number("--jobs", 0, 1024,
                               "Pages at a time, each in its own process; 0: one for each processor.", "1")),
        Naming(Option::Names::File,
               Text("--report", "FILE", "Append one JSON object for each page to FILE, and a summary at the end.")),
    };
    for (Option& option : options)
        option.needsFolder = option.name != "--output-dir";
    options.push_back(WithLetter('q', Flag("--quiet", "Say nothing but what went wrong.")));
    options.push_back(WithLetter('v', Flag("--verbose", "Say more: a line for every page.")));
    for (Option& option : options)
        option.many = true;
    return options;
}

namespace {

std::vector<Command> MakeTable() {
    std::vector<Command> table = {
        ResampleCommand(), RescaleCommand(), ConvertCommand(), NormalizeCommand(), QuantizeCommand(),
        PaletteCommand(),  CompareCommand(), InfoCommand(),    HelpCommand(),
    };
    for (Command& command : table) {
        const bool converts = command.positionals.size() == 2 && command.positionals[1].name == "OUT";
        if (!converts)
            continue;
        for (const Option& option : ManyPagesOptions())
            command.options.push_back(option);
    }
    return table;
}

} // namespace

const std::vector<Command>& CommandTable() {
    static const std::vector<Command> table = MakeTable();
    return table;
}

} // namespace dibprep::tool
