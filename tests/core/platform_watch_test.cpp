// The calls of Platform to the system, and what Platform does with the results. This program defines those functions.
#include "core/platform.h"

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

// The answers, and what was asked. Strings are lent by the test below: a string "object" is a C text.
static OSErr s_processStatus = noErr;
static OSStatus s_nameStatus = noErr;
static const char* s_processName = "Probe";
static bool s_stringConverts = true;
static bool s_hasBundle = true;
static bool s_hasInfo = true;
static const char* s_version = nullptr;
static const char* s_resources = "/game.app/Contents/Resources";
static OSErr s_gestaltStatus = noErr;
static SInt32 s_features = 0x10; // the vector unit
static OSErr s_findStatus = noErr;
static bool s_urlText = true;
static bool s_url = true;
static OSStatus s_openStatus = 0;
static bool s_watchFolders = false;
static std::vector<std::string> s_asked;
static std::vector<const void*> s_released;

static CFStringRef asString(const char* text)
{
    return reinterpret_cast<CFStringRef>(text);
}

static int count(const std::string& call)
{
    return static_cast<int>(std::count(s_asked.begin(), s_asked.end(), call));
}

extern "C" {

OSErr GetCurrentProcess(ProcessSerialNumber*)
{
    return s_processStatus;
}

OSStatus CopyProcessName(const ProcessSerialNumber*, CFStringRef* name)
{
    *name = asString(s_processName);
    return s_nameStatus;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding)
{
    EXPECT_EQ(size, 1024);
    EXPECT_EQ(encoding, kCFStringEncodingASCII);
    s_asked.push_back("string");
    if (s_stringConverts) {
        snprintf(buffer, static_cast<size_t>(size), "%s", reinterpret_cast<const char*>(string));
    }
    return s_stringConverts;
}

void CFRelease(CFTypeRef object)
{
    s_released.push_back(object);
}

CFBundleRef CFBundleGetMainBundle(void)
{
    return s_hasBundle ? reinterpret_cast<CFBundleRef>(16) : nullptr;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef)
{
    s_asked.push_back("info");
    return s_hasInfo ? reinterpret_cast<CFDictionaryRef>(32) : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef, CFStringRef key)
{
    EXPECT_EQ(key, kCFBundleVersionKey);
    s_asked.push_back("version");
    return s_version;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef)
{
    s_asked.push_back("resources");
    return reinterpret_cast<CFURLRef>(s_resources);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolve, UInt8* buffer, CFIndex size)
{
    EXPECT_TRUE(resolve);
    EXPECT_EQ(size, 1024);
    const char* path = reinterpret_cast<const char*>(url);
    if (strlen(path) >= 1024) {
        return false;
    }
    strcpy(reinterpret_cast<char*>(buffer), path);
    return true;
}

OSErr Gestalt(OSType selector, SInt32* answer)
{
    EXPECT_EQ(selector, 0x70706366u); // 'ppcf'
    s_asked.push_back("gestalt");
    *answer = s_features;
    return s_gestaltStatus;
}

OSErr FSFindFolder(SInt16 domain, OSType type, Boolean create, FSRef*)
{
    EXPECT_EQ(domain, -32765);
    EXPECT_EQ(type, 0x61737570u); // 'asup'
    EXPECT_TRUE(create);
    s_asked.push_back("folder");
    return s_findStatus;
}

OSStatus FSRefMakePath(const FSRef*, UInt8* path, UInt32 size)
{
    EXPECT_EQ(size, 1024u);
    snprintf(reinterpret_cast<char*>(path), size, "%s", std::filesystem::current_path().c_str());
    return noErr;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding)
{
    EXPECT_EQ(encoding, kCFStringEncodingASCII);
    return s_urlText ? asString(text) : nullptr;
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef text, CFURLRef base)
{
    EXPECT_EQ(base, nullptr);
    return s_url ? reinterpret_cast<CFURLRef>(text) : nullptr;
}

OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* out)
{
    EXPECT_EQ(out, nullptr);
    s_asked.push_back(std::string("open ") + reinterpret_cast<const char*>(url));
    return s_openStatus;
}

CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display)
{
    EXPECT_EQ(display, CGMainDisplayID());
    s_asked.push_back("mode");
    return nullptr;
}

CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID display)
{
    EXPECT_EQ(display, CGMainDisplayID());
    s_asked.push_back("hide");
    return kCGErrorSuccess;
}

CGDisplayErr CGDisplayShowCursor(CGDirectDisplayID display)
{
    EXPECT_EQ(display, CGMainDisplayID());
    s_asked.push_back("show");
    return kCGErrorSuccess;
}

CGDisplayErr CGDisplayMoveCursorToPoint(CGDirectDisplayID display, CGPoint point)
{
    EXPECT_EQ(display, CGMainDisplayID());
    s_asked.push_back("move " + std::to_string(static_cast<int>(point.x)) + " " +
                      std::to_string(static_cast<int>(point.y)));
    return kCGErrorSuccess;
}

CGError CGAssociateMouseAndMouseCursorPosition(boolean_t connected)
{
    s_asked.push_back(connected ? "tie" : "untie");
    return kCGErrorSuccess;
}

int mkdir(const char* path, mode_t mode)
{
    if (!s_watchFolders) {
        return static_cast<int>(syscall(SYS_mkdir, path, mode));
    }
    EXPECT_EQ(mode, 0755u);
    s_asked.push_back(std::string("mkdir ") + path);
    return 0;
}

} // extern "C"

TEST(PlatformName, IsGameAsLongAsTheSystemHasNoAnswer)
{
    s_processStatus = procNotFound;
    EXPECT_STREQ(Platform::GetAppFilePrefix(), "game");
    s_processStatus = noErr;
    s_nameStatus = procNotFound;
    EXPECT_STREQ(Platform::GetAppTitle(), "game");
    s_nameStatus = noErr;
    s_stringConverts = false;
    EXPECT_STREQ(Platform::GetAppTitle(), "game");
}

TEST(PlatformName, IsReadAtEachCallAndKeepsItsLastValueWhenTheReadFails)
{
    EXPECT_STREQ(Platform::GetAppTitle(), "Probe");
    s_processName = "Renamed";
    EXPECT_STREQ(Platform::GetAppTitle(), "Renamed");
    s_nameStatus = procNotFound;
    EXPECT_STREQ(Platform::GetAppTitle(), "Renamed");
    EXPECT_STREQ(Platform::GetAppFilePrefix(), "game"); // its own buffer, and never known
}

TEST(PlatformName, IsReleasedOnceRead)
{
    Platform::GetAppTitle();
    EXPECT_EQ(s_released, std::vector<const void*>{s_processName});
}

TEST(PlatformVersion, ABundleWithoutInformationIsLoggedAndReadAgain)
{
    s_hasInfo = false;
    EXPECT_STREQ(Platform::GetAppVersion(), "no bundleInfoDict");
    s_hasInfo = true;
    EXPECT_STREQ(Platform::GetAppVersion(), "no theCFString");
    s_version = "1.4.2";
    EXPECT_STREQ(Platform::GetAppVersion(), "1.4.2");
    EXPECT_EQ(count("info"), 3);
}

TEST(PlatformVersion, WithoutABundleTheMissingInformationIsLogged)
{
    s_hasBundle = false;
    EXPECT_STREQ(Platform::GetAppVersion(), "no bundleInfoDict");
}

TEST(PlatformVersion, IsReadOnce)
{
    s_version = "1.4.2";
    EXPECT_STREQ(Platform::GetAppVersion(), "1.4.2");
    s_version = "9";
    EXPECT_STREQ(Platform::GetAppVersion(), "1.4.2");
    EXPECT_EQ(count("version"), 1);
}

TEST(PlatformVersion, TheValueIsReleasedOnceAlthoughItIsOnlyLent)
{
    s_version = "1.4.2";
    Platform::GetAppVersion();
    Platform::GetAppVersion();
    EXPECT_EQ(s_released, std::vector<const void*>{s_version});
}

TEST(PlatformVersion, AValueThatIsNoAsciiTextLeavesTheDefaultAndIsNotReadAgain)
{
    s_version = "1";
    s_stringConverts = false;
    EXPECT_STREQ(Platform::GetAppVersion(), "x.x.x.x");
    s_stringConverts = true;
    EXPECT_STREQ(Platform::GetAppVersion(), "x.x.x.x");
}

TEST(PlatformGameFolder, WithoutABundleOrResourcesIsEmptyAndReadAgainAtTheNextCall)
{
    s_hasBundle = false;
    EXPECT_STREQ(GetAppGamePath(), "");
    s_hasBundle = true;
    const char* resources = s_resources;
    s_resources = nullptr;
    EXPECT_STREQ(GetAppGamePath(), "");
    s_resources = resources;
    EXPECT_STREQ(GetAppGamePath(), "/game.app/Contents/Resources/Game/");
    EXPECT_STREQ(GetAppGamePath(), "/game.app/Contents/Resources/Game/");
    EXPECT_EQ(count("resources"), 2); // without, with; and then it is known
    EXPECT_EQ(s_released, std::vector<const void*>{resources});
}

TEST(PlatformGameFolder, IsNullWhenItsPathIsTooLong)
{
    const std::string path(1024, 'x');
    s_resources = path.c_str();
    EXPECT_EQ(GetAppGamePath(), nullptr);
    EXPECT_EQ(s_released, std::vector<const void*>{path.c_str()}); // not lost on this way out either
    s_resources = "/short";
    EXPECT_STREQ(GetAppGamePath(), "/short/Game/");
}

TEST(PlatformGameFolder, IsTruncatedTo1023BytesWithItsEnding)
{
    const std::string path(1020, 'x');
    s_resources = path.c_str();
    EXPECT_EQ(GetAppGamePath(), path + "/Ga");
}

struct PlatformDataFolder : testing::Test {
    PlatformDataFolder() { s_watchFolders = true; }
    ~PlatformDataFolder() override { s_watchFolders = false; }
};

TEST_F(PlatformDataFolder, IsFoundOnceAndMadeFromTheTopDown)
{
    const std::string maker = std::filesystem::current_path().string() + "/Brackenlow";
    EXPECT_EQ(Platform::GetAppDataDir("data"), maker + "/Probe");
    EXPECT_EQ(Platform::GetAppDataDir("logs"), maker + "/Probe");
    EXPECT_EQ(s_asked, (std::vector<std::string>{"folder", "mkdir " + maker, "string", "mkdir " + maker + "/Probe",
                                                 "mkdir " + maker + "/Probe/data"}));
}

TEST_F(PlatformDataFolder, WithoutApplicationSupportThePathStartsAtTheRoot)
{
    s_findStatus = fnfErr;
    EXPECT_STREQ(Platform::GetAppDataDir("data"), "/Brackenlow/Probe");
}

TEST_F(PlatformDataFolder, ALongNameIsTruncatedTo1023Bytes)
{
    const std::string name(1000, 'n');
    s_processName = name.c_str();
    const std::string whole = std::filesystem::current_path().string() + "/Brackenlow/" + name;
    EXPECT_EQ(Platform::GetAppDataDir("data"), whole.substr(0, 1023));
}

TEST(PlatformStart, TheVectorUnitIsLookedForOnTheFirstSetAppAlone)
{
    Platform::SetApp(1);
    Platform::SetApp(2);
    EXPECT_EQ(count("gestalt"), 1);
}

TEST(PlatformStart, TheGameStartsOnAProcessorWithoutAVectorUnit)
{
    s_features = ~0x10;
    Platform::SetApp(1);
    EXPECT_EQ(Platform::GetApp(), 1u);
}

TEST(PlatformStart, TheGameStartsOnAnUnknownProcessor)
{
    s_gestaltStatus = gestaltUndefSelectorErr;
    Platform::SetApp(1);
    EXPECT_EQ(Platform::GetApp(), 1u);
}

TEST(PlatformStart, SystemCheckTakesTheMainDisplaysMode)
{
    Platform::SystemCheck();
    EXPECT_EQ(count("mode"), 1);
}

TEST(PlatformPage, IsOpenedByTheSystemAndTheResultIsTheStatusOfTheSystem)
{
    EXPECT_EQ(Platform::SpawnWebBrowser("http://example.org/"), 0);
    s_openStatus = -10814;
    EXPECT_EQ(Platform::SpawnWebBrowser("http://example.org/b"), -10814);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"open http://example.org/", "open http://example.org/b"}));
    EXPECT_EQ(s_released.size(), 4u); // the text and the URL, each time
}

TEST(PlatformPage, WithoutATextOrAUrlNothingIsOpenedAndTheAnswerIs0)
{
    s_openStatus = -1;
    s_urlText = false;
    EXPECT_EQ(Platform::SpawnWebBrowser("http://example.org/"), 0);
    s_urlText = true;
    s_url = false;
    EXPECT_EQ(Platform::SpawnWebBrowser("http://example.org/"), 0);
    EXPECT_TRUE(s_asked.empty());
}

TEST(PlatformCursor, IsHiddenAndShownOnceHoweverOftenThatIsAsked)
{
    for (bool show : {true, false, false, true, true}) {
        Platform::ShowCursor(show);
    }
    EXPECT_EQ(s_asked, (std::vector<std::string>{"hide", "show"}));
}

TEST(PlatformCursor, IsHiddenOnceMoreBehindTheFirstSetApp)
{
    Platform::ShowCursor(false);
    Platform::SetApp(1); // clears the state, and with it what is known of the cursor
    Platform::ShowCursor(true);
    Platform::ShowCursor(false);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"hide", "gestalt", "hide"}));
}

TEST(PlatformCursor, IsMovedAndTiedToTheMouse)
{
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"move 10 20", "tie"}));
}

TEST(PlatformCursor, IsCapturedByAFlagWhereThereIsNoWindow)
{
    EXPECT_EQ(g_MacMouseCaptured, 0);
    Platform::CaptureMouse(true);
    EXPECT_EQ(g_MacMouseCaptured, 1);
    Platform::CaptureMouse(false);
    EXPECT_EQ(g_MacMouseCaptured, 0);
    EXPECT_TRUE(s_asked.empty());
}
