// What the small services of the platform cost: a random number beside std::mt19937, each a call into a shared library;
// and listing a folder of 10,000 files beside what the system and the standard library have for that.
//
// The sides take turns, and the medians of 9 turns are told. ScanDir differs from scandir in that it makes whole paths,
// in one block of bank 0; std::filesystem makes whole paths as well, readdir alone makes nothing at all.
//
//     platform_bench [--benchmark_filter=Random]
#include "bench/std_random.h"
#include "core/memorymgr.h"
#include "core/platform.h"

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

static const int sc_files = 10000;

class BenchMemory : public MemoryMgr {
public:
    BenchMemory()
    {
        bankSizePath[0] = '\0'; // sizes stay as they are
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 4 << 20);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};

static void BM_Random_MtRand(benchmark::State& state)
{
    mt_srand(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mt_rand());
    }
}
BENCHMARK(BM_Random_MtRand);

static void BM_Random_StdMt19937(benchmark::State& state)
{
    std_srand(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(std_rand());
    }
}
BENCHMARK(BM_Random_StdMt19937);

static void BM_Seed_MtSrand(benchmark::State& state)
{
    for (auto _ : state) {
        mt_srand(1);
    }
}
BENCHMARK(BM_Seed_MtSrand);

static void BM_Seed_StdMt19937(benchmark::State& state)
{
    for (auto _ : state) {
        std_srand(1);
    }
}
BENCHMARK(BM_Seed_StdMt19937);

// Lists the folder, over and over, and checks how many entries there are. "." and ".." are among them, if at all.
template <typename List>
static void list(benchmark::State& state, List listFolder)
{
    for (auto _ : state) {
        const int count = listFolder();
        if (count != sc_files && count != sc_files + 2) {
            state.SkipWithError("it did not find all files");
        }
    }
}

static void BM_List_ScanDir(benchmark::State& state)
{
    list(state, [] {
        char(*paths)[260];
        const int count = Platform::ScanDir("folder", &paths, nullptr, nullptr);
        Platform::ScanDirFree(paths);
        return count;
    });
}
BENCHMARK(BM_List_ScanDir)->Unit(benchmark::kMicrosecond);

static int scanBare(int (*select)(const dirent*), int (*compare)(const dirent**, const dirent**))
{
    dirent** entries;
    const int count = scandir("folder", &entries, select, compare);
    for (int i = 0; i < count; ++i) {
        free(entries[i]);
    }
    free(entries);
    return count;
}

static void BM_List_Scandir(benchmark::State& state)
{
    list(state, [] { return scanBare(nullptr, nullptr); });
}
BENCHMARK(BM_List_Scandir)->Unit(benchmark::kMicrosecond);

static void BM_List_Readdir(benchmark::State& state)
{
    list(state, [] {
        DIR* folder = opendir("folder");
        int count = 0;
        while (readdir(folder)) {
            ++count;
        }
        closedir(folder);
        return count;
    });
}
BENCHMARK(BM_List_Readdir)->Unit(benchmark::kMicrosecond);

static void BM_List_Filesystem(benchmark::State& state)
{
    list(state, [] {
        std::vector<std::string> paths;
        for (const auto& entry : std::filesystem::directory_iterator("folder")) {
            paths.push_back(entry.path().string());
        }
        return static_cast<int>(paths.size());
    });
}
BENCHMARK(BM_List_Filesystem)->Unit(benchmark::kMicrosecond);

// With files alone, by name.
static void BM_Sort_ScanDir(benchmark::State& state)
{
    list(state, [] {
        char(*paths)[260];
        const int count = Platform::ScanDir(
            "folder", &paths, [](const char*) { return 1; },
            [](const void* left, const void* right) {
                return strcmp((*static_cast<dirent* const*>(left))->d_name,
                              (*static_cast<dirent* const*>(right))->d_name);
            });
        Platform::ScanDirFree(paths);
        return count;
    });
}
BENCHMARK(BM_Sort_ScanDir)->Unit(benchmark::kMicrosecond);

static void BM_Sort_Scandir(benchmark::State& state)
{
    list(state, [] {
        return scanBare(
            [](const dirent* entry) { return entry->d_type == DT_REG ? 1 : 0; },
            [](const dirent** left, const dirent** right) { return strcmp((*left)->d_name, (*right)->d_name); });
    });
}
BENCHMARK(BM_Sort_Scandir)->Unit(benchmark::kMicrosecond);

static void makeFiles()
{
    std::filesystem::create_directory("folder");
    for (int number = 0; number < sc_files; ++number) {
        std::ofstream("folder/unit" + std::to_string(number * 7919 % sc_files) + ".model");
    }
}

int main(int argc, char** argv)
{
    std::vector<char*> arguments(argv, argv + argc);
    for (const char* flag : {"--benchmark_repetitions=9", "--benchmark_enable_random_interleaving",
                             "--benchmark_report_aggregates_only"}) {
        arguments.insert(arguments.begin() + 1, const_cast<char*>(flag)); // the caller's own come last and win
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());

    char folder[] = "/tmp/core-bench-XXXXXX";
    if (!mkdtemp(folder) || chdir(folder) != 0) {
        return 1;
    }
    setenv("MACAPI_LIBRARY", folder, 1);
    makeFiles();
    {
        BenchMemory memory;
        benchmark::RunSpecifiedBenchmarks();
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
}
