// The start of a program: what it takes before main, and what a small game takes for its manager with 13 banks, its
// string table and its preferences.
//
// The bench starts itself with one of these words, so that each start is a process of its own:
//
//     bank      makes a bank and ends
//     game      starts as a small game does, and prints the nanoseconds
//     standard  does the same work with the standard library, and prints the nanoseconds
//
// The number of libraries that are loaded is printed on the standard error stream.
#include "core/memorymgr.h"
#include "core/preferences.h"
#include "core/stringtable.h"

#include "peers.h"
#include "scratch.h"

#include <fstream>
#include <link.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

extern char** environ;

static const int sc_banks = 13;
static const unsigned int sc_bankSize = 1 << 20;

class GameMemory : public MemoryMgr {
protected:
    void onOutOfMemory(int) override {}
};

// ---- What the started programs do

static int makeBank()
{
    GameMemory* memory = new GameMemory;
    memory->defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", sc_bankSize);
    memory->initialize();
    return memory->alloc(0, 100, "bench", 1) ? 0 : 1;
}

static int startGame()
{
    const double begin = Bench::now(CLOCK_MONOTONIC);
    GameMemory* memory = new GameMemory;
    for (int bank = 0; bank < sc_banks; ++bank) {
        memory->defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "bank", sc_bankSize);
    }
    memory->initialize();
    StringTable* table = new StringTable;
    StringTable::s_setLocalePath(".");
    const bool loaded = table->setLanguage("bench");
    Preferences* preferences = new Preferences;
    preferences->init("game.ini");
    const int width = preferences->read("Video", "width", 0);
    printf("%.0f\n", Bench::now(CLOCK_MONOTONIC) - begin);
    fflush(stdout);
    _exit(loaded && width == 640 ? 0 : 1);
}

static int startStandard()
{
    const double begin = Bench::now(CLOCK_MONOTONIC);
    char* banks[sc_banks];
    for (char*& bank : banks) {
        bank = static_cast<char*>(malloc(sc_bankSize));
        *bank = 1;
    }
    std::unordered_map<std::string, std::string> texts(1021);
    std::ifstream strings("strings.utf8");
    for (std::string line; std::getline(strings, line);) {
        const size_t equals = line.find(" = ");
        texts.emplace(line.substr(0, equals), line.substr(equals + 3));
    }
    std::ifstream settings("game.ini");
    int width = 0;
    for (std::string line; std::getline(settings, line);) {
        width = line.compare(0, 6, "width=") == 0 ? atoi(line.c_str() + 6) : width;
    }
    printf("%.0f\n", Bench::now(CLOCK_MONOTONIC) - begin);
    fflush(stdout);
    _exit(!texts.empty() && width == 640 ? 0 : 1);
}

// ---- Starting them

// Starts a program, waits for its end and returns its exit status. output: the descriptor that becomes its standard
// output; -1: it has this program's.
static int run(const std::string& program, const char* word, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output >= 0) {
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    }
    char* const arguments[] = {const_cast<char*>(program.c_str()), const_cast<char*>(word), nullptr};
    pid_t process;
    int status = -1;
    if (posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ) == 0) {
        waitpid(process, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

// Returns the median of what several starts print.
static double printedBy(const std::string& program, const char* word)
{
    std::vector<double> numbers;
    for (int start = 0; start < 41; ++start) {
        int ends[2];
        if (pipe(ends) != 0) {
            exit(1);
        }
        const int status = run(program, word, ends[1]);
        close(ends[1]);
        char text[32] = "";
        if (status != 0 || read(ends[0], text, sizeof(text) - 1) <= 0) {
            fprintf(stderr, "startup_bench %s: ended with status %d\n", word, status);
            exit(1);
        }
        close(ends[0]);
        numbers.push_back(atof(text));
    }
    std::nth_element(numbers.begin(), numbers.begin() + numbers.size() / 2, numbers.end());
    return numbers[numbers.size() / 2];
}

static int countLibrary(dl_phdr_info* library, size_t, void* count)
{
    *static_cast<int*>(count) += library->dlpi_name[0] == '/' ? 1 : 0;
    return 0;
}

static void compareGames(const Bench& bench, const std::string& self)
{
    static const char* const sc_subject = "start of a small game";
    if (bench.wants(sc_subject)) {
        std::ofstream("strings.utf8") << "\"Quit\" = \"Quitter\"\n";
        std::ofstream("game.ini") << "[Video]\nwidth=640\n";
        Bench::tell(sc_subject, "start", "core", printedBy(self, "game"));
        Bench::tell(sc_subject, "start", "malloc, std::unordered_map, std::ifstream", printedBy(self, "standard"));
    }
}

int main(int argc, char** argv)
{
    const std::string word = argc > 1 ? argv[1] : "";
    if (word == "bank") {
        return makeBank();
    }
    if (word == "game" || word == "standard") {
        return word == "game" ? startGame() : startStandard();
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string peer = std::filesystem::path(self).replace_filename("startup_peer");
    const ScratchFolder folder;
    Bench bench(argc, argv);
    bench.compare("program that makes a bank", "run", 1,
                  {{"core", [&] { return run(self, "bank", -1); }},
                   {"a program that calls malloc", [&] { return run(peer, nullptr, -1); }}},
                  CLOCK_MONOTONIC);
    compareGames(bench, self);
    int libraries = 0;
    dl_iterate_phdr(countLibrary, &libraries);
    fprintf(stderr, "a program that links core loads %d libraries before main\n", libraries);
    return bench.result();
}
