#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

// The path of a folder, or the error in its place.
static std::string find(short domain, OSType type, bool create)
{
    FSRef folder;
    OSStatus status = FSFindFolder(domain, type, create, &folder);
    UInt8 path[4096];
    if (status == noErr) {
        status = FSRefMakePath(&folder, path, sizeof(path));
    }
    return status == noErr ? reinterpret_cast<const char*>(path) : std::to_string(status);
}

static std::string here()
{
    return fs::current_path().string();
}

TEST(Folders, ConstantsAndTheReferenceAreTheMacs)
{
    EXPECT_EQ(sizeof(FSRef), 80u);
    EXPECT_EQ(kLocalDomain, -32765);
    EXPECT_EQ(kUserDomain, -32763);
    EXPECT_EQ(kApplicationSupportFolderType, 'a' << 24 | 's' << 16 | 'u' << 8 | 'p');
    EXPECT_EQ(kPreferencesFolderType, 'p' << 24 | 'r' << 16 | 'e' << 8 | 'f');
    EXPECT_EQ(kCreateFolder, 1);
}

TEST(Folders, EachLibraryHasApplicationSupportAndPreferences)
{
    EXPECT_EQ(find(kLocalDomain, kApplicationSupportFolderType, true),
              here() + "/MACAPI_LIBRARY/Application Support");
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/MACAPI_LIBRARY/Preferences");
    EXPECT_EQ(find(kUserDomain, kApplicationSupportFolderType, true),
              here() + "/MACAPI_USER_LIBRARY/Application Support");
    EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, true), here() + "/MACAPI_USER_LIBRARY/Preferences");
    EXPECT_TRUE(fs::is_directory("MACAPI_LIBRARY/Application Support"));
    EXPECT_TRUE(fs::is_directory("MACAPI_USER_LIBRARY/Preferences"));
}

TEST(Folders, AMissingFolderIsMadeOnlyOnRequest)
{
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, false), std::to_string(fnfErr));
    EXPECT_TRUE(fs::is_empty("MACAPI_LIBRARY"));
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/MACAPI_LIBRARY/Preferences");
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, false), here() + "/MACAPI_LIBRARY/Preferences");
}

TEST(Folders, AreMadeWithTheirParentFolders)
{
    setenv("MACAPI_LIBRARY", (here() + "/not/there/yet").c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kApplicationSupportFolderType, true), here() + "/not/there/yet/Application Support");
    EXPECT_TRUE(fs::is_directory("not/there/yet/Application Support"));
}

TEST(Folders, TheEnvironmentIsReadAtEachCall)
{
    for (const char* name : {"/one", "/two"}) {
        setenv("MACAPI_LIBRARY", (here() + name).c_str(), 1);
        setenv("MACAPI_USER_LIBRARY", (here() + name + "/user").c_str(), 1);
        EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + name + "/Preferences");
        EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, true), here() + name + "/user/Preferences");
    }
}

TEST(Folders, ALibraryMayBeRelativeOrEndInASlash)
{
    setenv("MACAPI_LIBRARY", "library", 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/library/Preferences");
    setenv("MACAPI_LIBRARY", (here() + "/library/").c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/library/Preferences");
}

TEST(Folders, WithoutTheVariablesLieInTheUsersDataAndConfigurationFolders)
{
    unsetenv("MACAPI_LIBRARY");
    setenv("MACAPI_USER_LIBRARY", "", 1); // empty is as good as none
    setenv("XDG_DATA_HOME", (here() + "/data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (here() + "/config").c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/config/macapi/local/Preferences");
    EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, true), here() + "/config/macapi/user/Preferences");
    EXPECT_EQ(find(kLocalDomain, kApplicationSupportFolderType, true),
              here() + "/data/macapi/local/Application Support");
    EXPECT_EQ(find(kUserDomain, kApplicationSupportFolderType, true),
              here() + "/data/macapi/user/Application Support");

    setenv("HOME", here().c_str(), 1);
    for (const char* none : {"", "relative"}) {
        setenv("XDG_DATA_HOME", none, 1);
        setenv("XDG_CONFIG_HOME", none, 1);
        EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, true), here() + "/.config/macapi/user/Preferences");
        EXPECT_EQ(find(kUserDomain, kApplicationSupportFolderType, true),
                  here() + "/.local/share/macapi/user/Application Support");
    }
    unsetenv("XDG_DATA_HOME");
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(find(kLocalDomain, kApplicationSupportFolderType, true),
              here() + "/.local/share/macapi/local/Application Support");
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/.config/macapi/local/Preferences");
}

TEST(Folders, WithoutHOMEThePasswordFileNamesTheHomeFolder)
{
    const passwd* entry = getpwuid(getuid());
    ASSERT_TRUE(entry);
    for (const char* name : {"MACAPI_LIBRARY", "XDG_CONFIG_HOME", "HOME"}) {
        unsetenv(name);
    }
    const std::string expected = std::string(entry->pw_dir) + "/.config/macapi/local/Preferences";
    const std::string found = find(kLocalDomain, kPreferencesFolderType, false); // nothing is made in a real home
    EXPECT_EQ(found, fs::is_directory(expected) ? expected : std::to_string(fnfErr));
}

TEST(Folders, AFolderThatCannotBeFoundReturnsTheReason)
{
    EXPECT_EQ(find(-32766, kPreferencesFolderType, true), std::to_string(nsvErr)); // the system's own domain
    EXPECT_EQ(find(0, kPreferencesFolderType, true), std::to_string(nsvErr));
    EXPECT_EQ(find(kLocalDomain, 0x666f6e74, true), std::to_string(fnfErr)); // 'font'
    EXPECT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, true, nullptr), paramErr);
}

TEST(Folders, AFolderThatCannotBeMadeReturnsTheReason)
{
    std::ofstream("file") << "in the way";
    setenv("MACAPI_LIBRARY", (here() + "/file").c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(dirNFErr));

    std::ofstream("MACAPI_USER_LIBRARY/Preferences") << "in the way";
    EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, true), std::to_string(dirNFErr));
    EXPECT_EQ(find(kUserDomain, kPreferencesFolderType, false), std::to_string(fnfErr));

    setenv("MACAPI_LIBRARY", ("/" + std::string(300, 'x')).c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(pathTooLongErr));

    setenv("MACAPI_LIBRARY", "/proc/none", 1); // where nobody makes a folder
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(fnfErr));
}

TEST(Folders, AFolderThatMayNotBeWrittenReturnsTheReason)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "nothing is forbidden to root";
    }
    fs::permissions("MACAPI_LIBRARY", fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(permErr));
    setenv("MACAPI_LIBRARY", (here() + "/MACAPI_LIBRARY/deeper").c_str(), 1);
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(permErr));
}

TEST(Folders, OneBehindAnotherUsersLinkIsNeitherMadeNorFound)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can make another user's link";
    }
    fs::create_directory("home");
    for (const char* target : {"home", "home/new"}) { // one that exists, and one that does not
        for (const char* link : {"MACAPI_LIBRARY", "MACAPI_LIBRARY/Preferences"}) {
            fs::remove_all("MACAPI_LIBRARY");
            fs::create_directories(fs::path(link).parent_path() / ".");
            fs::create_symlink(fs::absolute(target), link);
            ASSERT_EQ(lchown(link, 12345, 12345), 0);
            EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), std::to_string(afpAccessDenied)) << link;
            EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, false), std::to_string(afpAccessDenied)) << link;
            EXPECT_TRUE(fs::is_empty("home")) << link;
        }
    }
}

TEST(Folders, OneBehindALinkOfTheUserIsMadeAndFound)
{
    fs::remove_all("MACAPI_LIBRARY");
    fs::create_directory("elsewhere");
    fs::create_symlink(fs::absolute("elsewhere"), "MACAPI_LIBRARY");
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, true), here() + "/MACAPI_LIBRARY/Preferences");
    EXPECT_TRUE(fs::is_directory("elsewhere/Preferences"));
    EXPECT_EQ(find(kLocalDomain, kPreferencesFolderType, false), here() + "/MACAPI_LIBRARY/Preferences");
}

TEST(Folders, AFailureLeavesTheReferenceAlone)
{
    FSRef folder;
    memset(&folder, 0x55, sizeof(folder));
    EXPECT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kDontCreateFolder, &folder), fnfErr);
    for (UInt8 byte : folder.hidden) {
        EXPECT_EQ(byte, 0x55);
    }
}

TEST(FolderReference, KeepsItsPathWhenTheEnvironmentChanges)
{
    setenv("MACAPI_LIBRARY", (here() + "/one").c_str(), 1);
    FSRef one, two, again;
    ASSERT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &one), noErr);
    setenv("MACAPI_LIBRARY", (here() + "/two").c_str(), 1);
    ASSERT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &two), noErr);
    setenv("MACAPI_LIBRARY", (here() + "/one").c_str(), 1);
    ASSERT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &again), noErr);
    const FSRef copy = one;

    UInt8 path[4096];
    ASSERT_EQ(FSRefMakePath(&copy, path, sizeof(path)), noErr);
    EXPECT_EQ(reinterpret_cast<char*>(path), here() + "/one/Preferences");
    ASSERT_EQ(FSRefMakePath(&two, path, sizeof(path)), noErr);
    EXPECT_EQ(reinterpret_cast<char*>(path), here() + "/two/Preferences");
    EXPECT_EQ(memcmp(&one, &again, sizeof(FSRef)), 0); // one folder, one reference
}

TEST(FolderReference, ThePathAndItsNulHaveToFitTheBuffer)
{
    FSRef folder;
    ASSERT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &folder), noErr);
    const std::string expected = here() + "/MACAPI_LIBRARY/Preferences";
    for (size_t size : {size_t(0), size_t(1), expected.size()}) {
        UInt8 path[4096] = "before";
        EXPECT_EQ(FSRefMakePath(&folder, path, size), pathTooLongErr);
        EXPECT_STREQ(reinterpret_cast<char*>(path), "before");
    }
    UInt8 path[4096];
    EXPECT_EQ(FSRefMakePath(&folder, path, expected.size() + 1), noErr);
    EXPECT_EQ(reinterpret_cast<char*>(path), expected);
}

TEST(FolderReference, AReferenceThatFSFindFolderDidNotMakeIsRefused)
{
    FSRef folder;
    ASSERT_EQ(FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &folder), noErr);
    UInt8 path[4096];
    for (int byte : {0x00, 0x55, 0xff}) {
        FSRef garbage;
        memset(&garbage, byte, sizeof(garbage));
        EXPECT_EQ(FSRefMakePath(&garbage, path, sizeof(path)), errFSBadFSRef);
    }
    for (size_t i = 0; i < sizeof(folder.hidden); i++) {
        FSRef changed = folder;
        changed.hidden[i] ^= 0x40;
        EXPECT_EQ(FSRefMakePath(&changed, path, sizeof(path)), errFSBadFSRef) << i;
    }
    EXPECT_EQ(FSRefMakePath(nullptr, path, sizeof(path)), paramErr);
    EXPECT_EQ(FSRefMakePath(&folder, nullptr, sizeof(path)), paramErr);
}

TEST(Folders, AreFoundFromManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 50; turn++) {
                EXPECT_NE(find(kLocalDomain, kPreferencesFolderType, true).find("/MACAPI_LIBRARY/"),
                          std::string::npos);
                EXPECT_NE(find(kUserDomain, kPreferencesFolderType, true).find("/MACAPI_USER_LIBRARY/"),
                          std::string::npos);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
