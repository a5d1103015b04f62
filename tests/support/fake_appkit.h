// A window server on paper: what the platform asks of AppKit and of the display, in the order it asks.
//
// For programs that have the platform's sources compiled into them. It stands in for the window class's face and for
// the display's functions, so the rules above them can be watched on any host.
#pragma once

#include "core/macosx_bkwindow.h"

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

// What a display mode's dictionary is here.
struct FakeMode {
    int width;
    int height;
};

static std::vector<std::string> s_asked;     // a line for each call that does or reads something
static bool s_application = true;            // there is a window server, and an application object
static bool s_windowsCanBeMade = true;       //
static BKRect s_screen = {0, 0, 1024, 768};  // the main screen's frame
static double s_firstScreenHeight = 768;     //
static FakeMode s_mode = {1024, 768};        // the display's, now
static BKRect s_content = {0, 0, 0, 0};      // of any window, on the screen
static bool s_hasEvent = true;               //
static BKPoint s_eventLocation = {0, 0};     //
static bool s_hasKeyWindow = true;           //
static BKPoint s_mouseLocation = {0, 0};     //
static Point s_portOrigin = {0, 0};          // of the current port, on the desktop
static std::set<const void*> s_windows;      // those that live
static int s_retained = 0;                   // how many of them, or of those that are gone, are kept
static char s_windowStorage[16];             // their addresses
static const CGDirectDisplayID sc_main = 77; // the main display's number

// A line from words and numbers.
template <class... T> static void note(const T&... words)
{
    std::ostringstream line;
    const char* gap = "";
    ((line << gap << words, gap = " "), ...);
    s_asked.push_back(line.str());
}

static CFDictionaryRef asDictionary(const FakeMode& mode) { return reinterpret_cast<CFDictionaryRef>(&mode); }

bool BKMakeApplication() { return s_application; }

int BKRunAlert(const char* title, const char* message, const char* button)
{
    note("alert", title, message, button);
    return 1;
}

BKRect BKMainScreenFrame()
{
    note("screen");
    return s_screen;
}

double BKFirstScreenHeight() { return s_firstScreenHeight; }

int BKModeEntry(CFDictionaryRef mode, const char* name)
{
    const FakeMode* read = reinterpret_cast<const FakeMode*>(mode);
    note(read == &s_mode ? "now" : "start", name);
    return !read ? 0 : name == std::string("Width") ? read->width : name == std::string("Height") ? read->height : -1;
}

void* BKMakeWindow(const BKRect& content, unsigned int styleMask, int backing, bool defer)
{
    note("make", content.x, content.y, content.width, content.height, "style", styleMask, "backing", backing, "defer",
         defer);
    if (!s_windowsCanBeMade) {
        return nullptr;
    }
    void* window = &s_windowStorage[s_windows.size()];
    s_windows.insert(window);
    return window;
}

bool BKIsWindow(const void* window) { return s_windows.count(window) != 0; }

// Of a window that is gone, nothing may be asked.
static void noteOf(const void* window, const std::string& what)
{
    note(s_windows.count(window) ? what : "dangling: " + what);
}

std::string BKWindowTitle(void* window)
{
    noteOf(window, "read title");
    return "Brackenlow";
}

BKRect BKWindowContentRect(void* window)
{
    noteOf(window, "read content");
    return s_content;
}

void BKWindowSetTitle(void* window, const char* title)
{
    noteOf(window, std::string("title ") + (title ? title : "null"));
}

void BKWindowSetBlackBackground(void* window) { noteOf(window, "black"); }

void BKWindowSetAcceptsMouseMoved(void* window, bool accepts)
{
    noteOf(window, accepts ? "mouse moved" : "no mouse moved");
}

void BKWindowSetReleasedWhenClosed(void* window, bool released)
{
    noteOf(window, released ? "released when closed" : "kept when closed");
}

void BKWindowSetDelegateToApplication(void* window) { noteOf(window, "delegate"); }

void BKWindowClearDelegate(void* window) { noteOf(window, "no delegate"); }

void BKWindowSetLevel(void* window, int level) { noteOf(window, "level " + std::to_string(level)); }

void BKWindowCenter(void* window) { noteOf(window, "center"); }

void BKWindowMakeKey(void* window) { noteOf(window, "key"); }

void BKWindowMakeKeyAndOrderFront(void* window) { noteOf(window, "key and front"); }

void BKWindowClose(void* window)
{
    noteOf(window, "close");
    s_windows.erase(window);
}

void BKWindowRetain(void*) { s_retained++; }

void BKWindowRelease(void*) { s_retained--; }

BKPoint BKWindowConvertBaseToScreen(void* window, const BKPoint& point)
{
    std::ostringstream words;
    words << "convert " << point.x << " " << point.y;
    noteOf(window, words.str());
    return {point.x + 1000, point.y + 1000};
}

bool BKCurrentEventLocation(BKPoint& point)
{
    if (s_hasEvent) {
        point = s_eventLocation;
    }
    return s_hasEvent;
}

bool BKKeyWindowMouseLocation(BKPoint& point)
{
    if (s_hasKeyWindow) {
        point = s_mouseLocation;
    }
    return s_hasKeyWindow;
}

extern "C" {

CGDirectDisplayID CGMainDisplayID(void) { return sc_main; }

CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display)
{
    note("mode of", display);
    return asDictionary(s_mode);
}

CGWindowLevel CGShieldingWindowLevel(void) { return 4711; }

size_t CGDisplayPixelsWide(CGDirectDisplayID display)
{
    note("wide of", display);
    return 1600;
}

size_t CGDisplayPixelsHigh(CGDirectDisplayID display)
{
    note("high of", display);
    return 1200;
}

size_t CGDisplayBitsPerPixel(CGDirectDisplayID display)
{
    note("bits of", display);
    return 16;
}

CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID display)
{
    note("hide on", display);
    return kCGErrorFailure; // nobody looks
}

CGDisplayErr CGDisplayShowCursor(CGDirectDisplayID display)
{
    note("show on", display);
    return kCGErrorFailure;
}

CGDisplayErr CGDisplayMoveCursorToPoint(CGDirectDisplayID display, CGPoint point)
{
    note("move on", display, "to", point.x, point.y);
    return kCGErrorFailure;
}

CGError CGAssociateMouseAndMouseCursorPosition(boolean_t connected)
{
    note("associate", connected);
    return kCGErrorSuccess;
}

void GetPort(GrafPtr* port)
{
    note("get port");
    *port = reinterpret_cast<GrafPtr>(&s_portOrigin);
}

void SetPort(GrafPtr port) { note(port == reinterpret_cast<GrafPtr>(&s_portOrigin) ? "set port" : "another port"); }

void GlobalToLocal(Point* point)
{
    note("local", point->h, point->v);
    point->h = static_cast<short>(point->h - s_portOrigin.h);
    point->v = static_cast<short>(point->v - s_portOrigin.v);
}

} // extern "C"
