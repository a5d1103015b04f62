// Where every test program starts: in an empty folder of its own, which goes away with it.
//
// The folder is the working folder and holds the two Library folders, so nothing a test does reaches the user's
// files. It is there before any static object of the program is made, because a memory manager may be one.
#include <gtest/gtest.h>

#include <filesystem>
#include <stdlib.h>
#include <unistd.h>

static char s_folder[] = "/tmp/core-test-XXXXXX";
static pid_t s_owner;

__attribute__((constructor(101))) static void enterFolder()
{
    s_owner = getpid();
    if (!mkdtemp(s_folder) || chdir(s_folder) != 0) {
        abort();
    }
    const std::string folder = s_folder;
    for (const char* name : {"MACAPI_LIBRARY", "MACAPI_USER_LIBRARY"}) {
        const std::string library = folder + "/" + name;
        std::filesystem::create_directory(library);
        setenv(name, library.c_str(), 1);
    }
}

__attribute__((destructor(101))) static void leaveFolder()
{
    if (getpid() != s_owner) {
        return; // a death test's child
    }
    std::error_code ignored;
    std::filesystem::current_path("/", ignored);
    std::filesystem::remove_all(s_folder, ignored);
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
