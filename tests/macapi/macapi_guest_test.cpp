// macapi as a guest in the program: it leaves the program's own definitions, streams and handlers alone.
//
// This program defines the Mac's calls itself, as a program may. Each of them passes the call on to macapi's, and
// notices when macapi itself is the caller.
#include <Carbon/Carbon.h>
#include <mach-o/dyld.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <signal.h>
#include <stdlib.h>
#include <vector>

static int s_depth;
static int s_callsFromInside;

struct Call {
    Call() { s_callsFromInside += s_depth++ > 0 ? 1 : 0; }
    ~Call() { s_depth--; }
};

#define WATCHED(type, function, parameters, arguments)                                                               \
    extern "C" type function parameters                                                                              \
    {                                                                                                                \
        const Call call;                                                                                             \
        return reinterpret_cast<type(*) parameters>(dlsym(RTLD_NEXT, #function)) arguments;                          \
    }

WATCHED(CFTypeRef, CFRetain, (CFTypeRef object), (object))
WATCHED(void, CFRelease, (CFTypeRef object), (object))
WATCHED(CFStringRef, CFStringCreateWithCString, (CFAllocatorRef a, const char* text, CFStringEncoding e),
        (a, text, e))
WATCHED(Boolean, CFStringGetCString, (CFStringRef s, char* out, CFIndex size, CFStringEncoding e), (s, out, size, e))
WATCHED(CFIndex, CFStringGetLength, (CFStringRef s), (s))
WATCHED(CFStringRef, __CFStringMakeConstantString, (const char* text), (text))
WATCHED(CFNumberRef, CFNumberCreate, (CFAllocatorRef a, CFNumberType type, const void* value), (a, type, value))
WATCHED(Boolean, CFNumberGetValue, (CFNumberRef n, CFNumberType type, void* out), (n, type, out))
WATCHED(Boolean, CFBooleanGetValue, (CFBooleanRef b), (b))
WATCHED(CFIndex, CFDictionaryGetCount, (CFDictionaryRef d), (d))
WATCHED(const void*, CFDictionaryGetValue, (CFDictionaryRef d, const void* key), (d, key))
WATCHED(CFURLRef, CFURLCreateWithString, (CFAllocatorRef a, CFStringRef text, CFURLRef base), (a, text, base))
WATCHED(CFURLRef, CFURLCreateFromFileSystemRepresentation,
        (CFAllocatorRef a, const UInt8* path, CFIndex length, Boolean isFolder), (a, path, length, isFolder))
WATCHED(CFStringRef, CFURLGetString, (CFURLRef url), (url))
WATCHED(Boolean, CFURLGetFileSystemRepresentation, (CFURLRef url, Boolean resolve, UInt8* out, CFIndex size),
        (url, resolve, out, size))
WATCHED(CFBundleRef, CFBundleGetMainBundle, (void), ())
WATCHED(CFDictionaryRef, CFBundleGetInfoDictionary, (CFBundleRef b), (b))
WATCHED(CFTypeRef, CFBundleGetValueForInfoDictionaryKey, (CFBundleRef b, CFStringRef key), (b, key))
WATCHED(CFURLRef, CFBundleCopyResourcesDirectoryURL, (CFBundleRef b), (b))
WATCHED(CFPropertyListRef, CFPreferencesCopyAppValue, (CFStringRef key, CFStringRef app), (key, app))
WATCHED(CFIndex, CFPreferencesGetAppIntegerValue, (CFStringRef key, CFStringRef app, Boolean* valid),
        (key, app, valid))
WATCHED(void, CFPreferencesSetAppValue, (CFStringRef key, CFPropertyListRef value, CFStringRef app),
        (key, value, app))
WATCHED(Boolean, CFPreferencesAppSynchronize, (CFStringRef app), (app))
WATCHED(CFPropertyListRef, CFPreferencesCopyValue,
        (CFStringRef key, CFStringRef app, CFStringRef user, CFStringRef host), (key, app, user, host))
WATCHED(void, CFPreferencesSetValue,
        (CFStringRef key, CFPropertyListRef value, CFStringRef app, CFStringRef user, CFStringRef host),
        (key, value, app, user, host))
WATCHED(Boolean, CFPreferencesSynchronize, (CFStringRef app, CFStringRef user, CFStringRef host), (app, user, host))
WATCHED(CGDirectDisplayID, CGMainDisplayID, (void), ())
WATCHED(CFDictionaryRef, CGDisplayCurrentMode, (CGDirectDisplayID display), (display))
WATCHED(size_t, CGDisplayPixelsWide, (CGDirectDisplayID display), (display))
WATCHED(size_t, CGDisplayPixelsHigh, (CGDirectDisplayID display), (display))
WATCHED(size_t, CGDisplayBitsPerPixel, (CGDirectDisplayID display), (display))
WATCHED(CGWindowLevel, CGShieldingWindowLevel, (void), ())
WATCHED(CGDisplayErr, CGDisplayHideCursor, (CGDirectDisplayID display), (display))
WATCHED(CGDisplayErr, CGDisplayShowCursor, (CGDirectDisplayID display), (display))
WATCHED(CGDisplayErr, CGDisplayMoveCursorToPoint, (CGDirectDisplayID display, CGPoint point), (display, point))
WATCHED(CGError, CGAssociateMouseAndMouseCursorPosition, (boolean_t connected), (connected))
WATCHED(CFDictionaryRef, CGSessionCopyCurrentDictionary, (void), ())
WATCHED(OSStatus, LSOpenCFURLRef, (CFURLRef url, CFURLRef* launched), (url, launched))
WATCHED(OSErr, GetCurrentProcess, (ProcessSerialNumber * process), (process))
WATCHED(OSStatus, CopyProcessName, (const ProcessSerialNumber* process, CFStringRef* name), (process, name))
WATCHED(OSErr, FSFindFolder, (short domain, OSType type, Boolean create, FSRef* folder),
        (domain, type, create, folder))
WATCHED(OSStatus, FSRefMakePath, (const FSRef* folder, UInt8* path, UInt32 size), (folder, path, size))
WATCHED(OSErr, Gestalt, (OSType selector, SInt32* response), (selector, response))
WATCHED(void, Microseconds, (UnsignedWide * microseconds), (microseconds))
WATCHED(AbsoluteTime, UpTime, (void), ())
WATCHED(AbsoluteTime, AddNanosecondsToAbsolute, (Nanoseconds nanoseconds, AbsoluteTime time), (nanoseconds, time))
WATCHED(OSStatus, MPDelayUntil, (AbsoluteTime * moment), (moment))
WATCHED(bool, NSIsSymbolNameDefined, (const char* name), (name))
WATCHED(NSSymbol, NSLookupAndBindSymbol, (const char* name), (name))
WATCHED(void*, NSAddressOfSymbol, (NSSymbol symbol), (symbol))
WATCHED(void, GetPort, (GrafPtr * port), (port))
WATCHED(void, SetPort, (GrafPtr port), (port))
WATCHED(void, GlobalToLocal, (Point * point), (point))

// Names a constant of its own, too.
extern "C" const CFStringRef kCFBundleVersionKey = nullptr;

static void callEverything()
{
    setenv("PATH", "/nowhere", 1); // no browser
    CFStringRef name = nullptr;
    ProcessSerialNumber self;
    GetCurrentProcess(&self);
    CopyProcessName(&self, &name);
    char text[1024];
    CFStringGetCString(name, text, sizeof(text), kCFStringEncodingUTF8);
    CFStringGetLength(name);
    CFRelease(CFRetain(name));
    CFRelease(name);

    CFBundleRef bundle = CFBundleGetMainBundle();
    CFDictionaryGetCount(CFBundleGetInfoDictionary(bundle));
    CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleVersion"));
    CFURLRef url = CFBundleCopyResourcesDirectoryURL(bundle);
    UInt8 path[1024];
    CFURLGetFileSystemRepresentation(url, true, path, sizeof(path));
    CFURLGetString(url);
    CFRelease(url);

    CFDictionaryRef mode = CGDisplayCurrentMode(CGMainDisplayID());
    int width = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(mode, kCGDisplayWidth)), kCFNumberIntType, &width);
    CGDisplayPixelsWide(kCGDirectMainDisplay);
    CGDisplayPixelsHigh(kCGDirectMainDisplay);
    CGDisplayBitsPerPixel(kCGDirectMainDisplay);
    CGShieldingWindowLevel();
    CFRelease(CGSessionCopyCurrentDictionary());
    CGDisplayHideCursor(kCGDirectMainDisplay);
    CGDisplayShowCursor(kCGDirectMainDisplay);
    CGDisplayMoveCursorToPoint(kCGDirectMainDisplay, CGPoint{0, 0});
    CGAssociateMouseAndMouseCursorPosition(false);
    CGAssociateMouseAndMouseCursorPosition(true);
    GrafPtr port;
    GetPort(&port);
    SetPort(port);
    Point point = {0, 0};
    GlobalToLocal(&point);
    CFRelease(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &width));
    CFBooleanGetValue(kCFBooleanTrue);

    CFRelease(CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, path, 1, true));
    CFStringRef address = CFStringCreateWithCString(kCFAllocatorDefault, "http://a/", kCFStringEncodingASCII);
    CFURLRef page = CFURLCreateWithString(kCFAllocatorDefault, address, nullptr);
    LSOpenCFURLRef(page, nullptr);
    CFRelease(page);
    CFRelease(address);

    const CFStringRef app = kCFPreferencesCurrentApplication;
    const CFStringRef user = kCFPreferencesCurrentUser;
    CFPreferencesSetAppValue(app, app, app);
    CFPreferencesAppSynchronize(app);
    CFRelease(CFPreferencesCopyAppValue(app, app));
    CFPreferencesGetAppIntegerValue(app, app, nullptr);
    CFPreferencesSetValue(app, app, app, user, kCFPreferencesAnyHost);
    CFPreferencesSynchronize(app, user, kCFPreferencesAnyHost);
    CFRelease(CFPreferencesCopyValue(app, app, user, kCFPreferencesAnyHost));

    FSRef folder;
    FSFindFolder(kLocalDomain, kPreferencesFolderType, kCreateFolder, &folder);
    FSRefMakePath(&folder, path, sizeof(path));
    SInt32 features;
    Gestalt(gestaltPowerPCProcessorFeatures, &features);

    UnsignedWide microseconds;
    Microseconds(&microseconds);
    AbsoluteTime moment = AddNanosecondsToAbsolute(microseconds, UpTime());
    moment = {0, 0}; // long past
    MPDelayUntil(&moment);
    NSIsSymbolNameDefined("_NoSuchFunction");
    NSAddressOfSymbol(NSLookupAndBindSymbol("_getpid"));
}

TEST(Guest, CallsNoFunctionThatTheProgramMayHaveReplaced)
{
    callEverything();
    EXPECT_EQ(s_callsFromInside, 0);
}

TEST(Guest, PrintsNothing)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    callEverything();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Guest, InstallsNoSignalHandler)
{
    const auto handlers = [] {
        std::vector<void (*)(int)> all;
        for (int number = 1; number < NSIG; number++) {
            struct sigaction action = {};
            sigaction(number, nullptr, &action);
            all.push_back(action.sa_handler);
        }
        return all;
    };
    const auto before = handlers();
    callEverything();
    EXPECT_EQ(handlers(), before);
}

TEST(Guest, LeavesNoFileOpen)
{
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    unsetenv("DISPLAY"); // the connection to a server is kept
    const auto before = openFiles();
    callEverything();
    EXPECT_EQ(openFiles(), before);
}
