// The preferences store in trouble: damaged files, a system that fails, and processes that end half-way.
#include "tests/support/preferences_fixture.h"
#include "tests/support/troubled_system.h"

#include <Carbon/Carbon.h>

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

using namespace macapi;

static std::string damage(const std::string& contents)
{
    fill(sc_file, contents);
    testing::internal::CaptureStderr();
    value("Player");
    return testing::internal::GetCapturedStderr();
}

TEST(DamagedPreferences, AreSetAsideAndWhatWasLastWrittenIsBack)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    const std::string path = preferencesFile(sc_game);
    EXPECT_EQ(damage("no property list"), "macapi: preferences " + path + " did not parse and were set aside as " +
                                              path + ".damaged-1; what was last written is back\n");
    EXPECT_EQ(contentsOf(path + ".damaged-1"), "no property list");
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_EQ(value("Level"), "3");
    EXPECT_EQ(contentsOf(sc_file), good);
    EXPECT_TRUE(keep("Level", "4"));
    EXPECT_EQ(contentsOf(path + ".damaged-1"), "no property list");
}

TEST(DamagedPreferences, AreReportedInOneLineWithoutControlCharacters)
{
    const char* const sc_library = "new\nline \xc2\x9b"
                                   "31m \xe2\x80\xae";
    fs::create_directories(std::string(sc_library) + "/Preferences");
    setenv("MACAPI_USER_LIBRARY", sc_library, 1);
    fill(preferencesFile(sc_game), "damage");
    testing::internal::CaptureStderr();
    value("Player");
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("/new\\nline \\xC2\\x9B"
                        "31m \\xE2\\x80\\xAE/Preferences/"),
              std::string::npos)
        << said;
    EXPECT_EQ(said.find_first_of("\xc2\xe2"), std::string::npos);
    EXPECT_EQ(said.find('\n'), said.size() - 1);
}

TEST(DamagedPreferences, WithoutAnEarlierFileBeginEmpty)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    const std::string path = preferencesFile(sc_game);
    EXPECT_EQ(damage(""), "macapi: preferences " + path + " did not parse and were set aside as " + path +
                              ".damaged-1; they begin anew\n");
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist.damaged-1", "com.example.game.plist.lock"}));
    EXPECT_TRUE(keep("Level", "4"));
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "4")));
}

TEST(DamagedPreferences, NeverTakeThePlaceOfEarlierOnes)
{
    makeStore();
    for (int number = 1; number <= 12; number++) {
        EXPECT_NE(damage("damage " + std::to_string(number)), "");
    }
    for (int number = 1; number <= 12; number++) {
        EXPECT_EQ(contentsOf(std::string(sc_file) + ".damaged-" + std::to_string(number)),
                  "damage " + std::to_string(number));
    }
    EXPECT_EQ(value("Player"), "Anna");
}

TEST(DamagedPreferences, AreFoundByAWriteAsWell)
{
    makeStore();
    fill(sc_file, "<plist><array/></plist>"); // a property list, but no dictionary
    set("Level", "4");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "4") + entry("Player", "Anna")));
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".damaged-1"), "<plist><array/></plist>");
}

TEST(DamagedPreferences, WithADamagedCopyBeginEmpty)
{
    makeStore();
    fill(std::string(sc_file) + ".bak", "<plist>");
    EXPECT_NE(damage("<plist>"), "");
    EXPECT_EQ(value("Player"), "(none)");
}

TEST(DamagedPreferences, TruncatedAnywhereAreRestoredWhole)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    for (size_t length = 0; length + 1 < good.size(); length++) {
        EXPECT_NE(damage(good.substr(0, length)), "") << length;
        ASSERT_EQ(contentsOf(sc_file), good) << length;
    }
}

TEST(DamagedPreferences, KeepTheirMode)
{
    makeStore();
    chmod(sc_file, 0640);
    EXPECT_NE(damage("damage"), "");
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_EQ(modeOf(sc_file), 0640);
}

TEST(DamagedPreferences, AFileThatALinkLeadsToIsNeverSetAside) // any file may be there
{
    makeStore();
    fs::rename(sc_file, "file");
    fs::rename(std::string(sc_file) + ".bak", "file.bak");
    fs::remove(std::string(sc_file) + ".lock");
    fs::create_symlink(fs::absolute("file"), sc_file);
    const std::string said = damage("damage");
    EXPECT_NE(said.find(preferencesFile(sc_game)), said.npos) << said;
    EXPECT_EQ(value("Player"), "Anna"); // from the copy
    EXPECT_FALSE(keep("Player", "Bea"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_EQ(contentsOf("file"), "damage");
    EXPECT_EQ(filesIn("."), (std::set<std::string>{"MACAPI_LIBRARY", "MACAPI_USER_LIBRARY", "file", "file.bak"}));
}

TEST(DamagedPreferences, ThatCannotBeSetAsideStayAsTheyAreAndAreReportedOnce)
{
    makeStore();
    fill(sc_file, "damage");
    testing::internal::CaptureStderr();
    s_trouble = readOnlyDisk();
    for (int turn = 0; turn < 3; turn++) {
        EXPECT_EQ(value("Player"), "Anna"); // from the copy
        EXPECT_FALSE(keep("Player", "Bea"));
    }
    s_trouble.armed = false;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find(preferencesFile(sc_game)), said.npos) << said;
    EXPECT_EQ(contentsOf(sc_file), "damage");
}

TEST(DamagedPreferences, OnAFullDiskWaitForRoomToPutTheCopyBack)
{
    makeStore();
    fill(sc_file, "damage");
    s_trouble = Trouble();
    s_trouble.only = {"write"};
    s_trouble.at = 1;
    s_trouble.persists = true;
    s_trouble.error = ENOSPC;
    s_trouble.armed = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_FALSE(keep("Player", "Bea"));
    s_trouble.armed = false;
    EXPECT_EQ(contentsOf(sc_file), "damage");

    EXPECT_TRUE(keep("Level", "4"));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "4") + entry("Player", "Anna")));
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".damaged-1"), "damage");
    EXPECT_FALSE(fs::exists(std::string(sc_file) + ".damaged-2"));
}

TEST(DamagedPreferences, AreCopiedToAnotherNameWhereAFileCanHaveOnlyOne)
{
    makeStore();
    s_trouble = Trouble();
    s_trouble.only = {"linkat"};
    s_trouble.at = 1;
    s_trouble.error = EPERM;
    s_trouble.armed = true;
    EXPECT_NE(damage("damage"), "");
    s_trouble.armed = false;
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".damaged-1"), "damage");
}

TEST(DamagedPreferences, KeepTheirNameUntilACopyReplacesThemWhereAFileCanHaveOnlyOne)
{
    makeStore();
    fill(sc_file, "damage");
    s_trouble = Trouble();
    s_trouble.only = {"linkat", "create"};
    s_trouble.at = 1;
    s_trouble.persists = true;
    s_trouble.error = EPERM;
    s_trouble.armed = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(value("Player"), "Anna");
    s_trouble.armed = false;
    EXPECT_EQ(contentsOf(sc_file), "damage");
    EXPECT_EQ(value("Player"), "Anna"); // not a missing file
    testing::internal::GetCapturedStderr();
}

TEST(DamagedPreferences, HaveTheirNewNameOnTheDiskBeforeTheOldOneGetsOtherBytes)
{
    makeStore();
    fill(sc_file, "damage");
    std::set<std::string> atFirstSync;
    s_trouble = Trouble();
    s_trouble.only = {"fsync"};
    s_trouble.at = 1;
    s_trouble.meanwhile = [&] { atFirstSync = files(); };
    s_trouble.armed = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(value("Player"), "Anna");
    s_trouble.armed = false;
    const std::string name = "com.example.game.plist";
    EXPECT_EQ(atFirstSync, (std::set<std::string>{name, name + ".bak", name + ".damaged-1", name + ".lock"}));

    fs::remove(sc_file + std::string(".bak"));
    fill(sc_file, "more damage");
    s_trouble = Trouble();
    s_trouble.only = {"fsync"};
    s_trouble.at = 1;
    s_trouble.error = EIO;
    s_trouble.armed = true;
    EXPECT_EQ(value("Player"), "(none)");
    s_trouble.armed = false;
    EXPECT_EQ(contentsOf(sc_file), "more damage");
    testing::internal::GetCapturedStderr();
}

TEST(DamagedPreferences, AreReportedInOneLineWhateverTheFolderIsCalled)
{
    setenv("MACAPI_USER_LIBRARY", fs::absolute("two\nlines").c_str(), 1);
    ASSERT_TRUE(keep("Player", "Anna"));
    fill(preferencesFile(sc_game), "damage");
    testing::internal::CaptureStderr();
    EXPECT_EQ(value("Player"), "Anna");
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
}

// What can't be read

TEST(UnreadablePreferences, AreNoFileOrTooLargeAndLeftAlone)
{
    fs::create_directories(sc_file);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_TRUE(fs::is_directory(sc_file));
    fs::remove(sc_file);

    ASSERT_EQ(mkfifo(sc_file, 0600), 0);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_TRUE(fs::is_fifo(sc_file));
    fs::remove(sc_file);

    fill(sc_file, plistOf(entry("Player", std::string(16 << 20, 'a'))));
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist", "com.example.game.plist.lock"}));
}

static std::string manyDictionaries()
{
    std::string text = "<plist><dict><key>a</key><array>";
    while (text.size() < (16 << 20) - 100) {
        text += "<dict/>";
    }
    return text + "</array></dict></plist>";
}

TEST(UnreadablePreferences, HoldTooMuchAndAreLeftAlone)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fill(sc_file, manyDictionaries());
    EXPECT_EQ(value("a"), "(none)");
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist", "com.example.game.plist.lock"}));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // these need the memory themselves
TEST(UnreadablePreferences, TooLargeForMemoryAreLeftAloneAndNothingIsThrown)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    const std::string contents = plistOf(entry("Player", std::string(15 << 20, 'a')));
    fill(sc_file, contents);
    const int status = run([] {
        rlimit limit = {};
        std::ifstream pages("/proc/self/statm");
        pages >> limit.rlim_cur;
        limit.rlim_cur = limit.rlim_max = limit.rlim_cur * static_cast<rlim_t>(getpagesize()) + (24 << 20);
        if (setrlimit(RLIMIT_AS, &limit) != 0 || malloc(64 << 20)) {
            _exit(77); // an emulator's program has no limit
        }
        const CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("Player"), CFSTR("com.example.game"));
        CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Bea"), CFSTR("com.example.game"));
        const bool isWritten = CFPreferencesAppSynchronize(CFSTR("com.example.game"));
        _exit(value ? 4 : isWritten ? 5 : 0);
    });
    EXPECT_TRUE(contentsOf(sc_file) == contents);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "memory can't be limited here";
    }
    EXPECT_EQ(status, 0);
}
#endif

TEST(UnreadablePreferences, OfAnotherUserOrABadDiskAreLeftAlone)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    const std::pair<const char*, int> cases[] = {{"open", EACCES}, {"open", EMFILE}, {"read", EIO}};
    for (const auto& [call, error] : cases) {
        EXPECT_TRUE(synchronizePreferences(sc_game)); // what has been read once is still known otherwise
        s_trouble = Trouble();
        s_trouble.only = {call};
        s_trouble.at = 1;
        s_trouble.persists = true;
        s_trouble.error = error;
        s_trouble.armed = true;
        EXPECT_EQ(value("Player"), "(none)");
        EXPECT_FALSE(keep("Player", "Bea"));
        s_trouble.armed = false;
        EXPECT_EQ(contentsOf(sc_file), good);
        EXPECT_EQ(value("Player"), "Anna"); // and nothing is pending
    }
}

// A system that fails

// Every call of a write in turn fails, until one is left out: then it succeeds.
static void expectDroppedAtEveryCall(int error)
{
    makeStore();
    for (int at = 1;; at++) {
        const std::string before = contentsOf(sc_file);
        set("Level", std::to_string(at));
        s_trouble = Trouble();
        s_trouble.at = at;
        s_trouble.error = error;
        s_trouble.armed = true;
        const bool written = synchronizePreferences(sc_game);
        s_trouble.armed = false;
        EXPECT_EQ(files().count("com.example.game.plist.new"), 0u) << at;
        EXPECT_EQ(value("Player"), "Anna");
        if (written) {
            EXPECT_EQ(value("Level"), std::to_string(at));
        } else if (contentsOf(sc_file) != before) {
            EXPECT_EQ(value("Level"), std::to_string(at)); // all was done but for the wait for the folder
        }
        if (s_trouble.calls < at) {
            EXPECT_TRUE(written);
            EXPECT_GT(at, 10);
            break;
        }
    }
}

TEST(TroubledPreferences, AWriteThatAFullDiskRefusesIsDropped)
{
    expectDroppedAtEveryCall(ENOSPC);
}

TEST(TroubledPreferences, AWriteThatABadDiskRefusesIsDropped)
{
    expectDroppedAtEveryCall(EIO);
}

TEST(TroubledPreferences, AWriteThatMayNotBeMadeIsDropped)
{
    expectDroppedAtEveryCall(EACCES);
}

TEST(TroubledPreferences, EachFailingCallReachesTheWrite)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    for (const char* call : {"create", "write", "fsync", "renameat", "fcntl", "fchmod"}) {
        set("Level", "4");
        s_trouble = Trouble();
        s_trouble.only = {call};
        s_trouble.at = 1;
        s_trouble.error = EIO;
        s_trouble.armed = true;
        EXPECT_FALSE(synchronizePreferences(sc_game)) << call;
        s_trouble.armed = false;
        EXPECT_EQ(contentsOf(sc_file), good) << call;
        EXPECT_EQ(value("Level"), "3") << call; // dropped, not pending
    }
    set("Level", "4");
    s_trouble.only = {"fsync"};
    s_trouble.calls = 0;
    s_trouble.at = 2; // the folder's
    s_trouble.armed = true;
    EXPECT_FALSE(synchronizePreferences(sc_game));
    s_trouble.armed = false;
}

TEST(TroubledFolders, AFolderThatTheDiskRefusesReturnsTheReason)
{
    const struct {
        int error;
        OSErr status;
    } reasons[] = {{EPERM, permErr},    {EACCES, permErr},   {EROFS, wPrErr}, {ENOSPC, dskFulErr},
                   {EDQUOT, dskFulErr}, {ENOTDIR, dirNFErr}, {EIO, ioErr}};
    for (const auto& reason : reasons) {
        s_trouble = Trouble();
        s_trouble.only = {"mkdirat"};
        s_trouble.at = 1;
        s_trouble.error = reason.error;
        s_trouble.armed = true;
        FSRef folder;
        EXPECT_EQ(FSFindFolder(kLocalDomain, kApplicationSupportFolderType, true, &folder), reason.status)
            << strerror(reason.error);
        s_trouble.armed = false;
        EXPECT_EQ(FSFindFolder(kLocalDomain, kApplicationSupportFolderType, false, &folder), fnfErr); // none was made
    }
}

TEST(TroubledPreferences, TheFirstWriteAlsoWaitsForFoldersThatAnotherProcessMade)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences"); // and was killed before it synchronised them
    const int first = callsDuring({"fsync"}, [] { EXPECT_TRUE(keep("Level", "3")); });
    const int second = callsDuring({"fsync"}, [] { EXPECT_TRUE(keep("Level", "4")); });
    EXPECT_EQ(second, 2); // the file and its folder
    EXPECT_GE(first, second + 2);

    fs::remove_all("MACAPI_USER_LIBRARY");
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    s_trouble = Trouble();
    s_trouble.only = {"fsync"};
    s_trouble.at = 1;
    s_trouble.error = EIO;
    s_trouble.armed = true;
    EXPECT_FALSE(keep("Level", "3"));
    s_trouble.armed = false;
    EXPECT_EQ(files(), std::set<std::string>()); // not even a lock: another process need not wait for this disk
}

TEST(TroubledPreferences, AFullDiskMayCostTheCopyButNotTheFile)
{
    makeStore();
    set("Level", "4");
    s_trouble = Trouble();
    s_trouble.only = {"write"};
    s_trouble.at = 2;
    s_trouble.persists = true;
    s_trouble.error = ENOSPC;
    s_trouble.armed = true;
    EXPECT_TRUE(synchronizePreferences(sc_game));
    s_trouble.armed = false;
    EXPECT_EQ(value("Level"), "4");
    EXPECT_FALSE(fs::exists(std::string(sc_file) + ".bak"));
}

TEST(TroubledPreferences, AnApplicationWhoseNameCannotBeReadNowIsLookedUpAgain)
{
    const PreferencesDomain current = {sc_currentApplication, PreferencesUser::Current, PreferencesHost::Any};
    s_trouble = Trouble();
    s_trouble.only = {"open"}; // of Info.plist, which has the name
    s_trouble.at = 1;
    s_trouble.persists = true;
    s_trouble.error = EMFILE;
    s_trouble.armed = true;
    EXPECT_EQ(preferencesFile(current), ""); // not the file of a game without an Info.plist
    EXPECT_FALSE(keep("Level", "3", current));
    EXPECT_FALSE(copyAppPreference(sc_currentApplication, "Level"));
    s_trouble.armed = false;
    EXPECT_TRUE(keep("Level", "4", current));
    EXPECT_EQ(value("Level", current), "4");
    EXPECT_TRUE(copyAppPreference(sc_currentApplication, "Level"));
    EXPECT_EQ(files().count("macapi_preferences_trouble_test.plist"), 1u);
}

TEST(TroubledPreferences, AReadOnlyDiskIsReadAndNotWritten)
{
    makeStore();
    s_trouble = readOnlyDisk();
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_FALSE(keep("Player", "Bea"));
    EXPECT_EQ(value("Player"), "Anna");
    s_trouble.armed = false;
}

TEST(TroubledPreferences, AnInterruptedCallIsMadeAgain)
{
    makeStore();
    for (const char* call : {"open", "create", "read", "write", "fsync", "fcntl"}) {
        set("Level", call);
        s_trouble = Trouble();
        s_trouble.only = {call};
        s_trouble.at = 1;
        s_trouble.error = EINTR;
        s_trouble.armed = true;
        EXPECT_TRUE(synchronizePreferences(sc_game)) << call;
        s_trouble.armed = false;
        EXPECT_EQ(value("Level"), call);
    }
}

TEST(TroubledPreferences, AWriteMayTakeManyShortOnes)
{
    s_trouble = Trouble();
    s_trouble.shortWrites = true;
    s_trouble.armed = true;
    makeStore();
    s_trouble.armed = false;
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "3") + entry("Player", "Anna")));
}

TEST(TroubledPreferences, AFileSystemWithoutAWaitForItsFoldersWillDo)
{
    s_trouble = Trouble();
    s_trouble.only = {"fsync"};
    s_trouble.at = 1;
    s_trouble.persists = true;
    s_trouble.error = EINVAL;
    s_trouble.armed = true;
    makeStore();
    s_trouble.armed = false;
}

// A process that is killed

// The part in a process of its own, which is killed at its call number at. False when it had fewer.
static bool killedAt(int at, const std::function<void()>& part)
{
    const int status = run([&] {
        s_trouble = Trouble();
        s_trouble.at = at;
        s_trouble.armed = true;
        part();
        s_trouble.armed = false;
    });
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || status == 0) << status;
    return killed;
}

TEST(KilledPreferences, HoldTheOldOrTheNewValueAndAllOthers)
{
    makeStore();
    std::string last = "3";
    std::set<std::string> seen;
    for (int at = 1;; at++) {
        const std::string next = std::to_string(1000 + at);
        const bool killed = killedAt(at, [&] { keep("Level", next); });
        const std::string now = value("Level");
        EXPECT_TRUE(now == last || now == next) << now;
        seen.insert(now == last ? "old" : "new");
        EXPECT_EQ(value("Player"), "Anna");
        EXPECT_EQ(copyPreferences(sc_game)->entries.size(), 2u);
        last = std::to_string(2000 + at);
        EXPECT_TRUE(keep("Level", last)); // open to others at once
        EXPECT_EQ(files().count("com.example.game.plist.new"), 0u);
        if (!killed) {
            EXPECT_EQ(now, next);
            EXPECT_GT(at, 15);
            break;
        }
    }
    EXPECT_EQ(seen.size(), 2u);
}

TEST(KilledPreferences, AFirstWriteIsWholeOrNotThere)
{
    for (int at = 1;; at++) {
        fs::remove_all("MACAPI_USER_LIBRARY/Preferences");
        const bool killed = killedAt(at, [] { keep("Player", "Anna"); });
        const std::string now = value("Player");
        EXPECT_TRUE(now == "Anna" || (killed && now == "(none)")) << now;
        EXPECT_TRUE(keep("Player", "Bea"));
        if (!killed) {
            break;
        }
    }
}

// The files of a folder that were set aside.
static std::set<std::string> damagedFiles()
{
    std::set<std::string> damaged;
    for (const std::string& name : files()) {
        if (name.find(".damaged-") != name.npos) {
            damaged.insert("MACAPI_USER_LIBRARY/Preferences/" + name);
        }
    }
    return damaged;
}

TEST(KilledPreferences, WhileADamagedFileIsSetAsideLoseNothing)
{
    makeStore();
    for (int at = 1;; at++) {
        fill(sc_file, "damage");
        testing::internal::CaptureStderr();
        const bool killed = killedAt(at, [] { value("Player"); });
        EXPECT_TRUE(contentsOf(sc_file) == "damage" || damagedFiles().size() == 1) << at;
        EXPECT_EQ(value("Player"), "Anna") << at;
        EXPECT_EQ(value("Level"), "3") << at;
        testing::internal::GetCapturedStderr();

        const std::set<std::string> damaged = damagedFiles();
        ASSERT_EQ(damaged.size(), 1u) << at; // under one name, however often it was begun
        EXPECT_EQ(contentsOf(*damaged.begin()), "damage") << at;
        fs::remove(*damaged.begin());
        if (!killed) {
            EXPECT_GT(at, 10);
            break;
        }
    }
}

TEST(KilledPreferences, ALockEndsWithItsProcessAndNotWithTheChildrenOfIt)
{
    makeStore();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int status = run([&] {
        s_trouble = Trouble();
        s_trouble.only = {"renameat"};
        s_trouble.at = 1;
        s_trouble.meanwhile = [&] {
            s_trouble.armed = false;
            const pid_t child = fork(); // as from another thread, while this one holds the lock
            if (child == 0) {
                char byte;
                close(ends[1]);
                read(ends[0], &byte, 1); // until the test ends
                _exit(0);
            }
            kill(getpid(), SIGKILL);
        };
        s_trouble.armed = true;
        keep("Level", "4");
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(keep("Level", "5")); // would wait for good
    EXPECT_EQ(value("Level"), "5");
    close(ends[1]);
}

TEST(KilledPreferences, AChildMayAskWhileAnotherThreadOfItsParentWrites)
{
    makeStore();
    set("Level", "4");
    s_trouble = Trouble();
    s_trouble.only = {"renameat"};
    s_trouble.at = 1;
    s_trouble.meanwhile = [] {
        s_trouble.armed = false;
        EXPECT_EQ(run([] { EXPECT_EQ(value("Level"), "3"); }), 0); // would wait for good
    };
    s_trouble.armed = true;
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_EQ(value("Level"), "4");
}
