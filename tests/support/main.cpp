// Where every test program starts: in an empty folder of its own, which goes away with it.
//
// The folder is the working folder and holds the two Library folders, so nothing a test does reaches the user's
// files. It is there before any static object of the program is made, because a memory manager may be one.
//
// These functions run in each of thousands of processes, so they use the C library alone: an emulator takes
// milliseconds to translate the code of std::filesystem.
//
// With CASES_APART in the environment the program forks a process for each of its cases, each in a folder of its own.
// Under valgrind this takes a third of the time of starting the program for each case. With CASES_APART=first the program
// ends after the first case that fails.
#include <gtest/gtest.h>

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static const char sc_pattern[] = "/tmp/core-test-XXXXXX";
static char s_folder[sizeof(sc_pattern)];
static pid_t s_owner;

__attribute__((constructor(101))) static void enterFolder()
{
    s_owner = getpid();
    memcpy(s_folder, sc_pattern, sizeof(sc_pattern));
    if (!mkdtemp(s_folder) || chdir(s_folder) != 0) {
        abort();
    }
    for (const char* name : {"MACAPI_LIBRARY", "MACAPI_USER_LIBRARY"}) {
        char library[sizeof(s_folder) + 32];
        snprintf(library, sizeof(library), "%s/%s", s_folder, name);
        if (mkdir(library, 0777) != 0 || setenv(name, library, 1) != 0) {
            abort();
        }
    }
}

static int removeOne(const char* path, const struct stat*, int, FTW*)
{
    remove(path);
    return 0; // goes on with the rest
}

__attribute__((destructor(101))) static void leaveFolder()
{
    if (getpid() != s_owner) {
        return; // a death test's child
    }
    if (chdir("/") == 0) {
        nftw(s_folder, removeOne, 16, FTW_DEPTH | FTW_PHYS);
    }
}

// Returns whether the case passes in a process of its own. The folder of the case goes away even if the process crashes.
static bool passesApart(const std::string& name)
{
    fflush(stdout);
    const std::string ownFolder = s_folder;
    enterFolder();
    const pid_t child = fork();
    if (child == 0) {
        s_owner = getpid();
        const std::string filter = GTEST_FLAG_GET(filter);
        const size_t excluded = filter.find('-');
        GTEST_FLAG_SET(filter, name + (excluded == std::string::npos ? "" : filter.substr(excluded)));
        exit(RUN_ALL_TESTS());
    }
    int status = -1;
    waitpid(child, &status, 0);
    leaveFolder();
    memcpy(s_folder, ownFolder.c_str(), sizeof(s_folder));
    if (status != 0) {
        printf("CASE FAILED: %s, status %x\n", name.c_str(), static_cast<unsigned int>(status));
    }
    return status == 0;
}

static int runCasesApart(bool all)
{
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    int cases = 0;
    int failed = 0;
    for (int i = 0; i < tests.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *tests.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count() && (all || failed == 0); ++j, ++cases) {
            failed += !passesApart(std::string(suite.name()) + "." + suite.GetTestInfo(j)->name());
        }
    }
    printf("%d cases apart, %d failed\n", cases, failed);
    return failed != 0;
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const char* apart = getenv("CASES_APART");
    return apart ? runCasesApart(strcmp(apart, "first") != 0) : RUN_ALL_TESTS();
}
