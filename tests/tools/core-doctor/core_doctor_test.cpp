// The program core-doctor. Each warning is shown by a case that makes the fault.
#include "core/platform.h"
#include "core/preferences.h"

#include "tests/support/shell.h"
#include "tests/support/terminal.h"
#include "tests/support/x_server.h"

#include <gtest/gtest.h>

#include "tests/support/openbox.h" // X11 defines words that GoogleTest uses, so it comes after it

#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <link.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const uid_t sc_nobody = 65534;

// The test is a game with windows: core-doctor finds this function among the names that the program uses.
[[maybe_unused]] static auto* volatile s_initWindow = &Platform::InitWindow;

static std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (size_t place = text.find(from); place != std::string::npos; place = text.find(from, place + to.size())) {
        text.replace(place, from.size(), to);
    }
    return text;
}

// arguments are words of a shell.
static Result run(const std::string& arguments)
{
    return runShell("'" PROGRAM "' " + arguments);
}

// The test's own program uses the library, so it is a game.
static std::string ownGame()
{
    return fs::read_symlink("/proc/self/exe").string();
}

static bool warns(const std::string& id, const std::string& game = ownGame())
{
    const Result result = run("--json '" + game + "'");
    EXPECT_EQ(result.status == 1, !contains(result.output, "\"warnings\": []")) << result.output << result.errors;
    return contains(result.output, "\"id\": \"" + id + "\"");
}

static std::string userStore()
{
    return std::string(getenv("MACAPI_USER_LIBRARY")) + "/Preferences/core_doctor_test.plist";
}

static std::string dataFolder()
{
    return std::string(getenv("MACAPI_LIBRARY")) + "/Application Support/Brackenlow/core_doctor_test";
}

// Makes the folders of the path, too.
static void writeDeepFile(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::absolute(path).parent_path());
    writeFile(path, text);
}

// Copies the game; in the copy, each text `from` becomes `to`, which has the same length.
static std::string changedGame(const std::string& from, const std::string& to)
{
    const std::string path = fs::current_path().string() + "/game";
    writeDeepFile(path, replaced(readFile(ownGame()), from, to));
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

// All files and folders with their times and contents.
static std::string everythingIn(const std::string& folder)
{
    std::string text;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        text += entry.path().string() + " " + std::to_string(entry.last_write_time().time_since_epoch().count()) +
                (entry.is_regular_file() ? readFile(entry.path()) : "") + "\n";
    }
    return text;
}

TEST(CoreDoctor, ShowsTheLibrariesThatTheDynamicLinkerLoadsForTheGame)
{
    const std::string output = run("'" + ownGame() + "'").output;
    EXPECT_TRUE(contains(output, LIBRARIES "/libcore.so.1")) << output;
    EXPECT_TRUE(contains(output, "libcore version"));
    EXPECT_TRUE(contains(output, "1.0.0"));

    const std::string folder = fs::current_path().string() + "/elsewhere";
    fs::create_directory(folder);
    fs::copy(LIBRARIES "/libcore.so.1", folder + "/libcore.so.1");
    setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
    EXPECT_TRUE(contains(run("'" + ownGame() + "'").output, folder + "/libcore.so.1"));
}

TEST(CoreDoctor, ShowsWhatTheGameHasStored)
{
    Preferences preferences;
    preferences.init("none.ini");
    preferences.write("Video", "mode", "wide");
    writeDeepFile(dataFolder() + "/data/memory.dat", "level=4096\n");
    const std::string output = run("'" + ownGame() + "'").output;
    EXPECT_TRUE(contains(output, userStore() + ": in order, 1 key\n")) << output;
    EXPECT_TRUE(contains(output, "level = 4096 bytes\n")) << output;
    EXPECT_TRUE(contains(output, dataFolder() + "\n")) << output;
}

TEST(CoreDoctor, ABundlesPreferencesHaveItsIdentifier)
{
    fs::create_directories("Game.app/Contents/MacOS");
    fs::copy(ownGame(), "Game.app/Contents/MacOS/play");
    writeDeepFile("Game.app/Contents/Info.plist", "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
                                                  "<string>com.example.game</string></dict></plist>");
    writeDeepFile(std::string(getenv("MACAPI_USER_LIBRARY")) + "/Preferences/com.example.game.plist",
                  "<plist version=\"1.0\"><dict/></plist>");
    const std::string output = run("Game.app/Contents/MacOS/play").output;
    EXPECT_TRUE(contains(output, "com.example.game.plist: in order, 0 keys")) << output;
    EXPECT_TRUE(contains(output, "/Brackenlow/play, does not exist yet")) << output;
}

TEST(CoreDoctor, ChangesNothing)
{
    writeDeepFile(userStore(), "no property list");
    writeDeepFile(userStore() + ".bak", "<plist version=\"1.0\"><dict/></plist>");
    writeDeepFile(dataFolder() + "/data/memory.dat", "no size");
    const std::string user = everythingIn(getenv("MACAPI_USER_LIBRARY"));
    const std::string machine = everythingIn(getenv("MACAPI_LIBRARY"));
    EXPECT_EQ(run("'" + ownGame() + "'").status, 1);
    EXPECT_EQ(everythingIn(getenv("MACAPI_USER_LIBRARY")), user);
    EXPECT_EQ(everythingIn(getenv("MACAPI_LIBRARY")), machine);

    setenv("MACAPI_LIBRARY", "missing", 1);
    setenv("MACAPI_USER_LIBRARY", "missing", 1);
    run("'" + ownGame() + "'");
    EXPECT_FALSE(fs::exists("missing"));
}

TEST(CoreDoctor, WithoutAGameSaysWhatAGameWouldAdd)
{
    const std::string output = run("").output;
    EXPECT_TRUE(contains(output, "none named; core-doctor GAME also shows its libraries, data folder")) << output;
}

TEST(CoreDoctor, ACommandLineThatIsWrongEndsWith2)
{
    EXPECT_EQ(run("--such").status, 2);
    EXPECT_EQ(run("one two").status, 2);
    EXPECT_EQ(run("--help").status, 0);
}

TEST(CoreDoctor, AFileThatIsNoProgramEndsWith3)
{
    writeFile("script", "#!/bin/sh\n");
    for (const char* path : {"missing", ".", "script", "/dev/null"}) {
        const Result result = run(path);
        EXPECT_EQ(result.status, 3) << path;
        EXPECT_EQ(result.output, "") << path;
        EXPECT_TRUE(contains(result.errors, std::string("core-doctor: ") + path)) << result.errors;
    }
    EXPECT_EQ(run(">/dev/full; exit $?").status, 3);
}

TEST(CoreDoctor, ATerminalGetsNoControlCharactersOfAFile)
{
    writeDeepFile(dataFolder() + "/data/memory.dat", "\x1b[31mred=64\n");
    Terminal terminal;
    SKIP_WITHOUT(terminal);
    setenv("NO_COLOR", "1", 1);
    ASSERT_NE(system(("'" PROGRAM "' '" + ownGame() + "' >" + terminal.name()).c_str()), -1);
    const std::string shown = terminal.shown();
    EXPECT_TRUE(contains(shown, "\\x1B[31mred = 64 bytes")) << shown;
    EXPECT_FALSE(contains(shown, "\x1b"));
}

// ---- Warnings

TEST(CoreDoctorWarns, OfALibraryThatIsNotFound)
{
    EXPECT_FALSE(warns("library-missing"));
    EXPECT_TRUE(warns("library-missing", changedGame("libcore.so.1", "libcare.so.1")));
}

TEST(CoreDoctorWarns, OfAFileThatIsTruncated)
{
    const std::string game = readFile(ownGame());
    for (size_t size = 4; size <= 80; size += 4) {
        writeFile("game", game.substr(0, size));
        if (size < 20) {
            EXPECT_EQ(run("game").status, 3) << size; // the header does not say of which processor it is
        } else {
            EXPECT_TRUE(warns("file-truncated", "game")) << size;
        }
    }
    EXPECT_TRUE(
        contains(run("game").output, "game has 80 bytes, and its header needs " + std::to_string(game.size())));
    writeFile("game", game.substr(0, game.size() - 1));
    EXPECT_TRUE(warns("file-truncated", "game"));
    writeFile("game", game);
    EXPECT_FALSE(warns("file-truncated", "game"));
}

TEST(CoreDoctorWarns, OfAGameForAnotherProcessor)
{
    std::string header = readFile(ownGame()).substr(0, sizeof(ElfW(Ehdr)));
    ASSERT_EQ(header.size(), sizeof(ElfW(Ehdr)));
    header[EI_CLASS] = ELFCLASS32;
    header[EI_DATA] = ELFDATA2MSB;
    header[18] = 0;
    header[19] = EM_PPC;
    writeFile("game", header);
    EXPECT_FALSE(warns("other-processor"));
    EXPECT_TRUE(warns("other-processor", "game"));
    EXPECT_TRUE(contains(run("game").output, "PowerPC, 32 bits, big-endian"));
}

TEST(CoreDoctorWarns, OfAGameWithExtraRights)
{
    const std::string game = changedGame("no such text", "no such text");
    EXPECT_FALSE(warns("extra-rights", game));
    ASSERT_EQ(chmod(game.c_str(), 04755), 0);
    EXPECT_TRUE(warns("extra-rights", game));
}

TEST(CoreDoctorWarns, OfAFileInThePlaceOfAFolder)
{
    EXPECT_FALSE(warns("folder-unusable"));
    writeDeepFile(std::string(getenv("MACAPI_LIBRARY")) + "/Application Support", "");
    EXPECT_TRUE(warns("folder-unusable"));
}

TEST(CoreDoctorWarns, OfAnotherUsersLinkOnTheWayToAFolder)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a link to another user";
    }
    const std::string link = std::string(getenv("MACAPI_USER_LIBRARY")) + "/Preferences";
    fs::create_directory("target");
    fs::create_directory_symlink(fs::current_path() / "target", link);
    EXPECT_FALSE(warns("folder-unusable"));
    ASSERT_EQ(lchown(link.c_str(), sc_nobody, sc_nobody), 0);
    EXPECT_TRUE(warns("folder-unusable"));
}

// Runs core-doctor as a user who is not root. Returns its output.
static std::string outputForNobody()
{
    const int program = open(PROGRAM, O_RDONLY | O_CLOEXEC); // that user may not reach the program's folder
    const int output = open("output", O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(sc_nobody) != 0 || setuid(sc_nobody) != 0)) {
            _exit(126);
        }
        char* const words[] = {const_cast<char*>("core-doctor"), const_cast<char*>("--json"), nullptr};
        fexecve(program, words, environ);
        _exit(127);
    }
    close(program);
    close(output);
    waitpid(child, nullptr, 0);
    return readFile("output");
}

TEST(CoreDoctorWarns, OfAFolderThatTheUserMayNotWrite)
{
    ASSERT_EQ(chmod(".", 0755), 0);
    for (const char* variable : {"MACAPI_LIBRARY", "MACAPI_USER_LIBRARY"}) {
        ASSERT_EQ(chmod(getenv(variable), 0777), 0);
    }
    const std::string before = outputForNobody();
    EXPECT_TRUE(contains(before, "\"warnings\"")) << before;
    EXPECT_FALSE(contains(before, "folder-read-only")) << before;
    ASSERT_EQ(chmod(getenv("MACAPI_LIBRARY"), 0555), 0);
    EXPECT_TRUE(contains(outputForNobody(), "folder-read-only"));
}

TEST(CoreDoctorWarns, OfDamagedPreferences)
{
    writeDeepFile(userStore(), "<plist version=\"1.0\"><dict/></plist>");
    EXPECT_FALSE(warns("preferences-damaged"));
    writeDeepFile(userStore(), "<plist version=\"1.0\"><dict>");
    EXPECT_TRUE(warns("preferences-damaged"));
}

TEST(CoreDoctorWarns, OfPreferencesThatCantBeRead)
{
    EXPECT_FALSE(warns("preferences-unreadable"));
    fs::create_directories(userStore());
    EXPECT_TRUE(warns("preferences-unreadable"));
}

TEST(CoreDoctorWarns, OfALineOfTheBankSizeFileThatIsWrong)
{
    writeDeepFile(dataFolder() + "/data/memory.dat", "level=4096\n");
    EXPECT_FALSE(warns("sizes-wrong"));
    writeDeepFile(dataFolder() + "/data/memory.dat", "level=much\n");
    EXPECT_TRUE(warns("sizes-wrong"));
}

TEST(CoreDoctorWarns, OfABankSizeFileThatCantBeRead)
{
    EXPECT_FALSE(warns("sizes-unreadable"));
    fs::create_directories(dataFolder() + "/data");
    ASSERT_EQ(mkfifo((dataFolder() + "/data/memory.dat").c_str(), 0666), 0);
    EXPECT_TRUE(warns("sizes-unreadable"));
}

TEST(CoreDoctorWarns, OfALocaleThatTheSystemDoesNotHave)
{
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_FALSE(warns("locale-unknown"));
    setenv("LC_ALL", "xx_XX.UTF-8", 1);
    EXPECT_TRUE(warns("locale-unknown"));
}

static const char sc_appkit[] = "/libcore-appkit.so.1";

// Copies the libraries without libcore-appkit to a folder that the dynamic linker searches first. The copies do not name
// the folder of the originals. Returns the copies' folder.
static std::string copyLibraries()
{
    const std::string folder = fs::current_path().string() + "/copied";
    const std::string nowhere(strlen(LIBRARIES), 'x');
    for (const char* path : {"libcore.so.1", "libfile.so.1", "liblogger.so.1", "macapi/libmacapi.so.1"}) {
        const std::string original = std::string(LIBRARIES "/") + path;
        writeDeepFile(folder + "/" + fs::path(path).filename().string(),
                      replaced(readFile(original), LIBRARIES, nowhere));
    }
    setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
    return folder;
}

TEST(CoreDoctorWarns, OfLibrariesWithoutTheOneForWindows)
{
    if (!fs::exists(std::string(LIBRARIES) + sc_appkit)) {
        GTEST_SKIP() << "this build has no AppKit";
    }
    EXPECT_FALSE(warns("appkit-missing"));
    copyLibraries();
    EXPECT_TRUE(warns("appkit-missing"));
}

TEST(CoreDoctorWarns, OfALibraryForWindowsWithoutGNUstep)
{
    if (!fs::exists(std::string(LIBRARIES) + sc_appkit)) {
        GTEST_SKIP() << "this build has no AppKit";
    }
    EXPECT_FALSE(warns("appkit-incomplete"));
    const std::string original = readFile(std::string(LIBRARIES) + sc_appkit);
    writeDeepFile(copyLibraries() + sc_appkit, replaced(original, "libgnustep-gui.so", "libgnustep-guy.so"));
    EXPECT_TRUE(warns("appkit-incomplete"));
}

TEST(CoreDoctorWarns, OfADisplayThatIsNotSet)
{
    setenv("DISPLAY", ":0", 1);
    EXPECT_FALSE(warns("display-none"));
    unsetenv("DISPLAY");
    EXPECT_TRUE(warns("display-none"));
    EXPECT_FALSE(warns("display-none", changedGame("Platform10InitWindow", "Platform10FindWindow")));
}

TEST_F(XServer, AServerThatIsNotThereIsAWarning)
{
    start("640x480x24");
    EXPECT_FALSE(warns("display-unreachable"));
    // Not the number of the server above: after its end, the server of another test can take that number.
    setenv("DISPLAY", ":50123", 1);
    EXPECT_TRUE(warns("display-unreachable"));
}

TEST_F(XServer, ADisplayWithoutAWindowManagerIsAWarningAndOneWithItIsFine)
{
    if (system("command -v openbox > /dev/null") != 0) {
        GTEST_SKIP() << "there is no openbox";
    }
    start("640x480x24");
    EXPECT_TRUE(warns("window-manager-none"));
    Display* const display = XOpenDisplay(nullptr);
    const pid_t manager = startOpenbox(display, DefaultRootWindow(display));
    const Result result = run("'" + ownGame() + "'");
    EXPECT_FALSE(warns("window-manager-none"));
    EXPECT_TRUE(contains(result.output, "Openbox")) << result.output;
    EXPECT_TRUE(contains(result.output, "640x480")) << result.output;
    EXPECT_EQ(result.status, 0) << result.output; // nothing is wrong
    kill(manager, SIGKILL);
    waitpid(manager, nullptr, 0);
    XCloseDisplay(display);
}
