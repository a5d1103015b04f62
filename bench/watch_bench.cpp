// Measures how much slower a game's allocations are under core-memory run than without it. The game plays a recorded
// session in a bank.
//
//     watch_bench [PART OF A SUBJECT]
//     watch_bench play SESSION            the game: prints the nanoseconds of one operation
//
// Each game is a separate process. Games with and without the tool run in turns. The time is the processor time of
// the game's thread. The work of core-memory itself and the work at the game's end are not counted.
#include "core/memorymgr.h"
#include "memorymgr_sides.h"
#include "peers.h"
#include "recordings/session.h"
#include "scratch.h"

#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

static const unsigned int sc_bankSize = 64u << 20;

// ---- The game

static void playOnce(const Session& session, std::vector<void*>& blocks, Heap& heap)
{
    for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
        const unsigned int number = session.operations[operation];
        if (session.blocks[number].born == operation) {
            blocks[number] = heap.alloc(session.blocks[number].size);
            *static_cast<volatile char*>(blocks[number]) = 1;
        } else {
            heap.free(blocks[number]);
        }
    }
    for (size_t number = 0; number < blocks.size(); ++number) {
        if (session.blocks[number].died == sc_neverDied) {
            heap.free(blocks[number]);
        }
    }
}

static int playGame(const char* path)
{
    Session session;
    std::string error;
    if (!LoadSession(path, &session, &error)) {
        fprintf(stderr, "%s: %s\n", path, error.c_str());
        return 1;
    }
    Heap heap(sc_bankSize);
    std::vector<void*> blocks(session.blocks.size());
    double best = 1e18;
    for (int round = 0; round < 4; ++round) {
        const double begin = Bench::now(CLOCK_THREAD_CPUTIME_ID);
        playOnce(session, blocks, heap);
        best = std::min(best, Bench::now(CLOCK_THREAD_CPUTIME_ID) - begin);
    }
    printf("%f\n", best / (2.0 * static_cast<double>(blocks.size())));
    return 0;
}

// ---- Starting it

// Runs a program and returns the number that it prints.
static double numberPrintedBy(const std::vector<std::string>& words)
{
    int ends[2];
    if (pipe(ends) != 0) {
        exit(1);
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "watch.log", O_WRONLY | O_CREAT | O_TRUNC, 0666);
    pid_t process;
    int status = posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char text[64] = "";
    const ssize_t length = status == 0 ? read(ends[0], text, sizeof(text) - 1) : 0;
    close(ends[0]);
    if (status != 0 || waitpid(process, &status, 0) != process || status != 0 || length <= 0) {
        fprintf(stderr, "%s %s: no time was printed\n", arguments[0], arguments[1]);
        exit(1);
    }
    return atof(text);
}

struct Way {
    const char* name;
    std::vector<std::string> options;
};

static const Way sc_ways[] = {
    {"core-memory run", {}},
    {"core-memory run --check", {"--check"}},
    {"core-memory run --stacks", {"--stacks"}},
};

static void compareSession(const Bench& bench, const std::string& self, const std::filesystem::path& session)
{
    static const int sc_rounds = 5; // the shortest time counts: other programs can only make a game slower
    const std::vector<std::string> game = {self, "play", session.string()};
    for (const Way& way : sc_ways) {
        const std::string subject = std::string(way.name) + ": " + session.stem().string();
        if (!bench.wants(subject.c_str())) {
            continue;
        }
        std::vector<std::string> watched = {CORE_MEMORY, "run", "-o", "watched"};
        watched.insert(watched.end(), way.options.begin(), way.options.end());
        watched.push_back("--");
        watched.insert(watched.end(), game.begin(), game.end());
        double under = 1e18;
        double alone = 1e18;
        for (int round = 0; round < sc_rounds; ++round) {
            under = std::min(under, numberPrintedBy(watched));
            alone = std::min(alone, numberPrintedBy(game));
        }
        Bench::tell(subject.c_str(), "operation", "core", under);
        Bench::tell(subject.c_str(), "operation", "the game alone", alone);
    }
}

int main(int argc, char** argv)
{
    if (argc == 3 && strcmp(argv[1], "play") == 0) {
        return playGame(argv[2]);
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const ScratchFolder folder;
    const Bench bench(argc, argv);
    for (const auto& entry : std::filesystem::directory_iterator(CORE_RECORDINGS)) {
        compareSession(bench, self, entry.path());
    }
    return bench.result();
}
