// The library libcore-appkit: the window class of core, and AppKit with it.
//
// GNUstep's AppKit stands on 50 libraries, which take 50 ms to load. A game that shows no window does not need them. So
// core/macosx_bkwindow.mm is a library of its own on hosts whose AppKit is GNUstep's, and libcore loads that library
// when it first needs it:
//
//     game -> libcore: bkwindow_loader.cpp  - - dlopen - ->  libcore-appkit: macosx_bkwindow.mm, bkwindow_library.cpp
//                |                                              |
//                v                                              v
//             libmacapi                                      GNUstep
#pragma once

#include "core/macosx_bkwindow.h"

namespace macapi {

// The functions of core/macosx_bkwindow.h.
#define BKWINDOW_FUNCTIONS(_)                                                                                        \
    _(BKMakeApplication)                                                                                             \
    _(BKRunAlert)                                                                                                    \
    _(BKMainScreenFrame)                                                                                             \
    _(BKFirstScreenHeight)                                                                                           \
    _(BKModeEntry)                                                                                                   \
    _(BKMakeWindow)                                                                                                  \
    _(BKIsWindow)                                                                                                    \
    _(BKWindowTitle)                                                                                                 \
    _(BKWindowContentRect)                                                                                           \
    _(BKWindowSetTitle)                                                                                              \
    _(BKWindowSetBlackBackground)                                                                                    \
    _(BKWindowSetAcceptsMouseMoved)                                                                                  \
    _(BKWindowSetReleasedWhenClosed)                                                                                 \
    _(BKWindowSetDelegateToApplication)                                                                              \
    _(BKWindowClearDelegate)                                                                                         \
    _(BKWindowSetLevel)                                                                                              \
    _(BKWindowCenter)                                                                                                \
    _(BKWindowMakeKey)                                                                                               \
    _(BKWindowMakeKeyAndOrderFront)                                                                                  \
    _(BKWindowClose)                                                                                                 \
    _(BKWindowRetain)                                                                                                \
    _(BKWindowRelease)                                                                                               \
    _(BKWindowConvertBaseToScreen)                                                                                   \
    _(BKCurrentEventLocation)                                                                                        \
    _(BKKeyWindowMouseLocation)

// Their addresses in libcore-appkit.
struct BKWindowFunctions {
#define BKWINDOW_FIELD(name) decltype(&::name) name;
    BKWINDOW_FUNCTIONS(BKWINDOW_FIELD)
#undef BKWINDOW_FIELD
};

} // namespace macapi

#pragma GCC visibility push(default)
extern "C" {
// Exported by libcore-appkit.
extern const macapi::BKWindowFunctions core_appkit_functions;

// Exported by libmacapi: finds the Objective-C runtime and makes the classes of our objects. Call this after AppKit was
// loaded.
void macapi_appKitWasLoaded();
}
#pragma GCC visibility pop
