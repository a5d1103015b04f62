// Replaces the method of AppKit that makes key events. If the X back end calls the method, the key code is the
// server's and is translated.
#include "macapi/src/display/keys.h"

#include "macapi/src/appkit/objc.h"

#include <ApplicationServices/ApplicationServices.h>

#include <atomic>
#include <dlfcn.h>
#include <mutex>

namespace macapi {

using MakeKeyEvent = ID (*)(ID, Selector, unsigned long type, CGPoint location, unsigned long modifiers, double time,
                            long window, ID context, ID characters, ID charactersIgnoringModifiers,
                            unsigned char isRepeat, unsigned short key);
static MakeKeyEvent s_make; // AppKit's own function

// Returns the start of the library that an address lies in; null if unknown.
static const void* libraryOf(const void* address)
{
    Dl_info info;
    return address && dladdr(address, &info) ? info.dli_fbase : nullptr;
}

// Returns true if an address lies in the X back end. The back end is loaded with the application object; its class
// XGServer shows where it is.
static bool isInBackend(const void* address)
{
    const Class server = objc_lookUpClass("XGServer");
    if (!server) {
        return false;
    }
    const Function handler = class_getMethodImplementation(server, sel_registerName("windowDevice:"));
    return libraryOf(address) == libraryOf(reinterpret_cast<const void*>(handler));
}

static ID makeKeyEvent(ID events, Selector name, unsigned long type, CGPoint location, unsigned long modifiers,
                       double time, long window, ID context, ID characters, ID charactersIgnoringModifiers,
                       unsigned char isRepeat, unsigned short key)
{
    if (isInBackend(__builtin_return_address(0))) {
        key = virtualKeyOf(key);
    }
    return s_make(events, name, type, location, modifiers, time, window, context, characters,
                  charactersIgnoringModifiers, isRepeat, key);
}

void translateKeyEvents()
{
    static std::mutex s_mutex;
    static std::atomic<bool> s_done;

    if (s_done || !findObjectiveC()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(s_mutex);
    const Class events = objc_lookUpClass("NSEvent");
    if (s_done || !events) {
        return;
    }
    const Method method = class_getClassMethod(
        events, sel_registerName("keyEventWithType:location:modifierFlags:timestamp:windowNumber:context:characters:"
                                 "charactersIgnoringModifiers:isARepeat:keyCode:"));
    if (method) {
        s_make = reinterpret_cast<MakeKeyEvent>(method_getImplementation(method));
        method_setImplementation(method, reinterpret_cast<Function>(makeKeyEvent));
    }
    s_done = true;
}

} // namespace macapi
