// What a program learns about itself: its name, its bundle, its Info.plist.
//
// That depends on where the executable lies, so each case puts a copy of this very program where it wants it and asks
// that: run with --ask and some questions, it prints its answers and ends before any test.
#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string textOf(CFTypeRef string)
{
    char text[1024];
    const bool good = CFStringGetCString(static_cast<CFStringRef>(string), text, sizeof(text), kCFStringEncodingUTF8);
    return good ? text : "no string";
}

static std::string processName()
{
    ProcessSerialNumber self;
    CFStringRef name = nullptr;
    if (GetCurrentProcess(&self) != noErr || CopyProcessName(&self, &name) != noErr) {
        return "none";
    }
    const std::string text = textOf(name);
    CFRelease(name);
    return text;
}

// As core does it: the value, which is only lent, is released.
static std::string version()
{
    CFBundleRef bundle = CFBundleGetMainBundle();
    if (!CFBundleGetInfoDictionary(bundle)) {
        return "no dictionary";
    }
    CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleVersionKey);
    if (!value) {
        return "no value";
    }
    const std::string text = textOf(value);
    CFRelease(value);
    return text;
}

static std::string resources()
{
    CFURLRef url = CFBundleCopyResourcesDirectoryURL(CFBundleGetMainBundle());
    UInt8 path[4096];
    const bool good = CFURLGetFileSystemRepresentation(url, true, path, sizeof(path));
    CFRelease(url);
    return good ? reinterpret_cast<char*>(path) : "none";
}

static std::string versionFromManyThreads()
{
    std::vector<std::string> answers(8);
    std::vector<std::thread> threads;
    for (std::string& answer : answers) {
        threads.emplace_back([&answer] { answer = version() + " in " + resources(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return std::count(answers.begin(), answers.end(), answers[0]) == 8 ? answers[0] : "several";
}

// The allocation of a string or an object that fails, counted from 1; 0: none.
static int s_failing = 0;

void* operator new(size_t size)
{
    void* block = s_failing > 0 && --s_failing == 0 ? nullptr : malloc(size);
    return block ? block : throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t) noexcept
{
    free(block);
}

static std::string keep()
{
    const CFStringRef application = kCFPreferencesCurrentApplication;
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), application);
    CFPreferencesAppSynchronize(application);
    std::string stores;
    for (const auto& file : fs::directory_iterator("MACAPI_USER_LIBRARY/Preferences")) {
        stores += file.path().extension() == ".plist" ? file.path().filename().string() : "";
    }
    return stores;
}

// In a process for each allocation of a first read: lets the allocation fail, and then keeps a preference. Returns the
// stores of them all.
static std::string keepAfterNoMemory()
{
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        const pid_t child = fork();
        if (child == 0) {
            s_failing = number;
            CFPreferencesCopyAppValue(CFSTR("Player"), kCFPreferencesCurrentApplication);
            const bool isOver = s_failing > 0;
            s_failing = 0;
            keep();
            _exit(isOver);
        }
        int status = 0;
        waitpid(child, &status, 0);
        hasFailed = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    return keep();
}

static std::string answerTo(const std::string& question)
{

    if (question == "name") {
        return processName();
    }
    if (question == "version") {
        return version();
    }
    if (question == "resources") {
        return resources();
    }
    if (question == "version, from many threads") {
        return versionFromManyThreads();
    }
    if (question == "kept") {
        CFBundleRef bundle = CFBundleGetMainBundle();
        CFDictionaryRef dictionary = CFBundleGetInfoDictionary(bundle);
        CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleVersionKey);
        return value && value == CFDictionaryGetValue(dictionary, kCFBundleVersionKey) &&
                       bundle == CFBundleGetMainBundle() && dictionary == CFBundleGetInfoDictionary(bundle)
                   ? "yes"
                   : "no";
    }
    if (question == "keep") {
        return keep();
    }
    if (question == "keep, after a moment without memory") {
        return keepAfterNoMemory();
    }
    if (question.rfind("remove=", 0) == 0) {
        return fs::remove(question.substr(7)) ? "removed" : "not removed";
    }
    if (question.rfind("rename=", 0) == 0) {
        fs::rename(question.substr(7), fs::path(question.substr(7)).parent_path() / "Info.plist");
        return "renamed";
    }
    return "what?";
}

__attribute__((constructor)) static void answer(int count, char** arguments)
{
    if (count < 2 || strcmp(arguments[1], "--ask") != 0) {
        return;
    }
    for (int i = 2; i < count; i++) {
        puts(answerTo(arguments[i]).c_str());
    }
    exit(0);
}

static std::string quoted(const std::string& text)
{
    return "'" + text + "'";
}

// Puts a copy at path, which is in the working folder, and has it answer the questions: one line each.
static std::string ask(const std::string& path, const std::vector<std::string>& questions)
{
    fs::create_directories(fs::absolute(path).parent_path());
    fs::copy_file(fs::canonical("/proc/self/exe"), path, fs::copy_options::overwrite_existing);
    std::string command = EMULATOR " " + quoted(fs::absolute(path).string()) + " --ask";
    for (const std::string& question : questions) {
        command += " " + quoted(question);
    }
    FILE* pipe = popen(command.c_str(), "r");
    std::string answers;
    for (int letter = fgetc(pipe); letter != EOF; letter = fgetc(pipe)) {
        answers += static_cast<char>(letter);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return answers;
}

static void write(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::absolute(path).parent_path());
    std::ofstream(path) << text;
}

static std::string plist(const std::string& entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist SYSTEM \"PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict>" +
           entries + "</dict></plist>\n";
}

static std::string versionPlist(const std::string& number)
{
    return plist("<key>CFBundleVersion</key><string>" + number + "</string>");
}

static std::string here()
{
    return fs::current_path().string();
}

TEST(ProcessName, IsTheBaseNameOfTheExecutable)
{
    EXPECT_EQ(ask("bin/brackenlow", {"name"}), "brackenlow\n");
    EXPECT_EQ(ask("Brackenlow.app/Contents/MacOS/Brackenlow", {"name"}), "Brackenlow\n");
    EXPECT_EQ(ask("a name with spaces.x86", {"name"}), "a name with spaces.x86\n");
    EXPECT_EQ(ask("caf\xc3\xa9", {"name"}), "caf\xc3\xa9\n");
}

TEST(ProcessName, ThatIsNoUtf8IsTakenForMacRoman)
{
    EXPECT_EQ(ask("caf\x8e", {"name"}), "caf\xc3\xa9\n");
}

TEST(ProcessName, SurvivesItsExecutable)
{
    EXPECT_EQ(ask("game", {"remove=" + here() + "/game", "name"}), "removed\ngame\n");
    if (EMULATOR[0] == '\0') { // some emulators write nothing behind the name of a file that is gone
        EXPECT_EQ(ask("game (deleted)", {"name", "remove=" + here() + "/game (deleted)", "name"}),
                  "game (deleted)\nremoved\ngame (deleted)\n");
    }
}

TEST(ProcessName, IsKnownForTheCurrentProcessOnly)
{
    ProcessSerialNumber self = {7, 7};
    CFStringRef name = nullptr;
    ASSERT_EQ(GetCurrentProcess(&self), noErr);
    EXPECT_EQ(self.highLongOfPSN, 0u);
    EXPECT_EQ(self.lowLongOfPSN, UInt32(kCurrentProcess));
    ASSERT_EQ(CopyProcessName(&self, &name), noErr);
    CFRelease(name);

    name = nullptr;
    for (const ProcessSerialNumber& other :
         {ProcessSerialNumber{0, kNoProcess}, ProcessSerialNumber{0, kSystemProcess},
          ProcessSerialNumber{1, kCurrentProcess}, ProcessSerialNumber{0, 4711}}) {
        EXPECT_EQ(CopyProcessName(&other, &name), procNotFound);
    }
    EXPECT_EQ(GetCurrentProcess(nullptr), paramErr);
    EXPECT_EQ(CopyProcessName(nullptr, &name), paramErr);
    EXPECT_EQ(CopyProcessName(&self, nullptr), paramErr);
    EXPECT_EQ(name, nullptr);
}

TEST(Bundle, IsTheAppThatEnclosesTheExecutable)
{
    write("Brackenlow.app/Contents/Info.plist", versionPlist("1.0.2"));
    EXPECT_EQ(ask("Brackenlow.app/Contents/MacOS/Brackenlow", {"version", "resources"}),
              "1.0.2\n" + here() + "/Brackenlow.app/Contents/Resources\n");
}

TEST(Bundle, IsTheExecutablesOwnFolderWithoutAnApp)
{
    write("games/Info.plist", versionPlist("0.9"));
    EXPECT_EQ(ask("games/brackenlow", {"version", "resources"}), "0.9\n" + here() + "/games\n");
}

TEST(Bundle, IsNoAppUnlessTheWholeLayoutIsThere)
{
    for (const std::string folder : {
             "Brackenlow/Contents/MacOS",             // no .app
             "Brackenlow.application/Contents/MacOS", //
             "Brackenlow.app/MacOS",                  // no Contents
             "Brackenlow.app/Contents/macos",         //
             "Brackenlow.app/Contents/MacOS/bin",     // one too deep
         }) {
        EXPECT_EQ(ask(folder + "/game", {"resources"}), here() + "/" + folder + "\n");
    }
}

TEST(Bundle, ResourcesAreFoundWhateverTheBytesOfTheirPath)
{
    for (const std::string name :
         {"A Game", "caf\xc3\xa9", "caf\x8e\xff", "100%", "%41", "a;b?c#d", "\"<{|}>\"", "$(x)`y`"}) {
        EXPECT_EQ(ask(name + ".app/Contents/MacOS/game", {"resources"}),
                  here() + "/" + name + ".app/Contents/Resources\n");
        EXPECT_EQ(ask(name + "/game", {"resources"}), here() + "/" + name + "\n");
    }
}

TEST(InfoDictionary, IsNullWithoutAnInfoPlist)
{
    EXPECT_EQ(ask("Brackenlow.app/Contents/MacOS/game", {"version"}), "no dictionary\n");
    EXPECT_EQ(ask("game", {"version"}), "no dictionary\n");
}

TEST(InfoDictionary, IsNullWhenInfoPlistDoesNotParse)
{
    for (const std::string& text : {
             std::string(), std::string("no property list"),
             std::string("<plist version=\"1.0\"><string>no dictionary</string></plist>"),
             versionPlist("1.0").substr(0, 150), // cut short
             versionPlist("caf\x8e"),            // no UTF-8
             std::string("bplist00"),            // the binary form
         }) {
        write("Info.plist", text);
        EXPECT_EQ(ask("game", {"version"}), "no dictionary\n") << text;
    }
}

TEST(InfoDictionary, IsNullWhenInfoPlistIsNoFile)
{
    fs::create_directory("Info.plist");
    EXPECT_EQ(ask("game", {"version"}), "no dictionary\n");
    fs::remove("Info.plist");
    ASSERT_EQ(mkfifo("Info.plist", 0600), 0); // nobody writes into it: opening it the plain way would never end
    EXPECT_EQ(ask("game", {"version"}), "no dictionary\n");
    fs::remove("Info.plist");
    fs::create_symlink("/dev/zero", "Info.plist");
    EXPECT_EQ(ask("game", {"version"}), "no dictionary\n");
}

TEST(InfoDictionary, IsReadAgainUntilInfoPlistExists)
{
    write("Info.plist", "not yet");
    write("later", versionPlist("1.1"));
    EXPECT_EQ(ask("game", {"version", "rename=" + here() + "/later", "version"}), "no dictionary\nrenamed\n1.1\n");
}

TEST(InfoDictionary, FollowsChangesOfInfoPlist)
{
    write("Info.plist", plist("<key>CFBundleName</key><string>Brackenlow</string>"));
    write("later", versionPlist("1.1"));
    write("latest", versionPlist("1.2"));
    EXPECT_EQ(
        ask("game", {"version", "rename=" + here() + "/later", "version", "rename=" + here() + "/latest", "version"}),
        "no value\nrenamed\n1.1\nrenamed\n1.2\n");
}

TEST(InfoDictionary, OutlivesAnInfoPlistThatGoesOrDoesNotParse)
{
    write("Info.plist", versionPlist("1.1"));
    write("damaged", "no property list");
    EXPECT_EQ(ask("game", {"version", "rename=" + here() + "/damaged", "version", "remove=" + here() + "/Info.plist",
                           "version"}),
              "1.1\nrenamed\n1.1\nremoved\n1.1\n");
}

TEST(InfoDictionary, MayLackTheVersion)
{
    write("Info.plist", plist("<key>CFBundleName</key><string>Brackenlow</string>"));
    EXPECT_EQ(ask("game", {"version"}), "no value\n");
}

TEST(InfoDictionary, MayHoldAnythingForAVersion)
{
    write("Info.plist", plist("<key>CFBundleVersion</key><integer>3</integer>"));
    EXPECT_EQ(ask("game", {"version"}), "no string\n");
}

TEST(InfoDictionary, ReleasingItsValuesDoesNoHarm)
{
    const std::string number = "1.0.2, of such a length that it lies in memory of its own";
    write("Info.plist", versionPlist(number));
    EXPECT_EQ(ask("game", {"version", "version", "version", "version"}),
              number + "\n" + number + "\n" + number + "\n" + number + "\n");
}

TEST(InfoDictionary, IsTheSameOneEachTime)
{
    write("Info.plist", versionPlist("1.0"));
    EXPECT_EQ(ask("game", {"kept"}), "yes\n");
}

TEST(Bundle, MayBeAskedFromManyThreads)
{
    write("Info.plist", versionPlist("1.0"));
    EXPECT_EQ(ask("game", {"version, from many threads"}), "1.0 in " + here() + "\n");
}

TEST(Bundle, NullIsAnsweredSafely)
{
    EXPECT_EQ(CFBundleGetInfoDictionary(nullptr), nullptr);
    EXPECT_EQ(CFBundleGetValueForInfoDictionaryKey(nullptr, kCFBundleVersionKey), nullptr);
    EXPECT_EQ(CFBundleGetValueForInfoDictionaryKey(CFBundleGetMainBundle(), nullptr), nullptr);
    EXPECT_EQ(CFBundleCopyResourcesDirectoryURL(nullptr), nullptr);
    EXPECT_EQ(textOf(kCFBundleVersionKey), "CFBundleVersion");
}

TEST(Bundle, WithTheNameOfAReservedDomainHasItsOwnPreferences)
{
    for (const std::string name : {"kCFPreferencesAnyApplication", "kCFPreferencesCurrentApplication"}) {
        write("A.app/Contents/Info.plist", plist("<key>CFBundleIdentifier</key><string>" + name + "</string>"));
        EXPECT_EQ(ask("A.app/Contents/MacOS/a", {"keep"}), name + ".plist\n");
    }
}

// Returns what the call returns when it gets no memory.
template <class Call>
static auto withoutMemory(const Call& call)
{
    s_failing = 1;
    const auto result = call();
    EXPECT_EQ(s_failing, 0); // the call has asked for memory
    s_failing = 0;
    return result;
}

TEST(WithoutMemory, CallsReturnNullOrAnErrorAndTheNextCallsSucceed)
{
    const CFStringRef key = CFSTR("a key that takes memory of its own");
    const CFStringRef application = CFSTR("com.example.an application");
    const std::string path = fs::current_path().string() + "/a file";
    const UInt8* bytes = reinterpret_cast<const UInt8*>(path.data());
    const CFIndex size = static_cast<CFIndex>(path.size());
    UInt8 text[4096];

    EXPECT_EQ(withoutMemory(CFBundleGetMainBundle), nullptr);
    const CFBundleRef bundle = CFBundleGetMainBundle();
    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(withoutMemory([&] { return CFBundleCopyResourcesDirectoryURL(bundle); }), nullptr);

    const auto makeUrl = [&] { return CFURLCreateFromFileSystemRepresentation(nullptr, bytes, size, false); };
    EXPECT_EQ(withoutMemory(makeUrl), nullptr);
    const CFURLRef url = makeUrl();
    ASSERT_NE(url, nullptr);
    EXPECT_EQ(withoutMemory([&] { return CFURLCreateWithString(nullptr, CFURLGetString(url), nullptr); }), nullptr);
    const auto readUrl = [&] { return CFURLGetFileSystemRepresentation(url, true, text, sizeof(text)); };
    EXPECT_FALSE(withoutMemory(readUrl));
    EXPECT_TRUE(readUrl());
    CFRelease(url);

    FSRef folder;
    const auto find = [&] { return FSFindFolder(kUserDomain, kPreferencesFolderType, true, &folder); };
    EXPECT_EQ(withoutMemory(find), ioErr);
    EXPECT_EQ(find(), noErr);
    EXPECT_EQ(withoutMemory([&] { return FSRefMakePath(&folder, text, sizeof(text)); }), ioErr);

    Boolean isValid = true;
    EXPECT_EQ(withoutMemory([&] { return CFPreferencesGetAppIntegerValue(key, application, &isValid); }), 0);
    EXPECT_FALSE(isValid);
    EXPECT_FALSE(withoutMemory([&] { return CFPreferencesAppSynchronize(application); }));
    EXPECT_TRUE(CFPreferencesAppSynchronize(application));
    const auto copy = [&] {
        return CFPreferencesCopyValue(key, application, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    };
    EXPECT_EQ(withoutMemory([&] { // the value does not change
                  CFPreferencesSetValue(key, key, application, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
                  return true;
              }),
              true);
    EXPECT_EQ(copy(), nullptr);
    CFPreferencesSetAppValue(key, key, application);
    EXPECT_EQ(withoutMemory(copy), nullptr);
    const CFPropertyListRef value = copy();
    EXPECT_EQ(textOf(value), textOf(key));
    CFRelease(value);
    EXPECT_FALSE(withoutMemory(
        [&] { return CFPreferencesSynchronize(application, kCFPreferencesCurrentUser, kCFPreferencesAnyHost); }));
}

TEST(PreferencesName, IsTheIdentifierAlsoAfterAMomentWithoutMemory)
{
    if (EMULATOR[0] != '\0') {
        GTEST_SKIP() << "an emulator takes too long for so many processes";
    }
    write("A.app/Contents/Info.plist", plist("<key>CFBundleIdentifier</key><string>com.example.a</string>"));
    EXPECT_EQ(ask("A.app/Contents/MacOS/a", {"keep, after a moment without memory"}), "com.example.a.plist\n");
}
