// Listing folders of the real file system.
#include "core/platform.h"

#include "tests/support/game_memory.h"

#include <dirent.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>

namespace fs = std::filesystem;

typedef std::vector<std::string> Paths;
typedef int Select(const char*);
typedef int Compare(const void*, const void*);

static const char* nameOf(const void* entry)
{
    return (*static_cast<dirent* const*>(entry))->d_name;
}

static int everything(const char*)
{
    return 1;
}

static int byName(const void* left, const void* right)
{
    return strcmp(nameOf(left), nameOf(right));
}

static int byNameBackwards(const void* left, const void* right)
{
    return strcmp(nameOf(right), nameOf(left));
}

// A game with a folder "units": three files, a folder, and things that are neither.
class ScanDir : public testing::Test {
protected:
    ScanDir()
    {
        m_memory.defineHeap("core", 1 << 20);
        m_memory.initialize();
        fs::create_directories("units/old");
        for (const char* name : {"knight.mdl", "archer.mdl", "notes.txt"}) {
            writeFile(std::string("units/") + name, "");
        }
        fs::create_symlink("knight.mdl", "units/link.mdl");
        mkfifo("units/pipe.mdl", 0600);
    }

    // Afterwards nothing of bank 0 is in use.
    ~ScanDir() override { EXPECT_EQ(m_memory.check(0, true), 0); }

    static Paths scan(const char* path, Select* select = nullptr, Compare* compare = nullptr)
    {
        char(*list)[260] = reinterpret_cast<char(*)[260]>(0x10); // whatever was there before
        const int count = Platform::ScanDir(path, &list, select, compare);
        EXPECT_EQ(count == 0, list == nullptr);
        Paths paths;
        for (int i = 0; i < count; ++i) {
            paths.push_back(list[i]);
        }
        Platform::ScanDirFree(list);
        return paths;
    }

    static Paths sorted(const char* path, Select* select = nullptr) { return scan(path, select, byName); }

    GameMemory m_memory;
};

TEST_F(ScanDir, WithoutCallbacksListsAllThereIs)
{
    const Paths paths = scan("units");
    EXPECT_EQ(paths.size(), 8u);
    EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()),
              (std::set<std::string>{"units/.", "units/..", "units/archer.mdl", "units/knight.mdl", "units/link.mdl",
                                     "units/notes.txt", "units/old", "units/pipe.mdl"}));
}

TEST_F(ScanDir, WithoutACompareCallbackKeepsTheSystemsOrder)
{
    Paths expected;
    DIR* folder = opendir("units");
    while (const dirent* entry = readdir(folder)) {
        expected.push_back(std::string("units/") + entry->d_name);
    }
    closedir(folder);
    EXPECT_EQ(scan("units"), expected);
}

TEST_F(ScanDir, WithASelectCallbackListsRegularFilesAlone)
{
    EXPECT_EQ(sorted("units", everything), (Paths{"units/archer.mdl", "units/knight.mdl", "units/notes.txt"}));
}

static Paths s_asked;

TEST_F(ScanDir, TheSelectCallbackIsAskedForTheNameOfEachFileOnce)
{
    scan("units", [](const char* name) {
        s_asked.push_back(name);
        return 0;
    });
    std::sort(s_asked.begin(), s_asked.end());
    EXPECT_EQ(s_asked, (Paths{"archer.mdl", "knight.mdl", "notes.txt"}));
}

TEST_F(ScanDir, AFileIsListedWhenTheSelectCallbackReturnsNonzero)
{
    EXPECT_EQ(sorted("units", [](const char* name) { return strstr(name, ".mdl") ? 1 : 0; }),
              (Paths{"units/archer.mdl", "units/knight.mdl"}));
    EXPECT_EQ(sorted("units", [](const char* name) { return name[0] == 'k'   ? -1
                                                            : name[0] == 'n' ? 256
                                                                             : 0; }),
              (Paths{"units/knight.mdl", "units/notes.txt"}));
}

TEST_F(ScanDir, TheCompareCallbackMakesTheOrder)
{
    EXPECT_EQ(scan("units", everything, byName), (Paths{"units/archer.mdl", "units/knight.mdl", "units/notes.txt"}));
    EXPECT_EQ(scan("units", everything, byNameBackwards),
              (Paths{"units/notes.txt", "units/knight.mdl", "units/archer.mdl"}));
    EXPECT_EQ(scan("units", nullptr, byName).front(), "units/.");
}

TEST_F(ScanDir, AFolderGivenWithASlashHasNoSecondOneInItsPaths)
{
    EXPECT_EQ(sorted("units/"), sorted("units"));
    EXPECT_EQ(sorted("units/", everything), sorted("units", everything));
    EXPECT_EQ(sorted("units//", everything).front(), "units//archer.mdl"); // as it was given
}

TEST_F(ScanDir, TheRootIsASlash)
{
    const Paths paths = sorted("/");
    ASSERT_GE(paths.size(), 2u);
    EXPECT_EQ(paths[0], "/.");
    EXPECT_EQ(paths[1], "/..");
}

TEST_F(ScanDir, PathsMayBeAbsolute)
{
    const std::string folder = fs::current_path().string() + "/units";
    EXPECT_EQ(sorted(folder.c_str(), everything).front(), folder + "/archer.mdl");
}

TEST_F(ScanDir, PathsBeginWithTheFolderAsItWasGivenAndNotAsItWasConverted)
{
    fs::create_directories("units/old/war");
    writeFile("units/old/war/elk", "");
    EXPECT_EQ(scan("units\\old\\war", everything), Paths{"units\\old\\war/elk"});
    EXPECT_EQ(scan("units\\old/war", everything), Paths{"units\\old/war/elk"});
    EXPECT_EQ(scan("C:units\\old\\war", everything), Paths{"C:units\\old\\war/elk"});
}

TEST_F(ScanDir, ABackslashAtTheEndIsNoSlash)
{
    EXPECT_EQ(sorted("units\\", everything).front(), "units\\/archer.mdl");
}

TEST_F(ScanDir, NamesMayHoldAnyBytes)
{
    const std::string name = "\xC3\xA9t\xC3\xA9 \\%s\n\xff";
    writeFile("units/old/" + name, "");
    EXPECT_EQ(scan("units/old", everything), Paths{"units/old/" + name});
}

TEST_F(ScanDir, AnEmptyResultIsANullListThatNeedsNoFree)
{
    EXPECT_EQ(scan("units/old", everything), Paths()); // scan() sees that the list is null
    EXPECT_EQ(scan("units", [](const char*) { return 0; }), Paths());
    Platform::ScanDirFree(nullptr);
}

TEST_F(ScanDir, AFolderThatCannotBeReadHasNoEntries)
{
    EXPECT_EQ(scan("missing"), Paths());
    EXPECT_EQ(scan("missing", everything, byName), Paths());
    EXPECT_EQ(scan("units/knight.mdl"), Paths()); // no folder
    EXPECT_EQ(scan(""), Paths());
    EXPECT_EQ(scan("", everything, byName), Paths());
    EXPECT_EQ(scan(nullptr), Paths());
}

TEST_F(ScanDir, WithoutAPlaceForTheListNothingIsListed)
{
    EXPECT_EQ(Platform::ScanDir("units", nullptr, nullptr, nullptr), 0);
}

TEST_F(ScanDir, AnEmptyFolderHasTwoEntries)
{
    EXPECT_EQ(sorted("units/old"), (Paths{"units/old/.", "units/old/.."}));
}

TEST_F(ScanDir, TheCallbacksAreOfOneScanOnly)
{
    EXPECT_EQ(scan(
                  "units", [](const char*) { return 0; }, byName)
                  .size(),
              0u);
    EXPECT_EQ(scan("units").size(), 8u);
    EXPECT_EQ(scan("units", everything).size(), 3u);
}

// The sanitizers replace scandir by a function that cannot be called inside itself.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Selects all files but one. Scans the folder again meanwhile, and in that scan's callback a third time.
static int allButTheArcherAndScanInside(const char* name)
{
    struct Inner {
        static int everything(const char*)
        {
            char(*list)[260];
            Platform::ScanDirFree(Platform::ScanDir("units", &list, ::everything, byName) == 3 ? list : nullptr);
            return 1;
        }
    };
    char(*list)[260] = nullptr;
    EXPECT_EQ(Platform::ScanDir("units", &list, Inner::everything, byName), 3);
    EXPECT_STREQ(list[0], "units/archer.mdl");
    Platform::ScanDirFree(list);
    return strcmp(name, "archer.mdl");
}

TEST_F(ScanDir, AScanInAScanInACallbackLeavesEachItsCallbacks)
{
    EXPECT_EQ(scan("units", allButTheArcherAndScanInside, byNameBackwards),
              (Paths{"units/notes.txt", "units/knight.mdl"}));
    EXPECT_EQ(scan("units", everything, byName), (Paths{"units/archer.mdl", "units/knight.mdl", "units/notes.txt"}));
}

#endif

// "units", spelled with so many bytes.
static std::string unitsWithLength(size_t length)
{
    std::string path;
    while (path.size() + strlen("units") + 1 < length) {
        path += "./";
    }
    path += "units";
    return path + std::string(length - path.size(), '/');
}

TEST_F(ScanDir, APathLongerThan259BytesIsTruncated)
{
    const std::string name(255, 'n');
    writeFile("units/old/" + name, "");
    EXPECT_EQ(scan("units/old", everything), Paths{("units/old/" + name).substr(0, 259)});

    for (const size_t length : {246, 247, 248, 249, 250, 257, 258, 259, 260, 261, 1000, 1022, 1023}) {
        const std::string folder = unitsWithLength(length);
        std::string whole = folder + (folder.back() == '/' ? "" : "/") + "archer.mdl";
        EXPECT_EQ(sorted(folder.c_str(), everything).front(), whole.substr(0, 259)) << length;
    }
}

TEST_F(ScanDir, AFolderOf1024BytesAndMoreIsRefused)
{
    EXPECT_EQ(scan(unitsWithLength(1023).c_str()).size(), 8u);
    EXPECT_EQ(scan(unitsWithLength(1024).c_str()), Paths());
    EXPECT_EQ(scan(unitsWithLength(4000).c_str()), Paths());
    EXPECT_EQ(scan(unitsWithLength(100000).c_str()), Paths());
}

TEST_F(ScanDir, AFolderMayHoldThousands)
{
    for (int number = 0; number < 2000; ++number) {
        writeFile("units/old/" + std::to_string(10000 + number), "");
    }
    const Paths paths = sorted("units/old", everything);
    ASSERT_EQ(paths.size(), 2000u);
    for (int number = 0; number < 2000; ++number) {
        ASSERT_EQ(paths[static_cast<size_t>(number)], "units/old/" + std::to_string(10000 + number));
    }
}

TEST_F(ScanDir, TheListIsTheCallersUntilItIsFreed)
{
    char(*first)[260];
    char(*second)[260];
    EXPECT_EQ(Platform::ScanDir("units", &first, everything, byName), 3);
    EXPECT_EQ(Platform::ScanDir("units", &second, everything, byNameBackwards), 3);
    EXPECT_STREQ(first[0], "units/archer.mdl");
    EXPECT_STREQ(second[0], "units/notes.txt");
    EXPECT_EQ(m_memory.banks[0].usedNodeCount, 2u);
    EXPECT_GE(m_memory.getSize(0, first), 3 * 260u);
    Platform::ScanDirFree(first);
    EXPECT_STREQ(second[2], "units/archer.mdl");
    Platform::ScanDirFree(second);
    EXPECT_EQ(m_memory.banks[0].usedNodeCount, 0u);
}

TEST(ScanDirAlone, WithoutAMemoryManagerNothingIsListed)
{
    char(*list)[260];
    EXPECT_EQ(Platform::ScanDir("/", &list, nullptr, nullptr), 0);
    EXPECT_EQ(list, nullptr);
    Platform::ScanDirFree(reinterpret_cast<char(*)[260]>(0x100));
}
