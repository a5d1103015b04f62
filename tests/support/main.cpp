// Where every test program starts: in an empty folder of its own, which goes away with it.
//
// The folder is the working folder and holds the two Library folders, so nothing a test does reaches the user's
// files. It is there before any static object of the program is made, because a memory manager may be one.
//
// These functions run in each of thousands of processes, so they use the C library alone: an emulator takes
// milliseconds to translate the code of std::filesystem.
//
// With CASES_APART in the environment the program forks a process for each of its cases, each in a folder of its own.
// Under valgrind and under an emulator this takes a third of the time of starting the program for each case: the children
// have the code that the parent has translated. With CASES_APART=first the program ends after the first case that fails.
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

static const int sc_skipped = 77;

// Runs the case in a process of its own. Returns the status of that process. The folder of the case goes away even if the
// process crashes.
static int runApart(const std::string& name)
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
        const int result = RUN_ALL_TESTS();
        exit(result == 0 && testing::UnitTest::GetInstance()->skipped_test_count() > 0 ? sc_skipped : result);
    }
    int status = -1;
    waitpid(child, &status, 0);
    leaveFolder();
    memcpy(s_folder, ownFolder.c_str(), sizeof(s_folder));
    return status;
}

// Runs no case, so that the code around each case is translated before the first fork.
static void runNone()
{
    const std::string filter = GTEST_FLAG_GET(filter);
    GTEST_FLAG_SET(filter, "-*");
    if (RUN_ALL_TESTS() != 0) {
        abort();
    }
    GTEST_FLAG_SET(filter, filter);
}

static int runCasesApart(bool all)
{
    unsetenv("CASES_APART"); // for programs that a case starts, which may be this one
    runNone();
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    int cases = 0;
    int failed = 0;
    int skipped = 0;
    for (int i = 0; i < tests.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *tests.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count() && (all || failed == 0); ++j, ++cases) {
            const std::string name = std::string(suite.name()) + "." + suite.GetTestInfo(j)->name();
            const int status = runApart(name);
            const bool isSkipped = WIFEXITED(status) && WEXITSTATUS(status) == sc_skipped;
            skipped += isSkipped;
            if (status != 0 && !isSkipped) {
                ++failed;
                printf("CASE FAILED: %s, status %x\n", name.c_str(), static_cast<unsigned int>(status));
            }
        }
    }
    printf("%d cases apart, %d failed, %d skipped\n", cases, failed, skipped); // ./run counts them
    return failed != 0;
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const char* apart = getenv("CASES_APART");
    return apart ? runCasesApart(strcmp(apart, "first") != 0) : RUN_ALL_TESTS();
}
