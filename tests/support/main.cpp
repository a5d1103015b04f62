// Where every test program starts: in an empty folder of its own, which goes away with it.
//
// The folder is the working folder and holds the two Library folders, so nothing a test does reaches the user's
// files. It is there before any static object of the program is made, because a memory manager may be one.
//
// These functions run in each of thousands of processes, so they use the C library alone: an emulator takes
// milliseconds to translate the code of std::filesystem.
#include <gtest/gtest.h>

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static char s_folder[] = "/tmp/core-test-XXXXXX";
static pid_t s_owner;

__attribute__((constructor(101))) static void enterFolder()
{
    s_owner = getpid();
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

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
