// The window server is an X server.
#include "macapi/src/display/windowserver_x11.h"

#include "macapi/src/display/focus.h"
#include "macapi/src/display/keys.h"
#include "macapi/src/display/probe_x11.h"
#include "macapi/src/display/windowserver.h"

#include <X11/extensions/Xrandr.h>

#include <atomic>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace macapi {

static std::mutex s_mutex;        // held by the visit that is going on
static pid_t s_asked;             // the process that has looked for the server
static Display* s_display;        // null without a server
static Window s_mailbox;          // never shown: letters to ourselves show whether the server answers
static std::atomic<bool> s_lost;  // the server has gone
static std::atomic<int> s_errors; // of this visit

// Xlib has one handler for all connections of the process.
static std::atomic<XErrorHandler> s_formerErrors;
static std::atomic<XIOErrorHandler> s_formerLoss;

static int onError(Display* display, XErrorEvent* error)
{
    const XErrorHandler former = s_formerErrors;
    if (display == s_display) {
        s_errors++;
        return 0;
    }
    return former ? former(display, error) : 0;
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

static void stayAlive(Display*, void*)
{
}

// A child that was forked has its parent's line, and lets go of it without a word: two speakers on one would garble
// what both hear.
static void leaveParentsLine()
{
    if (s_display) {
        close(ConnectionNumber(s_display));
        forgetCursor();
    }
}

static bool connected()
{
    if (s_asked != getpid()) {
        leaveParentsLine();
        s_asked = getpid();
        s_lost = false;
        s_display = openDisplay();
        if (s_display) {
            // Xlib would end the process once the handler for a lost connection has returned.
            XSetIOErrorExitHandler(s_display, stayAlive, nullptr);
            s_mailbox = XCreateWindow(s_display, DefaultRootWindow(s_display), 0, 0, 1, 1, 0, 0, InputOnly,
                                      CopyFromParent, 0, nullptr);
        }
    }
    if (s_display && !s_lost) {
        pollfd connection = {ConnectionNumber(s_display), 0, 0};
        s_lost = poll(&connection, 1, 0) > 0; // only the other end's hanging up is reported
    }
    return s_display && !s_lost;
}

// A server that has become silent is left for good. The connection is shut down, so that a server which goes on later
// undoes what we did to the cursor.
static void leaveSilentServer()
{
    if (!answers(s_display, s_mailbox)) {
        shutdown(ConnectionNumber(s_display), SHUT_RDWR);
        s_lost = true;
    }
}

Visit::Visit() : m_lock(s_mutex), m_connected(connected())
{
    if (m_connected) {
        translateKeyEvents();
        followFocus();
        s_formerErrors = XSetErrorHandler(onError);
        s_formerLoss = XSetIOErrorHandler(onLoss);
        leaveSilentServer();
        s_errors = 0;
    }
}

Visit::~Visit()
{
    if (m_connected) {
        XSetErrorHandler(s_formerErrors);
        XSetIOErrorHandler(s_formerLoss);
    }
}

Visit::operator bool() const
{
    return m_connected && !s_lost;
}

Display* Visit::display() const
{
    return s_display;
}

Window Visit::root() const
{
    return DefaultRootWindow(s_display);
}

bool Visit::succeeded() const
{
    // Servers tell all clients when the keyboard changes. Nobody reads that here, so it is thrown away.
    XSync(s_display, True);
    return !s_lost && s_errors == 0;
}

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

// What an output shows, after rotation. False when it shows nothing, or is unknown.
static bool outputShows(XRRScreenResources* resources, RROutput output, Shown* shown)
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
    shown->x = crtc->x;
    shown->y = crtc->y;
    shown->width = static_cast<int>(crtc->width);
    shown->height = static_cast<int>(crtc->height);
    shown->refreshRate = refreshRateOf(*resources, crtc->mode);
    shown->isWayland = strncmp(info->name, "XWAYLAND", 8) == 0; // as its server names them all
    return true;
}

// The outputs and what they may show; null where the server has none to tell of.
static Held<XRRScreenResources> outputsOf(Window root)
{
    int major = 0;
    int minor = 0;
    // Asked for its version, an extension that isn't there would be reported on the standard error stream.
    const bool knowsOutputs = XRRQueryExtension(s_display, &major, &minor) &&
                              XRRQueryVersion(s_display, &major, &minor) && (major > 1 || minor >= 3);
    return {knowsOutputs ? XRRGetScreenResourcesCurrent(s_display, root) : nullptr, XRRFreeScreenResources};
}

// The primary output, or the first that shows something where none is primary.
static bool primaryShows(Window root, Shown* shown)
{
    const Held<XRRScreenResources> resources = outputsOf(root);
    if (!resources) {
        return false;
    }
    bool found = outputShows(resources.get(), XRRGetOutputPrimary(s_display, root), shown);
    for (int i = 0; i < resources->noutput && !found; i++) {
        found = outputShows(resources.get(), resources->outputs[i], shown);
    }
    return found;
}

bool isShown(const Visit& visit, const Pixel& pixel)
{
    const Held<XRRScreenResources> resources = outputsOf(visit.root());
    bool found = false;
    for (int i = 0; resources && i < resources->noutput && !found; i++) {
        Shown shown;
        found = outputShows(resources.get(), resources->outputs[i], &shown) && pixel.x >= shown.x &&
                pixel.x < shown.x + shown.width && pixel.y >= shown.y && pixel.y < shown.y + shown.height;
    }
    return found;
}

// A server without outputs has its screen at least.
static bool screenShows(Window root, Shown* shown)
{
    Window parent;
    int x, y;
    unsigned int width, height, border, depth;
    if (!XGetGeometry(s_display, root, &parent, &x, &y, &width, &height, &border, &depth)) {
        return false;
    }
    shown->width = static_cast<int>(width);
    shown->height = static_cast<int>(height);
    return true;
}

bool mainDisplayShows(const Visit& visit, Shown* shown)
{
    Shown found = {};
    if ((!primaryShows(visit.root(), &found) && !screenShows(visit.root(), &found)) || s_lost) {
        return false;
    }
    *shown = found;
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
    const Visit visit;
    return static_cast<bool>(visit);
}

bool mainDisplayMode(DisplayMode* mode)
{
    const Visit visit;
    Shown shown;
    if (!visit || !mainDisplayShows(visit, &shown)) {
        return false;
    }
    *mode = {shown.width, shown.height, bitsPerPixel(), shown.refreshRate};
    return true;
}

} // namespace macapi
