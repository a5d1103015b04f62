// Files and paths.
//
// This program defines issetugid: with this call the file library asks whether the process has extra rights.
#include "file/file.h"

#include "tests/support/shared_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <limits.h>
#include <locale.h>
#include <signal.h>
#include <sstream>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

static bool s_hasExtraRights;

extern "C" int issetugid()
{
    return s_hasExtraRights ? 1 : 0;
}

static void put(const char* path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

static std::string contents(const char* path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// What opening path for reading finds, up to the first NUL.
static std::string found(const char* path)
{
    _BkzFileType_s* file = File::open(path, "rb");
    if (!file) {
        return "nothing";
    }
    char text[64] = "";
    File::read(text, 1, sizeof(text) - 1, file);
    File::close(file);
    return text;
}

TEST(File, ReadsAWholeFileAsOneItem)
{
    const std::string bytes("one\r\ntwo\0\xff", 10);
    put("units.bin", bytes);

    _BkzFileType_s* file = File::open("units.bin", "rb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(File::getLength(file), 10u);
    std::string text(10, '?');
    EXPECT_EQ(File::read(&text[0], 10, 1, file), 1u);
    EXPECT_EQ(text, bytes);
    EXPECT_EQ(File::close(file), 0);
}

TEST(File, ReadCountsWholeItemsAndNotAPartialOneAtTheEnd)
{
    put("items", "aaabbbc");
    _BkzFileType_s* file = File::open("items", "rb");
    ASSERT_NE(file, nullptr);

    char items[12] = {};
    EXPECT_EQ(File::read(items, 3, 1, file), 1u);
    EXPECT_STREQ(items, "aaa");
    EXPECT_EQ(File::read(items, 3, 4, file), 1u); // bbb, and c is no item
    EXPECT_EQ(std::string(items, 3), "bbb");
    EXPECT_EQ(File::read(items, 3, 1, file), 0u);
    File::close(file);
}

TEST(File, ReadOf0BytesOrOfMoreThanTheAddressSpaceDoesNotMoveThePosition)
{
    put("items", "abc");
    _BkzFileType_s* file = File::open("items", "rb");
    ASSERT_NE(file, nullptr);

    char buffer[4] = "???";
    EXPECT_EQ(File::read(buffer, 0, 3, file), 0u);
    EXPECT_EQ(File::read(buffer, 3, 0, file), 0u);
    EXPECT_EQ(File::read(nullptr, 1, 3, file), 0u);
    EXPECT_EQ(File::read(buffer, 1, 3, nullptr), 0u);
    EXPECT_EQ(File::read(buffer, ULONG_MAX / 2 + 2, 2, file), 0u); // 2 bytes, if one multiplies carelessly
    EXPECT_STREQ(buffer, "???");
    EXPECT_EQ(File::read(buffer, 1, 3, file), 3u);
    EXPECT_STREQ(buffer, "abc");
    File::close(file);
}

TEST(File, ReadOfAFileOpenForWritingIsRefused)
{
    _BkzFileType_s* file = File::open("new", "wb");
    ASSERT_NE(file, nullptr);
    char buffer[4];
    EXPECT_EQ(File::read(buffer, 1, 4, file), 0u);
    File::close(file);
}

TEST(File, GetLengthLeavesThePositionWhereItIs)
{
    put("text", "0123456789");
    _BkzFileType_s* file = File::open("text", "rb");
    ASSERT_NE(file, nullptr);

    char two[3] = "";
    for (const char* expected : {"01", "23", "45", "67", "89"}) {
        EXPECT_EQ(File::getLength(file), 10u);
        EXPECT_EQ(File::read(two, 1, 2, file), 2u);
        EXPECT_STREQ(two, expected);
    }
    EXPECT_EQ(File::read(two, 1, 1, file), 0u);
    EXPECT_TRUE(feof(file->stream));
    EXPECT_EQ(File::getLength(file), 10u);
    EXPECT_TRUE(feof(file->stream));
    EXPECT_EQ(ftell(file->stream), 10);
    File::close(file);
}

TEST(File, GetLengthCountsWhatWasJustWritten)
{
    _BkzFileType_s* file = File::open("strings", "w");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(File::getLength(file), 0u);
    fprintf(file->stream, "\"%s\" = \"%s\"\n", "Quit", "Beenden");
    EXPECT_EQ(File::getLength(file), 19u);
    fprintf(file->stream, "end");
    EXPECT_EQ(File::close(file), 0);
    EXPECT_EQ(contents("strings"), "\"Quit\" = \"Beenden\"\nend");
}

TEST(File, GetLengthIs0ForAnEmptyFileAndNull)
{
    put("empty", "");
    _BkzFileType_s* file = File::open("empty", "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(File::getLength(file), 0u);
    File::close(file);
    EXPECT_EQ(File::getLength(nullptr), 0u);
}

TEST(File, ALengthIsExactWhenAnUnsignedLongCanHoldItAndElse0)
{
    struct Row {
        off_t bytes;
        unsigned long on32Bits;
    };
    const Row rows[] = {
        {0x80000000LL, 0x80000000}, // past what a 32-bit long holds
        {0xffffffffLL, 0xffffffff}, // the longest that fits
        {0x100000000LL, 0},         // its low 32 bits are 0 anyway,
        {0x140000005LL, 0},         // and of this one they would look like a length
    };
    for (const Row& row : rows) {
        _BkzFileType_s* file = File::open("sparse", "wb");
        ASSERT_NE(file, nullptr);
        ASSERT_EQ(ftruncate(fileno(file->stream), row.bytes), 0);
        const bool narrow = sizeof(unsigned long) == 4;
        EXPECT_EQ(File::getLength(file), narrow ? row.on32Bits : static_cast<unsigned long>(row.bytes));
        File::close(file);
    }
}

TEST(File, OpenReturnsNullForAMissingFile)
{
    EXPECT_EQ(File::open("missing", "rb"), nullptr);
    EXPECT_EQ(File::open("missing\\file", "w"), nullptr);
    EXPECT_EQ(File::open("", "rb"), nullptr);
    EXPECT_EQ(fopen_mac("missing", "rb"), nullptr);
    EXPECT_EQ(fopen_mac("", "rb"), nullptr);
}

TEST(File, OpenReturnsNullForNullArgumentsAndInvalidModes)
{
    put("file", "x");
    EXPECT_EQ(File::open(nullptr, "rb"), nullptr);
    EXPECT_EQ(File::open("file", nullptr), nullptr);
    EXPECT_EQ(File::open("file", ""), nullptr);
    EXPECT_EQ(fopen_mac(nullptr, "rb"), nullptr);
    EXPECT_EQ(fopen_mac("file", nullptr), nullptr);
    EXPECT_EQ(fopen_mac(nullptr, nullptr), nullptr);
    EXPECT_EQ(contents("file"), "x");
}

TEST(File, AFolderIsNotOpenedAsAFile)
{
    mkdir("data", 0755);
    for (const char* mode : {"r", "rb", "rt", "w", "a", "r+b"}) {
        for (const char* name : {"data", "data/", "data\\", ".", "C:\\"}) {
            EXPECT_EQ(File::open(name, mode), nullptr) << name << ' ' << mode;
            EXPECT_EQ(fopen_mac(name, mode), nullptr) << name << ' ' << mode;
        }
    }
}

TEST(File, CloseReportsThatTheLastBytesWereLost)
{
    const rlimit fourBytes = {4, 4};
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &fourBytes), 0);
    _BkzFileType_s* file = File::open("file", "w");
    ASSERT_NE(file, nullptr);
    fprintf(file->stream, "last words");
    EXPECT_EQ(File::close(file), EOF);
    EXPECT_EQ(File::close(nullptr), EOF);
}

TEST(File, OpensRegularFilesOnlyAndNeverWaitsForAPipe)
{
    alarm(60);                          // the end of a test that waits after all
    ASSERT_EQ(mkfifo("pipe", 0600), 0); // opening it the plain way would wait for its other end
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "socket");
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    symlink("pipe", "link");
    for (const char* name : {"pipe", "link", "socket", "/dev/null", "/dev/zero"}) {
        for (const char* mode : {"rb", "rt", "r+", "w", "wb", "a", "a+"}) {
            EXPECT_EQ(fopen_mac(name, mode), nullptr) << name << ' ' << mode;
            EXPECT_EQ(File::open(name, mode), nullptr) << name << ' ' << mode;
        }
    }
    close(listener);
}

TEST(File, ALinkOfAnotherUsersIsReadAndNotWrittenThrough)
{
    SKIP_UNLESS_ROOT();
    put("private", "secret");
    const SharedFolder shared("shared");
    shared.act("ln -s ../private link");
    shared.act("ln -s ../fresh dangling");
    symlink("../private", "shared/own");
    EXPECT_EQ(found("shared/link"), "secret");
    for (const char* mode : {"w", "wb", "a", "r+", "w+"}) {
        EXPECT_EQ(fopen_mac("shared/link", mode), nullptr) << mode;
        EXPECT_EQ(File::open("shared/dangling", mode), nullptr) << mode;
    }
    EXPECT_EQ(contents("private"), "secret");
    EXPECT_NE(access("fresh", F_OK), 0);

    FILE* own = fopen_mac("shared/own", "w");
    ASSERT_NE(own, nullptr);
    fclose(own);
    EXPECT_EQ(contents("private"), "");
}

// Returns true if the test's user can write through a link of that user. Under root, the child process first becomes
// an ordinary user, because root's own links are always followed.
static bool writesThroughItsUsersLink()
{
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(sc_victim) != 0 || setuid(sc_victim) != 0)) {
            _exit(2);
        }
        unlink("shared/link");
        const bool links = symlink("target", "shared/link") == 0;
        _exit(!links ? 3 : fopen_mac("shared/link", "w") ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << status;
    return status == 0;
}

TEST(File, ALinkOfItsUserIsNotWrittenThroughByAGameWithExtraRights)
{
    const SharedFolder shared("shared");
    EXPECT_TRUE(writesThroughItsUsersLink());
    s_hasExtraRights = true;
    EXPECT_FALSE(writesThroughItsUsersLink());
}

// As another user: the file is a file and a link to private in turn, until the process is killed.
static void changeForEver()
{
    if (chdir("shared") != 0 || setgid(sc_attacker) != 0 || setuid(sc_attacker) != 0) {
        _exit(1);
    }
    for (;;) {
        symlink("../private", "next");
        rename("next", "file");
        close(open("next", O_WRONLY | O_CREAT, 0666));
        chmod("next", 0666);
        rename("next", "file");
    }
}

TEST(File, ALinkThatAppearsWhileTheFileIsOpenedIsNotWrittenThrough)
{
    SKIP_UNLESS_ROOT();
    put("private", "secret");
    const SharedFolder shared("shared");
    const pid_t attacker = fork();
    if (attacker == 0) {
        changeForEver();
    }
    int opened = 0;
    for (int i = 0; i < 20000; ++i) {
        if (FILE* stream = fopen_mac("shared/file", i % 2 ? "w" : "r+")) {
            fputs("spoilt", stream);
            fclose(stream);
            ++opened;
        }
    }
    kill(attacker, SIGKILL);
    waitpid(attacker, nullptr, 0);
    EXPECT_GT(opened, 0);
    EXPECT_EQ(contents("private"), "secret");
}

TEST(File, ModesDoWhatFopensDo)
{
    static const struct {
        const char* mode;
        const char* there;   // what the file holds before; null: it is not there
        const char* written; // what it holds once "new" was written; null: it is not opened
    } sc_cases[] = {
        {"w", "older", "new"},      {"w", nullptr, "new"},    {"w+b", "older", "new"},
        {"a", "older", "oldernew"}, {"a", nullptr, "new"},    {"ab+", "older", "oldernew"},
        {"r+", "older", "newer"},   {"r+", nullptr, nullptr}, {"wx", nullptr, "new"},
        {"wx", "older", nullptr},   {"wbe", "older", "new"},  {"wt,ccs=UTF-8", "older", "new"},
        {"rx+", "older", "newer"},
    };
    for (const auto& [mode, there, written] : sc_cases) {
        unlink("file");
        if (there) {
            put("file", there);
        }
        FILE* stream = fopen_mac("file", mode);
        ASSERT_EQ(stream != nullptr, written != nullptr) << mode;
        if (stream) {
            fputs("new", stream);
            fclose(stream);
            EXPECT_EQ(contents("file"), written) << mode;
        }
    }
}

TEST(File, AnOpenedFileBlocksWhileItReadsAndClosesOnExec)
{
    put("file", "x");
    for (const char* mode : {"rt", "r+", "w", "a"}) {
        FILE* stream = fopen_mac("file", mode);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(fcntl(fileno(stream), F_GETFD), FD_CLOEXEC) << mode;
        EXPECT_EQ(fcntl(fileno(stream), F_GETFL) & O_NONBLOCK, 0) << mode;
        fclose(stream);
    }
}

TEST(File, NoOpenedFileBecomesAStandardStream)
{
    put("file", "x");
    const int error = fcntl(STDERR_FILENO, F_DUPFD, 10);
    for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
        close(stream);
    }
    FILE* read = fopen_mac("file", "rt");
    FILE* written = fopen_mac("new", "wb");
    const int places[] = {fileno(read), fileno(written)};
    const int left = fcntl(STDERR_FILENO, F_GETFD);
    fclose(read);
    fclose(written);
    dup2(error, STDERR_FILENO);
    EXPECT_GT(places[0], STDERR_FILENO);
    EXPECT_GT(places[1], STDERR_FILENO);
    EXPECT_EQ(left, -1) << "the stream that was closed is closed again";
}

// The address sanitizer sees the handles, the limit of open files the streams.
TEST(File, EveryCloseAndEveryRefusalFreesDescriptorAndMemory)
{
    put("file", "x");
    mkdir("data", 0755);
    const rlimit fewFiles = {64, 64};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &fewFiles), 0);
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(File::open("data", "rb"), nullptr);
        ASSERT_EQ(fopen_mac(".\\data", "rb"), nullptr);
        _BkzFileType_s* file = File::open("file", "rb");
        ASSERT_NE(file, nullptr) << i;
        ASSERT_EQ(File::close(file), 0);
    }
}

TEST(File, TwoThreadsReadTwoFiles)
{
    auto readAll = [](const char* name, char letter) {
        put(name, std::string(100000, letter));
        for (int i = 0; i < 20; ++i) {
            _BkzFileType_s* file = File::open(name, "rb");
            std::string text(File::getLength(file), '\0');
            EXPECT_EQ(File::read(&text[0], 1, text.size(), file), 100000u);
            EXPECT_EQ(text, std::string(100000, letter));
            File::close(file);
        }
    };
    std::thread other(readAll, "a", 'a');
    readAll("b", 'b');
    other.join();
}

TEST(Fopen_mac, OpensTextAndBinaryStreams)
{
    FILE* stream = fopen_mac("game.ini", "wb");
    ASSERT_NE(stream, nullptr);
    fputs("[Video]\r\n", stream);
    EXPECT_EQ(fclose(stream), 0);

    stream = fopen_mac("game.ini", "rt");
    ASSERT_NE(stream, nullptr);
    char line[16];
    EXPECT_STREQ(fgets(line, sizeof(line), stream), "[Video]\r\n");
    EXPECT_EQ(fclose(stream), 0);
}

TEST(Path, IsOpenedInEitherSpelling)
{
    mkdir("data", 0755);
    mkdir("data/maps", 0755);
    put("data/maps/one", "found");
    char* cwd = getcwd(nullptr, 0);
    const std::string here = cwd;
    free(cwd);
    std::string dosHere = here;
    for (char& letter : dosHere) {
        letter = letter == '/' ? '\\' : letter;
    }
    const std::string paths[] = {
        "data/maps/one",
        "data\\maps\\one",
        "data\\maps/one",
        ".\\data\\..\\data\\maps\\one",
        "C:data\\maps\\one", // where the drive was last is here
        "c:data/maps/one",
        here + "/data/maps/one",
        here + "\\data\\maps\\one", // a folder of the host's, with a path of the game's behind it
        "C:" + dosHere + "\\data\\maps\\one",
        "z:" + here + "/data/maps/one",
    };
    for (const std::string& path : paths) {
        EXPECT_EQ(found(path.c_str()), "found") << path;
        FILE* stream = fopen_mac(path.c_str(), "rb");
        EXPECT_NE(stream, nullptr) << path;
        if (stream) {
            fclose(stream);
        }
    }
}

TEST(Path, ANewFileIsMadeInTheFolderThatTheDOSPathNames)
{
    mkdir("saves", 0755);
    File::close(File::open("saves\\one", "w"));
    fclose(fopen_mac("D:saves\\two", "w"));
    EXPECT_EQ(access("saves/one", F_OK), 0);
    EXPECT_EQ(access("saves/two", F_OK), 0);
    EXPECT_NE(access("saves\\one", F_OK), 0);
    EXPECT_NE(access("D:saves\\two", F_OK), 0);
}

TEST(Path, ANameThatExistsWithItsBackslashesAndColonIsTakenAsItStands)
{
    mkdir("a", 0755);
    put("a/b", "behind a separator");
    EXPECT_EQ(found("a\\b"), "behind a separator");
    put("a\\b", "a name with a backslash");
    EXPECT_EQ(found("a\\b"), "a name with a backslash");
    EXPECT_EQ(found("C:a\\b"), "behind a separator"); // no name here begins with "C:"

    put("x", "on a drive");
    EXPECT_EQ(found("C:x"), "on a drive");
    put("C:x", "a name with a colon");
    EXPECT_EQ(found("C:x"), "a name with a colon");
}

TEST(Path, AFolderWithABackslashHoldsOldAndNewFilesAlike)
{
    mkdir("odd\\folder", 0755);
    mkdir("odd\\folder/sub", 0755);
    put("odd\\folder/old", "old");
    EXPECT_EQ(found("odd\\folder/old"), "old");

    FILE* stream = fopen_mac("odd\\folder/new", "wb");
    ASSERT_NE(stream, nullptr);
    fclose(stream);
    EXPECT_EQ(access("odd\\folder/new", F_OK), 0);

    _BkzFileType_s* file = File::open("odd\\folder/sub\\new", "wb"); // each name between slashes by itself
    ASSERT_NE(file, nullptr);
    File::close(file);
    EXPECT_EQ(access("odd\\folder/sub/new", F_OK), 0);
}

TEST(Path, ADriveIsRemovedOnlyAtTheBeginning)
{
    mkdir("data", 0755);
    put("data/C:x", "one");
    put("1:x", "two");
    mkdir("data/C:maps", 0755);
    put("data/C:maps/y", "three");
    EXPECT_EQ(found("data\\C:x"), "one");
    EXPECT_EQ(found(".\\data/C:x"), "one");
    EXPECT_EQ(found("1:x"), "two");
    EXPECT_EQ(found("data/C:maps\\y"), "three");
}

TEST(Path, MayBeLong)
{
    std::string path = "file";
    for (int i = 0; i < 1500; ++i) {
        path = ".\\" + path;
    }
    put("file", "found");
    EXPECT_EQ(found(path.c_str()), "found");
    EXPECT_EQ(found(std::string(100000, '\\').c_str()), "nothing");
}

TEST(ConvertDOSToMacPath, ConvertsSeparatorsAndDrive)
{
    struct Row {
        const char* in;
        const char* out;
    };
    const Row rows[] = {
        {"", ""},
        {"data", "data"},
        {"data/units.txt", "data/units.txt"},
        {"data\\units.txt", "data/units.txt"},
        {"data\\maps/one", "data/maps/one"},
        {"data\\maps\\", "data/maps/"}, // a separator at the end stays one
        {"\\", "/"},
        {"..\\..", "../.."},
        {"\\\\server\\share", "//server/share"},
        {"C:\\data\\x", "/./data/x"},
        {"C:/data/x", "/./data/x"},
        {"z:\\", "/./"},
        {"C:data\\x", "./data/x"}, // from the folder the drive was last in
        {"C:", "./"},
        {"C", "C"},
        {":", ":"},
        {":\\x", ":/x"},
        {"1:\\x", "1:/x"},            // no letter
        {"CD:\\x", "CD:/x"},          // two of them
        {"\xc4:\\x", "\xc4:/x"},      // no letter of DOS's
        {"[:\\x", "[:/x"},            // behind Z
        {"@:\\x", "@:/x"},            // in front of A
        {"data\\C:\\x", "data/C:/x"}, // not where a drive stands
        {"C:D:\\x", "./D:/x"},
    };
    for (const Row& row : rows) {
        char out[32];
        memset(out, '!', sizeof(out));
        ConvertDOSToMacPath(row.in, out);
        EXPECT_STREQ(out, row.out) << row.in;
        EXPECT_EQ(out[strlen(row.in) + 1], '!') << row.in << ": as much is written as there was";

        char inPlace[32];
        strcpy(inPlace, row.in);
        ConvertDOSToMacPath(inPlace, inPlace);
        EXPECT_STREQ(inPlace, row.out) << row.in;
    }
}

TEST(ConvertDOSToMacPath, NeverChangesTheLength)
{
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    for (const std::string& in : {all, "C:" + all, "C:\\" + all, std::string(5000, '\\')}) {
        std::vector<char> out(in.size() + 1);
        ConvertDOSToMacPath(in.c_str(), out.data());
        EXPECT_EQ(strlen(out.data()), in.size());
        EXPECT_EQ(strchr(out.data(), '\\'), nullptr);
    }
}

TEST(ConvertDOSToMacPath, ConvertingTwiceIsTheSameAsOnce)
{
    for (const char* in : {"C:\\data\\x", "C:x", "\\x\\y", "x"}) {
        char once[32];
        char twice[32];
        ConvertDOSToMacPath(in, once);
        ConvertDOSToMacPath(once, twice);
        EXPECT_STREQ(once, twice);
    }
}

TEST(ConvertDOSToMacPath, DoesNotLookAtTheFileSystem)
{
    put("a\\b", "");
    char out[8];
    ConvertDOSToMacPath("a\\b", out);
    EXPECT_STREQ(out, "a/b");
}

TEST(ConvertDOSToMacPath, TakesNulls)
{
    char out[4] = "xyz";
    ConvertDOSToMacPath(nullptr, out);
    EXPECT_STREQ(out, "");
    ConvertDOSToMacPath("abc", nullptr);
    ConvertDOSToMacPath(nullptr, nullptr);
}

static int sign(int number)
{
    return (number > 0) - (number < 0);
}

TEST(Stricmp, ComparesWithoutRegardToASCIICase)
{
    struct Row {
        const char* left;
        const char* right;
        int sign;
    };
    const Row rows[] = {
        {"", "", 0},
        {"", "a", -1},
        {"Quit", "qUIT", 0},
        {"Quit", "Quit!", -1},
        {"abc", "ABD", -1},
        {"ABZ", "aba", 1},
        {"data/x", "data\\x", -1}, // nothing but case is alike
        {"@[`{", "@[`{", 0},       // the neighbours of the letters
        {"@", "`", -1},            // are no letters
        {"[", "{", -1},
        {"_", "A", -1},       // between 'Z' and 'a': letters count as small ones
        {"\xc4", "\xe4", -1}, // one letter in some 8-bit alphabets, two here
        {"z", "\x80", -1},    // bytes are unsigned
        {"\xff", "\x01", 1},
        {"\xc3\x84", "\xc3\xa4", -1}, // and in UTF-8
    };
    for (const Row& row : rows) {
        EXPECT_EQ(sign(stricmp(row.left, row.right)), row.sign) << row.left << ' ' << row.right;
        EXPECT_EQ(sign(stricmp(row.right, row.left)), -row.sign) << row.right << ' ' << row.left;
    }
}

TEST(Stricmp, FoldsTheSameInEveryLocale)
{
    for (const char* name : {"C", "C.UTF-8", "tr_TR.UTF-8", "tr_TR.ISO-8859-9", "de_DE.ISO-8859-1", ""}) {
        if (!setlocale(LC_ALL, name)) {
            continue; // not every host has all of them
        }
        for (int left = 0; left < 256; ++left) {
            for (int right = 0; right < 256; ++right) {
                const char l[] = {static_cast<char>(left), 0};
                const char r[] = {static_cast<char>(right), 0};
                const int lowLeft = left >= 'A' && left <= 'Z' ? left + 32 : left;
                const int lowRight = right >= 'A' && right <= 'Z' ? right + 32 : right;
                ASSERT_EQ(sign(stricmp(l, r)), sign(lowLeft - lowRight)) << left << ' ' << right << ' ' << name;
            }
        }
    }
}

TEST(Stricmp, NullEqualsNullAndComesBeforeEveryText)
{
    EXPECT_EQ(stricmp(nullptr, nullptr), 0);
    EXPECT_LT(stricmp(nullptr, ""), 0);
    EXPECT_GT(stricmp("", nullptr), 0);
}

// core/equalnames.h compares this address with the address of the stricmp that the process uses.
namespace fileLibrary {
extern int (*const _stricmp)(const char*, const char*);
}

TEST(Stricmp, OfTheLibraryIsTheOneWhoseAddressTheLibraryTellsCore)
{
    EXPECT_EQ(fileLibrary::_stricmp, &stricmp);
}
