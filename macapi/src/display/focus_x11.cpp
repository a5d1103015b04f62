// The steps added to two methods of AppKit's X back end: the method that reads events and the method that asks for
// the focus.
#include "macapi/src/display/focus.h"

#include "macapi/src/appkit/objc.h"
#include "macapi/src/display/windowserver_x11.h"

#include <ApplicationServices/ApplicationServices.h>

#include <atomic>
#include <mutex>
#include <stdint.h>

namespace macapi {

using ReceivedEvent = void (*)(ID server, Selector, void* data, int type, void* extra, ID mode);
using SetInputFocus = void (*)(ID server, Selector, int window);
static ReceivedEvent s_receivedEvent; // the back end's own functions of the replaced methods
static SetInputFocus s_setInputFocus;

// Returns AppKit's window for a window of the server; null if there is none.
static ID findWindow(ID application, Window wanted)
{
    const ID windows = send<ID>(application, "windows");
    const unsigned long count = send<unsigned long>(windows, "count");
    for (unsigned long i = 0; i < count; i++) {
        const ID window = send<ID>(windows, "objectAtIndex:", i);
        if (reinterpret_cast<uintptr_t>(send<void*>(window, "windowRef")) == wanted) {
            return window;
        }
    }
    return nullptr;
}

// Sends the event that makes an AppKit window the key window and activates the application. AppKit itself sends the
// same event when a window manager offers the focus to the application.
static void sendFocusIn(ID window)
{
    const unsigned long appKitDefined = 13; // NSAppKitDefined
    const short focusIn = 5;                // GSAppKitWindowFocusIn
    const ID event = send<ID>(objc_lookUpClass("NSEvent"),
                              "otherEventWithType:location:modifierFlags:timestamp:windowNumber:context:subtype:"
                              "data1:data2:",
                              appKitDefined, CGPoint{0, 0}, 0ul, 0.0, send<long>(window, "windowNumber"), ID(nullptr),
                              focusIn, 0l, 0l);
    send<void>(window, "sendEvent:", event);
}

// Returns the window that has the focus; None if no window has it, or if there is no server.
static Window focusWindow()
{
    const ServerLock xserver;
    Window window = None;
    int revertTo;
    if (xserver) {
        XGetInputFocus(xserver.display(), &window, &revertTo);
    }
    return window == PointerRoot ? None : window;
}

// True while a focus event is being sent. While AppKit handles this event it may read other events and raise an
// exception.
struct FocusEvent {
    FocusEvent() { s_isBeingSent = true; }
    ~FocusEvent() { s_isBeingSent = false; }
    FocusEvent(const FocusEvent&) = delete;
    FocusEvent& operator=(const FocusEvent&) = delete;

    static bool s_isBeingSent;
};
bool FocusEvent::s_isBeingSent;

// Step 1, after AppKit has read its events: if the application is inactive although one of its windows has the focus,
// that window becomes the key window and the application active.
static void receivedEvent(ID server, Selector name, void* data, int type, void* extra, ID mode)
{
    s_receivedEvent(server, name, data, type, extra, mode);
    const ID application = send<ID>(objc_lookUpClass("NSApplication"), "sharedApplication");
    if (FocusEvent::s_isBeingSent || send<unsigned char>(application, "isActive")) {
        return;
    }
    const Window focused = focusWindow();
    const ID window = focused ? findWindow(application, focused) : nullptr;
    if (window) {
        const FocusEvent sending;
        sendFocusIn(window);
    }
}

// Step 2, after AppKit has asked for the focus: repeats the request, with the current time. The server refuses the
// focus to a window that is not visible yet; AppKit asks again when the window is visible. AppKit also calls this
// method while it handles the event of step 1. Then nothing is requested: the window already has the focus, and a
// window manager that takes the focus back would start an endless exchange of requests.
static void setInputFocus(ID server, Selector name, int number)
{
    if (FocusEvent::s_isBeingSent) {
        return;
    }
    s_setInputFocus(server, name, number);
    const uintptr_t window = number ? reinterpret_cast<uintptr_t>(send<void*>(server, "windowDevice:", number)) : 0;
    const ServerLock xserver;
    if (window && xserver) {
        XSetInputFocus(xserver.display(), window, RevertToParent, CurrentTime);
        xserver.succeeded();
    }
}

// Stores the method's function in *own and installs ours. Does nothing if there is no such method.
template <class F>
static void replace(Class of, const char* name, F* own, F function)
{
    const Method method = class_getInstanceMethod(of, sel_registerName(name));
    if (method) {
        *own = reinterpret_cast<F>(method_getImplementation(method));
        method_setImplementation(method, reinterpret_cast<Function>(function));
    }
}

void followFocus()
{
    static std::mutex s_mutex;
    static std::atomic<bool> s_done;

    if (s_done || !hasObjectiveC()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(s_mutex);
    const Class server = objc_lookUpClass("XGServer");
    if (s_done || !server) {
        return;
    }
    replace(server, "receivedEvent:type:extra:forMode:", &s_receivedEvent, receivedEvent);
    replace(server, "setinputfocus:", &s_setInputFocus, setInputFocus);
    s_done = true;
}

} // namespace macapi
