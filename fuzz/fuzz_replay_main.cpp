// Runs a fuzz target over files and directories of inputs, where no fuzzer is linked.
//
//     TARGET_fuzz [FILE | DIRECTORY]...

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace fs = std::filesystem;

static bool runFile(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open()) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return false;
    }
    // A block of its own, so that a read behind the input is seen.
    std::vector<u8> input(bytes.begin(), bytes.end());
    input.shrink_to_fit();
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

int main(int argc, char **argv)
{
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            inputs.emplace_back(argv[i]);
            continue;
        }
        for (const fs::directory_entry &entry : fs::directory_iterator(argv[i]))
            if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    bool complete = !inputs.empty();
    for (const fs::path &path : inputs) complete = runFile(path) && complete;
    std::printf("%zu inputs\n", inputs.size());
    return complete ? 0 : 1;
}
