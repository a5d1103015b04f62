// Feeds every file of a folder to a fuzz target, on hosts and in builds without a fuzzer.
//
//     fuzz_parser_replay corpus/parser
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdint.h>
#include <stdio.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 1;
    }
    std::vector<std::string> paths;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1], error)) {
        paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string& path : paths) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file) {
            fprintf(stderr, "%s: can't be read\n", path.c_str());
            return 1;
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    printf("%zu inputs\n", paths.size());
    return paths.empty() ? 1 : 0;
}
