// The window server, its outputs and its window manager.
#include "macapi/src/display/probe_x11.h"
#include "tools/core-doctor/subjects.h"

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>
#include <math.h>
#include <memory>
#include <stdlib.h>
#include <string.h>

static const char sc_section[] = "display";

template <class T>
using XResource = std::unique_ptr<T, void (*)(T*)>;

static int ignoreError(Display*, XErrorEvent*)
{
    return 0; // a window that has gone: the property is then missing
}

// Returns the bytes of a window's property; empty if it has none. 32-bit items come as longs.
static std::string propertyOf(Display* display, Window window, const char* name)
{
    Atom type;
    int bits = 0;
    unsigned long count = 0;
    unsigned long rest;
    unsigned char* value = nullptr;
    const Atom property = XInternAtom(display, name, False);
    XGetWindowProperty(display, window, property, 0, 256, False, AnyPropertyType, &type, &bits, &count, &rest,
                       &value);
    if (!value) {
        return "";
    }
    const size_t itemBytes = bits == 32 ? sizeof(long) : static_cast<size_t>(bits) / 8;
    const std::string bytes(reinterpret_cast<char*>(value), count * itemBytes);
    XFree(value);
    return bytes;
}

// A window manager names itself on a window of its own, which the root window names. A stale name on the root window
// names a window that does not exist, or that does not name itself.
static void lookAtManager(Display* display, Report* report)
{
    static const char sc_check[] = "_NET_SUPPORTING_WM_CHECK";
    const std::string check = propertyOf(display, DefaultRootWindow(display), sc_check);
    Window window = None;
    memcpy(&window, check.data(), check.size() == sizeof(window) ? sizeof(window) : 0);
    if (window == None || propertyOf(display, window, sc_check) != check) {
        report->add(sc_section, "window manager", "none");
        report->warn("window-manager-none", "No window manager runs on the display.",
                     "Start one, such as openbox: without it windows have no frame, and full screen may not work.");
        return;
    }
    const std::string name = propertyOf(display, window, "_NET_WM_NAME");
    report->add(sc_section, "window manager", name.empty() ? "one without a name" : name);
}

static double rateOf(const XRRScreenResources& resources, RRMode mode)
{
    for (int i = 0; i < resources.nmode; ++i) {
        const XRRModeInfo& info = resources.modes[i];
        if (info.id == mode && info.hTotal && info.vTotal) {
            return static_cast<double>(info.dotClock) / info.hTotal / info.vTotal;
        }
    }
    return 0;
}

// Adds the outputs that show something. Returns true if one of them is an output of Xwayland.
static bool addOutputs(Display* display, Report* report)
{
    const Window root = DefaultRootWindow(display);
    int unused;
    if (!XRRQueryExtension(display, &unused, &unused)) {
        return false;
    }
    const XResource<XRRScreenResources> resources(XRRGetScreenResourcesCurrent(display, root),
                                                  XRRFreeScreenResources);
    bool isXwayland = false;
    for (int i = 0; resources && i < resources->noutput; ++i) {
        const RROutput output = resources->outputs[i];
        const XResource<XRROutputInfo> info(XRRGetOutputInfo(display, resources.get(), output), XRRFreeOutputInfo);
        const XResource<XRRCrtcInfo> crtc(
            info && info->crtc ? XRRGetCrtcInfo(display, resources.get(), info->crtc) : nullptr, XRRFreeCrtcInfo);
        if (!crtc) {
            continue;
        }
        const long rate = lround(rateOf(*resources, crtc->mode));
        report->add(sc_section, std::string("output ") + info->name,
                    std::to_string(crtc->width) + "x" + std::to_string(crtc->height) + " at " +
                        std::to_string(crtc->x) + "," + std::to_string(crtc->y) +
                        (rate ? ", " + std::to_string(rate) + " Hz" : "") +
                        (output == XRRGetOutputPrimary(display, root) ? ", primary" : ""));
        isXwayland |= strncmp(info->name, "XWAYLAND", 8) == 0;
    }
    return isXwayland;
}

void lookAtDisplay(Report* report)
{
    const char* name = getenv("DISPLAY");
    report->add(sc_section, "DISPLAY", name && *name ? name : "not set");
    if (!name || !*name) {
        report->warn("display-none", "DISPLAY is not set, so games show no windows.",
                     "Start the game in a desktop session, or under xvfb-run.");
        return;
    }
    Display* const display = macapi::openDisplay();
    if (!display) {
        report->add(sc_section, "server", "does not answer, or refuses this user");
        report->warn("display-unreachable", std::string("No X server lets this user in on the display ") + name + ".",
                     "Look at DISPLAY and XAUTHORITY, and that the server runs.");
        return;
    }
    XSetErrorHandler(ignoreError);
    const int screen = DefaultScreen(display);
    report->add(sc_section, "screen",
                std::to_string(DisplayWidth(display, screen)) + "x" + std::to_string(DisplayHeight(display, screen)) +
                    ", " + std::to_string(DefaultDepth(display, screen)) + " bits");
    const bool isXwayland = addOutputs(display, report);
    report->add(sc_section, "server",
                std::string(isXwayland ? "Xwayland, " : "X11, ") + ServerVendor(display) + " " +
                    std::to_string(VendorRelease(display)));
    lookAtManager(display, report);
    XCloseDisplay(display);
}
