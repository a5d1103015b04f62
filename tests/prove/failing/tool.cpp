// Lets calls of any program fail. The program need not be built for this:
//
//     LD_PRELOAD=.../libprove_failing_tool.so FAILING_TOOL=4 FAILING_FILES=FOLDER PROGRAM ARGUMENTS
//
// The program starts as usual. Before its main function it is forked for each run, so the dynamic linker loads the
// program only once.
//
//   FAILING_TOOL      the step of PlayWithFailures
//   FAILING_FILES     each run begins with a copy of this folder as its working folder
//   FAILING_STATUS    the program's exit status without failures; 0 by default
//   FAILING_GAME      1: the program starts a game, which writes files of its own
//   FAILING_REPORTS   1: Scenario::reports
#include "tests/prove/failing/server.h"

#include <dlfcn.h>
#include <filesystem>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace fs = std::filesystem;

typedef int Main(int argc, char** argv, char** environment);
static Main* s_main;
static int s_argc;
static char** s_argv;

static int runTool()
{
    const int status = s_main(s_argc, s_argv, environ);
    fflush(nullptr);
    return status;
}

static void copyFiles()
{
    fs::copy(getenv("FAILING_FILES"), ".", fs::copy_options::recursive);
    const std::string here = fs::current_path().string();
    setenv("MACAPI_LIBRARY", (here + "/local").c_str(), 1);
    setenv("MACAPI_USER_LIBRARY", (here + "/user").c_str(), 1);
}

static bool beginsWith(const std::string& text, const char* start)
{
    return text.compare(0, strlen(start), start) == 0;
}

// The files of a game that the program has started. The program may have ended while the game went on. A snapshot has the
// time in it. Without memory for debug information, a recorded text has another form of its place.
static const char* acceptGame(const std::string& path, const std::string& content)
{
    const std::string end = "\nend\n";
    if (fs::path(path).extension() == ".snapshot") {
        const bool isWhole = content.size() > end.size() && content.substr(content.size() - end.size()) == end;
        return isWhole ? "a whole snapshot" : nullptr;
    }
    if (path == "texts.strings") {
        return content.find("\"Level \\\"39") != content.npos ? "the last text is there" : nullptr;
    }
    for (const char* folder : {"local/", "user/", "de/", "levels/", "game.ini"}) {
        if (beginsWith(path, folder)) {
            return "the game's own file";
        }
    }
    return nullptr;
}

static int numberOf(const char* variable)
{
    const char* value = getenv(variable);
    return value ? atoi(value) : 0;
}

static int serve(int argc, char** argv, char**)
{
    s_argc = argc;
    s_argv = argv;
    Scenario scenario = {};
    scenario.name = argv[1] ? argv[1] : argv[0];
    scenario.prepare = copyFiles;
    scenario.run = runTool;
    scenario.accept = numberOf("FAILING_GAME") ? acceptGame : nullptr;
    scenario.isTool = true;
    scenario.reports = numberOf("FAILING_REPORTS") != 0;
    scenario.goodEnd = numberOf("FAILING_STATUS");
    unsetenv("LD_PRELOAD"); // for the programs that this one starts
    const int step = numberOf("FAILING_TOOL");
    return PlayWithFailures(scenario, static_cast<unsigned int>(step > 0 ? step : 1));
}

// The start of a program calls this function of the C library with the program's main function.
extern "C" __attribute__((visibility("default"))) int __libc_start_main(Main* main, int argc, char** argv, Main* init,
                                                                        void (*fini)(), void (*end)(), void* stack)
{
    const auto start = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    s_main = main;
    return start(getenv("FAILING_TOOL") ? serve : main, argc, argv, init, fini, end, stack);
}
