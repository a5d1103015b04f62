// Platform as a game uses it: identity, folders and state, with the real services of the system.
#include "core/platform.h"

#include "tests/support/shared_folder.h"
#include "tests/support/terminal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;

static std::string libraryFolder()
{
    return getenv("MACAPI_LIBRARY");
}

static std::string programName()
{
    return fs::read_symlink("/proc/self/exe").filename().string();
}

TEST(PlatformIdentity, TheOperatingSystemIsUnknownUntilSystemCheckAndNineFromThenOn)
{
    EXPECT_EQ(Platform::GetPlatformOS(), -1);
    EXPECT_TRUE(Platform::SystemCheck());
    EXPECT_EQ(Platform::GetPlatformOS(), 9);
}

TEST(PlatformIdentity, TheProcessNameIsThatOfTheExecutable)
{
    EXPECT_EQ(Platform::GetAppFilePrefix(), programName());
    EXPECT_EQ(Platform::GetAppTitle(), programName());
}

TEST(PlatformIdentity, FilePrefixAndTitleAreTwoBuffers)
{
    EXPECT_NE(Platform::GetAppFilePrefix(), Platform::GetAppTitle());
}

TEST(PlatformIdentity, AnAppFilenameIsPrefixNameAndSuffixRunTogether)
{
    EXPECT_EQ(Platform::CreateAppFilename("data/", ".cfg"), "data/" + programName() + ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename("", ""), programName());
}

TEST(PlatformIdentity, ALongAppFilenameIsTruncatedTo1023Bytes)
{
    const std::string prefix(900, 'p');
    const std::string suffix(900, 's');
    const std::string whole = prefix + programName() + suffix;
    EXPECT_EQ(Platform::CreateAppFilename(prefix.c_str(), suffix.c_str()), whole.substr(0, 1023));
}

TEST(PlatformIdentity, ItsOwnResultMayBePrefixOrSuffixOfTheNextAppFilename)
{
    const std::string name = programName();
    const char* result = Platform::CreateAppFilename("data/", ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename(result, ".old"), "data/" + name + ".cfg" + name + ".old");
    result = Platform::CreateAppFilename("data/", ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename("old/", result), "old/" + name + "data/" + name + ".cfg");
    result = Platform::CreateAppFilename("", ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename(result, result), name + ".cfg" + name + name + ".cfg");
    result = Platform::CreateAppFilename("data/", ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename("", result + 5), name + name + ".cfg");
}

TEST(PlatformIdentity, ANullPrefixOrSuffixCountsAsEmpty)
{
    EXPECT_EQ(Platform::CreateAppFilename(nullptr, ".cfg"), programName() + ".cfg");
    EXPECT_EQ(Platform::CreateAppFilename("data/", nullptr), "data/" + programName());
}

TEST(PlatformFolders, TheDataFolderIsApplicationSupportMakerAndProcessName)
{
    const std::string folder = libraryFolder() + "/Application Support/Brackenlow/" + programName();
    EXPECT_EQ(Platform::GetAppDataDir("saves"), folder);
    EXPECT_TRUE(fs::is_directory(folder));
}

// As a user without rights: root's game would make folders at the root. The log writes messages of level 3 and below.
static void showDataFolderAsVictim()
{
    setenv("CORE_LOG_LEVEL", "3", 1);
    if (setgroups(0, nullptr) != 0 || setgid(sc_victim) != 0 || setuid(sc_victim) != 0) {
        exit(1);
    }
    fprintf(stderr, "folder %s\n", Platform::GetAppDataDir("data/saves"));
    exit(0);
}

TEST(PlatformFolders, AnotherUsersLinkIsNoDataFolder)
{
    SKIP_UNLESS_ROOT();
    fs::create_directory("home");
    ASSERT_EQ(chown("home", sc_victim, sc_victim), 0);
    const SharedFolder library(libraryFolder());
    for (const std::string& link : {"Application Support"s, "Application Support/Brackenlow"s,
                                    "Application Support/Brackenlow/" + programName()}) {
        library.act("rm -rf \"Application Support\"; mkdir -m 777 -p \"" + fs::path(link).parent_path().string() +
                    "/.\"; chmod -R a+rwx . 2>/dev/null; ln -s \"" + fs::absolute("home").string() + "\" \"" + link +
                    "\"");
        EXPECT_EXIT(showDataFolderAsVictim(), testing::ExitedWithCode(0),
                    "Another user's link is not followed: .*\nfolder /Brackenlow/" + programName());
        EXPECT_TRUE(fs::is_empty("home")) << link;
    }
}

TEST(PlatformFolders, AFolderThatAnotherUserMadeIsADataFolder)
{
    SKIP_UNLESS_ROOT();
    const SharedFolder library(libraryFolder());
    library.act("mkdir -p \"Application Support/Brackenlow\"; chmod -R a+rwx \"Application Support\"");
    EXPECT_EXIT(showDataFolderAsVictim(), testing::ExitedWithCode(0),
                "folder .*/Application Support/Brackenlow/" + programName());
}

TEST(PlatformFolders, ASubfolderBehindAnotherUsersLinkIsNotMade)
{
    SKIP_UNLESS_ROOT();
    fs::create_directory("home");
    ASSERT_EQ(chown("home", sc_victim, sc_victim), 0);
    const SharedFolder library(libraryFolder());
    const std::string folder = "Application Support/Brackenlow/" + programName();
    library.act("mkdir -p \"" + folder + "\"; chmod -R a+rwx . 2>/dev/null; ln -s \"" +
                fs::absolute("home").string() + "\" \"" + folder + "/data\"");
    EXPECT_EXIT(showDataFolderAsVictim(), testing::ExitedWithCode(0), "folder .*/" + folder);
    EXPECT_TRUE(fs::is_empty("home"));
}

TEST(PlatformFolders, OnlyTheSubfolderOfTheFirstCallIsMadeAndNoneIsPartOfTheResult)
{
    const std::string first = Platform::GetAppDataDir("saves");
    EXPECT_EQ(Platform::GetAppDataDir("logs"), first);
    EXPECT_TRUE(fs::is_directory(first + "/saves"));
    EXPECT_FALSE(fs::exists(first + "/logs"));
}

TEST(PlatformFolders, WithoutASubfolderTheDataFolderIsEmpty)
{
    EXPECT_TRUE(fs::is_empty(Platform::GetAppDataDir(nullptr)));
}

TEST(PlatformFolders, FoldersThatAreThereAlreadyStayAsTheyAre)
{
    const std::string folder = libraryFolder() + "/Application Support/Brackenlow/" + programName();
    fs::create_directories(folder + "/saves/old");
    EXPECT_EQ(Platform::GetAppDataDir("saves"), folder);
    EXPECT_TRUE(fs::is_directory(folder + "/saves/old"));
}

TEST(PlatformFolders, TheDataFolderStaysForTheLifeOfTheProcess)
{
    const std::string first = Platform::GetAppDataDir("saves");
    setenv("MACAPI_LIBRARY", "/nowhere", 1);
    EXPECT_EQ(Platform::GetAppDataDir("saves"), first);
}

TEST(PlatformFolders, TheGameFolderIsGameInTheBundlesResources)
{
    // A plain executable's bundle is its own folder.
    const std::string own = fs::read_symlink("/proc/self/exe").parent_path().string();
    EXPECT_EQ(GetAppGamePath(), own + "/Game/");
    EXPECT_EQ(GetAppGamePath(), GetAppGamePath());
}

TEST(PlatformFolders, CreateDirMakesOneFolderWithMode0755)
{
    umask(0);
    EXPECT_EQ(Platform::CreateDir("new"), 0);
    struct stat status;
    ASSERT_EQ(stat("new", &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777, 0755u);
}

TEST(PlatformFolders, CreateDirMakesNoParentsAndConvertsNothing)
{
    EXPECT_EQ(Platform::CreateDir("missing/new"), -1);
    EXPECT_EQ(Platform::CreateDir("a\\b"), 0);
    EXPECT_TRUE(fs::is_directory("a\\b"));
    EXPECT_EQ(Platform::CreateDir("a\\b"), -1); // it is there already
}

TEST(PlatformFolders, CreateDirWithoutAPathMakesNothing)
{
    EXPECT_EQ(Platform::CreateDir(nullptr), -1);
    EXPECT_EQ(Platform::CreateDir(""), -1);
}

TEST(PlatformState, FlagsAndHandlesAreZeroAtFirstAndReadBackAsTheyWereSet)
{
    EXPECT_EQ(Platform::GetApp(), 0u);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    EXPECT_FALSE(Platform::GetActive());
    EXPECT_FALSE(Platform::GetMinimized());

    int window = 0;
    Platform::SetWindow(&window);
    Platform::SetActive(true);
    Platform::SetMinimized(true);
    EXPECT_EQ(Platform::GetWindow(), &window);
    EXPECT_TRUE(Platform::GetActive());
    EXPECT_TRUE(Platform::GetMinimized());

    Platform::SetWindow(nullptr);
    Platform::SetActive(false);
    Platform::SetMinimized(false);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    EXPECT_FALSE(Platform::GetActive());
    EXPECT_FALSE(Platform::GetMinimized());
}

TEST(PlatformState, TheFirstSetAppClearsTheStateAndLaterOnesOnlyReplaceTheHandle)
{
    int window = 0;
    Platform::SetWindow(&window);
    Platform::SetActive(true);
    Platform::SetMinimized(true);

    Platform::SetApp(0x89abcdef);
    EXPECT_EQ(Platform::GetApp(), 0x89abcdefu);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    EXPECT_FALSE(Platform::GetActive());
    EXPECT_FALSE(Platform::GetMinimized());

    Platform::SetWindow(&window);
    Platform::SetActive(true);
    Platform::SetMinimized(true);
    Platform::SetApp(7);
    EXPECT_EQ(Platform::GetApp(), 7u);
    EXPECT_EQ(Platform::GetWindow(), &window);
    EXPECT_TRUE(Platform::GetActive());
    EXPECT_TRUE(Platform::GetMinimized());
}

TEST(PlatformState, AnyValueMayBeOfferedAsApplicationState)
{
    for (int state : {0, 1, 2, -1, 0x7fffffff}) {
        Platform::SetAppState(static_cast<e_AppState>(state)); // nothing reads it back; it must be well defined
    }
}

TEST(PlatformState, TheCommandLineIsHeldAndNeverLookedInto)
{
    EXPECT_EQ(Platform::GetCommandLine(), nullptr);
    CommandLine* nowhere = reinterpret_cast<CommandLine*>(16);
    Platform::SetCommandLine(nowhere);
    EXPECT_EQ(Platform::GetCommandLine(), nowhere);
    Platform::SetCommandLine(nullptr);
    EXPECT_EQ(Platform::GetCommandLine(), nullptr);
}

// The alert where there is no display.

struct PlatformAlert : testing::Test {
    PlatformAlert() { unsetenv("DISPLAY"); }
};

TEST_F(PlatformAlert, WithoutADisplayItsTextGoesToStandardErrorAndTheAnswerIsThatOfTheButton)
{
    testing::internal::CaptureStderr();
    const int answer = Platform::MessageBox("caption", "%s lost %d units", "Ada", 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Ada lost 3 units\n");
    EXPECT_EQ(answer, 1);
}

TEST_F(PlatformAlert, ATextOf4094BytesIsWholeAndALongerOneIsTruncatedThere)
{
    for (const size_t length : {4093, 4094, 4095, 4096, 10000}) {
        testing::internal::CaptureStderr();
        Platform::MessageBox("caption", "%s", std::string(length, 'x').c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(std::min<size_t>(length, 4094), 'x') + "\n");
    }
}

TEST_F(PlatformAlert, OnStandardErrorItsTextIsTruncatedThereAlsoInsideACharacter)
{
    testing::internal::CaptureStderr();
    Platform::MessageBox("caption", "%s\xc3\xa4", std::string(4093, 'x').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(4093, 'x') + "\xc3\n");
}

TEST_F(PlatformAlert, ATerminalGetsNoControlCharactersAndAFileTheBytesAsTheyAre)
{
    const char* const sc_text = "one\n\x1b[31m\xc2\x9b\xe2\x80\xae \\ \xc3\xa9";
    testing::internal::CaptureStderr();
    Platform::MessageBox("caption", "%s", sc_text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(sc_text) + "\n");

    Terminal terminal;
    SKIP_WITHOUT(terminal);
    const int error = dup(STDERR_FILENO);
    const int stream = open(terminal.name().c_str(), O_WRONLY | O_NOCTTY);
    dup2(stream, STDERR_FILENO);
    Platform::MessageBox("caption", "%s", sc_text);
    dup2(error, STDERR_FILENO);
    close(stream);
    close(error);
    EXPECT_EQ(terminal.shown(), "one\n\\x1B[31m\\xC2\\x9B\\xE2\\x80\\xAE \\ \xc3\xa9\n");
}

TEST_F(PlatformAlert, ATextThatCannotBeFormattedEndsAllTheSame)
{
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
    EXPECT_EQ(Platform::MessageBox("caption", "%ls", noCharacter), 1);
}

TEST_F(PlatformAlert, ACaptionMayBeNullSinceItIsNotShown)
{
    testing::internal::CaptureStderr();
    Platform::MessageBox(nullptr, "text");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "text\n");
}

TEST_F(PlatformAlert, ANullTextCountsAsEmpty)
{
    const char* format = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("caption", format, 0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "\n");
}

TEST(PlatformBrowser, ATextThatIsNoUrlReturnsTheSameAsAPageThatOpened)
{
    for (const char* url : {"", "two words", "caf\xc3\xa9", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(Platform::SpawnWebBrowser(url), 0);
    }
}
