// The bank-size file: what initialize reads from it, what shutdown writes to it, and what happens with sizes that no
// run of a game would write.
//
// This program defines fopen_mac, records each call and passes it on to the file library. It also defines issetugid:
// with this call core asks whether the process has extra rights. With lstat, stat and readlink, which it defines too,
// core looks for links in a path.
#include "tests/support/game_memory.h"

#include "core/platform.h"
#include "file/file.h"

#include "tests/support/shared_folder.h"
#include "tests/support/watched_log.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

static std::string s_opened; // "open PATH MODE, close, open PATH MODE"
static FILE* s_open;
static const char sc_nowhere[] = "/nowhere"; // this program makes no file in the root folder

static void note(const std::string& what)
{
    s_opened += (s_opened.empty() ? "" : ", ") + what;
}

FILE* fopen_mac(const char* path, const char* mode)
{
    note("open " + std::string(path) + " " + mode);
    if (strncmp(path, sc_nowhere, strlen(sc_nowhere)) == 0) {
        return nullptr;
    }
    s_open =
        reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "_Z9fopen_macPKcS0_"))(path, mode);
    return s_open;
}

static bool s_hasExtraRights;

extern "C" int issetugid()
{
    return s_hasExtraRights ? 1 : 0;
}

// What lstat and stat say about a path if a test has changed it. A mode of 0: there is no such file.
struct Answer {
    mode_t mode;
    uid_t owner;
    nlink_t names;
};

static std::map<std::string, Answer> s_ofLstat; // by path
static std::map<std::string, Answer> s_ofStat;
static bool s_linkIsGone; // readlink finds no link

static int give(const Answer& answer, struct stat* status)
{
    *status = {};
    status->st_mode = answer.mode;
    status->st_uid = answer.owner;
    status->st_nlink = answer.names;
    errno = ENOENT;
    return answer.mode == 0 ? -1 : 0;
}

extern "C" int lstat(const char* path, struct stat* status) noexcept
{
    const auto answer = s_ofLstat.find(path);
    return answer == s_ofLstat.end() ? fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW)
                                     : give(answer->second, status);
}

extern "C" int stat(const char* path, struct stat* status) noexcept
{
    const auto answer = s_ofStat.find(path);
    return answer == s_ofStat.end() ? fstatat(AT_FDCWD, path, status, 0) : give(answer->second, status);
}

extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept
{
    errno = EINVAL;
    return s_linkIsGone ? -1 : readlinkat(AT_FDCWD, path, target, size);
}

extern "C" int fclose(FILE* file)
{
    if (file == s_open) {
        note("close");
        s_open = nullptr;
    }
    return reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"))(file);
}

namespace {

// 31 characters, the longest name a bank can have. In the file its '=' lands behind the last byte that is examined.
#define LONGEST "abcdefghijklmnopqrstuvwxyz12345"

// The bytes of a literal, the NULs in it included.
template <size_t SIZE>
std::string bytes(const char (&literal)[SIZE])
{
    return std::string(literal, SIZE - 1);
}

struct ReadCase {
    std::string file;
    unsigned int level;   // 1024 when the file doesn't say otherwise
    unsigned int sound;   // 2048
    unsigned int longest; // 4096
};

// What three banks make of each file.
void expectSizes(const std::vector<ReadCase>& cases)
{
    Source::largest = 1 << 20;
    for (const ReadCase& c : cases) {
        GameMemory memory;
        Source::serve(memory, MEMLOC_DEFAULT);
        const int level = memory.defineHeap("level", 1024);
        const int sound = memory.defineLinear("sound", 2048);
        const int longest = memory.defineHeap(LONGEST, 4096);
        writeFile(memory.bankSizePath, c.file);

        EXPECT_EQ(memory.initialize(), 0) << c.file;
        EXPECT_EQ(memory.getMemoryBankSize(level), c.level) << c.file;
        EXPECT_EQ(memory.getMemoryBankSize(sound), c.sound) << c.file;
        EXPECT_EQ(memory.getMemoryBankSize(longest), c.longest) << c.file;
    }
}

TEST(Reading, TakesALineForEachBank)
{
    expectSizes({
        {"", 1024, 2048, 4096},
        {"level=1500\n", 1500, 2048, 4096}, // not rounded
        {"level=1500", 1500, 2048, 4096},   // the file's end ends the line as well
        {"level=1500\nsound=77\n", 1500, 77, 4096},
        {"sound=77\nlevel=1500\n", 1500, 77, 4096}, // any order
        {"level=64\nlevel=96\n", 96, 2048, 4096},   // the last one counts
        {"level=99999\nsound=1", 99999, 1, 4096},   // nothing is left over from the line before
        {"level=99999\nsound=", 99999, 2048, 4096},
        {"level=99999\nsound", 99999, 2048, 4096},
        {"nosuch=12\nsound=64\n", 1024, 64, 4096},   // unknown banks are passed over,
        {"nosuch=word\nsound=64\n", 1024, 64, 4096}, // whatever their value
        {"LEVEL=12\nsound=64\n", 1024, 64, 4096},    // names are compared exactly
        {"leve=12\nlevels=13\nsound=64\n", 1024, 64, 4096},
        {" level=12\nlevel =13\nsound=64\n", 1024, 64, 4096},
    });
}

TEST(Reading, EndsAtAMalformedLine)
{
    expectSizes({
        {"level\nsound=64\n", 1024, 2048, 4096}, // no equals sign: nothing behind it is read
        {"level 1500\nlevel=64\nsound=64\n", 1024, 2048, 4096},
        {"sound=64\nlevel\nlevel=64\n", 1024, 64, 4096},
        {"\nsound=64\n", 1024, 2048, 4096}, // an empty line
        {"\r\nsound=64\n", 1024, 2048, 4096},
        {"=5\nsound=64\n", 1024, 2048, 4096},         // an empty name
        {"level=\nsound=64\n", 1024, 2048, 4096},     // an empty value
        {"nosuch=\nsound=64\n", 1024, 2048, 4096},    // of an unknown bank, too
        {"level=word\nsound=64\n", 1024, 2048, 4096}, // no number
        {"level=-\nsound=64\n", 1024, 2048, 4096},
        {"level==5\nsound=64\n", 1024, 2048, 4096},
        {"level=   \nsound=64\n", 1024, 2048, 4096}, // blanks alone
        {"level=\t \r\nsound=64\n", 1024, 2048, 4096},
        {"level=   ", 1024, 2048, 4096},
    });
}

TEST(Reading, TakesTheNumberAtTheFrontOfAValue)
{
    expectSizes({
        {"level= 64\n", 64, 2048, 4096},
        {"level=\t\v\f\r 64\n", 64, 2048, 4096},
        {"level=+64\n", 64, 2048, 4096},
        {"level=64 bytes\nsound=96\n", 64, 96, 4096}, // what follows the number is left alone
        {"level=64=96\nsound=96\n", 64, 96, 4096},
        {"level=64.9\n", 64, 2048, 4096},
        {"level=64\r\nsound=96\r\n", 64, 96, 4096},
        {"level=0x40\n", 0, 2048, 4096}, // decimal: it ends at the x
        {"level=0064\n", 64, 2048, 4096},
        {"level=0\n", 0, 2048, 4096},
        {"level=-0\n", 0, 2048, 4096},
        {"level=2147483647\n", 2147483647u, 2048, 4096},
        {"level=2147483648\n", 2147483648u, 2048, 4096},
        {"level=4294967295\n", 4294967295u, 2048, 4096},
        {"level=4294968796\n", 1500, 2048, 4096}, // 32 bits of it
        {"level=-1\n", 4294967295u, 2048, 4096},
        {"level=-2147483648\n", 2147483648u, 2048, 4096},
        {"level=-4294967232\n", 64, 2048, 4096},
        {"level=9223372036854775807\n", 4294967295u, 2048, 4096}, // the largest there is,
        {"level=9223372036854775809\n", 4294967295u, 2048, 4096}, // for all that are larger
        {"level=99999999999999999999999\n", 4294967295u, 2048, 4096},
        {"level=-9223372036854775808\n", 0, 2048, 4096}, // and the smallest
        {"level=-99999999999999999999999\nsound=64\n", 0, 64, 4096},
    });
}

// The last byte of a full name or value is taken as it comes, be it a newline.
TEST(Reading, FillsAtMost32BytesOfNameAnd64OfValue)
{
    const std::string zeros(58, '0');
    const std::string nul(1, '\0');
    expectSizes({
        {LONGEST "=64\nsound=96\n", 1024, 96, 4096},      // the longest name never matches
        {LONGEST + nul + "64\nsound=96\n", 1024, 96, 64}, // but for a NUL where its '=' should be
        {LONGEST "6=64\nsound=96\n", 1024, 96, 4096},
        {LONGEST "67890=64\nsound=96\n", 1024, 96, 4096},
        {LONGEST "\nlevel=64\nsound=96\n", 1024, 96, 4096}, // its newline is the 32nd byte, the next line its value
        {"abcdefghijklmnopqrstuvwxyz1234\nsound=96\n", 1024, 2048, 4096},
        {"level=" + zeros + "00064\nsound=96\n", 64, 96, 4096},     // 63 characters
        {"level=" + zeros + "000064\nsound=96\n", 64, 2048, 4096},  // 64: the newline begins an empty line
        {"level=" + zeros + "0000647\nsound=96\n", 64, 2048, 4096}, // 65: "7" is the next line
        {"level=" + zeros + "000064sound=96\n", 64, 96, 4096},      // ... and here it is a good one
        {"nosuch=" + zeros + "000064\nsound=96\n", 1024, 2048, 4096},
        {"level=" + zeros + "000064", 64, 2048, 4096},
        {"level=" + std::string(64, ' ') + "\nsound=96\n", 1024, 2048, 4096},
    });
}

TEST(Reading, AnyByteInTheFileIsHarmless)
{
    expectSizes({
        {bytes("level\0of the cave=64\nsound=96\n"), 64, 96, 4096}, // a NUL ends a name
        {bytes("level=64\0\0\nsound=96\n"), 64, 96, 4096},          // or a value
        {bytes("level=\0level=64\n"), 1024, 2048, 4096},            // an empty value
        {bytes("\0level=64\nsound=96\n"), 1024, 2048, 4096},        // an empty name
        {bytes("\0\0\0\0\0\0\0\0"), 1024, 2048, 4096},
        {"level=\xff\xfe\nsound=96\n", 1024, 2048, 4096},
        {"\xef\xbb\xbflevel=64\nsound=96\n", 1024, 96, 4096}, // an editor's byte order mark belongs to the name
    });
}

TEST(Reading, TakesTheFirstOfTwoBanksWithTheSameName)
{
    GameMemory memory;
    memory.defineHeap("twin", 64);
    memory.defineHeap("twin", 96);
    writeFile(memory.bankSizePath, "twin=128\n");
    memory.initialize();
    EXPECT_EQ(memory.getMemoryBankSize(0), 128u);
    EXPECT_EQ(memory.getMemoryBankSize(1), 96u);
}

TEST(Reading, NeverFindsABankWithAnEqualsSignInItsName)
{
    GameMemory memory;
    memory.defineHeap("a=b", 64);
    memory.defineHeap("a", 96);
    writeFile(memory.bankSizePath, "a=b=128\n"); // bank a, and no number
    memory.initialize();
    EXPECT_EQ(memory.getMemoryBankSize(0), 64u);
    EXPECT_EQ(memory.getMemoryBankSize(1), 96u);
}

TEST(Reading, AMissingFileLeavesTheDefinedSizes)
{
    GameMemory memory;
    memory.defineHeap("heap", 64);
    std::filesystem::remove(memory.bankSizePath);
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(memory.getMemoryBankSize(0), 64u);
}

TEST(Reading, AnUnreadableFileLeavesTheDefinedSizes)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    GameMemory memory;
    memory.defineHeap("heap", 64);
    writeFile(memory.bankSizePath, "heap=128\n");
    std::filesystem::permissions(memory.bankSizePath, std::filesystem::perms::none);
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(memory.getMemoryBankSize(0), 64u);
    remove(memory.bankSizePath);
}

TEST(Reading, IsDoneByInitializeAlone)
{
    GameMemory memory;
    writeFile(memory.bankSizePath, "heap=128\n");
    memory.defineHeap("heap", 64);
    EXPECT_EQ(memory.getMemoryBankSize(0), 64u);
    memory.initialize();
    EXPECT_EQ(memory.getMemoryBankSize(0), 128u);
}

TEST(Opening, IsLeftToTheFileLibraryOnceToReadAndOnceToWriteByteForByte)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.initialize(); // without banks there is nothing to ask for
        memory.defineHeap("heap", 64);
        EXPECT_EQ(s_opened, "");
        writeFile(path, "heap=96\n");
        memory.initialize();
        EXPECT_EQ(s_opened, "open " + path + " rb, close");
        s_opened.clear();
    }
    EXPECT_EQ(s_opened, "open " + path + " wb, close");
}

TEST(UnevenSizes, PlaceTheNextBankWhereTheLastOneEnds)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("a", 1024);
    memory.defineHeap("b", 1024);
    memory.defineHeap("c", 1024);
    writeFile(memory.bankSizePath, "a=1501\nb=99\nc=50\n");
    memory.initialize();
    EXPECT_EQ(Source::takeLog(), "alloc 1650 = #1");
    EXPECT_EQ(memory.banks[0].base, Source::block(1));
    EXPECT_EQ(memory.banks[1].base, Source::block(1) + 1501);
    EXPECT_EQ(memory.banks[2].base, Source::block(1) + 1600);

    void* a = memory.alloc(0, 1000, "test", 1);
    void* b = memory.alloc(1, 50, "test", 2); // takes 96, and 3 bytes make no node
    void* c = memory.alloc(2, 1, "test", 3);  // takes 32, and 18 make none either
    EXPECT_EQ(memory.getSize(0, a), 1056u - 24u);
    EXPECT_EQ(memory.getSize(1, b), 99u - 24u);
    EXPECT_EQ(memory.getSize(2, c), 50u - 24u);
    memset(a, 0xff, memory.getSize(0, a));
    memset(b, 0xff, memory.getSize(1, b));
    memset(c, 0xff, memory.getSize(2, c));
    for (int bank = 0; bank < 3; ++bank) {
        EXPECT_EQ(memory.check(bank), 0) << bank;
    }
    memory.free(2, c);
    memory.free(1, b);
    memory.free(0, a);
    for (int bank = 0; bank < 3; ++bank) {
        EXPECT_EQ(memory.check(bank, true), 0) << bank;
    }
}

TEST(UnevenSizes, LetALinearBankHandOutWholeMultiplesOf32)
{
    GameMemory memory;
    memory.defineLinear("level", 1024);
    writeFile(memory.bankSizePath, "level=95\n");
    memory.initialize();
    char* first = static_cast<char*>(memory.alloc(0, 1, "test", 1));
    char* second = static_cast<char*>(memory.alloc(0, 32, "test", 2));
    EXPECT_EQ(second, first + 32);
    EXPECT_EQ(memory.banks[0].extNodeCount, 0u);
    memory.alloc(0, 1, "test", 3); // 31 bytes are left
    EXPECT_EQ(memory.banks[0].extNodeCount, 1u);
    memory.free(0, nullptr);
}

// Sizes no sane run wrote. Such a bank keeps the size and has no memory of its own.
struct OddSizesCase {
    const char* file;
    const char* asked;   // of the location: the heap banks' block, then the linear bank's
    const char* hasBase; // for each of the banks a, b, c (heaps) and d (linear)
};

TEST(OddSizes, ABankOfSize0HasNoMemoryAndTheOthersHaveAllOfTheirs)
{
    static const OddSizesCase sc_cases[] = {
        {"", "alloc 96 = #1, alloc 32 = #2", "yyyy"},
        {"b=0\n", "alloc 64 = #1, alloc 32 = #2", "ynyy"},
        {"d=0\n", "alloc 96 = #1", "yyyn"},
        {"a=0\nb=0\nc=0\nd=0\n", "", "nnnn"},
        {"b=1\n", "alloc 65 = #1, alloc 32 = #2", "ynyy"}, // too small for a header, but it has its place
        {"b=23\n", "alloc 87 = #1, alloc 32 = #2", "ynyy"},
        {"b=24\n", "alloc 88 = #1, alloc 32 = #2", "yyyy"},
        {"a=7\nb=8\nc=9\nd=1\n", "alloc 24 = #1, alloc 1 = #2", "nnny"},
        {"b=-1\n", "alloc 64 = #1, alloc 32 = #2", "ynyy"}, // the top bit has its own meaning in a header
        {"b=2147483648\n", "alloc 64 = #1, alloc 32 = #2", "ynyy"},
        {"a=-1\nb=-1\nc=-1\n", "alloc 32 = #1", "nnny"},
        {"d=-1\n", "alloc 96 = #1, alloc 4294967295 = null", "yyyn"}, // a linear bank may have any size
        {"d=-32\n", "alloc 96 = #1, alloc 4294967264 = null", "yyyn"},
        {"d=2147483648\n", "alloc 96 = #1, alloc 2147483648 = null", "yyyn"},
        {"d=2147483647\n", "alloc 96 = #1, alloc 2147483647 = null", "yyyn"},
        {"b=2147483647\n", "alloc 2147483711 = null, alloc 32 = #1", "nnny"},
        {"a=2147483647\nb=2147483647\nc=1\n", "alloc 4294967295 = null, alloc 32 = #1", "nnny"},
        {"a=2147483647\nb=2147483647\nc=2\n", "alloc 4294967294 = null, alloc 32 = #1", "nnny"}, // past 32 bits
        {"a=2147483647\nb=2147483647\nc=2147483647\n", "alloc 4294967294 = null, alloc 32 = #1", "nnny"},
    };
    Source::largest = 1 << 20;
    for (const OddSizesCase& c : sc_cases) {
        Source::startAnew();
        GameMemory memory;
        Source::serve(memory, MEMLOC_DEFAULT);
        memory.defineHeap("a", 32);
        memory.defineHeap("b", 32);
        memory.defineHeap("c", 32);
        memory.defineLinear("d", 32);
        writeFile(memory.bankSizePath, c.file);
        memory.initialize();

        EXPECT_EQ(Source::takeLog(), c.asked) << c.file;
        for (int bank = 0; bank < 4; ++bank) {
            EXPECT_EQ(memory.banks[bank].base != nullptr, c.hasBase[bank] == 'y') << c.file << bank;
            EXPECT_EQ(memory.banks[bank].cursor, memory.banks[bank].base) << c.file << bank;
            void* block = memory.alloc(bank, 40, "test", 1);
            memset(block, 0xff, 40);
            EXPECT_EQ(memory.free(bank, block), 0) << c.file << bank;
        }
    }
}

TEST(OddSizes, FailTheCheckOfAHeapWithoutMemory)
{
    GameMemory memory;
    memory.defineHeap("small", 32);
    memory.defineHeap("none", 32);
    writeFile(memory.bankSizePath, "small=23\nnone=0\n");
    memory.initialize();
    EXPECT_EQ(memory.check(0), MEMERR_SIZE); // there are no nodes to add up to 23
    EXPECT_NE(memory.check(1), MEMERR_SIZE);
}

TEST(OddSizes, ALinearBankOfSize0Grows)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineLinear("level", 32);
    writeFile(memory.bankSizePath, "level=0\n");
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    memory.alloc(0, 100, "test", 1);
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(memory.getMemoryBankSize(0), 2 * 152u);
    EXPECT_EQ(Source::blockCount(), memory.banks[0].base ? 1u : 0u);
    EXPECT_EQ(memory.banks[0].cursor, memory.banks[0].base);
    memset(memory.alloc(0, 100, "test", 1), 0xff, 100);
}

// Whatever the file holds, the banks work.
void expectBanksToWork(const std::string& file)
{
    Source::largest = 1 << 20;
    Source::startAnew();
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("a", 1024);
    memory.defineLinear("b", 1024);
    memory.defineHeap("c", 1024);
    memory.defineLinear("d", 1024);
    writeFile(memory.bankSizePath, file);
    EXPECT_EQ(memory.initialize(), 0);
    for (int bank = 0; bank < 4; ++bank) {
        for (unsigned int i = 1; i <= 100; ++i) {
            void* block = memory.alloc(bank, i, "test", i);
            memset(block, 0xff, i);
            if (i % 3 != 0) {
                EXPECT_EQ(memory.free(bank, block), 0);
            }
        }
    }
}

TEST(Garbage, RandomBytesInTheFileLeaveWorkingBanks)
{
    std::mt19937 random(1);
    std::string noise(4 << 20, '\0');
    for (char& c : noise) {
        c = static_cast<char>(random());
    }
    expectBanksToWork(noise);
    expectBanksToWork(std::string(4 << 20, '='));
    expectBanksToWork(std::string(4 << 20, '\n'));
    expectBanksToWork(std::string(4 << 20, '\0'));
    expectBanksToWork(std::string(4 << 20, '7'));
    expectBanksToWork("a=" + std::string(4 << 20, '7'));
}

TEST(Garbage, RandomSizesInTheFileLeaveWorkingBanks)
{
    std::mt19937 random(1);
    for (int run = 0; run < 200; ++run) {
        std::string lines;
        for (const char* name : {"a", "b", "c", "d"}) {
            const unsigned long size = random() >> random() % 32;
            lines += name + ("=" + std::to_string(size)) + "\n";
        }
        SCOPED_TRACE(lines);
        expectBanksToWork(lines);
    }
}

TEST(Garbage, OfThousandsOfValidLinesTheLastCounts)
{
    GameMemory memory;
    memory.defineHeap("a", 1024);
    std::string lines;
    for (int i = 0; i < 100000; ++i) {
        lines += "a=" + std::to_string(i) + "\nnosuch=1\n";
    }
    writeFile(memory.bankSizePath, lines);
    memory.initialize();
    EXPECT_EQ(memory.getMemoryBankSize(0), 99999u);
}

TEST(Garbage, AFolderInPlaceOfTheFileIsNeitherReadNorReplaced)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.defineHeap("heap", 64);
        std::filesystem::create_directory(path);
        EXPECT_EQ(memory.initialize(), 0);
        EXPECT_EQ(memory.getMemoryBankSize(0), 64u);
    }
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

// The mean of size and peak, each weighted by itself, in single precision: (p / t) * p + (s / t) * s, where t
// = s + p.
TEST(Writing, WritesASizeBetweenTheOldSizeAndThePeak)
{
    static const struct {
        unsigned int size;
        unsigned int peak;
        const char* written;
    } sc_cases[] = {
        {1024, 0, "1024"},    // unused: it stays as it is
        {1024, 2048, "1706"}, // overflowed: it grows
        {2048, 1024, "1706"}, // oversized: it shrinks slowly
        {1024, 1024, "1024"},
        {1500, 0, "1500"},
        {1, 0, "1"},
        {0, 100, "100"},
        {32, 33, "32"}, // 32.51 loses its fraction
        {3, 7, "5"},
        {96, 352, "297"},
        {1000000, 3000000, "2500000"},
        {3105, 2185, "2725"}, // one less where the sum is fused with a product
        {3953, 1856, "3283"}, // one less in double precision
        {1708, 4029, "3338"},
        {16777217, 0, "16777216"}, // single precision has 24 bits
        {33554432, 16777217, "27962028"},
        {4000000000u, 3000000000u, "-723538432"}, // 3571428864, written as a signed number
        {2147483647, 0, "-2147483648"},
        {2147483648u, 0, "-2147483648"},
        {4294967040u, 0, "-256"},
        {4294967295u, 0, "-1"}, // 4294967296 does not fit and becomes the largest that does
        {0, 4294967295u, "-1"},
        {4294967295u, 4294967295u, "-1"},
    };
    for (const auto& c : sc_cases) {
        std::string path;
        {
            GameMemory memory;
            path = memory.bankSizePath;
            const int bank = memory.defineHeap("bank", 32);
            memory.banks[bank].size = c.size;
            memory.banks[bank].peakBytes = c.peak;
        }
        EXPECT_EQ(readFile(path), "bank=" + std::string(c.written) + "\n") << c.size << " " << c.peak;
    }
}

TEST(Writing, OfThirtyTwoBanksHasNoLineForTheSystemBank)
{
    std::string path;
    std::string lines;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        for (int bank = 0; bank < 32; ++bank) {
            memory.defineHeap(("bank " + std::to_string(bank)).c_str(), 64);
            lines += "bank " + std::to_string(bank) + "=64\n";
        }
        memory.initialize();
        memory.free(-1, memory.alloc(-1, 1000, "test", 1));
    }
    EXPECT_EQ(readFile(path), lines);
}

TEST(Writing, IsALineForEachBankInTheOrderOfDefinition)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.defineHeap("level", 1024);
        memory.defineLinear("A name with blanks, 100% of it", 2048);
        memory.defineBank(MEMLOC_CUSTOM, MEMBANK_OTHER, LONGEST "67", 96);
        memory.defineHeap("", 128);
    }
    EXPECT_EQ(readFile(path), "level=1024\nA name with blanks, 100% of it=2048\n" LONGEST "=96\n=128\n");
}

TEST(Writing, SkipsABankWithNeitherSizeNorPeak)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.defineHeap("a", 64);
        memory.defineHeap("b", 64);
        memory.defineHeap("c", 64);
        writeFile(path, "b=0\n");
        memory.initialize();
    }
    EXPECT_EQ(readFile(path), "a=64\nc=64\n");
}

TEST(Writing, ReplacesTheWholeFile)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.defineHeap("a", 64);
        writeFile(path, "nosuch=1\nneither=2\nand a good deal of text behind them");
        memory.initialize();
    }
    EXPECT_EQ(readFile(path), "a=64\n");
}

TEST(Writing, WithoutBanksLeavesAnEmptyFile)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
    }
    EXPECT_EQ(readFile(path), "");
}

TEST(Writing, IsSkippedWhereNothingCanBeWritten)
{
    std::string path;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        memory.defineHeap("a", 64);
        memory.initialize();
        std::filesystem::remove_all(std::filesystem::path(path).parent_path());
    }
    EXPECT_EQ(readFile(path), "(no file)"); // nor was the folder made again
}

// A run with a bank of another size than the file says. What the log said of it.
std::string messagesOfARun(unsigned int* sizeRead = nullptr)
{
    takeMessages();
    {
        GameMemory memory;
        memory.defineHeap("heap", 1024);
        memory.initialize();
        if (sizeRead) {
            *sizeRead = memory.getMemoryBankSize(0);
        }
    }
    return takeMessages();
}

std::string dataFolder()
{
    return std::string(Platform::GetAppDataDir("data")) + "/data";
}

TEST(Links, OfAnotherUserAreNeitherReadNorWrittenThrough)
{
    SKIP_UNLESS_ROOT();
    const std::string file = dataFolder() + "/memory.dat";
    const std::string message = "3 ^CFF0000MemoryMgr:^c The bank sizes are not saved through another user's link: "
                                "\"^CFFFF00" +
                                file + "^c\"\f";
    writeFile("private", "heap=4096\n");
    const SharedFolder shared(dataFolder());
    shared.act("ln -s \"" + std::filesystem::absolute("private").string() + "\" memory.dat");
    unsigned int size = 0;
    EXPECT_EQ(messagesOfARun(&size), message);
    EXPECT_EQ(size, 1024u);
    EXPECT_EQ(readFile("private"), "heap=4096\n");

    shared.act("ln -sf \"" + std::filesystem::absolute("fresh").string() + "\" memory.dat");
    EXPECT_EQ(messagesOfARun(), message);
    EXPECT_EQ(readFile("fresh"), "(no file)");
}

TEST(Links, OfAnotherUserAreFoundInFoldersAndBehindTheUsersOwnLinks)
{
    SKIP_UNLESS_ROOT();
    const std::string folder = dataFolder();
    std::filesystem::create_directory("home");
    const std::string home = std::filesystem::absolute("home").string();
    const SharedFolder game(std::filesystem::path(folder).parent_path().string());
    game.act("rmdir data; ln -s \"" + home + "\" data");
    EXPECT_NE(messagesOfARun(), "");
    EXPECT_TRUE(std::filesystem::is_empty(home));

    game.act("rm data");
    const SharedFolder data(folder);
    data.act("ln -s \"" + home + "/file\" stolen");
    std::filesystem::create_symlink("stolen", folder + "/memory.dat");
    EXPECT_NE(messagesOfARun(), "");
    EXPECT_TRUE(std::filesystem::is_empty(home));
}

TEST(Links, OfTheUsersOwnAreFollowed)
{
    const std::string folder = dataFolder();
    std::filesystem::create_symlink("../tuned", folder + "/memory.dat");
    EXPECT_EQ(messagesOfARun(), "");
    EXPECT_EQ(readFile(folder + "/../tuned"), "heap=1024\n");
}

TEST(Links, OfTheUsersOwnMayLeadToAPathOf1023Bytes)
{
    const std::string file = dataFolder() + "/memory.dat";
    const size_t folder = file.size() - strlen("memory.dat");
    for (const size_t length : {1023, 1024}) {
        std::string target = (length - folder) % 2 == 0 ? "tune" : "tuned";
        while (folder + target.size() < length) {
            target.insert(0, "./");
        }
        std::filesystem::remove(file);
        std::filesystem::create_symlink(target, file);
        EXPECT_EQ(messagesOfARun() == "", length == 1023) << length;
    }
}

// Returns true if a run saves its sizes without a message. Under root, the run belongs to an ordinary user, because
// root's own links are always followed.
bool aRunOfAnOrdinaryUserSaves()
{
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(sc_victim) != 0 || setuid(sc_victim) != 0)) {
            _exit(2);
        }
        _exit(messagesOfARun().empty() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << status;
    return status == 0;
}

TEST(Links, OfItsUserAreNotFollowedByAGameWithExtraRights)
{
    const std::string file = dataFolder() + "/memory.dat";
    const SharedFolder shared(dataFolder());
    std::filesystem::create_symlink("tuned", file);
    if (geteuid() == 0) {
        ASSERT_EQ(lchown(file.c_str(), sc_victim, sc_victim), 0);
    }
    EXPECT_TRUE(aRunOfAnOrdinaryUserSaves());
    EXPECT_EQ(readFile(dataFolder() + "/tuned"), "heap=1024\n");
    s_hasExtraRights = true;
    EXPECT_FALSE(aRunOfAnOrdinaryUserSaves());
}

// In the user namespace of an ordinary user, root's files have the owner 65534, and so has the root folder.
TEST(Links, OfRootAreFollowedInAUserNamespaceWithoutRoot)
{
    SKIP_UNLESS_ROOT();
    const SharedFolder shared(dataFolder());
    std::filesystem::create_symlink("tuned", dataFolder() + "/memory.dat");
    const pid_t child = fork();
    if (child == 0) {
        const bool isUser = setgid(sc_victim) == 0 && setuid(sc_victim) == 0;
        prctl(PR_SET_DUMPABLE, 1); // else the process must not write its own uid_map
        const std::string map = std::to_string(sc_victim) + " " + std::to_string(sc_victim) + " 1\n";
        if (!isUser || unshare(CLONE_NEWUSER) != 0 || !(std::ofstream("/proc/self/uid_map") << map << std::flush)) {
            _exit(2);
        }
        _exit(messagesOfARun().empty() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "the system makes no user namespaces here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(readFile(dataFolder() + "/tuned"), "heap=1024\n");
}

TEST(Links, ASecondNameIsNotWrittenWhereOtherUsersCanMakeOne)
{
    const std::string folder = dataFolder();
    writeFile("private", "heap=4096\n");
    std::filesystem::create_hard_link("private", folder + "/memory.dat");
    chmod(folder.c_str(), 0777);
    EXPECT_NE(messagesOfARun(), "");
    EXPECT_EQ(readFile("private"), "heap=4096\n");

    chmod(folder.c_str(), 0755); // a backup's, say
    EXPECT_EQ(messagesOfARun(), "");
    EXPECT_NE(readFile("private"), "(no file)");
}

TEST(Links, AFileWithOneNameIsWrittenWhereOtherUsersCanMakeFiles)
{
    const std::string folder = dataFolder();
    writeFile(folder + "/memory.dat", "");
    chmod(folder.c_str(), 0777);
    EXPECT_EQ(messagesOfARun(), "");
    EXPECT_EQ(readFile(folder + "/memory.dat"), "heap=1024\n");
}

// The members of a folder's group can make files in it if the group has the right to write. Here 0 is the group of the
// process itself, and its members are trusted.
TEST(Links, ASecondNameIsNotWrittenWhereAnotherGroupCanMakeOne)
{
    SKIP_UNLESS_ROOT();
    static const struct {
        gid_t group;
        mode_t mode;
        bool isWritten;
    } sc_folders[] = {
        {0, 0755, true},
        {0, 0775, true},
        {sc_attacker, 0755, true},
        {sc_attacker, 0775, false},
    };
    const std::string folder = dataFolder();
    writeFile("private", "heap=4096\n");
    std::filesystem::create_hard_link("private", folder + "/memory.dat");
    for (const auto& row : sc_folders) {
        ASSERT_EQ(chown(folder.c_str(), 0, row.group), 0);
        ASSERT_EQ(chmod(folder.c_str(), row.mode), 0);
        EXPECT_EQ(messagesOfARun().empty(), row.isWritten) << &row - sc_folders;
    }
}

// Another process may remove the link or the folder while the game looks at the path.
TEST(Links, ThatVanishMeanwhileAreNotWrittenThrough)
{
    std::filesystem::create_symlink("tuned", dataFolder() + "/memory.dat");
    s_linkIsGone = true;
    EXPECT_NE(messagesOfARun(), "");
    s_linkIsGone = false;
    EXPECT_EQ(messagesOfARun(), "");
    EXPECT_EQ(readFile(dataFolder() + "/tuned"), "heap=1024\n");
}

// The owner of the root folder is trusted. If the system does not tell the owner, only root and the game's user are.
TEST(Links, OfTheRootFoldersOwnerAreFollowedOnlyIfTheSystemTellsTheOwner)
{
    const std::string file = dataFolder() + "/memory.dat";
    std::filesystem::create_symlink("tuned", file);
    s_ofLstat[file] = {S_IFLNK | 0777, sc_victim, 1};
    s_ofStat["/"] = {S_IFDIR | 0755, sc_victim, 1};
    EXPECT_EQ(messagesOfARun(), "");
    s_ofStat["/"].mode = 0;
    EXPECT_NE(messagesOfARun(), "");
}

// What a manager with this bank-size file opens at its end, if the file has a second name.
std::string openedFor(const std::string& file)
{
    s_ofLstat[file] = {S_IFREG | 0644, 0, 2};
    {
        GameMemory memory;
        strcpy(memory.bankSizePath, file.c_str());
        s_opened.clear();
    }
    return s_opened;
}

TEST(Links, ASecondNameIsNotWrittenWhenItsFolderVanishesMeanwhile)
{
    std::filesystem::create_directory("folder");
    chmod("folder", 0755);
    EXPECT_EQ(openedFor("folder/sizes"), "open folder/sizes wb, close");
    s_ofStat["folder"] = {0, 0, 0};
    EXPECT_EQ(openedFor("folder/sizes"), "");
}

TEST(Links, ASecondNameInTheRootFolderIsNotWrittenIfOtherUsersCanMakeFilesThere)
{
    s_ofStat["/"] = {S_IFDIR | 0755, 0, 1};
    EXPECT_EQ(openedFor("/nowhere.dat"), "open /nowhere.dat wb");
    s_ofStat["/"].mode = S_IFDIR | 0777;
    EXPECT_EQ(openedFor("/nowhere.dat"), "");
}

TEST(Links, ThatLeadInACircleAreGivenUp)
{
    std::filesystem::create_symlink("memory.dat", dataFolder() + "/memory.dat");
    EXPECT_NE(messagesOfARun(), "");
}

TEST(Reading, DoesNotWaitForAPipe)
{
    alarm(60); // the end of a test that waits after all
    ASSERT_EQ(mkfifo((dataFolder() + "/memory.dat").c_str(), 0600), 0);
    EXPECT_EQ(messagesOfARun(), "");
}

// What the next run starts with.
TEST(Runs, TuneTheSizesFromOneToTheNext)
{
    static const struct {
        unsigned int heap; // what this run starts with
        unsigned int linear;
    } sc_runs[] = {
        {1024, 1024},
        {1706, 1504}, // 1024 had to be 2048; 1024 had grown to 1536 and needed 1472
        {1892, 1401}, // from here on 1280 bytes are enough
        {1973, 1343},
    };
    for (const auto& run : sc_runs) {
        GameMemory memory;
        memory.defineHeap("heap", 1024);
        memory.defineLinear("linear", 1024);
        memory.initialize();
        EXPECT_EQ(memory.getMemoryBankSize(0), run.heap);
        EXPECT_EQ(memory.getMemoryBankSize(1), run.linear);

        void* blocks[2];
        for (void*& block : blocks) {
            block = memory.alloc(0, 1000 - 1, "test", 1); // a node of 1024 bytes
        }
        for (void* block : blocks) {
            memory.free(0, block);
        }
        for (int i = 0; i < 40; ++i) {
            memory.alloc(1, 32, "test", 1);
        }
        memory.free(1, nullptr);
    }
}

} // namespace
