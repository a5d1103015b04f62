// The main display, on a server of the test's own where there is one to start.
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>

#include <gtest/gtest.h>

#include <atomic>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#if __has_include(<X11/extensions/Xrandr.h>)
#include <X11/extensions/Xrandr.h>
#endif

// Width x height x bits @ rate, or "none".
static std::string describe(CFDictionaryRef mode)
{
    if (!mode) {
        return "none";
    }
    std::string text;
    for (CFStringRef key : {kCGDisplayWidth, kCGDisplayHeight, kCGDisplayBitsPerPixel, kCGDisplayRefreshRate}) {
        int value = -1;
        const CFNumberRef number = static_cast<CFNumberRef>(CFDictionaryGetValue(mode, key));
        EXPECT_TRUE(CFNumberGetValue(number, kCFNumberIntType, &value));
        text += (text.empty() ? "" : key == kCGDisplayRefreshRate ? "@" : "x") + std::to_string(value);
    }
    return text;
}

static std::string size()
{
    const CGDirectDisplayID display = kCGDirectMainDisplay;
    return std::to_string(CGDisplayPixelsWide(display)) + "x" + std::to_string(CGDisplayPixelsHigh(display)) + "x" +
           std::to_string(CGDisplayBitsPerPixel(display));
}

static std::string currentMode()
{
    return describe(CGDisplayCurrentMode(kCGDirectMainDisplay));
}

static void expectNoWindowServer()
{
    EXPECT_EQ(CGMainDisplayID(), kCGNullDirectDisplay);
    EXPECT_EQ(CGDisplayCurrentMode(kCGDirectMainDisplay), nullptr);
    EXPECT_EQ(CGDisplayCurrentMode(1), nullptr);
    EXPECT_EQ(CGSessionCopyCurrentDictionary(), nullptr);
    for (CGDirectDisplayID display : {kCGDirectMainDisplay, 1u}) {
        EXPECT_EQ(CGDisplayPixelsWide(display), 0u);
        EXPECT_EQ(CGDisplayPixelsHigh(display), 0u);
        EXPECT_EQ(CGDisplayBitsPerPixel(display), 0u);
    }
}

TEST(NoServer, ThereIsNoDisplayAndNoWait)
{
    unsetenv("DISPLAY");
    expectNoWindowServer();
}

TEST(NoServer, ADisplayWithoutAServerCountsAsNoServer)
{
    for (const char* name : {"nonsense", ":4711", "nohost.invalid:1"}) {
        setenv("DISPLAY", name, 1);
        testing::internal::CaptureStderr();
        expectNoWindowServer();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST(NoServer, KeysAreTheMacs)
{
    const struct {
        CFStringRef key;
        const char* text;
    } keys[] = {{kCGDisplayWidth, "Width"},
                {kCGDisplayHeight, "Height"},
                {kCGDisplayBitsPerPixel, "BitsPerPixel"},
                {kCGDisplayRefreshRate, "RefreshRate"}};
    for (const auto& k : keys) {
        char text[32];
        ASSERT_TRUE(CFStringGetCString(k.key, text, sizeof(text), kCFStringEncodingASCII));
        EXPECT_STREQ(text, k.text);
    }
}

TEST_F(XServer, ShowsItsScreen)
{
    start("1024x768x24");
    EXPECT_NE(CGMainDisplayID(), kCGNullDirectDisplay);
    EXPECT_EQ(CGMainDisplayID(), kCGDirectMainDisplay);
    EXPECT_EQ(currentMode(), "1024x768x32@0"); // a virtual screen has no rate
    EXPECT_EQ(CFDictionaryGetCount(CGDisplayCurrentMode(kCGDirectMainDisplay)), 4);
    EXPECT_EQ(size(), "1024x768x32");
}

TEST_F(XServer, MayHave16BitsAPixel)
{
    start("800x600x16");
    EXPECT_EQ(currentMode(), "800x600x16@0");
}

TEST_F(XServer, MayHave8BitsAPixel)
{
    start("640x480x8");
    EXPECT_EQ(currentMode(), "640x480x8@0");
}

TEST_F(XServer, WithoutOutputsHasItsScreenAndPrintsNothing)
{
    start("1024x768x24", "-extension", "RANDR");
    testing::internal::CaptureStderr();
    EXPECT_EQ(currentMode(), "1024x768x32@0");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(XServer, HasNoOtherDisplay)
{
    start("1024x768x24");
    EXPECT_EQ(CGDisplayCurrentMode(kCGNullDirectDisplay), nullptr);
    EXPECT_EQ(CGDisplayCurrentMode(CGMainDisplayID() + 1), nullptr);
    EXPECT_EQ(CGDisplayPixelsWide(kCGNullDirectDisplay), 0u);
    EXPECT_EQ(CGDisplayPixelsHigh(CGMainDisplayID() + 1), 0u);
    EXPECT_EQ(CGDisplayBitsPerPixel(CGMainDisplayID() + 1), 0u);
}

TEST_F(XServer, TheModeStaysValidToTheEndOfTheProcess)
{
    start("1024x768x24");
    CFDictionaryRef mode = CGDisplayCurrentMode(kCGDirectMainDisplay);
    EXPECT_EQ(CGDisplayCurrentMode(kCGDirectMainDisplay), mode); // the same mode is the same dictionary
    CFRelease(mode);                                             // one too many
    end();
    EXPECT_EQ(describe(mode), "1024x768x32@0");
}

TEST_F(XServer, TheSessionNamesTheUser)
{
    start("1024x768x24");
    CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    ASSERT_TRUE(session);
    long user = -1;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(session, kCGSessionUserIDKey)),
                                 kCFNumberLongType, &user));
    EXPECT_EQ(user, static_cast<long>(getuid()));
    CFRelease(session);
}

TEST_F(XServer, ThatGoesAwayCountsAsNoServerAndDoesNotEndTheGame)
{
    start("1024x768x24");
    EXPECT_EQ(currentMode(), "1024x768x32@0");
    end();
    testing::internal::CaptureStderr();
    expectNoWindowServer();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// The state letter of a thread: S while it waits for something.
static char stateOf(pid_t thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string text(std::istreambuf_iterator<char>(status), {});
    return text.empty() ? '?' : text[text.rfind(')') + 2];
}

TEST_F(XServer, MayGoAwayInTheMiddleOfAnAnswer)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "Xlib unlocks its mutex twice on this way, and the thread sanitizer says so";
#endif
    start("1024x768x24");
    EXPECT_EQ(currentMode(), "1024x768x32@0");
    kill(m_process, SIGSTOP);
    std::atomic<pid_t> asker{0};
    std::string mode;
    testing::internal::CaptureStderr();
    std::thread thread([&] {
        asker = static_cast<pid_t>(syscall(SYS_gettid));
        mode = currentMode();
    });
    while (asker == 0 || stateOf(asker) != 'S') { // the question is out, and the server stands still
        std::this_thread::yield();
    }
    end();
    thread.join();
    EXPECT_EQ(mode, "none");
    expectNoWindowServer();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(XServer, IsConnectedToByThisProcessAndNotItsChildren)
{
    start("1024x768x24");
    EXPECT_EQ(currentMode(), "1024x768x32@0");
    int connections = 0;
    for (int file = 3; file < 256; file++) {
        struct stat status;
        if (fstat(file, &status) == 0 && S_ISSOCK(status.st_mode)) {
            EXPECT_TRUE(fcntl(file, F_GETFD) & FD_CLOEXEC);
            connections++;
        }
    }
    EXPECT_EQ(connections, 1);
}

TEST_F(XServer, AForkedChildHasAConnectionOfItsOwn)
{
    start("1024x768x24");
    ASSERT_EQ(size(), "1024x768x32");
    const pid_t child = fork();
    for (int i = 0; i < 100; i++) {
        EXPECT_EQ(size(), "1024x768x32"); // both at the same time
    }
    if (child == 0) {
        _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(size(), "1024x768x32");
}

TEST_F(XServer, ThatIsNotThereForAChildIsStillThereForTheProcess)
{
    start("1024x768x24");
    ASSERT_EQ(size(), "1024x768x32");
    const pid_t child = fork();
    if (child == 0) {
        unsetenv("DISPLAY");
        expectNoWindowServer();
        _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(size(), "1024x768x32");
}

TEST_F(XServer, MayBeAskedFromManyThreads)
{
    start("1024x768x24");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 20; turn++) {
                EXPECT_EQ(currentMode(), "1024x768x32@0");
                CFRelease(CGSessionCopyCurrentDictionary());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

#ifdef _XRANDR_H_

static int s_errors;
static int countError(Display*, XErrorEvent*)
{
    return s_errors++;
}

TEST_F(XServer, LeavesTheProgramsErrorHandlersInPlace)
{
    start("1024x768x24");
    LOADED(XSetErrorHandler)(countError);
    EXPECT_EQ(currentMode(), "1024x768x32@0");
    EXPECT_EQ(LOADED(XSetErrorHandler)(nullptr), countError);
    EXPECT_EQ(s_errors, 0);
}

static RROutput s_primary; // what the server is made to say when it is asked; 0: what it says itself

extern "C" RROutput XRRGetOutputPrimary(Display* display, Window root)
{
    return s_primary ? s_primary : NEXT(XRRGetOutputPrimary)(display, root);
}

TEST_F(XServer, MayLoseAnOutputBetweenTwoCalls)
{
    start("1024x768x24");
    LOADED(XSetErrorHandler)(countError);
    testing::internal::CaptureStderr();
    s_primary = 0x7fffff;
    EXPECT_EQ(currentMode(), "1024x768x32@0"); // the server's error is ours alone, and another output will do
    EXPECT_EQ(s_errors, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Switches the one output to another mode, as the user's control panel does.
static void switchTo(unsigned int width, unsigned int height, unsigned int rate, XRRModeFlags flags)
{
    Display* display = LOADED(XOpenDisplay)(nullptr);
    ASSERT_TRUE(display);
    const Window root = DefaultRootWindow(display);
    XRRScreenResources* resources = LOADED(XRRGetScreenResourcesCurrent)(display, root);
    ASSERT_GT(resources->noutput, 0);
    std::string name = std::to_string(width); // each mode's own
    XRRModeInfo mode = {};
    mode.width = width;
    mode.height = height;
    mode.hTotal = width + 100;
    mode.vTotal = height + 50;
    mode.hSyncStart = width + 10;
    mode.hSyncEnd = width + 20;
    mode.vSyncStart = height + 1;
    mode.vSyncEnd = height + 2;
    mode.dotClock = static_cast<unsigned long>(rate) * mode.hTotal * mode.vTotal;
    mode.modeFlags = flags;
    mode.name = name.data();
    mode.nameLength = static_cast<unsigned int>(name.size());
    const RRMode id = LOADED(XRRCreateMode)(display, root, &mode);
    LOADED(XRRAddOutputMode)(display, resources->outputs[0], id);
    LOADED(XRRSetCrtcConfig)(display, resources, resources->crtcs[0], CurrentTime, 0, 0, 0, RR_Rotate_0, nullptr, 0);
    LOADED(XRRSetScreenSize)(display, root, static_cast<int>(width), static_cast<int>(height), 300, 200);
    EXPECT_EQ(LOADED(XRRSetCrtcConfig)(display, resources, resources->crtcs[0], CurrentTime, 0, 0, id, RR_Rotate_0,
                                       resources->outputs, 1),
              0);
    LOADED(XRRFreeScreenResources)(resources);
    LOADED(XCloseDisplay)(display);
}

TEST_F(XServer, IsAskedForItsModeAtEachCallAndFormerModesStayValid)
{
    start("1024x768x24");
    CFDictionaryRef first = CGDisplayCurrentMode(kCGDirectMainDisplay);
    switchTo(640, 480, 60, 0);
    CFDictionaryRef second = CGDisplayCurrentMode(kCGDirectMainDisplay);
    EXPECT_EQ(describe(first), "1024x768x32@0");
    EXPECT_EQ(describe(second), "640x480x32@60");
    switchTo(800, 600, 85, 0);
    EXPECT_EQ(currentMode(), "800x600x32@85");
    EXPECT_EQ(size(), "800x600x32");
    EXPECT_EQ(describe(second), "640x480x32@60");
}

TEST_F(XServer, CountsAnInterlacedModesHalfPictures)
{
    start("1024x768x24");
    switchTo(640, 480, 30, RR_Interlace);
    EXPECT_EQ(currentMode(), "640x480x32@60");
    switchTo(800, 600, 120, RR_DoubleScan);
    EXPECT_EQ(currentMode(), "800x600x32@60");
}

#endif
