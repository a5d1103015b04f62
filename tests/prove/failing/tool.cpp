// Lets calls of any program fail. The program need not be built for this:
//
//     LD_PRELOAD=.../libprove_failing_tool.so FAILING_TOOL=4 FAILING_FILES=FOLDER PROGRAM ARGUMENTS
//
// The program starts as usual. Before its main function it is forked for each run, so the dynamic linker loads the
// program only once. FAILING_TOOL is the step of PlayWithFailures. Each run begins with a copy of FOLDER as its
// working folder.
#include "tests/prove/failing/server.h"

#include <dlfcn.h>
#include <filesystem>
#include <stdlib.h>
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

static int serve(int argc, char** argv, char**)
{
    s_argc = argc;
    s_argv = argv;
    const int step = atoi(getenv("FAILING_TOOL"));
    unsetenv("LD_PRELOAD"); // for the programs that this one starts
    const Scenario scenario = {
        argv[1] ? argv[1] : argv[0], CALLERS_ALL, copyFiles, nullptr, runTool, nullptr, nullptr, true};
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
