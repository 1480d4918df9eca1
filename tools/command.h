// The commands of the tool as one table. Parsing, help, and whatever else describes the commands are
// made from it, so that they cannot disagree.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace dibprep::tool {

// What the person gave for one command, already checked against the table.
class Arguments {
public:
    bool Has(const std::string& name) const { return m_values.count(name) != 0; }
    // The text of an argument or option that was given or has a default value.
    const std::string& Text(const std::string& name) const { return m_values.at(name); }
    std::int64_t Number(const std::string& name) const { return std::stoll(Text(name)); }
    void Set(const std::string& name, const std::string& value) { m_values[name] = value; }
    // The names that stand for pages when a folder was given for the results, or for several files.
    const std::vector<std::string>& Pages() const { return m_pages; }
    void AddPage(const std::string& name) { m_pages.push_back(name); }

private:
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_pages;
};

struct Option {
    enum class Kind { Flag, Number, Choice, Text };
    // What a value of kind Text names, for the shells.
    enum class Names { Nothing, File, Folder };
    Kind kind = Kind::Flag;
    std::string name;  // "--dpi"
    char letter = 0;   // 'o' where there is a short form, -o
    std::string value; // how the help names its value: "N"
    std::string help;
    std::int64_t least = 0; // numbers: the range, both ends included
    std::int64_t most = 0;
    std::string standard; // taken when it is not given
    bool required = false;
    bool many = false;        // told by the help in the topic "many"
    bool needsFolder = false; // means something only where results go to a folder
    Names names = Names::Nothing;
    std::vector<std::string> choices;

    // "--dpi", or "-o, --output-dir" with `separator` between.
    std::string AllNames(const std::string& separator) const;
};

// A file name, in the order of the command line.
struct Positional {
    std::string name; // "IN"
    std::string help;
    bool optional = false;
    bool several = false; // one name or more: they come as Arguments::Pages()
};

struct Command {
    std::string name;
    std::string summary;     // one line
    std::string description; // whole sentences
    std::string example;     // a command line
    std::vector<Positional> positionals;
    std::vector<Option> options;
    void (*run)(const Arguments&);

    // Converts pages, so that it takes many of them too.
    bool TakesManyPages() const;
};

Option Flag(const std::string& name, const std::string& help);
Option Number(const std::string& name, std::int64_t least, std::int64_t most, const std::string& help,
              const std::string& standard = "");
Option Choice(const std::string& name, const std::vector<std::string>& choices, const std::string& help);
Option Text(const std::string& name, const std::string& value, const std::string& help);
Option Required(Option option);
Option WithLetter(char letter, Option option);
Option Naming(Option::Names names, Option option);

// The options that all converting commands have besides their own: where many pages come from and go
// to, and how much is said.
std::vector<Option> ManyPagesOptions();

// All commands, in the order of the help.
const std::vector<Command>& CommandTable();

// What each file of commands contributes.
Command ResampleCommand();
Command RescaleCommand();
Command ConvertCommand();
Command NormalizeCommand();
Command QuantizeCommand();
Command PaletteCommand();
Command CompareCommand();
Command InfoCommand();
Command HelpCommand();

} // namespace dibprep::tool
