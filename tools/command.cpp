// The table of commands.
#include "tools/command.h"

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

const std::vector<Command>& CommandTable() {
    static const std::vector<Command> table = {
        ResampleCommand(), RescaleCommand(), ConvertCommand(), NormalizeCommand(),
        QuantizeCommand(), PaletteCommand(), InfoCommand(),
    };
    return table;
}

} // namespace dibprep::tool
