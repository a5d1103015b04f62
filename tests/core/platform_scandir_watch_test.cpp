// The calls of ScanDir to the system, to the file library and to the memory manager, and its results when they fail.
#include "core/platform.h"
#include "file/file.h"

#include "tests/support/watched_memory.h"

#include <dirent.h>

// ---- The system: a folder with whatever a test says. Calls go to the log of the memory manager's.

struct Entry {
    const char* name;
    unsigned char type;
};
static std::vector<Entry> s_folder;
static int s_countToAnswer = INT_MIN; // instead of how many there are
static bool s_sort = false;           // hands each pair of neighbours to the compare callback
static std::vector<const void*> s_handed;
static int (*s_select)(const dirent*); // what the system was given last

static dirent* make(const Entry& entry)
{
    dirent* made = static_cast<dirent*>(calloc(1, sizeof(dirent)));
    made->d_type = entry.type;
    strcpy(made->d_name, entry.name);
    return made;
}

int scandir(const char* path, dirent*** out, int (*select)(const dirent*),
            int (*compare)(const dirent**, const dirent**))
{
    WatchedMemory::note(std::string("scandir ") + path + (select ? " select" : "") + (compare ? " compare" : ""));
    s_select = select;
    if (s_countToAnswer < 0 && s_countToAnswer != INT_MIN) {
        return s_countToAnswer;
    }
    dirent** entries = static_cast<dirent**>(calloc(s_folder.size() + 1, sizeof(dirent*)));
    int count = 0;
    for (const Entry& entry : s_folder) {
        dirent* made = make(entry);
        const int selected = select ? select(made) : 1;
        if (selected) {
            entries[count++] = made;
        } else {
            free(made);
        }
        if (select) {
            WatchedMemory::note(entry.name + (" " + std::to_string(selected)));
        }
    }
    for (int i = 0; s_sort && compare && i + 1 < count; ++i) {
        const dirent** pair = const_cast<const dirent**>(entries + i);
        s_handed = {pair, pair + 1};
        WatchedMemory::note("compared " + std::to_string(compare(pair, pair + 1)));
    }
    *out = entries;
    return s_countToAnswer == INT_MIN ? count : s_countToAnswer;
}

// ---- The file library

static const char* s_converted = nullptr; // what every path becomes; itself while this is null

void ConvertDOSToMacPath(const char* in, char* out)
{
    WatchedMemory::note(std::string("convert ") + in);
    strcpy(out, s_converted ? s_converted : in);
}

static int scan(const char* path, std::string* first, int (*select)(const char*) = nullptr,
                int (*compare)(const void*, const void*) = nullptr)
{
    char(*list)[260];
    const int count = Platform::ScanDir(path, &list, select, compare);
    *first = list ? list[0] : "(null)";
    Platform::ScanDirFree(list);
    return count;
}

TEST(ScanDirWatch, ConvertsThePathReadsTheFolderAndAllocatesOneBlockOfBank0)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}, {"two", DT_DIR}, {"three", DT_UNKNOWN}};
    char(*list)[260];
    EXPECT_EQ(Platform::ScanDir("folder", &list, nullptr, nullptr), 3);
    EXPECT_EQ(memory.takeLog(), "convert folder, scandir folder, alloc 780 core/macosx_platform:1072 = #1");
    EXPECT_STREQ(list[0], "folder/one");
    EXPECT_STREQ(list[1], "folder/two");
    EXPECT_STREQ(list[2], "folder/three");
    Platform::ScanDirFree(list);
    EXPECT_EQ(memory.takeLog(), "free #1");
    Platform::ScanDirFree(nullptr);
    EXPECT_EQ(memory.takeLog(), "");
}

TEST(ScanDirWatch, TheBlockHasTheSourceAndLineOfScanDir)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    char(*list)[260];
    Platform::ScanDir("folder", &list, nullptr, nullptr);
    EXPECT_EQ(headerWord(list, 3), 1072u);
    EXPECT_EQ(memory.linesInUse("core/macosx_platform"), "1072");
    Platform::ScanDirFree(list);
}

TEST(ScanDirWatch, TheSystemGetsTheConvertedPathAndTheListHasTheGivenOne)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    s_converted = "/x/units";
    std::string first;
    EXPECT_EQ(scan("D:\\units", &first), 1);
    EXPECT_EQ(first, "D:\\units/one");
    EXPECT_EQ(memory.takeLog().find("convert D:\\units, scandir /x/units, "), 0u);

    // The converted one's slash at the end is not looked at.
    s_converted = "x/units/";
    EXPECT_EQ(scan("x\\units\\", &first), 1);
    EXPECT_EQ(first, "x\\units\\/one");
}

TEST(ScanDirWatch, TheCallbacksMayStillBeCalledAfterTheScan)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    std::string first;
    scan("f", &first, [](const char* name) { return name[0] == 'o' ? 7 : 0; });
    dirent* entry = make({"other", DT_REG});
    EXPECT_EQ(s_select(entry), 7);
    entry->d_type = DT_DIR;
    EXPECT_EQ(s_select(entry), 0);
    free(entry);
}

static char (*s_list)[260];

TEST(ScanDirWatch, ThereIsNoListYetWhileTheFolderIsRead)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    char before[1][260];
    s_list = before;
    EXPECT_EQ(Platform::ScanDir(
                  "f", &s_list, [](const char*) { return s_list ? 0 : 1; }, nullptr),
              1);
    Platform::ScanDirFree(s_list);
}

TEST(ScanDirWatch, ANullCallbackIsPassedToTheSystemAsNull)
{
    WatchedMemory memory;
    std::string first;
    const auto select = [](const char*) { return 1; };
    const auto compare = [](const void*, const void*) { return 0; };
    scan("f", &first, select);
    EXPECT_EQ(memory.takeLog(), "convert f, scandir f select");
    scan("f", &first, nullptr, compare);
    EXPECT_EQ(memory.takeLog(), "convert f, scandir f compare");
    scan("f", &first, select, compare);
    EXPECT_EQ(memory.takeLog(), "convert f, scandir f select compare");
}

TEST(ScanDirWatch, TheSelectCallbackIsCalledForRegularFilesOnly)
{
    WatchedMemory memory;
    s_folder = {{"pipe", DT_FIFO}, {"tty", DT_CHR},     {"folder", DT_DIR}, {"disk", DT_BLK},
                {"file", DT_REG},  {"socket", DT_SOCK}, {"link", DT_LNK},   {"what", DT_UNKNOWN}};
    std::string first;
    EXPECT_EQ(scan("f", &first,
                   [](const char* name) {
                       WatchedMemory::note(std::string("asked for ") + name);
                       return 7;
                   }),
              1);
    EXPECT_EQ(first, "f/file");
    EXPECT_EQ(memory.takeLog(),
              "convert f, scandir f select, pipe 0, tty 0, folder 0, disk 0, asked for file, file 7, "
              "socket 0, link 0, what 0, alloc 260 core/macosx_platform:1072 = #1, free #1");
}

static std::vector<const void*> s_received;

TEST(ScanDirWatch, TheCompareCallbackGetsTheSystemsArgumentsAndItsAnswerGoesBack)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}, {"two", DT_REG}};
    s_sort = true;
    std::string first;
    scan("f", &first, nullptr, [](const void* left, const void* right) {
        s_received = {left, right};
        return -5;
    });
    EXPECT_EQ(s_received, s_handed);
    EXPECT_EQ(memory.takeLog().find("convert f, scandir f compare, compared -5, "), 0u);
}

TEST(ScanDirWatch, ACallbackMayScanAFolderOfItsOwn)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}, {"two", DT_REG}};
    std::string first;
    const int count = scan("f", &first, [](const char* name) {
        std::string inner;
        const int found = scan("g", &inner, [](const char* file) { return strcmp(file, "two") == 0 ? 1 : 0; });
        return found == 1 && inner == std::string("g/") + name ? 1 : 0;
    });
    EXPECT_EQ(count, 1);
    EXPECT_EQ(first, "f/two");
}

TEST(ScanDirWatch, AnEmptyListAndAnErrorAskForNoMemory)
{
    WatchedMemory memory;
    std::string first;
    EXPECT_EQ(scan("f", &first), 0); // a list of nothing is a block all the same, which the address sanitizer misses
    EXPECT_EQ(first, "(null)");
    s_countToAnswer = -1;
    EXPECT_EQ(scan("f", &first), 0);
    EXPECT_EQ(first, "(null)");
    s_countToAnswer = -7;
    EXPECT_EQ(scan("f", &first), 0);
    EXPECT_EQ(memory.takeLog(), "convert f, scandir f, convert f, scandir f, convert f, scandir f");
}

TEST(ScanDirWatch, APathTooLongForTheBufferIsNeitherConvertedNorRead)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    std::string first;
    EXPECT_EQ(scan(std::string(1024, 'f').c_str(), &first), 0);
    EXPECT_EQ(scan(nullptr, &first), 0);
    EXPECT_EQ(memory.takeLog(), "");
    EXPECT_EQ(scan(std::string(1023, 'f').c_str(), &first), 1);
    EXPECT_EQ(first, std::string(259, 'f'));
}

TEST(ScanDirWatch, WithoutMemoryThereIsNoList)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}, {"two", DT_REG}};
    memory.refusedLine = 1072;
    std::string first;
    EXPECT_EQ(scan("f", &first), 0);
    EXPECT_EQ(first, "(null)");
}

TEST(ScanDirWatch, AListThatNoMemoryCanHoldEndsTheGame)
{
    WatchedMemory memory;
    unsetenv("DISPLAY");
    for (const int count : {16519105, INT_MAX}) { // times 260: 2^32 + 4, and 130 * 2^32 - 260
        s_countToAnswer = count;
        std::string first;
        EXPECT_EXIT(scan("f", &first), testing::ExitedWithCode(255), "onOutOfMemory");
    }
}

TEST(ScanDirWatch, AConvertedPathOfAnotherLengthDoesNoHarm)
{
    WatchedMemory memory;
    s_folder = {{"one", DT_REG}};
    std::string first;
    for (const char* converted : {"", "f", "/", "a longer one", "a longer one/"}) {
        s_converted = converted;
        EXPECT_EQ(scan("unit", &first), 1);
        EXPECT_EQ(scan("", &first), 1);
    }
    // Where the converted path ends is where a slash is looked for, and put.
    s_converted = "un";
    scan("unit", &first);
    EXPECT_EQ(first, "un/one");
    s_converted = "un/";
    scan("un/it", &first);
    EXPECT_EQ(first, "un/itone");
}
