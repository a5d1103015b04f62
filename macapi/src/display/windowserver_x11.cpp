// The window server is an X server.
#include "macapi/src/display/windowserver_x11.h"

#include "macapi/src/display/focus.h"
#include "macapi/src/display/keys.h"
#include "macapi/src/display/probe_x11.h"
#include "macapi/src/display/windowserver.h"

#include <X11/extensions/Xrandr.h>

#include <assert.h>
#include <atomic>
#include <exception>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace macapi {

static std::mutex s_mutex;         // held by the ServerLock
static pid_t s_process;            // the process that opened the connection
static Display* s_display;         // null without a server
static Window s_pingWindow;        // an invisible window; events to it show whether the server answers
static std::atomic<bool> s_isLost; // the connection is lost
static std::atomic<int> s_errors;  // X errors since the ServerLock was taken

// The handlers that were set before ours. Xlib has one handler of each kind for all connections of the process, so
// ours pass on what belongs to other connections.
static std::atomic<XErrorHandler> s_formerErrorHandler;
static std::atomic<XIOErrorHandler> s_formerLossHandler;

static int onError(Display* display, XErrorEvent* error)
{
    const XErrorHandler former = s_formerErrorHandler;
    if (display == s_display) {
        s_errors++;
        return 0;
    }
    return former ? former(display, error) : 0;
}

static int onConnectionLost(Display* display)
{
    const XIOErrorHandler former = s_formerLossHandler;
    if (display != s_display && former) {
        return former(display);
    }
    s_isLost = true;
    return 0;
}

static void returnToCaller(Display*, void*)
{
}

// A forked child has a copy of its parent's connection. It closes its copy and sends nothing: two processes on one
// connection would garble each other's requests.
static void dropParentsConnection()
{
    if (s_display) {
        close(ConnectionNumber(s_display));
        forgetCursor();
        s_display = nullptr;
    }
}

// Returns null if there is no server, or no memory. Without memory, the next call tries again.
static Display* openOnce()
{
    try {
        Display* display = openDisplay();
        s_process = getpid();
        return display;
    } catch (const std::exception&) {
        return nullptr;
    }
}

static bool connected()
{
    if (s_process != getpid()) {
        dropParentsConnection();
        s_isLost = false;
        s_display = openOnce();
        if (s_display) {
            // Xlib ends the process when the I/O error handler returns, unless this handler is set.
            XSetIOErrorExitHandler(s_display, returnToCaller, nullptr);
            s_pingWindow = XCreateWindow(s_display, DefaultRootWindow(s_display), 0, 0, 1, 1, 0, 0, InputOnly,
                                         CopyFromParent, 0, nullptr);
        }
    }
    if (s_display && !s_isLost) {
        pollfd connection = {ConnectionNumber(s_display), 0, 0};
        // No events are asked for, so poll reports only that the server has closed the connection.
        s_isLost = poll(&connection, 1, 0) > 0;
    }
    return s_display && !s_isLost;
}

// A server that does not answer is not used again. The connection is shut down: if the server continues later, it
// undoes our changes to the cursor.
static void dropSilentServer()
{
    if (!answersPing(s_display, s_pingWindow)) {
        shutdown(ConnectionNumber(s_display), SHUT_RDWR);
        s_isLost = true;
    }
}

ServerLock::ServerLock() : m_lock(s_mutex), m_connected(connected())
{
    if (m_connected) {
        translateKeyEvents();
        followFocus();
        s_formerErrorHandler = XSetErrorHandler(onError);
        s_formerLossHandler = XSetIOErrorHandler(onConnectionLost);
        dropSilentServer();
        s_errors = 0;
    }
}

ServerLock::~ServerLock()
{
    if (m_connected) {
        XSetErrorHandler(s_formerErrorHandler);
        XSetIOErrorHandler(s_formerLossHandler);
    }
}

ServerLock::operator bool() const
{
    return m_connected && !s_isLost;
}

Display* ServerLock::display() const
{
    assert(s_process == getpid() && "display 6: a forked child does not use its parent's connection");
    return s_display;
}

Window ServerLock::root() const
{
    return DefaultRootWindow(s_display);
}

bool ServerLock::succeeded() const
{
    // True: discards all events. Servers send events about keyboard changes to all clients, and no code here reads
    // events.
    XSync(s_display, True);
    return !s_isLost && s_errors == 0;
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

// Reads the rectangle of the X screen that an output shows; width and height are those after rotation. Returns false
// if the output shows nothing or is unknown.
static bool readOutput(XRRScreenResources* resources, RROutput output, OutputState* state)
{
    const XResource<XRROutputInfo> info(output ? XRRGetOutputInfo(s_display, resources, output) : nullptr,
                                        XRRFreeOutputInfo);
    if (!info || !info->crtc) {
        return false;
    }
    const XResource<XRRCrtcInfo> crtc(XRRGetCrtcInfo(s_display, resources, info->crtc), XRRFreeCrtcInfo);
    if (!crtc || crtc->mode == 0) {
        return false;
    }
    state->x = crtc->x;
    state->y = crtc->y;
    state->width = static_cast<int>(crtc->width);
    state->height = static_cast<int>(crtc->height);
    state->refreshRate = refreshRateOf(*resources, crtc->mode);
    state->isWayland = strncmp(info->name, "XWAYLAND", 8) == 0; // XWAYLAND0 and so on
    return true;
}

// Returns the outputs and their modes; null if the server has no XRandR 1.3.
static XResource<XRRScreenResources> outputsOf(Window root)
{
    int major = 0;
    int minor = 0;
    // Asks whether the extension exists before asking for its version. For a missing extension, Xlib would print an
    // error.
    const bool knowsOutputs = XRRQueryExtension(s_display, &major, &minor) &&
                              XRRQueryVersion(s_display, &major, &minor) && (major > 1 || minor >= 3);
    return {knowsOutputs ? XRRGetScreenResourcesCurrent(s_display, root) : nullptr, XRRFreeScreenResources};
}

// Reads the primary output; if none is primary, the first output that shows something.
static bool readPrimaryOutput(Window root, OutputState* state)
{
    const XResource<XRRScreenResources> resources = outputsOf(root);
    if (!resources) {
        return false;
    }
    bool found = readOutput(resources.get(), XRRGetOutputPrimary(s_display, root), state);
    for (int i = 0; i < resources->noutput && !found; i++) {
        found = readOutput(resources.get(), resources->outputs[i], state);
    }
    return found;
}

bool isOnAnOutput(const ServerLock& xserver, const RootPixel& pixel)
{
    const XResource<XRRScreenResources> resources = outputsOf(xserver.root());
    bool found = false;
    for (int i = 0; resources && i < resources->noutput && !found; i++) {
        OutputState state;
        found = readOutput(resources.get(), resources->outputs[i], &state) && pixel.x >= state.x &&
                pixel.x < state.x + state.width && pixel.y >= state.y && pixel.y < state.y + state.height;
    }
    return found;
}

// Reads the whole X screen, for a server without outputs.
static bool readWholeScreen(Window root, OutputState* state)
{
    Window parent;
    int x, y;
    unsigned int width, height, border, depth;
    if (!XGetGeometry(s_display, root, &parent, &x, &y, &width, &height, &border, &depth)) {
        return false;
    }
    state->width = static_cast<int>(width);
    state->height = static_cast<int>(height);
    return true;
}

bool readMainDisplay(const ServerLock& xserver, OutputState* state)
{
    OutputState found = {};
    if ((!readPrimaryOutput(xserver.root(), &found) && !readWholeScreen(xserver.root(), &found)) || s_isLost) {
        return false;
    }
    *state = found;
    return true;
}

// Returns the bits of a pixel in memory, such as 32 on a screen of depth 24.
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
    const ServerLock xserver;
    return static_cast<bool>(xserver);
}

bool mainDisplayMode(DisplayMode* mode)
{
    const ServerLock xserver;
    OutputState state;
    if (!xserver || !readMainDisplay(xserver, &state)) {
        return false;
    }
    *mode = {state.width, state.height, bitsPerPixel(), state.refreshRate};
    return true;
}

} // namespace macapi
