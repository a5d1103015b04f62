// The time of two services of the platform: a random number, and a list of the files in a folder of 10,000 files.
//
//  | Side            | Result                                  |
//  |-----------------|-----------------------------------------|
//  | ScanDir         | whole paths, in one block of bank 0     |
//  | std::filesystem | whole paths                             |
//  | scandir         | names                                   |
//  | readdir         | nothing: it only reads all entries      |
//
//     platform_bench [PART OF A SUBJECT]
#include "bench/std_random.h"
#include "core/platform.h"

#include "peers.h"
#include "scratch.h"

#include <algorithm>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

static const int sc_files = 10000;

// ---- Random numbers

static const int sc_numbers = 100000;
static const int sc_seeds = 100;

static Side numbersOf(const char* name, unsigned int (*next)())
{
    return {name, [next] {
                unsigned long long sum = 0;
                for (int i = 0; i < sc_numbers; ++i) {
                    sum += next();
                }
                return sum;
            }};
}

// Takes one number after each seed, because a generator computes its first 624 numbers only then.
static Side seedsOf(const char* name, void (*seed)(unsigned int), unsigned int (*next)())
{
    return {name, [seed, next] {
                unsigned long long sum = 0;
                for (unsigned int i = 0; i < sc_seeds; ++i) {
                    seed(i);
                    sum += next();
                }
                return sum;
            }};
}

static void benchRandom(Bench& bench)
{
    bench.compare("random numbers", "number", sc_numbers,
                  {numbersOf("core", mt_rand), numbersOf("std::mt19937", std_rand)});
    bench.compare("random numbers, seed and first number", "seed", sc_seeds,
                  {seedsOf("core", mt_srand, mt_rand), seedsOf("std::mt19937", std_srand, std_rand)});
}

// ---- Folders: each side returns the number of entries

static int listWithScanDir(int (*select)(const char*), int (*compare)(const void*, const void*))
{
    char(*paths)[260];
    const int count = Platform::ScanDir("files", &paths, select, compare);
    Platform::ScanDirFree(paths);
    return count;
}

static int listWithScandir(int (*select)(const dirent*), int (*compare)(const dirent**, const dirent**))
{
    dirent** entries;
    const int count = scandir("files", &entries, select, compare);
    for (int i = 0; i < count; ++i) {
        free(entries[i]);
    }
    free(entries);
    return count;
}

static int listWithReaddir()
{
    DIR* folder = opendir("files");
    int count = 0;
    while (readdir(folder)) {
        ++count;
    }
    closedir(folder);
    return count;
}

static std::vector<std::string> listWithFilesystem()
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator("files")) {
        if (entry.is_regular_file()) {
            paths.push_back(entry.path().string());
        }
    }
    return paths;
}

static int compareNames(const dirent** left, const dirent** right)
{
    return strcmp((*left)->d_name, (*right)->d_name);
}

static void benchFolders(Bench& bench)
{
    bench.compare("folder of 10,000 files, listed", "file", sc_files,
                  {{"core", [] { return listWithScanDir(nullptr, nullptr); }},
                   {"std::filesystem", [] { return listWithFilesystem().size() + 2; }}, // it skips "." and ".."
                   {"scandir, names alone", [] { return listWithScandir(nullptr, nullptr); }},
                   {"readdir, nothing kept", listWithReaddir}});

    const auto any = [](const char*) { return 1; };
    const auto byName = [](const void* left, const void* right) {
        return strcmp((*static_cast<dirent* const*>(left))->d_name, (*static_cast<dirent* const*>(right))->d_name);
    };
    const auto isFile = [](const dirent* entry) { return entry->d_type == DT_REG ? 1 : 0; };
    bench.compare("folder of 10,000 files, selected and sorted", "file", sc_files,
                  {{"core", [=] { return listWithScanDir(any, byName); }},
                   {"std::filesystem, std::sort",
                    [] {
                        std::vector<std::string> paths = listWithFilesystem();
                        std::sort(paths.begin(), paths.end());
                        return paths.size();
                    }},
                   {"scandir, names alone", [=] { return listWithScandir(isFile, compareNames); }}});
}

static void makeFiles()
{
    std::filesystem::create_directory("files");
    for (int number = 0; number < sc_files; ++number) {
        std::ofstream("files/unit" + std::to_string(number * 7919 % sc_files) + ".model");
    }
}

int main(int argc, char** argv)
{
    const ScratchFolder folder;
    const ScratchMemory memory;
    Bench bench(argc, argv);
    benchRandom(bench);
    makeFiles();
    benchFolders(bench);
    return bench.result();
}
