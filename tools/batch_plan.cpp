// Lists of pages, shards, and the names of results.
#include "tools/batch_plan.h"

#include "tools/formats.h"
#include "tools/input_file.h"
#include "tools/tool_error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace dibprep::tool {

namespace {

struct Shard {
    std::size_t index = 0; // counted from 0
    std::size_t count = 1;
};

[[noreturn]] void UsageError(const Command& command, const std::string& what) {
    throw ToolError(ExitUsage, "dibprep " + command.name + ": " + what);
}

Shard ParseShard(const Command& command, const std::string& text) {
    const std::size_t slash = text.find('/');
    const auto number = [](const std::string& digits) {
        const bool good =
            !digits.empty() && digits.size() <= 9 && digits.find_first_not_of("0123456789") == std::string::npos;
        return good ? std::stoul(digits) : 0;
    };
    const std::size_t index = slash == std::string::npos ? 0 : number(text.substr(0, slash));
    const std::size_t count = slash == std::string::npos ? 0 : number(text.substr(slash + 1));
    if (index == 0 || index > count)
        UsageError(command, "--shard wants the number of a part and how many there are, from 1/N to N/N such as "
                            "2/8, not \"" +
                                text + "\".");
    return {index - 1, count};
}

std::vector<std::string> ReadList(const std::string& path) {
    const InputFile file(path);
    const std::vector<std::uint8_t> bytes = file.Head(static_cast<std::size_t>(file.Size()));
    return SplitList(std::string(bytes.begin(), bytes.end()));
}

std::string BaseName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// ".tif" of "Page.TIF" where that is how pictures end, else nothing.
std::string PictureEnding(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0)
        return "";
    std::string ending = name.substr(dot);
    for (char& letter : ending)
        letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    for (const char* known : {".bmp", ".dib", ".png", ".tif", ".tiff", ".jpg", ".jpeg", ".pbm", ".pgm", ".ppm", ".pnm"})
        if (ending == known)
            return ending;
    return "";
}

// The name of a page's result, without the folder: the page's own, with the ending of --format.
std::string ResultName(const Arguments& arguments, const std::string& input) {
    std::string name = BaseName(input);
    if (!arguments.Has("--format"))
        return name;
    for (const Format& format : FormatTable()) {
        if (arguments.Text("--format") != format.key)
            continue;
        const std::string endings = format.endings;
        const std::string ending = PictureEnding(name);
        // An ending that says the same already stays.
        if (!ending.empty() && endings.find(ending + ' ') != std::string::npos)
            return name;
        return name.substr(0, name.size() - ending.size()) + endings.substr(0, endings.find(' '));
    }
    return name;
}

std::vector<PageTask> NamePages(const Command& command, const Arguments& arguments,
                                const std::vector<std::string>& inputs) {
    const std::string& folder = arguments.Text("--output-dir");
    const std::string prefix = folder.back() == '/' ? folder : folder + '/';
    std::vector<PageTask> tasks;
    tasks.reserve(inputs.size());
    for (const std::string& input : inputs) {
        if (input == "-")
            UsageError(command, "- stands for one page: write `dibprep " + command.name +
                                    " - OUT`. Lists of names come by --from-list -.");
        if (BaseName(input).empty())
            throw ToolError(ExitInputOutput, input + ": is a folder. Name the pages in it, for example " + input +
                                                 "*.bmp, or list them with --from-list.");
        tasks.push_back({input, prefix + ResultName(arguments, input), false});
    }
    return tasks;
}

void CheckNamesDiffer(const Command& command, const std::vector<PageTask>& tasks) {
    std::unordered_map<std::string, const PageTask*> taken;
    taken.reserve(tasks.size());
    const PageTask* first = nullptr;
    const PageTask* second = nullptr;
    std::size_t more = 0;
    for (const PageTask& task : tasks) {
        const auto [place, isNew] = taken.emplace(task.output, &task);
        if (isNew)
            continue;
        if (first)
            ++more;
        else {
            first = place->second;
            second = &task;
        }
    }
    if (!first)
        return;
    const std::string others = more == 0 ? "" : " (and " + std::to_string(more) + " more)";
    if (first->input == second->input)
        UsageError(command, first->input + " is named twice" + others + ". Nothing was converted.");
    UsageError(command, first->input + " and " + second->input + " would both become " + first->output + others +
                            ". Nothing was converted. Give them folders of their own.");
}

void MakeFolder(const std::string& folder) {
    struct stat status;
    if (stat(folder.c_str(), &status) == 0) {
        if (!S_ISDIR(status.st_mode))
            throw ToolError(ExitInputOutput, folder + ": is a file, and -o wants a folder. For one page write IN OUT "
                                                      "without -o.");
        return;
    }
    for (std::size_t at = folder.find('/', 1);; at = folder.find('/', at + 1)) {
        const std::string part = folder.substr(0, at);
        // Another shard may make it at the same time.
        if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
            throw ToolError(ExitInputOutput, folder + ": the folder cannot be made: " + std::strerror(errno) + ".");
        if (at == std::string::npos)
            return;
    }
}

// A new name that ends as pictures do is much more likely a file that somebody wants.
void CheckLooksLikeFolder(const Command& command, const std::string& folder, std::size_t pages) {
    struct stat status;
    if (pages != 1 || PictureEnding(BaseName(folder)).empty() || stat(folder.c_str(), &status) == 0)
        return;
    UsageError(command, "-o names a folder, and " + folder + " looks like a file. For one page write `dibprep " +
                            command.name + " IN OUT`; if it is a folder, write " + folder + "/.");
}

void CheckExisting(const Arguments& arguments, std::vector<PageTask>& tasks) {
    if (arguments.Has("--force"))
        return;
    const PageTask* first = nullptr;
    std::size_t count = 0;
    for (PageTask& task : tasks) {
        if (!ResultExists(task.output))
            continue;
        task.skipped = true;
        if (!first)
            first = &task;
        ++count;
    }
    if (first && !arguments.Has("--skip-existing"))
        throw ToolError(ExitInputOutput,
                        first->output + ": exists already" +
                            (count == 1 ? "" : ", and so do " + std::to_string(count - 1) + " more results") +
                            ". Nothing was converted. Add --skip-existing to keep what is there, or --force to "
                            "replace it.");
}

} // namespace

bool ResultExists(const std::string& output) {
    struct stat status;
    return stat(output.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::vector<std::string> SplitList(const std::string& text) {
    const bool byZero = text.find('\0') != std::string::npos;
    const char separator = byZero ? '\0' : '\n';
    std::vector<std::string> names;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        std::string name = text.substr(at, end - at);
        // Lists written on other systems end their lines with two bytes.
        if (!byZero && !name.empty() && name.back() == '\r')
            name.pop_back();
        if (!name.empty())
            names.push_back(std::move(name));
        at = end + 1;
    }
    return names;
}

std::vector<PageTask> PlanPages(const Command& command, const Arguments& arguments) {
    if (arguments.Has("--force") && arguments.Has("--skip-existing"))
        UsageError(command, "--force replaces results and --skip-existing keeps them: give one of the two.");
    const Shard shard = arguments.Has("--shard") ? ParseShard(command, arguments.Text("--shard")) : Shard();
    std::vector<std::string> inputs = arguments.Pages();
    if (arguments.Has("--from-list"))
        for (std::string& name : ReadList(arguments.Text("--from-list")))
            inputs.push_back(std::move(name));
    const std::string& folder = arguments.Text("--output-dir");
    if (folder.empty() || folder == "-")
        UsageError(command, "-o wants a folder for the results, not \"" + folder + "\".");
    CheckLooksLikeFolder(command, folder, inputs.size());
    std::vector<PageTask> all = NamePages(command, arguments, inputs);
    CheckNamesDiffer(command, all);

    std::vector<PageTask> tasks;
    tasks.reserve(all.size() / shard.count + 1);
    for (std::size_t i = shard.index; i < all.size(); i += shard.count)
        tasks.push_back(std::move(all[i]));
    CheckExisting(arguments, tasks);
    MakeFolder(folder);
    return tasks;
}

} // namespace dibprep::tool
