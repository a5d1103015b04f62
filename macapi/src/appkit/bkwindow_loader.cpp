// The functions of core/macosx_bkwindow.h, which load libcore-appkit when they first need it. This source is part of
// core.
//
// 1. libcore-appkit is loaded once and is never unloaded, because the Objective-C runtime cannot forget its classes.
// 2. What it brings is global, as if the program had linked it. So GNUstep finds its own modules' symbols, and a game
//    that links AppKit itself shares one AppKit with the library.
// 3. A program in Objective-C may name the class BKWindow anywhere. So in such a program the library is loaded together
//    with libcore.
// 4. If the library or GNUstep is missing, no window is ever made: the functions answer as those of
//    core/macosx_bkwindow_none.cpp, and a line on the standard error stream says so once.
#include "macapi/src/appkit/bkwindow_library.h"

#include <ApplicationServices/ApplicationServices.h>

#include <atomic>
#include <dlfcn.h>
#include <mutex>
#include <stdio.h>

using namespace macapi;

// Undefined weak references to the functions that libcore-appkit calls. A linker exports a function of the program only
// if a library that the program links refers to the function; these references make it do so, and libcore-appkit then
// calls the program's function. No code reads the table.
#pragma GCC visibility push(default)
extern "C" {
__attribute__((weak)) void NSRunAlertPanel();
__attribute__((weak)) void NSStringFromRect();
}
#pragma GCC visibility pop
__attribute__((used)) static void (*const s_replaceable[])() = {NSRunAlertPanel, NSStringFromRect};

// The symbol that a compiled use of the class BKWindow refers to. It has no other use than to be there at link.
extern "C" __attribute__((visibility("default"))) const int __objc_class_name_BKWindow;
const int __objc_class_name_BKWindow = 0;

static std::atomic<const BKWindowFunctions*> s_functions;

static void load()
{
    void* library = dlopen(BKWINDOW_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
    if (!library) {
        fprintf(stderr, "no windows: %s\n", dlerror());
        return;
    }
    macapi_appKitWasLoaded();
    s_functions = static_cast<const BKWindowFunctions*>(dlsym(library, "core_appkit_functions"));
}

// Returns the functions of libcore-appkit; null if it cannot be loaded.
static const BKWindowFunctions* functions()
{
    static std::once_flag s_once;
    std::call_once(s_once, load);
    return s_functions;
}

__attribute__((constructor)) static void loadInObjectiveC()
{
    if (dlsym(RTLD_DEFAULT, "objc_lookUpClass")) {
        functions();
    }
}

// Calls a function of libcore-appkit. Returns a result of zeros if it cannot be loaded.
template <class Result, class... Parameters, class... Arguments>
static Result call(Result (*BKWindowFunctions::*function)(Parameters...), Arguments&&... arguments)
{
    const BKWindowFunctions* loaded = functions();
    return loaded ? (loaded->*function)(arguments...) : Result();
}

static bool hasWindowServer()
{
    const CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (session) {
        CFRelease(session);
    }
    return session != nullptr;
}

// Without a window server there is nothing to load the library for.
bool BKMakeApplication()
{
    return (s_functions || hasWindowServer()) && call(&BKWindowFunctions::BKMakeApplication);
}

int BKRunAlert(const char* title, const char* message, const char* button)
{
    return call(&BKWindowFunctions::BKRunAlert, title, message, button);
}

BKRect BKMainScreenFrame()
{
    return call(&BKWindowFunctions::BKMainScreenFrame);
}

double BKFirstScreenHeight()
{
    return call(&BKWindowFunctions::BKFirstScreenHeight);
}

int BKModeEntry(CFDictionaryRef mode, const char* name)
{
    return call(&BKWindowFunctions::BKModeEntry, mode, name);
}

void* BKMakeWindow(const BKRect& content, unsigned int styleMask, int backing, bool defer)
{
    return call(&BKWindowFunctions::BKMakeWindow, content, styleMask, backing, defer);
}

bool BKIsWindow(const void* window)
{
    return window && call(&BKWindowFunctions::BKIsWindow, window);
}

std::string BKWindowTitle(void* window)
{
    return call(&BKWindowFunctions::BKWindowTitle, window);
}

BKRect BKWindowContentRect(void* window)
{
    return call(&BKWindowFunctions::BKWindowContentRect, window);
}

void BKWindowSetTitle(void* window, const char* title)
{
    call(&BKWindowFunctions::BKWindowSetTitle, window, title);
}

void BKWindowSetBlackBackground(void* window)
{
    call(&BKWindowFunctions::BKWindowSetBlackBackground, window);
}

void BKWindowSetAcceptsMouseMoved(void* window, bool accepts)
{
    call(&BKWindowFunctions::BKWindowSetAcceptsMouseMoved, window, accepts);
}

void BKWindowSetReleasedWhenClosed(void* window, bool released)
{
    call(&BKWindowFunctions::BKWindowSetReleasedWhenClosed, window, released);
}

void BKWindowSetDelegateToApplication(void* window)
{
    call(&BKWindowFunctions::BKWindowSetDelegateToApplication, window);
}

void BKWindowClearDelegate(void* window)
{
    call(&BKWindowFunctions::BKWindowClearDelegate, window);
}

void BKWindowSetLevel(void* window, int level)
{
    call(&BKWindowFunctions::BKWindowSetLevel, window, level);
}

void BKWindowCenter(void* window)
{
    call(&BKWindowFunctions::BKWindowCenter, window);
}

void BKWindowMakeKey(void* window)
{
    call(&BKWindowFunctions::BKWindowMakeKey, window);
}

void BKWindowMakeKeyAndOrderFront(void* window)
{
    call(&BKWindowFunctions::BKWindowMakeKeyAndOrderFront, window);
}

void BKWindowClose(void* window)
{
    call(&BKWindowFunctions::BKWindowClose, window);
}

void BKWindowRetain(void* window)
{
    call(&BKWindowFunctions::BKWindowRetain, window);
}

void BKWindowRelease(void* window)
{
    call(&BKWindowFunctions::BKWindowRelease, window);
}

BKPoint BKWindowConvertBaseToScreen(void* window, const BKPoint& point)
{
    return call(&BKWindowFunctions::BKWindowConvertBaseToScreen, window, point);
}

bool BKCurrentEventLocation(BKPoint& point)
{
    return call(&BKWindowFunctions::BKCurrentEventLocation, point);
}

bool BKKeyWindowMouseLocation(BKPoint& point)
{
    return call(&BKWindowFunctions::BKKeyWindowMouseLocation, point);
}
