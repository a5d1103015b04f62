// The preferences calls: domains, pending values, and what reads as an integer.
#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const CFStringRef sc_app = CFSTR("com.example.game");

// A Core Foundation object that is released at the end of the line.
template <class T>
class Held {
public:
    explicit Held(T object) : m_object(object) {}
    ~Held() { CFRelease(m_object); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    operator T() const { return m_object; }

private:
    T m_object;
};

static Held<CFStringRef> text(const std::string& bytes, CFStringEncoding encoding = kCFStringEncodingMacRoman)
{
    return Held<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, bytes.c_str(), encoding));
}

static Held<CFNumberRef> number(long long value)
{
    return Held<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberLongLongType, &value));
}

// A string that came out, in Mac Roman; "(none)" for null.
static std::string said(CFTypeRef object)
{
    const Held<CFTypeRef> value(object);
    char bytes[1024] = "(none)";
    CFStringGetCString(static_cast<CFStringRef>(object), bytes, sizeof(bytes), kCFStringEncodingMacRoman);
    return bytes;
}

static std::string appValue(const char* key, CFStringRef app = sc_app)
{
    return said(CFPreferencesCopyAppValue(text(key), app));
}

struct Domain {
    CFStringRef app;
    CFStringRef user;
    CFStringRef host;
};

static void set(const Domain& domain, const char* key, const char* value)
{
    CFPreferencesSetValue(text(key), text(value), domain.app, domain.user, domain.host);
}

static std::string value(const Domain& domain, const char* key)
{
    return said(CFPreferencesCopyValue(text(key), domain.app, domain.user, domain.host));
}

static bool synchronize(const Domain& domain)
{
    return CFPreferencesSynchronize(domain.app, domain.user, domain.host);
}

// The order in which an application's values are looked for.
static const Domain sc_domains[] = {
    {sc_app, kCFPreferencesCurrentUser, kCFPreferencesCurrentHost},
    {sc_app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
    {kCFPreferencesAnyApplication, kCFPreferencesCurrentUser, kCFPreferencesCurrentHost},
    {kCFPreferencesAnyApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
    {sc_app, kCFPreferencesAnyUser, kCFPreferencesCurrentHost},
    {sc_app, kCFPreferencesAnyUser, kCFPreferencesAnyHost},
    {kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost},
    {kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesAnyHost},
};

// What another process finds; it ends like a process that was killed.
static std::string elsewhere(std::string (*ask)())
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const std::string answer = ask();
        const bool sent = write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
        _exit(sent ? 0 : 1);
    }
    close(ends[1]);
    char bytes[1024];
    const ssize_t length = read(ends[0], bytes, sizeof(bytes));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return std::string(bytes, length > 0 ? length : 0);
}

static std::string processName()
{
    return fs::read_symlink("/proc/self/exe").filename().string();
}

TEST(Preferences, AKeyThatWasNeverSetHasNoValue)
{
    EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Volume"), sc_app), nullptr);
    for (const Domain& domain : sc_domains) {
        EXPECT_EQ(value(domain, "Volume"), "(none)");
    }
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_TRUE(fs::is_empty("MACAPI_USER_LIBRARY")); // and asking leaves nothing behind
    EXPECT_TRUE(fs::is_empty("MACAPI_LIBRARY"));
}

TEST(Preferences, AValueIsSeenByThisProcessAtOnceAndByOthersOnceItIsSynchronised)
{
    const auto ask = [] { return appValue("Player"); };
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    EXPECT_EQ(ask(), "Anna");
    EXPECT_EQ(elsewhere(ask), "(none)");
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(elsewhere(ask), "Anna");
    EXPECT_EQ(ask(), "Anna");
}

TEST(Preferences, AChildThatTheKernelMadeWithoutForkHasNoPendingValues)
{
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    EXPECT_EQ(appValue("Player"), "Anna");
    const long child = syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr);
    if (child == 0) {
        _exit(appValue("Player") == "(none)" ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(static_cast<pid_t>(child), &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(appValue("Player"), "Anna");
}

TEST(Preferences, AReadSeesAFolderThatAnotherProcessHasMadeSinceTheLastRead)
{
    for (const Domain& domain : {sc_domains[7], sc_domains[4], sc_domains[3], sc_domains[0]}) {
        static Domain s_domain;
        s_domain = domain;
        static std::string s_value;
        s_value += "x";     // each domain has another value
        appValue("Player"); // the folder is missing, or the file is
        elsewhere([] {
            set(s_domain, "Player", s_value.c_str());
            return std::string(synchronize(s_domain) ? "" : "not written");
        });
        EXPECT_EQ(appValue("Player"), s_value);
    }
}

TEST(Preferences, AFolderThatIsRemovedAndMadeAgainIsReadAgain)
{
    const auto write = [] {
        set(sc_domains[0], "Player", "Anna");
        return std::string(synchronize(sc_domains[0]) ? "" : "not written");
    };
    EXPECT_EQ(elsewhere(write), "");
    EXPECT_EQ(appValue("Player"), "Anna");
    fs::remove_all("MACAPI_USER_LIBRARY/Preferences");
    EXPECT_EQ(appValue("Player"), "(none)");
    EXPECT_EQ(elsewhere(write), "");
    EXPECT_EQ(appValue("Player"), "Anna");
}

TEST(Preferences, NullRemovesAValue)
{
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    CFPreferencesSetAppValue(CFSTR("Level"), CFSTR("3"), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    CFPreferencesSetAppValue(CFSTR("Player"), nullptr, sc_app);
    EXPECT_EQ(appValue("Player"), "(none)");
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(appValue("Player"), "(none)");
    EXPECT_EQ(appValue("Level"), "3");
}

TEST(Preferences, AnEmptyStringIsAValueAndAnEmptyKeyIsAKey)
{
    CFPreferencesSetAppValue(CFSTR(""), CFSTR(""), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(appValue(""), "");
}

TEST(Preferences, KeysAreToldApartByCase)
{
    CFPreferencesSetAppValue(CFSTR("volume"), CFSTR("1"), sc_app);
    CFPreferencesSetAppValue(CFSTR("Volume"), CFSTR("2"), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(appValue("volume"), "1");
    EXPECT_EQ(appValue("Volume"), "2");
}

TEST(Preferences, EachDomainHasValuesOfItsOwn)
{
    for (const Domain& domain : sc_domains) {
        set(domain, "Place", std::to_string(&domain - sc_domains).c_str());
    }
    for (int turn = 0; turn < 2; turn++) { // pending, then written
        for (const Domain& domain : sc_domains) {
            EXPECT_EQ(value(domain, "Place"), std::to_string(&domain - sc_domains));
        }
        for (const Domain& domain : sc_domains) {
            EXPECT_TRUE(synchronize(domain));
        }
    }
}

TEST(Preferences, AnApplicationFindsItsOwnValuesFirstThenThoseOfAnyAndTheUsersBeforeTheMachines)
{
    for (int last = static_cast<int>(std::size(sc_domains)) - 1; last >= 0; last--) {
        set(sc_domains[last], "Place", std::to_string(last).c_str());
        EXPECT_EQ(appValue("Place"), std::to_string(last));
        EXPECT_TRUE(synchronize(sc_domains[last]));
        EXPECT_EQ(appValue("Place"), std::to_string(last));
    }
}

TEST(Preferences, AnApplicationsValuesAreSetForItsUserOnAnyHost)
{
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    EXPECT_EQ(value(sc_domains[1], "Player"), "Anna");
    EXPECT_EQ(value(sc_domains[0], "Player"), "(none)");
}

TEST(Preferences, AnApplicationIsSynchronisedInAllItsDomains)
{
    for (const Domain& domain : sc_domains) {
        set(domain, "Place", std::to_string(&domain - sc_domains).c_str());
    }
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(elsewhere([] {
                  std::string places;
                  for (const Domain& domain : sc_domains) {
                      places += value(domain, "Place");
                  }
                  return places;
              }),
              "01234567");
}

TEST(Preferences, SynchronisingOneDomainLeavesTheOthersPending)
{
    set(sc_domains[0], "Player", "Anna");
    set(sc_domains[1], "Player", "Bea");
    EXPECT_TRUE(synchronize(sc_domains[1]));
    EXPECT_EQ(elsewhere([] { return value(sc_domains[0], "Player") + value(sc_domains[1], "Player"); }), "(none)Bea");
    EXPECT_EQ(value(sc_domains[0], "Player"), "Anna");
}

TEST(Preferences, WithoutABundleTheCurrentApplicationIsTheProcess)
{
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), kCFPreferencesCurrentApplication);
    EXPECT_EQ(appValue("Player", text(processName(), kCFStringEncodingUTF8)), "Anna");
    EXPECT_TRUE(CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication));
    EXPECT_TRUE(fs::exists("MACAPI_USER_LIBRARY/Preferences/" + processName() + ".plist"));
}

TEST(Preferences, ANameThatIsWrittenOutIsTheSameAsItsConstant)
{
    set(sc_domains[3], "Player", "Anna");
    EXPECT_EQ(said(CFPreferencesCopyValue(CFSTR("Player"), text("kCFPreferencesAnyApplication"),
                                          text("kCFPreferencesCurrentUser"), text("kCFPreferencesAnyHost"))),
              "Anna");
}

TEST(Preferences, TheEnvironmentIsReadAtEachCall)
{
    const std::string here = fs::current_path().string();
    setenv("MACAPI_USER_LIBRARY", (here + "/one").c_str(), 1);
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    setenv("MACAPI_USER_LIBRARY", (here + "/two").c_str(), 1);
    EXPECT_EQ(appValue("Player"), "(none)");
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Bea"), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_FALSE(fs::exists("one"));
    setenv("MACAPI_USER_LIBRARY", (here + "/one").c_str(), 1);
    EXPECT_EQ(appValue("Player"), "Anna"); // still pending here
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_TRUE(fs::exists("one/Preferences/com.example.game.plist"));
    setenv("MACAPI_USER_LIBRARY", (here + "/two").c_str(), 1);
    EXPECT_EQ(appValue("Player"), "Bea");
}

TEST(Preferences, WithoutTheVariablesTheyLieInTheConfigurationFolderOfTheDesktop)
{
    const std::string here = fs::current_path().string();
    unsetenv("MACAPI_USER_LIBRARY");
    unsetenv("MACAPI_LIBRARY");
    unsetenv("XDG_CONFIG_HOME");
    setenv("HOME", (here + "/home").c_str(), 1);
    set(sc_domains[1], "Player", "Anna");
    set(sc_domains[5], "Player", "Bea");
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_TRUE(fs::exists("home/.config/macapi/user/Preferences/com.example.game.plist"));
    EXPECT_TRUE(fs::exists("home/.config/macapi/local/Preferences/com.example.game.plist"));

    setenv("XDG_CONFIG_HOME", (here + "/config").c_str(), 1);
    EXPECT_EQ(appValue("Player"), "(none)");
    set(sc_domains[1], "Player", "Cleo");
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_TRUE(fs::exists("config/macapi/user/Preferences/com.example.game.plist"));
}

// Every byte but NUL, in keys and in values, on either side of a restart.
static std::string allBytes(int first)
{
    std::string bytes;
    for (int i = 0; i < 255; i++) {
        bytes += static_cast<char>(1 + (first + i) % 255);
    }
    return bytes;
}

TEST(Preferences, EveryByteOfMacRomanButNulSurvives)
{
    static const std::string sc_texts[] = {
        allBytes(0),    allBytes(200), " before", "behind ", " ",          "\t\r\n",     "\r",
        "one\rtwo\r\n", "<&>\"']]>",   "\\",      "\\\x01",  "\x01\\\x02", "\\\\\x1f\\", "\x7f",
    };
    for (const std::string& bytes : sc_texts) {
        CFPreferencesSetAppValue(text("key" + bytes), text(bytes), sc_app);
    }
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(elsewhere([] {
                  std::string lost;
                  for (const std::string& bytes : sc_texts) {
                      lost += appValue(("key" + bytes).c_str()) == bytes ? "" : bytes;
                  }
                  return "lost: " + lost;
              }),
              "lost: ");
}

TEST(Preferences, AStringThatReadsAsAnIntegerCountsAsOne)
{
    const CFIndex most = LONG_MAX;
    const CFIndex least = LONG_MIN;
    const std::string aboveMost = LONG_MAX == INT_MAX ? "2147483648" : "9223372036854775808";
    const struct {
        std::string text;
        bool valid;
        CFIndex integer;
    } cases[] = {
        {"0", true, 0},
        {"640", true, 640},
        {"-640", true, -640},
        {"+640", true, 640},
        {"007", true, 7},
        {" \t\r\n7", true, 7}, // blanks may stand before it
        {"7 ", false, 0},      // and nothing behind it
        {"12abc", false, 0},
        {"1.0", false, 0},
        {"1e3", false, 0},
        {"0x10", false, 0},
        {"", false, 0},
        {" ", false, 0},
        {"-", false, 0},
        {"+", false, 0},
        {"--7", false, 0},
        {"+-7", false, 0},
        {"- 7", false, 0},
        {"abc", false, 0},
        {std::to_string(most), true, most},
        {std::to_string(least), true, least},
        {aboveMost, false, 0},
        {"-" + aboveMost + "0", false, 0},
        {"99999999999999999999999999", false, 0},
    };
    for (const auto& one : cases) {
        CFPreferencesSetAppValue(CFSTR("Width"), text(one.text), sc_app);
        Boolean valid = !one.valid;
        EXPECT_EQ(CFPreferencesGetAppIntegerValue(CFSTR("Width"), sc_app, &valid), one.integer) << one.text;
        EXPECT_EQ(valid, one.valid) << one.text;
    }
}

static std::string integerOf(CFPropertyListRef value)
{
    CFPreferencesSetAppValue(CFSTR("Width"), value, sc_app);
    Boolean valid = 2;
    const CFIndex integer = CFPreferencesGetAppIntegerValue(CFSTR("Width"), sc_app, &valid);
    return valid ? std::to_string(integer) : integer == 0 ? "(none)" : "an integer that is not valid";
}

static std::string integerOfReal(double real)
{
    return integerOf(Held<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real)));
}

TEST(Preferences, NumbersAndBooleansAreIntegersWhereTheyFit)
{
    EXPECT_EQ(integerOf(number(0)), "0");
    EXPECT_EQ(integerOf(number(-2147483648LL)), "-2147483648");
    EXPECT_EQ(integerOf(number(2147483648LL)), LONG_MAX == INT_MAX ? "(none)" : "2147483648");
    EXPECT_EQ(integerOf(kCFBooleanTrue), "1");
    EXPECT_EQ(integerOf(kCFBooleanFalse), "0");
    EXPECT_EQ(integerOfReal(59.94), "59"); // without its fraction
    EXPECT_EQ(integerOfReal(-59.94), "-59");
    EXPECT_EQ(integerOfReal(-0.5), "0");
    EXPECT_EQ(integerOfReal(1e300), "(none)");
    EXPECT_EQ(integerOfReal(-static_cast<double>(LONG_MIN)), "(none)");
    EXPECT_EQ(integerOfReal(static_cast<double>(LONG_MIN)), std::to_string(LONG_MIN));
    EXPECT_EQ(integerOfReal(0.0 / 0.0 * 1.0), "(none)");
    EXPECT_EQ(integerOf(nullptr), "(none)");
}

TEST(Preferences, AnIntegerMayBeAskedForWithoutAskingWhetherThereIsOne)
{
    EXPECT_EQ(CFPreferencesGetAppIntegerValue(CFSTR("Width"), sc_app, nullptr), 0);
    CFPreferencesSetAppValue(CFSTR("Width"), number(640), sc_app);
    EXPECT_EQ(CFPreferencesGetAppIntegerValue(CFSTR("Width"), sc_app, nullptr), 640);
}

TEST(Preferences, ANumberComesBackAsANumber)
{
    CFPreferencesSetAppValue(CFSTR("Width"), number(-640), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    const Held<CFTypeRef> stored(CFPreferencesCopyAppValue(CFSTR("Width"), sc_app));
    int width = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(static_cast<CFTypeRef>(stored)), kCFNumberIntType, &width));
    EXPECT_EQ(width, -640);
}

TEST(Preferences, WithNullsAndUnknownNamesNothingIsReadOrWritten)
{
    EXPECT_EQ(CFPreferencesCopyAppValue(nullptr, sc_app), nullptr);
    EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("Player"), nullptr), nullptr);
    EXPECT_EQ(CFPreferencesGetAppIntegerValue(nullptr, nullptr, nullptr), 0);
    CFPreferencesSetAppValue(nullptr, CFSTR("Anna"), sc_app);
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), nullptr);
    EXPECT_FALSE(CFPreferencesAppSynchronize(nullptr));
    const Domain unknown[] = {
        {nullptr, kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
        {sc_app, nullptr, kCFPreferencesAnyHost},
        {sc_app, kCFPreferencesCurrentUser, nullptr},
        {sc_app, CFSTR("somebody"), kCFPreferencesAnyHost},
        {sc_app, kCFPreferencesCurrentUser, CFSTR("elsewhere")},
        {static_cast<CFStringRef>(static_cast<CFTypeRef>(kCFBooleanTrue)), kCFPreferencesCurrentUser,
         kCFPreferencesAnyHost},
    };
    for (const Domain& domain : unknown) {
        set(domain, "Player", "Anna");
        EXPECT_EQ(value(domain, "Player"), "(none)");
        EXPECT_FALSE(synchronize(domain));
    }
    EXPECT_EQ(appValue("Player"), "(none)");
    EXPECT_TRUE(fs::is_empty("MACAPI_USER_LIBRARY"));
}

TEST(Preferences, WhatIsNoPropertyListIsNotTaken)
{
    CFPreferencesSetAppValue(CFSTR("Page"), CFSTR("none"), sc_app);
    const Held<CFURLRef> url(CFURLCreateWithString(kCFAllocatorDefault, CFSTR("http://a.example"), nullptr));
    CFPreferencesSetAppValue(CFSTR("Page"), url, sc_app);
    CFPreferencesSetAppValue(CFSTR("Bundle"), CFBundleGetMainBundle(), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app)); // what was set besides is not lost with them
    EXPECT_EQ(appValue("Page"), "none");
    EXPECT_EQ(appValue("Bundle"), "(none)");
}

TEST(Preferences, WhatIsSetIsKeptAsLongAsItIsNeeded)
{
    CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, "Anna", kCFStringEncodingASCII);
    CFPreferencesSetAppValue(CFSTR("Player"), name, sc_app);
    CFRelease(name);
    const CFTypeRef pending = CFPreferencesCopyAppValue(CFSTR("Player"), sc_app);
    EXPECT_TRUE(CFPreferencesAppSynchronize(sc_app));
    EXPECT_EQ(said(pending), "Anna");
}

TEST(Preferences, AValueThatWasNotSynchronisedIsLostWithTheProcess)
{
    CFPreferencesSetAppValue(CFSTR("Player"), CFSTR("Anna"), sc_app);
    EXPECT_EQ(elsewhere([] {
                  CFPreferencesSetAppValue(CFSTR("Level"), CFSTR("3"), sc_app);
                  return std::string(CFPreferencesAppSynchronize(sc_app) ? "written" : "not written");
              }),
              "written");
    EXPECT_EQ(elsewhere([] { return appValue("Player") + appValue("Level"); }), "(none)3");
    EXPECT_EQ(appValue("Player"), "Anna");
}

TEST(Preferences, ACopyThatCanNotBeReadIsNotGivenUpForADamagedFile)
{
    const Domain domain = {sc_app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost};
    set(domain, "key", "old");
    ASSERT_TRUE(synchronize(domain));
    const fs::path file = fs::path(getenv("MACAPI_USER_LIBRARY")) / "Preferences" / "com.example.game.plist";
    const fs::path copy = file.string() + ".bak";
    fs::rename(copy, "copy");
    fs::create_symlink(copy.filename(), copy); // leads to itself
    std::ofstream(file) << "garbage";

    set(domain, "key", "new");
    EXPECT_FALSE(synchronize(domain)); // this would have been the only key from here on
    fs::rename("copy", copy);
    EXPECT_EQ(value(domain, "key"), "old");
    set(domain, "key", "new");
    EXPECT_TRUE(synchronize(domain));
}
