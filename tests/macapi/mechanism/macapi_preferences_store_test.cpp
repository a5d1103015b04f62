// The preferences store: its files, and what several processes and threads make of them.
#include "tests/support/preferences_fixture.h"
#include "tests/support/troubled_system.h"

#include "macapi/src/objects/plist.h"

#include <stdlib.h>
#include <thread>
#include <vector>

using namespace macapi;

TEST(PreferencesFile, IsAPropertyListForEachDomain)
{
    EXPECT_TRUE(keep("Player", "Anna"));
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Player", "Anna")));
    EXPECT_EQ(preferencesFile(sc_game), fs::absolute(sc_file));
}

TEST(PreferencesFile, HasItsLockAndItsCopyBesideIt)
{
    makeStore();
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist", "com.example.game.plist.bak",
                                              "com.example.game.plist.lock"}));
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".bak"), contentsOf(sc_file));
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".lock"), "");
}

TEST(PreferencesFile, NamesTheDomain)
{
    const std::string user = fs::absolute("MACAPI_USER_LIBRARY/Preferences/");
    const std::string machine = fs::absolute("MACAPI_LIBRARY/Preferences/");
    using D = PreferencesDomain;
    const auto anyUser = PreferencesUser::Any;
    const auto currentUser = PreferencesUser::Current;
    const auto anyHost = PreferencesHost::Any;
    EXPECT_EQ(preferencesFile(D{"a.b", currentUser, anyHost}), user + "a.b.plist");
    EXPECT_EQ(preferencesFile(D{"a.b", anyUser, anyHost}), machine + "a.b.plist");
    EXPECT_EQ(preferencesFile(D{sc_anyApplication, currentUser, anyHost}), user + ".GlobalPreferences.plist");
    EXPECT_EQ(preferencesFile(D{sc_anyApplication, anyUser, anyHost}), machine + ".GlobalPreferences.plist");

    const std::string ours = preferencesFile({"a.b", currentUser, PreferencesHost::Current});
    const std::string host = ours.substr((user + "ByHost/a.b.").size(), 16);
    EXPECT_EQ(ours, user + "ByHost/a.b." + host + ".plist");
    EXPECT_EQ(host.find_first_not_of("0123456789abcdef"), host.npos);
    EXPECT_EQ(preferencesFile({sc_anyApplication, anyUser, PreferencesHost::Current}),
              machine + "ByHost/.GlobalPreferences." + host + ".plist");
}

TEST(PreferencesFile, AnApplicationsNameNeverLeadsOutOfTheFolder)
{
    const std::string longest(160, 'a');
    const std::pair<std::string, std::string> cases[] = {
        {"A Game", "A Game"},
        {"Überspiel", "Überspiel"},
        {"..", "%2e."},
        {".", "%2e"},
        {"../../etc/passwd", "%2e.%2f..%2fetc%2fpasswd"},
        {"/", "%2f"},
        {"a/b", "a%2fb"},
        {"a%2fb", "a%252fb"}, // so that this is another
        {".GlobalPreferences", "%2eGlobalPreferences"},
        {"one\ntwo\x7f", "one%0atwo%7f"},
        {longest, longest},
    };
    for (const auto& [application, file] : cases) {
        const PreferencesDomain domain = {application, PreferencesUser::Current, PreferencesHost::Any};
        EXPECT_EQ(preferencesFile(domain), fs::absolute("MACAPI_USER_LIBRARY/Preferences/" + file + ".plist"));
        EXPECT_TRUE(keep("Player", application, domain)) << application;
        EXPECT_EQ(value("Player", domain), application);
    }
    EXPECT_EQ(filesIn("MACAPI_USER_LIBRARY"), std::set<std::string>{"Preferences"});
}

TEST(PreferencesFile, LongNamesDifferInTheirHash)
{
    std::set<std::string> paths;
    for (const std::string end : {"", "b", "c", "ü"}) {
        for (size_t length : {161, 162, 1000, 100000}) {
            const PreferencesDomain domain = {std::string(length, 'a') + end, PreferencesUser::Current,
                                              PreferencesHost::Current};
            paths.insert(preferencesFile(domain));
            EXPECT_TRUE(keep("Length", std::to_string(length), domain));
            EXPECT_EQ(value("Length", domain), std::to_string(length));
        }
    }
    EXPECT_EQ(paths.size(), 16u);
    const std::string cut =
        preferencesFile({std::string(159, 'a') + "üüü", PreferencesUser::Current, PreferencesHost::Any});
    EXPECT_NE(cut.find(std::string(159, 'a') + "%-"), cut.npos); // no character is cut in two
}

TEST(PreferencesFile, AnApplicationWithoutANameHasNone)
{
    const PreferencesDomain domain = {"", PreferencesUser::Current, PreferencesHost::Any};
    EXPECT_EQ(preferencesFile(domain), "");
    EXPECT_FALSE(keep("Player", "Anna", domain));
    EXPECT_EQ(value("Player", domain), "(none)");
    EXPECT_TRUE(copyPreferences(domain)->entries.empty());
}

TEST(PreferencesFile, AUserWithoutAHomeHasNone)
{
    unsetenv("MACAPI_USER_LIBRARY");
    setenv("XDG_CONFIG_HOME", "", 1);
    setenv("HOME", "", 1);
    if (preferencesFile(sc_game).empty()) { // else the password file knows one
        EXPECT_FALSE(keep("Player", "Anna"));
        EXPECT_EQ(value("Player"), "(none)");
    }
    setenv("HOME", "/dev/null", 1);
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_EQ(value("Player"), "(none)");
}

TEST(PreferencesFile, IsTheUsersAloneAndTheMachinesForAllToRead)
{
    const PreferencesDomain machine = {"com.example.game", PreferencesUser::Any, PreferencesHost::Any};
    umask(0);
    EXPECT_TRUE(keep("Player", "Anna"));
    umask(0777);
    EXPECT_TRUE(keep("Player", "Anna", machine));
    EXPECT_EQ(modeOf(sc_file), 0600);
    EXPECT_EQ(modeOf(std::string(sc_file) + ".bak"), 0600);
    EXPECT_EQ(modeOf(std::string(sc_file) + ".lock"), 0600);
    EXPECT_EQ(modeOf("MACAPI_LIBRARY/Preferences/com.example.game.plist"), 0644);
    EXPECT_EQ(modeOf("MACAPI_LIBRARY/Preferences/com.example.game.plist.lock"), 0666); // others write as well
}

TEST(PreferencesFile, KeepsTheModeItWasGiven)
{
    makeStore();
    chmod(sc_file, 0640);
    EXPECT_TRUE(keep("Level", "4"));
    EXPECT_EQ(modeOf(sc_file), 0640);
}

TEST(PreferencesFile, KeepsItsOwnerWhenRootWritesIt)
{
    makeStore();
    if (chown(sc_file, 1234, 5678) != 0) {
        GTEST_SKIP() << "nobody else can give a file away";
    }
    EXPECT_TRUE(keep("Level", "4"));
    struct stat status;
    ASSERT_EQ(stat(sc_file, &status), 0);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 5678u);
}

TEST(PreferencesFile, ALinkIsWrittenThrough)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fs::create_directories("elsewhere");
    fill("elsewhere/file", plistOf(entry("Player", "Anna")));
    fs::create_symlink("../../elsewhere/link", sc_file);
    fs::create_symlink(fs::absolute("elsewhere/file"), "elsewhere/link");
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_TRUE(keep("Level", "3"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_TRUE(fs::is_symlink("elsewhere/link"));
    EXPECT_EQ(contentsOf("elsewhere/file"), plistOf(entry("Level", "3") + entry("Player", "Anna")));
}

TEST(PreferencesFile, ALinkToAMissingFileIsWrittenThrough)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fs::create_symlink(fs::absolute("file"), sc_file);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_TRUE(keep("Player", "Anna"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_EQ(contentsOf("file"), plistOf(entry("Player", "Anna")));
}

TEST(PreferencesFile, ALinkToItselfIsLeftAlone)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fs::create_symlink("com.example.game.plist", sc_file);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(keep("Player", "Anna"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
}

TEST(PreferencesFile, CarriesValuesOfAllKindsThroughARewrite)
{
    makeStore();
    const std::string kinds = "\t<key>array</key>\n\t<array>\n\t\t<integer>1</integer>\n\t\t<dict>\n\t\t\t<key>a"
                              "</key>\n\t\t\t<false/>\n\t\t</dict>\n\t</array>\n"
                              "\t<key>data</key>\n\t<data>iVBORw0KGgo=</data>\n"
                              "\t<key>date</key>\n\t<date>2003-10-24T18:00:00Z</date>\n"
                              "\t<key>integer</key>\n\t<integer>18446744073709551615</integer>\n"
                              "\t<key>real</key>\n\t<real>59.94</real>\n"
                              "\t<key>true</key>\n\t<true/>\n";
    fill(sc_file, plistOf(kinds));
    EXPECT_TRUE(keep("Level", "4"));
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "4") + kinds));
}

TEST(PreferencesFile, IsNotMadeToRemoveAValueThatNeverWas)
{
    setPreference(sc_game, "Player", nullptr);
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_FALSE(fs::exists(sc_file));
}

TEST(PreferencesFile, MayLoseItsLastValue)
{
    EXPECT_TRUE(keep("Player", "Anna"));
    setPreference(sc_game, "Player", nullptr);
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_EQ(contentsOf(sc_file), plistOf(""));
}

TEST(PreferencesFile, WhatNestsTooDeepIsNotTaken)
{
    Ref<Object> value = makeBoolean(true);
    for (int depth = 2; depth < sc_plistDepth; depth++) {
        __CFArray::Items items;
        items.push_back(std::move(value));
        value = make<__CFArray>(std::move(items));
    }
    setPreference(sc_game, "Deep", share(value.get()));
    __CFArray::Items items;
    items.push_back(std::move(value));
    setPreference(sc_game, "Deeper", make<__CFArray>(std::move(items)));
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_EQ(::value("Deep"), "(no string)");
    EXPECT_EQ(::value("Deeper"), "(none)");
}

TEST(PreferencesFile, WhatIsTooLargeToReadBackIsNotWritten)
{
    makeStore();
    EXPECT_FALSE(keep("Book", std::string(16 << 20, 'a')));
    EXPECT_EQ(value("Book"), "(none)");
    EXPECT_TRUE(keep("Book", std::string(1 << 20, 'a')));
    EXPECT_EQ(value("Book").size(), 1u << 20);
    EXPECT_EQ(value("Player"), "Anna");
}

TEST(PreferencesFile, ReportsItsState)
{
    EXPECT_EQ(checkPreferences("file"), PreferencesState::Missing);
    fill("file", plistOf(entry("Player", "Anna")));
    EXPECT_EQ(checkPreferences("file"), PreferencesState::Good);
    for (const char* contents : {"", "<plist>", "<plist><array/></plist>", "<plist><string>a</string></plist>"}) {
        fill("file", contents);
        EXPECT_EQ(checkPreferences("file"), PreferencesState::Damaged) << contents;
        EXPECT_EQ(contentsOf("file"), contents);
    }
    EXPECT_EQ(checkPreferences("."), PreferencesState::Unreadable);
    EXPECT_EQ(checkPreferences("file/file"), PreferencesState::Unreadable);
}

TEST(PreferencesStore, ListsAllThereIs)
{
    makeStore();
    set("Level", "4");
    setPreference(sc_game, "Player", nullptr);
    setPreference(sc_game, "Width", makeInteger(640));
    const Ref<__CFDictionary> all = copyPreferences(sc_game); // pending values as well
    std::string text;
    EXPECT_TRUE(writePlist(*all, &text));
    EXPECT_EQ(text, plistOf(entry("Level", "4") + "\t<key>Width</key>\n\t<integer>640</integer>\n"));
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "3") + entry("Player", "Anna")));
}

TEST(PreferencesStore, OnlyTheKeysThatWereSetHereAreChanged)
{
    makeStore();
    EXPECT_EQ(value("Player"), "Anna");
    set("Level", "4");
    setPreference(sc_game, "Gone", nullptr);
    fill(sc_file, plistOf(entry("Gone", "a") + entry("Level", "9") + entry("Player", "Bea")));
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_EQ(contentsOf(sc_file), plistOf(entry("Level", "4") + entry("Player", "Bea")));
    EXPECT_EQ(value("Player"), "Bea");
}

// Files are dated by a clock of slow ticks, as most systems have.
static bool s_slowClock;

static int dated(int result, struct stat* status)
{
    if (s_slowClock && result == 0) {
        status->st_mtim.tv_nsec -= status->st_mtim.tv_nsec % 10000000;
        status->st_ctim.tv_nsec -= status->st_ctim.tv_nsec % 10000000;
    }
    return result;
}

// A 32-bit system whose times have 64 bits has other functions for them.
static const bool sc_longTimes = sizeof(long) < sizeof(time_t);

extern "C" int stat(const char* path, struct stat* status) noexcept
{
    return dated(systems(&stat, sc_longTimes ? "__stat64_time64" : "stat64")(path, status), status);
}

extern "C" int fstat(int file, struct stat* status) noexcept
{
    return dated(systems(&fstat, sc_longTimes ? "__fstat64_time64" : "fstat64")(file, status), status);
}

TEST(PreferencesStore, SeesWhatAnotherHasWrittenAtOnce)
{
    makeStore();
    s_slowClock = true;
    for (int turn = 100; turn < 300; turn++) { // mostly within one tick
        for (const std::string place : {"a", "b"}) {
            fill(sc_file, plistOf(entry("Player", place + std::to_string(turn)))); // the same file, of the same size
            ASSERT_EQ(value("Player"), place + std::to_string(turn));
        }
        fill("fresh", plistOf(entry("Player", "c" + std::to_string(turn))));
        fs::rename("fresh", sc_file); // often the inode of the one before the last
        ASSERT_EQ(value("Player"), "c" + std::to_string(turn));
    }
    fs::remove(sc_file);
    EXPECT_EQ(value("Player"), "(none)");
}

TEST(PreferencesStore, AFileThatStaysTheSameIsReadOnce)
{
    makeStore();
    while (callsDuring({"read"}, [] { value("Player"); }) > 0) {
        // until its last change is old enough to be told from another
    }
    EXPECT_EQ(callsDuring({"open", "read"},
                          [] {
                              for (int turn = 0; turn < 1000; turn++) {
                                  EXPECT_EQ(value("Player"), "Anna");
                                  EXPECT_EQ(value("Nobody"), "(none)");
                              }
                          }),
              0);
    EXPECT_TRUE(synchronizePreferences(sc_game)); // forgets
    EXPECT_GT(callsDuring({"read"}, [] { EXPECT_EQ(value("Player"), "Anna"); }), 0);
}

TEST(PreferencesStore, WithNothingPendingNothingIsWritten)
{
    makeStore();
    EXPECT_EQ(callsDuring({}, [] { EXPECT_TRUE(synchronizePreferences(sc_game)); }), 0);
}

TEST(PreferencesStore, AWriteWaitsForItsFileAndItsFolderAndForEveryFolderItMakes)
{
    setenv("MACAPI_USER_LIBRARY", fs::absolute("not/there").c_str(), 1);
    // Three folders when they are made, and the folders around the file before the file is made.
    EXPECT_GE(callsDuring({"fsync"}, [] { EXPECT_TRUE(keep("Player", "Anna")); }), 2 + 3 + 3);
    EXPECT_EQ(callsDuring({"fsync"}, [] { EXPECT_TRUE(keep("Player", "Bea")); }), 2);
}

// Repeats the write if other writers hold the lock for 5 seconds, as can happen on a busy disk.
static void keepAtLast(const std::string& key, const std::string& value)
{
    int tries = 1;
    while (!keep(key, value) && tries < 20) {
        ++tries;
    }
    EXPECT_LT(tries, 20);
}

static void writeMany(int writer)
{
    for (int turn = 0; turn < 25; turn++) {
        keepAtLast("writer " + std::to_string(writer) + " turn " + std::to_string(turn), "done");
        keepAtLast("writer " + std::to_string(writer), std::to_string(turn));
    }
}

static void expectAllOf(int writers)
{
    for (int writer = 0; writer < writers; writer++) {
        EXPECT_EQ(value("writer " + std::to_string(writer)), "24");
    }
    EXPECT_EQ(copyPreferences(sc_game)->entries.size(), writers * 26u);
}

TEST(PreferencesStore, EightProcessesLoseNoneOfTheirKeys)
{
    std::vector<pid_t> children;
    for (int writer = 0; writer < 8; writer++) {
        children.push_back(fork());
        if (children.back() == 0) {
            writeMany(writer);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
    }
    for (pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    expectAllOf(8);
}

TEST(PreferencesStore, EightThreadsLoseNoneOfTheirKeys)
{
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 8; writer++) {
        threads.emplace_back(writeMany, writer);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    expectAllOf(8);
}

TEST(PreferencesStore, AReaderSeesOneStateAndNeverHalfOfTwo)
{
    set("One", "0");
    ASSERT_TRUE(keep("Two", "0"));
    const pid_t writer = fork();
    if (writer == 0) {
        for (int turn = 0;; turn++) {
            set("One", std::to_string(turn));
            keep("Two", std::to_string(turn));
        }
    }
    for (int turn = 0; turn < 500; turn++) {
        const Ref<__CFDictionary> all = copyPreferences(sc_game);
        ASSERT_EQ(as<__CFString>(all->find("One"))->text, as<__CFString>(all->find("Two"))->text);
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
}
