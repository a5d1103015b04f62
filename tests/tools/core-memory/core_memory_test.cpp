// The program core-memory, as a shell runs it, on games that run and on games that have crashed.
#include "tests/support/shell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// The variable CORE_MEMORY names another build of the program: ./run soak tests the one with the address sanitizer.
static std::string program()
{
    const char* other = getenv("CORE_MEMORY");
    return other ? other : PROGRAM;
}

// arguments are words of a shell.
static Result run(const std::string& arguments)
{
    return runShell("'" + program() + "' " + arguments);
}

// A game that runs until the object goes.
class RunningGame {
public:
    explicit RunningGame(const std::vector<std::string>& arguments, const char* program = GAME)
    {
        int input[2];
        int output[2];
        EXPECT_EQ(pipe(input) | pipe(output), 0);
        std::vector<char*> words = {const_cast<char*>(program)};
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        m_process = fork();
        if (m_process == 0) {
            dup2(input[0], STDIN_FILENO);
            dup2(output[1], STDOUT_FILENO);
            for (const int end : {input[0], input[1], output[0], output[1]}) {
                close(end);
            }
            execv(program, words.data());
            _exit(127);
        }
        close(input[0]);
        close(output[1]);
        m_input = input[1];
        char byte;
        while (read(output[0], &byte, 1) == 1 && byte != '\n') { // "ready", or the game's end
        }
        close(output[0]);
    }
    ~RunningGame()
    {
        if (m_process != -1) {
            end();
        }
    }

    // Lets the game end, and returns its exit status.
    int end()
    {
        close(m_input);
        int status = 0;
        waitpid(m_process, &status, 0);
        m_process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string id() const { return std::to_string(m_process); }

private:
    pid_t m_process;
    int m_input;
};

static const char sc_blocksOfGame[] = "used bank=0 offset=0 size=128 place=\"game/mesh.cpp:41\"\n"
                                      "used bank=0 offset=224 size=64 place=\"game/mesh.cpp:42\"\n"
                                      "free bank=0 offset=128 size=96\n"
                                      "free bank=0 offset=288 size=736\n"
                                      "free bank=1 offset=0 size=256\n"
                                      "fallback bank=1 number=1 size=544 place=\"game/sound.cpp:34\"\n"
                                      "fallback bank=1 number=2 size=1056 place=\"game/sound.cpp:35\"\n"
                                      "free bank=3 offset=0 size=32\n"
                                      "fallback bank=-1 number=1 size=64 place=\"game/log.cpp:3\"\n"
                                      "end\n";

// The blocks of a snapshot, without the lines of the game and of the banks.
static std::string blocksOf(const std::string& snapshot)
{
    const size_t first = snapshot.find("\nused ");
    return first == std::string::npos ? snapshot : snapshot.substr(first + 1);
}

// ---- Snapshots of a running game

TEST(CoreMemorySnapshot, ShowsTheBlocksOfARunningGameWhichThenContinues)
{
    RunningGame game({});
    const Result taken = run("snapshot " + game.id());
    EXPECT_EQ(taken.status, 0) << taken.errors;
    EXPECT_EQ(blocksOf(taken.output), sc_blocksOfGame);
    EXPECT_EQ(game.end(), 0);
}

TEST(CoreMemorySnapshot, ShowsTheBlocksOfAGameWithAStrippedLibrary)
{
    ASSERT_EQ(system("strip -o '" LIBRARY_NAME "' '" LIBRARY "'"), 0);
    setenv("LD_LIBRARY_PATH", ".", 1);
    RunningGame game({});
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_TRUE(contains(readFile("/proc/" + game.id() + "/maps"), "/core-test-"));
    EXPECT_EQ(blocksOf(run("snapshot " + game.id()).output), sc_blocksOfGame);
}

TEST(CoreMemorySnapshot, ShowsTheBlocksOfAProgramThatContainsTheManager)
{
    RunningGame game({}, STATIC_GAME);
    const Result taken = run("snapshot " + game.id());
    EXPECT_EQ(taken.status, 0) << taken.errors;
    EXPECT_EQ(blocksOf(taken.output), sc_blocksOfGame);
}

TEST(CoreMemorySnapshot, WithoutTheTimeEqualGamesGiveEqualFiles)
{
    RunningGame game({});
    EXPECT_TRUE(contains(run("snapshot " + game.id()).output, " time=\"20"));
    const std::string first = run("snapshot --no-time " + game.id()).output;
    EXPECT_FALSE(contains(first, "time="));
    EXPECT_EQ(run("snapshot --no-time " + game.id()).output, first);
}

// In a checked build the game holds the lock nearly all the time, so that a snapshot can be torn at each try.
TEST(CoreMemorySnapshot, OfAGameThatAllocatesAllTheTimeIsSoundOrSaysThatItIsTorn)
{
    RunningGame game({"busy"});
    for (int round = 0; round < 10; ++round) {
        const Result taken = run("snapshot -o snapshot " + game.id());
        const bool isTorn = contains(readFile("snapshot"), "torn what=\"the lock of bank 0 is held");
        EXPECT_TRUE(taken.status == 0 || (taken.status == 1 && isTorn))
            << taken.errors << run("report snapshot").output;
    }
}

TEST(CoreMemorySnapshot, TellsThatABanksLockIsHeldAllTheTime)
{
    RunningGame game({"waiting"});
    const Result taken = run("snapshot " + game.id());
    EXPECT_EQ(taken.status, 0);
    EXPECT_TRUE(
        std::regex_search(taken.output, std::regex("torn what=\"the lock of bank 4 is held by thread \\d+\"")));
    EXPECT_TRUE(contains(taken.errors, "half linked"));
}

TEST(CoreMemorySnapshot, NamesADamagedHeaderAndItsNeighbours)
{
    RunningGame game({"damaged"});
    const Result taken = run("snapshot -o snapshot " + game.id());
    EXPECT_EQ(taken.status, 1);
    const Result report = run("report snapshot");
    EXPECT_EQ(report.status, 1);
    EXPECT_TRUE(contains(report.output, "damage: magic: bank \"core\", offset 224: "
                                        "the header is neither of a used nor of a free node: "
                                        "it begins with the bytes 41 41 41 41\n"
                                        "    before: game/text.cpp:12, 96 bytes at 128\n"
                                        "    after:  free, 736 bytes at 288\n"))
        << report.output;
}

// The tool is killed at any moment of its work. The game has to run on, so it must not be in a stopped state.
TEST(CoreMemorySnapshot, AGameContinuesWhenTheToolIsKilled)
{
    RunningGame game({"blocks", "20000"});
    for (int delay = 0; delay < 40000; delay += 4000) {
        const pid_t tool = fork();
        if (tool == 0) {
            execl(program().c_str(), PROGRAM, "snapshot", "-o", "/dev/null", game.id().c_str(), nullptr);
            _exit(127);
        }
        usleep(static_cast<useconds_t>(delay)); // a different moment of the tool's work in each round
        kill(tool, SIGKILL);
        waitpid(tool, nullptr, 0);
    }
    EXPECT_EQ(run("snapshot -o snapshot " + game.id()).status, 0);
    EXPECT_EQ(game.end(), 0);
}

TEST(CoreMemorySnapshot, RefusesAProcessThatIsNotThereOrHasNoManager)
{
    EXPECT_EQ(run("snapshot 999999999").status, 3);
    const Result other = run("snapshot " + std::to_string(getpid()));
    EXPECT_EQ(other.status, 3);
    EXPECT_TRUE(contains(other.errors, "no symbol g_MemoryPtr")) << other.errors;
}

// ---- Snapshots of a core dump

// Lets the game crash, and returns the path of its core dump; empty when the system writes it elsewhere.
static std::string crash(const std::string& command)
{
    const rlimit limit = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_CORE, &limit);
    if (system((command + " crash >/dev/null 2>&1").c_str()) == 0) {
        return "";
    }
    FILE* list = popen("ls | grep -E '(^core|core$)'", "r");
    char name[256] = "";
    const bool isFound = fgets(name, sizeof(name), list) != nullptr;
    pclose(list);
    return isFound ? std::string(name, strcspn(name, "\n")) : "";
}

TEST(CoreMemorySnapshot, ShowsTheBlocksOfACrashedGame)
{
    const std::string dump = crash("'" GAME "'");
    if (dump.empty()) {
        GTEST_SKIP() << "the system writes no core dump into the game's folder";
    }
    const Result taken = run("snapshot --no-time " + dump);
    EXPECT_EQ(taken.status, 0) << taken.errors;
    EXPECT_EQ(blocksOf(taken.output), sc_blocksOfGame);
    EXPECT_TRUE(contains(taken.output, "game name=\"memory_game\"\n"));
    EXPECT_EQ(run("snapshot --executable '" GAME "' " + dump).status, 0);
}

TEST(CoreMemorySnapshot, RefusesAFileThatIsNoCoreDump)
{
    writeFile("text", "not a dump");
    EXPECT_EQ(run("snapshot text").status, 3);
    EXPECT_TRUE(contains(run("snapshot text").errors, "is no core dump"));
    EXPECT_EQ(run("snapshot '" GAME "'").status, 3);
    EXPECT_EQ(run("snapshot no-such-file").status, 3);
    EXPECT_EQ(run("snapshot").status, 2);
}

TEST(CoreMemorySnapshot, NeverCrashesOnADamagedCoreDump)
{
    const std::string dump = crash("'" GAME "'");
    if (dump.empty()) {
        GTEST_SKIP() << "the system writes no core dump into the game's folder";
    }
    const std::string bytes = readFile(dump);
    for (const size_t length : {size_t(10), size_t(64), size_t(5000), bytes.size() / 2}) {
        writeFile("short", bytes.substr(0, length));
        EXPECT_GE(run("snapshot short").status, 0) << length;
    }
    for (size_t at = 0; at < 4096; at += 97) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 0x5a);
        writeFile("changed", changed);
        EXPECT_GE(run("snapshot changed").status, 0) << at;
    }
}

// ---- Report

static const char sc_snapshot[] =
    "core-memory snapshot 1\n"
    "game name=\"demo\"\n"
    "bank bank=0 name=\"core\" type=0 location=0 region=1 size=1024 in-use=832 peak=900 allocs=3 frees=1 "
    "used-nodes=2 "
    "free-nodes=2 fallbacks-made=1\n"
    "bank bank=1 name=\"frame\" type=1 location=0 region=1 size=512 defined=512 in-use=64 peak=600 allocs=1 frees=0 "
    "used-nodes=0 free-nodes=1 fallbacks-made=0 cursor=64\n"
    "used bank=0 offset=128 size=128 place=\"game/mesh.cpp:41\"\n"
    "used bank=0 offset=0 size=128 place=\"game/mesh.cpp:41\" born=1500\n"
    "used bank=0 offset=256 size=32 place=\"game/a,\\x22b\\x22.cpp:7\"\n"
    "free bank=0 offset=288 size=736\n"
    "fallback bank=0 number=1 size=544 place=\"game/sound.cpp:34\" born=700\n"
    "end\n";

TEST(CoreMemoryHtml, WritesToAPipeAndLeavesItAPipe)
{
    writeFile("7.snapshot", sc_snapshot);
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    ASSERT_EQ(system("timeout 60 cat pipe >copy &"), 0);
    EXPECT_EQ(run("html 7.snapshot -o pipe").status, 0);
    struct stat status;
    ASSERT_EQ(stat("pipe", &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST(CoreMemoryReport, ShowsPlacesByTheirBytes)
{
    writeFile("snapshot", sc_snapshot);
    const Result report = run("report snapshot --by place");
    EXPECT_EQ(report.status, 0);
    EXPECT_EQ(report.output,
              "place              blocks  bytes   share  largest  fallback blocks  first seen (ms)\n"
              "game/sound.cpp:34       1    544  65.4 %      544                1              700\n"
              "game/mesh.cpp:41        2    256  30.8 %      128                0          unknown\n"
              "game/a,\"b\".cpp:7        1     32   3.8 %       32                0          unknown\n");
    EXPECT_EQ(run("report - --by place < snapshot").output, report.output);
}

TEST(CoreMemoryReport, ShowsBanksSizesAndAges)
{
    writeFile("snapshot", sc_snapshot);
    EXPECT_EQ(
        run("report snapshot --by bank").output,
        "bank   type     size  in use  peak  blocks  largest free  fragmentation  fallback blocks  next size\n"
        "core   heap    1,024     832   900       3           736          0.0 %                1        965\n"
        "frame  linear    512      64   600       0           448          0.0 %                0        559\n");
    EXPECT_EQ(run("report snapshot --by size").output, "from     to  blocks  bytes\n"
                                                       "  32     63       1     32\n"
                                                       " 128    255       2    256\n"
                                                       " 512  1,023       1    544\n");
    EXPECT_EQ(run("report snapshot --by age --top 1").output,
              "bank  age  place             bytes  offset  born at (ms)\n"
              "core    1  game/mesh.cpp:41    128     128       unknown\n"
              "... and 3 more; --top 0 shows all\n");
    EXPECT_EQ(run("report snapshot --by age --top 1 --bank frame").output,
              "bank  age  place  bytes  offset  born at (ms)\n");
}

TEST(CoreMemoryReport, GivesCsvAndJson)
{
    writeFile("snapshot", sc_snapshot);
    EXPECT_TRUE(contains(run("report snapshot --csv").output, "\"game/a,\"\"b\"\".cpp:7\",1,32,"));
    const std::string json = run("report snapshot --json --bank core").output;
    EXPECT_TRUE(contains(json, "\"place\": \"game/mesh.cpp:41\",\n      \"blocks\": 2,\n      \"bytes\": 256"));
    EXPECT_FALSE(contains(json, "\"frame\""));
    EXPECT_EQ(run("report snapshot --json --csv").status, 2);
}

TEST(CoreMemoryReport, RefusesWhatIsNoSnapshot)
{
    writeFile("snapshot", "core-memory snapshot 2\nend\n");
    EXPECT_EQ(run("report snapshot").status, 2);
    EXPECT_EQ(readFile("errors"),
              "core-memory: snapshot: line 1: a snapshot begins with \"core-memory snapshot 1\"\n");
    EXPECT_EQ(run("report no-such-file").status, 3);
    EXPECT_EQ(run("report snapshot --by colour").status, 2);
    writeFile("snapshot", sc_snapshot);
    EXPECT_EQ(run("report snapshot --bank sound").status, 2);
}

TEST(CoreMemoryReport, NamesTheNewestSnapshotOfAFolder)
{
    std::filesystem::create_directory("out");
    EXPECT_EQ(run("report out").errors, "core-memory: out is a folder without snapshots\n");
    std::ofstream("out/0002.snapshot");
    std::ofstream("out/0001.snapshot");
    const auto written = std::filesystem::last_write_time("out/0002.snapshot");
    std::filesystem::last_write_time("out/0001.snapshot", written + std::chrono::hours(1));
    const Result result = run("report out");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.errors, "core-memory: out is a folder; name a snapshot in it, such as out/0001.snapshot\n");
}

TEST(CoreMemoryReport, PrintsNoCommandsOfATerminal)
{
    std::string text = sc_snapshot;
    text.replace(text.find("game/mesh"), 4, "\\x1b[31m");
    writeFile("snapshot", text);
    EXPECT_TRUE(contains(run("report snapshot").output, "?[31m/mesh.cpp:41"));
}

TEST(CoreMemoryReport, HasColoursOnlyOnATerminal)
{
    writeFile("snapshot", sc_snapshot);
    EXPECT_FALSE(contains(run("report snapshot").output, "\033["));
    const std::string command = "script -qec \"'" + program() + "' report snapshot\" typescript >/dev/null";
    EXPECT_EQ(system(("TERM=xterm " + command).c_str()), 0);
    EXPECT_TRUE(contains(readFile("typescript"), "\033[1m"));
    EXPECT_EQ(system(("NO_COLOR=1 TERM=xterm " + command).c_str()), 0);
    EXPECT_FALSE(contains(readFile("typescript"), "\033["));
}

// ---- Diff

TEST(CoreMemoryDiff, TellsWhatCameWentAndGrew)
{
    writeFile("before", sc_snapshot);
    std::string text = sc_snapshot;
    text.replace(text.find("size=32 place"), 7, "size=96");
    text.replace(text.find("game/sound.cpp:34"), 17, "game/voice.cpp:34");
    writeFile("after", text);
    const Result diff = run("diff before after");
    EXPECT_EQ(diff.status, 1);
    EXPECT_EQ(diff.output,
              "what  place              blocks before  blocks after  bytes before  bytes after  bytes more\n"
              "went  game/sound.cpp:34              1             0           544            0        -544\n"
              "came  game/voice.cpp:34              0             1             0          544        +544\n"
              "grew  game/a,\"b\".cpp:7               1             1            32           96         +64\n"
              "\n"
              "all together: +64 bytes, 0 blocks\n");
    EXPECT_TRUE(contains(run("diff before after --json").output, "\"what\": \"went\""));
}

TEST(CoreMemoryDiff, OfEqualSnapshotsHasStatus0)
{
    writeFile("before", sc_snapshot);
    const Result diff = run("diff before before");
    EXPECT_EQ(diff.status, 0);
    EXPECT_EQ(diff.output, "no difference\n");
    EXPECT_EQ(run("diff before no-such-file").status, 3);
}

// ---- Sizes

TEST(CoreMemorySizes, ShowsWhereTuningLeads)
{
    writeFile("snapshot", sc_snapshot);
    const Result sizes = run("sizes --snapshot snapshot");
    EXPECT_EQ(sizes.status, 1) << "a bank needed more than it had";
    EXPECT_EQ(sizes.output, "bank   defined    had  needed  next  after 2  after 5  after 20  define\n"
                            "core         -  1,024     900   965      933      904       900     928\n"
                            "frame      512    512     600   559      580      597       599     608\n");
}

TEST(CoreMemorySizes, ExplainsTheLinesOfTheFile)
{
    writeFile("snapshot", sc_snapshot);
    writeFile("memory.dat", "core=2000\nsound=64\ncore=1000\nframe=\nlast=1\n");
    const Result sizes = run("sizes memory.dat");
    EXPECT_EQ(sizes.status, 1);
    EXPECT_EQ(sizes.output,
              "line  bank    size  remark\n"
              "   1  core   2,000  a later line of this bank replaces it\n"
              "   2  sound     64\n"
              "   3  core   1,000\n"
              "   4  frame      -  not of the form name=size: this line and all after it are ignored\n");
    EXPECT_TRUE(
        contains(run("sizes memory.dat --snapshot snapshot").output, "the game defines no bank of this name"));
    EXPECT_EQ(run("sizes").status, 2);
}

// ---- Top

TEST(CoreMemoryTop, PrintsATableAtEachIntervalWithoutATerminal)
{
    RunningGame game({"busy"});
    const Result top = run("top --count 2 --every 0.1 " + game.id());
    EXPECT_EQ(top.status, 0) << top.errors;
    EXPECT_EQ(std::count(top.output.begin(), top.output.end(), '\033'), 0);
    EXPECT_TRUE(contains(top.output, "allocs/s"));
    EXPECT_TRUE(contains(top.output, "game/busy.cpp:"));
    const size_t second = top.output.rfind("\ncore ");
    EXPECT_TRUE(std::regex_search(top.output.substr(second), std::regex("[1-9][0-9,]*  +[1-9][0-9,]*\n")));
    EXPECT_EQ(run("top 999999999").status, 3);
    EXPECT_EQ(run("top demo").status, 2);
}

TEST(CoreMemoryTop, DrawsBarsOnATerminalUntilQIsPressed)
{
    RunningGame game({});
    const std::string command =
        "TERM=xterm script -qec \"'" + program() + "' top " + game.id() + "\" typescript >/dev/null";
    EXPECT_EQ(
        system(
            ("(until grep -q sound.cpp typescript 2>/dev/null; do sleep 0.05; done; printf q) | " + command).c_str()),
        0);
    const std::string screen = readFile("typescript");
    EXPECT_TRUE(contains(screen, "\u2588"));
    EXPECT_TRUE(contains(screen, "\033[?1049l")) << "the screen from before is back";
}

// ---- Help

TEST(CoreMemory, ExplainsItselfAndItsStatuses)
{
    const Result help = run("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* command : {"snapshot", "report", "diff", "top", "sizes", "html"}) {
        EXPECT_TRUE(contains(help.output, command));
        EXPECT_TRUE(contains(run(std::string(command) + " --help").output,
                             "Examples:\n  core-memory " + std::string(command)));
    }
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run("fly").status, 2);
    EXPECT_TRUE(contains(readFile("errors"), "core-memory --help"));
}
