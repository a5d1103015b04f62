// The window server is an X server.
//
// 1. We have a connection of our own, opened at the first question and kept: nothing that goes on at AppKit's is
//    disturbed, and what the server keeps for us goes when the process does.
// 2. s_mutex is held around all that touches it.
// 3. Errors are caught by a Trap, and only while it lives: Xlib would print them and end the process.
#include "macapi/src/windowserver.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <poll.h>

namespace macapi {

static std::mutex s_mutex;
static bool s_asked;
static Display* s_display;       // null without a server
static std::atomic<bool> s_lost; // the server has gone

// Xlib has one handler for all connections of the process. Others' errors go on to whoever was there before.
class Trap {
public:
    Trap()
    {
        s_formerErrors = XSetErrorHandler(onError);
        s_formerLoss = XSetIOErrorHandler(onLoss);
    }

    ~Trap()
    {
        XSetErrorHandler(s_formerErrors);
        XSetIOErrorHandler(s_formerLoss);
    }

private:
    static int onError(Display* display, XErrorEvent* error)
    {
        const XErrorHandler former = s_formerErrors;
        return display == s_display || !former ? 0 : former(display, error);
    }

    static int onLoss(Display* display)
    {
        const XIOErrorHandler former = s_formerLoss;
        if (display != s_display && former) {
            return former(display);
        }
        s_lost = true;
        return 0;
    }

    static inline std::atomic<XErrorHandler> s_formerErrors;
    static inline std::atomic<XIOErrorHandler> s_formerLoss;
};

static void stayAlive(Display*, void*)
{
}

static bool connected()
{
    if (!s_asked) {
        s_asked = true;
        s_display = XOpenDisplay(nullptr);
        if (s_display) {
            // Xlib would end the process once the handler for a lost connection has returned.
            XSetIOErrorExitHandler(s_display, stayAlive, nullptr);
        }
    }
    if (s_display && !s_lost) {
        pollfd connection = {ConnectionNumber(s_display), 0, 0};
        s_lost = poll(&connection, 1, 0) > 0; // only the other end's hanging up is reported
    }
    return s_display && !s_lost;
}

// What Xlib hands out, with the call that takes it back.
template <class T>
using Held = std::unique_ptr<T, void (*)(T*)>;

static double refreshRateOf(const XRRScreenResources& resources, RRMode wanted)
{
    for (int i = 0; i < resources.nmode; i++) {
        const XRRModeInfo& mode = resources.modes[i];
        const double dots = static_cast<double>(mode.hTotal) * mode.vTotal;
        if (mode.id != wanted || dots == 0) {
            continue;
        }
        const double rate = mode.dotClock / dots;
        return mode.modeFlags & RR_Interlace ? rate * 2 : mode.modeFlags & RR_DoubleScan ? rate / 2 : rate;
    }
    return 0;
}

// The size, after rotation, and the rate of what an output shows. False when it shows nothing, or is unknown.
static bool outputMode(XRRScreenResources* resources, RROutput output, DisplayMode* mode)
{
    const Held<XRROutputInfo> info(output ? XRRGetOutputInfo(s_display, resources, output) : nullptr,
                                   XRRFreeOutputInfo);
    if (!info || !info->crtc) {
        return false;
    }
    const Held<XRRCrtcInfo> crtc(XRRGetCrtcInfo(s_display, resources, info->crtc), XRRFreeCrtcInfo);
    if (!crtc || crtc->mode == 0) {
        return false;
    }
    mode->width = static_cast<int>(crtc->width);
    mode->height = static_cast<int>(crtc->height);
    mode->refreshRate = refreshRateOf(*resources, crtc->mode);
    return true;
}

// The primary output's mode, or that of the first which shows something where none is primary.
static bool primaryMode(Window root, DisplayMode* mode)
{
    int major = 0;
    int minor = 0;
    // Asked for its version, an extension that isn't there would be reported on the standard error stream.
    if (!XRRQueryExtension(s_display, &major, &minor) || !XRRQueryVersion(s_display, &major, &minor) ||
        (major == 1 && minor < 3)) {
        return false;
    }
    const Held<XRRScreenResources> resources(XRRGetScreenResourcesCurrent(s_display, root), XRRFreeScreenResources);
    if (!resources) {
        return false;
    }
    bool found = outputMode(resources.get(), XRRGetOutputPrimary(s_display, root), mode);
    for (int i = 0; i < resources->noutput && !found; i++) {
        found = outputMode(resources.get(), resources->outputs[i], mode);
    }
    return found;
}

// A server without outputs has its screen at least.
static bool screenSize(Window root, DisplayMode* mode)
{
    Window parent;
    int x, y;
    unsigned int width, height, border, depth;
    if (!XGetGeometry(s_display, root, &parent, &x, &y, &width, &height, &border, &depth)) {
        return false;
    }
    mode->width = static_cast<int>(width);
    mode->height = static_cast<int>(height);
    return true;
}

// Of a pixel in memory: 32 on a screen of depth 24.
static int bitsPerPixel()
{
    const int depth = DefaultDepth(s_display, DefaultScreen(s_display));
    int count = 0;
    XPixmapFormatValues* formats = XListPixmapFormats(s_display, &count);
    int bits = depth;
    for (int i = 0; i < count; i++) {
        if (formats[i].depth == depth) {
            bits = formats[i].bits_per_pixel;
        }
    }
    XFree(formats);
    return bits;
}

bool hasWindowServer()
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    return connected();
}

bool mainDisplayMode(DisplayMode* mode)
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    if (!connected()) {
        return false;
    }
    const Trap trap;
    const Window root = DefaultRootWindow(s_display);
    DisplayMode shown = {};
    if ((!primaryMode(root, &shown) && !screenSize(root, &shown)) || s_lost) {
        return false;
    }
    shown.bitsPerPixel = bitsPerPixel();
    *mode = shown;
    return true;
}

} // namespace macapi
