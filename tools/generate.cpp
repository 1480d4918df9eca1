// Files made from the table of commands: where they go, and the table itself.
#include "tools/generate.h"

#include "tools/cli.h"
#include "tools/tool_error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace dibprep::tool {

namespace {

void WriteText(const std::string& folder, const std::string& place, const std::string& text) {
    const std::string path = folder + '/' + place;
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0777); // what matters shows when the file is opened
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (!file || std::fclose(file) != 0 || !written)
        throw ToolError(ExitInputOutput, path + ": cannot be written: " + std::strerror(errno) + ".");
}

const char* KindName(Option::Kind kind) {
    switch (kind) {
    case Option::Kind::Flag:
        return "flag";
    case Option::Kind::Number:
        return "number";
    case Option::Kind::Choice:
        return "choice";
    default:
        return "text";
    }
}

} // namespace

std::string TableText() {
    using Json = nlohmann::ordered_json;
    Json table = Json::array();
    for (const Command& command : CommandTable()) {
        Json each = {{"name", command.name},
                     {"summary", command.summary},
                     {"description", command.description},
                     {"example", command.example},
                     {"many_pages", command.TakesManyPages()},
                     {"usage", UsageLines(command)},
                     {"positionals", Json::array()},
                     {"options", Json::array()}};
        for (const Positional& positional : command.positionals)
            each["positionals"].push_back(positional.name);
        for (const Option& option : command.options)
            each["options"].push_back({{"name", option.name},
                                       {"letter", option.letter == 0 ? "" : std::string{'-', option.letter}},
                                       {"kind", KindName(option.kind)},
                                       {"value", option.value},
                                       {"help", OptionHelp(option)},
                                       {"many", option.many},
                                       {"required", option.required},
                                       {"choices", option.choices}});
        table.push_back(each);
    }
    return table.dump(2) + '\n';
}

void GenerateFiles(const std::string& folder) {
    WriteText(folder, "man/man1/dibprep.1", ManualPage(""));
    for (const Command& command : CommandTable())
        WriteText(folder, "man/man1/dibprep-" + command.name + ".1", ManualPage(command.name));
    WriteText(folder, "bash-completion/completions/dibprep", BashCompletion());
    WriteText(folder, "zsh/site-functions/_dibprep", ZshCompletion());
    WriteText(folder, "fish/vendor_completions.d/dibprep.fish", FishCompletion());
}

} // namespace dibprep::tool
