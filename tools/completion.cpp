// Completions for bash, zsh and fish, made from the table of commands.
#include "tools/cli.h"
#include "tools/generate.h"

namespace dibprep::tool {

namespace {

std::string Replaced(const std::string& text, char what, const std::string& by) {
    std::string result;
    for (const char letter : text)
        result += letter == what ? by : std::string(1, letter);
    return result;
}

std::string CommandNames() {
    std::string names;
    for (const Command& command : CommandTable())
        names += (names.empty() ? "" : " ") + command.name;
    return names;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

bool NamesFiles(const Command& command) { return !command.positionals.empty() && command.name != "help"; }

std::string BashOptions(const Command& command) {
    std::string text;
    for (const Option& option : command.options)
        text += (option.letter == 0 ? option.name : std::string{'-', option.letter} + ' ' + option.name) + ' ';
    return text + "--help";
}

std::string BashValue(const Option& option) {
    if (option.kind == Option::Kind::Choice)
        return "mapfile -t COMPREPLY < <(compgen -W '" + Joined(option.choices) + "' -- \"$word\")";
    switch (option.names) {
    case Option::Names::File:
        return "_dibprep_files -f";
    case Option::Names::Folder:
        return "_dibprep_files -d";
    default:
        return ":"; // a number, say: nothing to offer
    }
}

// Text in single quotes, and in the brackets of an option.
std::string ZshText(const std::string& text) {
    return Replaced(Replaced(Replaced(text, '\'', "'\\''"), '[', "\\["), ']', "\\]");
}

std::string ZshOption(const Option& option) {
    std::string value;
    if (option.kind == Option::Kind::Choice)
        value = ":" + Replaced(option.value, '|', " or ") + ":(" + Joined(option.choices) + ")";
    else if (option.kind != Option::Kind::Flag)
        value = ":" + Replaced(option.value, ':', "\\:") +
                (option.names == Option::Names::File     ? ":_files"
                 : option.names == Option::Names::Folder ? ":_files -/"
                                                         : ": ");
    const std::string what = "'[" + ZshText(OptionHelp(option)) + "]" + value + "'";
    if (option.letter == 0)
        return "'" + option.name + what.substr(1);
    const std::string letter = {'-', option.letter};
    return "'(" + letter + ' ' + option.name + ")'{" + letter + ',' + option.name + '}' + what;
}

std::string FishText(const std::string& text) {
    return "'" + Replaced(Replaced(text, '\\', "\\\\"), '\'', "\\'") + "'";
}

std::string FishOption(const Option& option) {
    std::string text = " -l " + option.name.substr(2);
    if (option.letter != 0)
        text += std::string(" -s ") + option.letter;
    if (option.kind == Option::Kind::Choice)
        text += " -x -a '" + Joined(option.choices) + "'";
    else if (option.names == Option::Names::File)
        text += " -r -F";
    else if (option.names == Option::Names::Folder)
        text += " -x -a '(__fish_complete_directories)'";
    else if (option.kind != Option::Kind::Flag)
        text += " -x";
    return text + " -d " + FishText(OptionHelp(option));
}

} // namespace

std::string BashCompletion() {
    std::string text = "# bash completion for dibprep, made from the tool's table of commands.\n"
                       "_dibprep_files() {\n"
                       "    compopt -o filenames 2> /dev/null\n"
                       "    mapfile -t COMPREPLY < <(compgen \"$1\" -- \"$word\")\n"
                       "}\n"
                       "_dibprep() {\n"
                       "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} options=\n"
                       "    COMPREPLY=()\n"
                       "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
                       "        mapfile -t COMPREPLY < <(compgen -W '" +
                       CommandNames() +
                       " --help --version' -- \"$word\")\n"
                       "        return\n"
                       "    fi\n"
                       "    case ${COMP_WORDS[1]}:$before in\n";
    for (const Command& command : CommandTable()) {
        for (const Option& option : command.options) {
            if (option.kind == Option::Kind::Flag)
                continue;
            text += "    " + command.name + ':' + option.name;
            if (option.letter != 0)
                text += " | " + command.name + ":-" + option.letter;
            text += ") " + BashValue(option) + "; return ;;\n";
        }
    }
    text += "    help:help) mapfile -t COMPREPLY < <(compgen -W '" + CommandNames() +
            " many' -- \"$word\"); return ;;\n    esac\n    case ${COMP_WORDS[1]} in\n";
    for (const Command& command : CommandTable())
        text += "    " + command.name + ") options='" + BashOptions(command) + "' ;;\n";
    return text + "    *) return ;;\n    esac\n"
                  "    if [ \"${word:0:1}\" = - ]; then\n"
                  "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\")\n"
                  "    elif [ \"${COMP_WORDS[1]}\" != help ]; then\n"
                  "        _dibprep_files -f\n"
                  "    fi\n"
                  "}\n"
                  "complete -F _dibprep dibprep\n";
}

std::string ZshCompletion() {
    std::string text = "#compdef dibprep\n"
                       "# zsh completion for dibprep, made from the tool's table of commands.\n"
                       "_dibprep() {\n"
                       "    local curcontext=$curcontext state line\n"
                       "    typeset -A opt_args\n"
                       "    _arguments -C '(- *)'{-h,--help}'[say what there is]' \\\n"
                       "        '(- *)--version[print the version]' \\\n"
                       "        '1: :->command' '*:: :->arguments'\n"
                       "    case $state in\n"
                       "    command)\n"
                       "        local -a commands=(\n";
    for (const Command& command : CommandTable())
        text += "            '" + command.name + ':' + Replaced(command.summary, '\'', "'\\''") + "'\n";
    text += "        )\n"
            "        _describe command commands\n"
            "        ;;\n"
            "    arguments)\n"
            "        case $words[1] in\n";
    for (const Command& command : CommandTable()) {
        text += "        " + command.name + ")\n            _arguments -s";
        for (const Option& option : command.options)
            text += " \\\n                " + ZshOption(option);
        text += " \\\n                '(-h --help)'{-h,--help}'[say what the command does]'";
        if (NamesFiles(command))
            text += " \\\n                '*:picture:_files'";
        else
            text += " \\\n                '1:topic:(" + CommandNames() + " many)'";
        text += "\n            ;;\n";
    }
    return text + "        esac\n        ;;\n    esac\n}\n"
                  "if [ \"$funcstack[1]\" = _dibprep ]; then\n    _dibprep \"$@\"\n"
                  "else\n    compdef _dibprep dibprep\nfi\n";
}

std::string FishCompletion() {
    std::string text = "# fish completion for dibprep, made from the tool's table of commands.\n"
                       "complete -c dibprep -f\n"
                       "complete -c dibprep -n __fish_use_subcommand -l version -d 'print the version'\n"
                       "complete -c dibprep -l help -s h -d 'say what there is'\n";
    for (const Command& command : CommandTable())
        text += "complete -c dibprep -n __fish_use_subcommand -a " + command.name + " -d " + FishText(command.summary) +
                '\n';
    for (const Command& command : CommandTable()) {
        const std::string begin = "complete -c dibprep -n '__fish_seen_subcommand_from " + command.name + "'";
        for (const Option& option : command.options)
            text += begin + FishOption(option) + '\n';
        text += begin + (NamesFiles(command) ? " -F\n" : " -a '" + CommandNames() + " many'\n");
    }
    return text;
}

} // namespace dibprep::tool
