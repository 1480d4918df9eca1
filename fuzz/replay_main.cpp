// Runs a fuzz target over stored inputs, without any fuzzer: replay_TARGET FILE-OR-FOLDER... Each name is
// printed before its input runs, so that the last line names the one that ends the program.
#include "fuzz/fuzz_input.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::exists(path))
        return files; // no findings yet
    if (!std::filesystem::is_directory(path))
        return {path};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int main(int argc, char** argv) {
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& path : FilesOf(argv[i])) {
            std::ifstream file(path, std::ios::binary);
            const fuzz::Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            if (!file) {
                std::fprintf(stderr, "%s cannot be read\n", path.c_str());
                return 2;
            }
            std::printf("%s\n", path.c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 2;
}
