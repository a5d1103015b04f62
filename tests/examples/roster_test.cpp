// The example roster, as a shell runs it: how it ends, and what it prints.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <vector>

struct Result {
    int status;
    std::vector<std::string> lines;
};

// arguments are words of a shell.
static Result run(const std::string& arguments)
{
    const int status = system((EMULATOR " '" PROGRAM "' " + arguments + " >output 2>&1").c_str());
    Result result = {WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}};
    std::ifstream output("output");
    for (std::string line; std::getline(output, line);) {
        result.lines.push_back(line);
    }
    return result;
}

static void makeFolder()
{
    std::filesystem::create_directories("units/old");
    int bytes = 10;
    for (const char* name : {"wagon", "Archer", "knight", ".hidden"}) {
        std::ofstream(std::string("units/") + name) << std::string(static_cast<size_t>(bytes++), '*');
    }
}

TEST(Roster, CountsAndWeighsTheFilesOfAFolder)
{
    makeFolder();
    const Result result = run("units 7");
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(result.lines.size(), 4u);
    EXPECT_EQ(result.lines[0], "3 files in \"units\", 33 bytes, by lot:");
    std::set<std::string> places;
    std::set<std::string> paths;
    for (size_t i = 1; i < 4; ++i) {
        places.insert(result.lines[i].substr(0, 5));
        paths.insert(result.lines[i].substr(5));
    }
    EXPECT_EQ(places, (std::set<std::string>{"  1. ", "  2. ", "  3. "}));
    EXPECT_EQ(paths, (std::set<std::string>{"units/Archer", "units/knight", "units/wagon"}));
}

TEST(Roster, TheSameSeedDrawsTheSameOrderOnEveryMachine)
{
    makeFolder();
    const std::string title = "3 files in \"units\", 33 bytes, by lot:";
    EXPECT_EQ(run("units 7").lines,
              (std::vector<std::string>{title, "  1. units/knight", "  2. units/wagon", "  3. units/Archer"}));
    EXPECT_EQ(run("units 9").lines,
              (std::vector<std::string>{title, "  1. units/wagon", "  2. units/Archer", "  3. units/knight"}));
}

TEST(Roster, PathsMayHaveBackslashes)
{
    makeFolder();
    EXPECT_EQ(run("'.\\units\\' 7").lines[0], "3 files in \".\\units\\\", 33 bytes, by lot:");
}

TEST(Roster, StartsFromTheClockAndTheWorkingFolder)
{
    std::filesystem::create_directory("units"); // "output" is the one file
    const Result result = run("");
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(result.lines.size(), 2u);
    EXPECT_EQ(result.lines[1], "  1. ./output");
}

TEST(Roster, AFolderWithoutFilesIsStatus1)
{
    std::filesystem::create_directory("empty");
    for (const char* folder : {"empty", "missing"}) {
        const Result result = run(folder);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.lines, std::vector<std::string>{std::string("There are no files in \"") + folder + "\"."});
    }
}
