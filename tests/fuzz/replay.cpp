// Feeds every file of a folder to a fuzz target, on hosts and in builds without a fuzzer.
//
//     fuzz_parser corpus/parser                             prints a line for each input: its name, what was observed
//     fuzz_parser corpus/parser corpus/parser.observed      fails unless these lines are the lines of the file
#include "tests/fuzz/observe.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdio.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static uint64_t s_hash; // of what was observed: FNV-1a

void observeBytes(const void* bytes, size_t size)
{
    const unsigned char* byte = static_cast<const unsigned char*>(bytes);
    for (const unsigned char* const end = byte + size; byte != end; ++byte) {
        s_hash = (s_hash ^ *byte) * 0x100000001b3u;
    }
}

static bool readFile(const std::string& path, std::string* bytes)
{
    std::ifstream file(path, std::ios::binary);
    bytes->assign(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        fprintf(stderr, "%s: can't be read\n", path.c_str());
    }
    return static_cast<bool>(file);
}

// Feeds one input to the target. Returns its line.
static std::string replay(const std::string& name, const std::string& bytes)
{
    s_hash = 0xcbf29ce484222325u;
    const std::vector<uint8_t> block(bytes.begin(), bytes.end()); // of exactly the input's size
    LLVMFuzzerTestOneInput(block.data(), block.size());
    char hash[20];
    snprintf(hash, sizeof(hash), " %016llx\n", static_cast<unsigned long long>(s_hash));
    return name + hash;
}

// Prints the lines of text that other does not have.
static void printLinesWithout(const std::string& other, const std::string& text, const char* where)
{
    for (size_t begin = 0; begin < text.size();) {
        const std::string line = text.substr(begin, text.find('\n', begin) + 1 - begin);
        if (other.find(line) == std::string::npos) {
            printf("only in %s: %s", where, line.c_str());
        }
        begin += line.size();
    }
}

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 3) {
        fprintf(stderr, "usage: %s FOLDER [OBSERVED]\n", argv[0]);
        return 1;
    }
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1], error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    std::string observed;
    std::string bytes;
    for (const std::string& name : names) {
        if (!readFile(argv[1] + ("/" + name), &bytes)) {
            return 1;
        }
        observed += replay(name, bytes);
    }
    if (argc == 2) {
        fputs(observed.c_str(), stdout);
        return names.empty() ? 1 : 0;
    }
    std::string expected;
    if (!readFile(argv[2], &expected)) {
        return 1;
    }
    printLinesWithout(expected, observed, "this run");
    printLinesWithout(observed, expected, argv[2]);
    return observed != expected || names.empty() ? 1 : 0;
}
