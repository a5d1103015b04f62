// The preferences store on the disk: its files, damage, other processes, and a system that fails or ends half-way.
//
// This program puts its own in front of the system calls that the store makes, and has any of them fail or kill.
#include "macapi/src/plist.h"
#include "macapi/src/preferences_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace macapi;
namespace fs = std::filesystem;

// What happens to the store's system calls while it is armed.
struct Trouble {
    bool armed = false;
    std::set<std::string> only;      // the calls of these names alone; empty: all
    int at = 0;                      // the call it happens to, from 1; 0: to none
    int error = 0;                   // what it fails with; 0: it happens to be the process's last
    bool persists = false;           // to all calls from that one on
    bool shortWrites = false;        // a byte at a time
    std::function<void()> meanwhile; // called in place of that call's failure
    int calls = 0;
};
static Trouble s_trouble;

// The error to fail with; 0 to go on.
static int troubleWith(const char* call)
{
    if (!s_trouble.armed || (!s_trouble.only.empty() && s_trouble.only.count(call) == 0)) {
        return 0;
    }
    s_trouble.calls++;
    if (s_trouble.calls != s_trouble.at && !(s_trouble.persists && s_trouble.calls > s_trouble.at)) {
        return 0;
    }
    if (s_trouble.meanwhile) {
        s_trouble.meanwhile();
    } else if (s_trouble.error == 0) {
        kill(getpid(), SIGKILL);
    }
    return s_trouble.error;
}

template <class T>
static T systems(T, const char* symbol)
{
    return reinterpret_cast<T>(dlsym(RTLD_NEXT, symbol));
}

#define TROUBLED(type, function, parameters, arguments)                                                              \
    extern "C" type function parameters                                                                              \
    {                                                                                                                \
        if (const int error = troubleWith(#function)) {                                                              \
            errno = error;                                                                                           \
            return -1;                                                                                               \
        }                                                                                                            \
        return systems(&function, #function) arguments;                                                              \
    }

TROUBLED(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size))
TROUBLED(int, fsync, (int file), (file))
TROUBLED(int, fchmod, (int file, mode_t mode) noexcept, (file, mode))
TROUBLED(int, rename, (const char* from, const char* to) noexcept, (from, to))
TROUBLED(int, link, (const char* from, const char* to) noexcept, (from, to))
TROUBLED(int, unlink, (const char* path) noexcept, (path))
TROUBLED(int, mkdir, (const char* path, mode_t mode) noexcept, (path, mode))
TROUBLED(ssize_t, readlink, (const char* path, char* out, size_t size) noexcept, (path, out, size))
TROUBLED(int, close, (int file), (file))

extern "C" ssize_t write(int file, const void* bytes, size_t size)
{
    if (const int error = troubleWith("write")) {
        errno = error;
        return -1;
    }
    return systems(&write, "write")(file, bytes, s_trouble.armed && s_trouble.shortWrites && size > 0 ? 1 : size);
}

// These two take large files by another name.
extern "C" int open(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (const int error = troubleWith(flags & O_CREAT ? "create" : "open")) {
        errno = error;
        return -1;
    }
    return systems(&open, "open64")(path, flags, mode);
}

extern "C" int fcntl(int file, int command, ...)
{
    va_list rest;
    va_start(rest, command);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    if (const int error = troubleWith("fcntl")) {
        errno = error;
        return -1;
    }
    return systems(&fcntl, "fcntl64")(file, command, argument);
}

static const PreferencesDomain sc_game = {"com.example.game", PreferencesUser::Current, PreferencesHost::Any};
static const char sc_file[] = "MACAPI_USER_LIBRARY/Preferences/com.example.game.plist";

static void set(const std::string& key, const std::string& value, const PreferencesDomain& domain = sc_game)
{
    setPreference(domain, key, make<__CFString>(value));
}

static bool write(const std::string& key, const std::string& value, const PreferencesDomain& domain = sc_game)
{
    set(key, value, domain);
    return synchronizePreferences(domain);
}

static std::string value(const std::string& key, const PreferencesDomain& domain = sc_game)
{
    const Ref<Object> object = copyPreference(domain, key);
    const __CFString* string = as<__CFString>(object.get());
    return string ? string->text : object ? "(no string)" : "(none)";
}

static std::string contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

static void fill(const std::string& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary) << contents;
}

static std::string plistOf(const std::string& entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + entries +
           "</dict>\n</plist>\n";
}

static std::string entry(const std::string& key, const std::string& text)
{
    return "\t<key>" + key + "</key>\n\t<string>" + text + "</string>\n";
}

static std::set<std::string> filesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(folder)) {
        names.insert(file.path().filename().string());
    }
    return names;
}

static std::set<std::string> files()
{
    return filesIn("MACAPI_USER_LIBRARY/Preferences");
}

// The folder, a file with two keys in it, and its copy.
static void makeStore()
{
    ASSERT_TRUE(write("Level", "3"));
    ASSERT_TRUE(write("Player", "Anna"));
}

static int modeOf(const std::string& path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
}

// Runs a part in a process of its own; what it came to.
static int run(const std::function<void()>& part)
{
    const pid_t child = fork();
    if (child == 0) {
        part();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// Files

TEST(PreferencesFile, IsAPropertyListForEachDomain)
{
    EXPECT_TRUE(write("Player", "Anna"));
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
        EXPECT_TRUE(write("Player", application, domain)) << application;
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
            EXPECT_TRUE(write("Length", std::to_string(length), domain));
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
    EXPECT_FALSE(write("Player", "Anna", domain));
    EXPECT_EQ(value("Player", domain), "(none)");
    EXPECT_TRUE(copyPreferences(domain)->entries.empty());
}

TEST(PreferencesFile, AUserWithoutAHomeHasNone)
{
    unsetenv("MACAPI_USER_LIBRARY");
    setenv("XDG_CONFIG_HOME", "", 1);
    setenv("HOME", "", 1);
    if (preferencesFile(sc_game).empty()) { // else the password file knows one
        EXPECT_FALSE(write("Player", "Anna"));
        EXPECT_EQ(value("Player"), "(none)");
    }
    setenv("HOME", "/dev/null", 1);
    EXPECT_FALSE(write("Player", "Anna"));
    EXPECT_EQ(value("Player"), "(none)");
}

TEST(PreferencesFile, IsTheUsersAloneAndTheMachinesForAllToRead)
{
    const PreferencesDomain machine = {"com.example.game", PreferencesUser::Any, PreferencesHost::Any};
    umask(0);
    EXPECT_TRUE(write("Player", "Anna"));
    umask(0777);
    EXPECT_TRUE(write("Player", "Anna", machine));
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
    EXPECT_TRUE(write("Level", "4"));
    EXPECT_EQ(modeOf(sc_file), 0640);
}

TEST(PreferencesFile, StaysItsOwnersWhenTheSystemsUserWritesIt)
{
    makeStore();
    if (chown(sc_file, 1234, 5678) != 0) {
        GTEST_SKIP() << "nobody else can give a file away";
    }
    EXPECT_TRUE(write("Level", "4"));
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
    EXPECT_TRUE(write("Level", "3"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_TRUE(fs::is_symlink("elsewhere/link"));
    EXPECT_EQ(contentsOf("elsewhere/file"), plistOf(entry("Level", "3") + entry("Player", "Anna")));
}

TEST(PreferencesFile, ALinkToNothingIsFilled)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fs::create_symlink(fs::absolute("file"), sc_file);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_TRUE(write("Player", "Anna"));
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_EQ(contentsOf("file"), plistOf(entry("Player", "Anna")));
}

TEST(PreferencesFile, ALinkToItselfIsLeftAlone)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    fs::create_symlink("com.example.game.plist", sc_file);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(write("Player", "Anna"));
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
    EXPECT_TRUE(write("Level", "4"));
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
    EXPECT_TRUE(write("Player", "Anna"));
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
    EXPECT_FALSE(write("Book", std::string(16 << 20, 'a')));
    EXPECT_EQ(value("Book"), "(none)");
    EXPECT_TRUE(write("Book", std::string(1 << 20, 'a')));
    EXPECT_EQ(value("Book").size(), 1u << 20);
    EXPECT_EQ(value("Player"), "Anna");
}

TEST(PreferencesFile, TellsItsState)
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

// What others write

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

TEST(PreferencesStore, SeesWhatAnotherHasWrittenAtOnce)
{
    makeStore();
    for (int turn = 0; turn < 200; turn++) { // mostly within one tick of the clock that dates files
        const std::string name = std::to_string(100 + turn);
        fill(sc_file, plistOf(entry("Player", name))); // in place: the same file, the same size
        ASSERT_EQ(value("Player"), name);
        fill("fresh", plistOf(entry("Player", name + "x")));
        fs::rename("fresh", sc_file); // often the inode of the one before the last
        ASSERT_EQ(value("Player"), name + "x");
    }
    fs::remove(sc_file);
    EXPECT_EQ(value("Player"), "(none)");
}

static int callsDuring(const std::set<std::string>& calls, const std::function<void()>& part)
{
    s_trouble = Trouble();
    s_trouble.only = calls;
    s_trouble.armed = true;
    part();
    s_trouble.armed = false;
    return s_trouble.calls;
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
    EXPECT_EQ(callsDuring({"fsync"}, [] { EXPECT_TRUE(write("Player", "Anna")); }), 2 + 3);
    EXPECT_EQ(callsDuring({"fsync"}, [] { EXPECT_TRUE(write("Player", "Bea")); }), 2);
}

static void writeMany(int writer)
{
    for (int turn = 0; turn < 25; turn++) {
        EXPECT_TRUE(write("writer " + std::to_string(writer) + " turn " + std::to_string(turn), "done"));
        EXPECT_TRUE(write("writer " + std::to_string(writer), std::to_string(turn)));
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
    ASSERT_TRUE(write("Two", "0"));
    const pid_t writer = fork();
    if (writer == 0) {
        for (int turn = 0;; turn++) {
            set("One", std::to_string(turn));
            write("Two", std::to_string(turn));
        }
    }
    for (int turn = 0; turn < 500; turn++) {
        const Ref<__CFDictionary> all = copyPreferences(sc_game);
        ASSERT_EQ(as<__CFString>(all->find("One"))->text, as<__CFString>(all->find("Two"))->text);
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
}

// Damage

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
    EXPECT_TRUE(write("Level", "4"));
    EXPECT_EQ(contentsOf(path + ".damaged-1"), "no property list");
}

TEST(DamagedPreferences, BeginAnewWhereNoneWereWrittenBefore)
{
    fs::create_directories("MACAPI_USER_LIBRARY/Preferences");
    const std::string path = preferencesFile(sc_game);
    EXPECT_EQ(damage(""), "macapi: preferences " + path + " did not parse and were set aside as " + path +
                              ".damaged-1; they begin anew\n");
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist.damaged-1", "com.example.game.plist.lock"}));
    EXPECT_TRUE(write("Level", "4"));
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

TEST(DamagedPreferences, WithADamagedCopyBeginAnew)
{
    makeStore();
    fill(std::string(sc_file) + ".bak", "<plist>");
    EXPECT_NE(damage("<plist>"), "");
    EXPECT_EQ(value("Player"), "(none)");
}

TEST(DamagedPreferences, CutAnywhereComeBackWhole)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    for (size_t length = 0; length + 1 < good.size(); length++) {
        EXPECT_NE(damage(good.substr(0, length)), "") << length;
        ASSERT_EQ(contentsOf(sc_file), good) << length;
    }
}

TEST(DamagedPreferences, KeepTheirModeAndGoToThePlaceALinkLeadsTo)
{
    makeStore();
    fs::rename(sc_file, "file");
    fs::rename(std::string(sc_file) + ".bak", "file.bak");
    fs::create_symlink(fs::absolute("file"), sc_file);
    chmod("file", 0640);
    EXPECT_NE(damage("damage"), "");
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_TRUE(fs::is_symlink(sc_file));
    EXPECT_EQ(modeOf("file"), 0640);
    EXPECT_EQ(contentsOf("file.damaged-1"), "damage");
}

// From the first call on nothing can be changed.
static Trouble readOnlyDisk()
{
    Trouble trouble;
    trouble.only = {"create", "link", "rename", "unlink", "mkdir", "fchmod"};
    trouble.at = 1;
    trouble.persists = true;
    trouble.error = EROFS;
    trouble.armed = true;
    return trouble;
}

TEST(DamagedPreferences, ThatCannotBeSetAsideStayAsTheyAreAndAreReportedOnce)
{
    makeStore();
    fill(sc_file, "damage");
    testing::internal::CaptureStderr();
    s_trouble = readOnlyDisk();
    for (int turn = 0; turn < 3; turn++) {
        EXPECT_EQ(value("Player"), "Anna"); // from the copy
        EXPECT_FALSE(write("Player", "Bea"));
    }
    s_trouble.armed = false;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find(preferencesFile(sc_game)), said.npos) << said;
    EXPECT_EQ(contentsOf(sc_file), "damage");
}

TEST(DamagedPreferences, GoToAnotherNameWhereAFileHasButOne)
{
    makeStore();
    s_trouble = Trouble();
    s_trouble.only = {"link"};
    s_trouble.at = 1;
    s_trouble.error = EPERM;
    s_trouble.armed = true;
    EXPECT_NE(damage("damage"), "");
    s_trouble.armed = false;
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_EQ(contentsOf(std::string(sc_file) + ".damaged-1"), "damage");
}

TEST(DamagedPreferences, AreReportedInOneLineWhateverTheFolderIsCalled)
{
    setenv("MACAPI_USER_LIBRARY", fs::absolute("two\nlines").c_str(), 1);
    ASSERT_TRUE(write("Player", "Anna"));
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
    EXPECT_FALSE(write("Player", "Anna"));
    EXPECT_TRUE(fs::is_directory(sc_file));
    fs::remove(sc_file);

    ASSERT_EQ(mkfifo(sc_file, 0600), 0);
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(write("Player", "Anna"));
    EXPECT_TRUE(fs::is_fifo(sc_file));
    fs::remove(sc_file);

    fill(sc_file, plistOf(entry("Player", std::string(16 << 20, 'a'))));
    EXPECT_EQ(value("Player"), "(none)");
    EXPECT_FALSE(write("Player", "Anna"));
    EXPECT_EQ(files(), (std::set<std::string>{"com.example.game.plist", "com.example.game.plist.lock"}));
}

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
        EXPECT_FALSE(write("Player", "Bea"));
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

TEST(TroubledPreferences, TheCallsThatCountAreSeenToFail)
{
    makeStore();
    const std::string good = contentsOf(sc_file);
    for (const char* call : {"create", "write", "fsync", "rename", "fcntl", "fchmod"}) {
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

TEST(TroubledPreferences, AReadOnlyDiskIsReadAndNotWritten)
{
    makeStore();
    s_trouble = readOnlyDisk();
    EXPECT_EQ(value("Player"), "Anna");
    EXPECT_FALSE(write("Player", "Bea"));
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
        const bool killed = killedAt(at, [&] { write("Level", next); });
        const std::string now = value("Level");
        EXPECT_TRUE(now == last || now == next) << now;
        seen.insert(now == last ? "old" : "new");
        EXPECT_EQ(value("Player"), "Anna");
        EXPECT_EQ(copyPreferences(sc_game)->entries.size(), 2u);
        last = std::to_string(2000 + at);
        EXPECT_TRUE(write("Level", last)); // open to others at once
        EXPECT_EQ(files().count("com.example.game.plist.new"), 0u);
        if (!killed) {
            EXPECT_EQ(now, next);
            EXPECT_GT(at, 15);
            break;
        }
    }
    EXPECT_EQ(seen.size(), 2u);
}

TEST(KilledPreferences, AreMadeOrNot)
{
    for (int at = 1;; at++) {
        fs::remove_all("MACAPI_USER_LIBRARY/Preferences");
        const bool killed = killedAt(at, [] { write("Player", "Anna"); });
        const std::string now = value("Player");
        EXPECT_TRUE(now == "Anna" || (killed && now == "(none)")) << now;
        EXPECT_TRUE(write("Player", "Bea"));
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

TEST(KilledPreferences, ALockGoesWithItsProcessAndNotWithItsChildren)
{
    makeStore();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int status = run([&] {
        s_trouble = Trouble();
        s_trouble.only = {"rename"};
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
        write("Level", "4");
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(write("Level", "5")); // would wait for good
    EXPECT_EQ(value("Level"), "5");
    close(ends[1]);
}

TEST(KilledPreferences, AChildMayAskWhileAnotherThreadOfItsParentWrites)
{
    makeStore();
    set("Level", "4");
    s_trouble = Trouble();
    s_trouble.only = {"rename"};
    s_trouble.at = 1;
    s_trouble.meanwhile = [] {
        s_trouble.armed = false;
        EXPECT_EQ(run([] { EXPECT_EQ(value("Level"), "3"); }), 0); // would wait for good
    };
    s_trouble.armed = true;
    EXPECT_TRUE(synchronizePreferences(sc_game));
    EXPECT_EQ(value("Level"), "4");
}
