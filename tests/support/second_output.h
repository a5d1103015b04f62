// A second output of the X server. The server does not know it: the functions below replace XRandR's in the test program
// and add the output to the server's answers.
//
//     s_second = {800, 100, 640, 480};        // from now on there are two outputs; this one is the primary output
//
// One source of a test program includes this header, after GoogleTest's header.
#pragma once

#include "tests/support/x_server.h"

#include <X11/extensions/Xrandr.h>

#include <stdlib.h>

// Pixels, from the upper left corner of the X desktop, y downward.
struct Box {
    int x;
    int y;
    int width;
    int height;
};

static Box s_second; // a width of 0: there is no second output
static const RROutput sc_secondOutput = 0x7ffff0;
static const RRCrtc sc_secondCrtc = 0x7ffff1;

static XRRScreenResources* withSecond(XRRScreenResources* resources)
{
    static RROutput s_outputs[2];
    static RRCrtc s_crtcs[2];
    if (s_second.width > 0 && resources) {
        s_outputs[0] = resources->outputs[0];
        s_outputs[1] = sc_secondOutput;
        s_crtcs[0] = resources->crtcs[0];
        s_crtcs[1] = sc_secondCrtc;
        resources->outputs = s_outputs;
        resources->crtcs = s_crtcs;
        resources->noutput = resources->ncrtc = 2;
    }
    return resources;
}

extern "C" XRRScreenResources* XRRGetScreenResources(Display* display, Window root)
{
    return withSecond(NEXT(XRRGetScreenResources)(display, root));
}

extern "C" XRRScreenResources* XRRGetScreenResourcesCurrent(Display* display, Window root)
{
    return withSecond(NEXT(XRRGetScreenResourcesCurrent)(display, root));
}

extern "C" RROutput XRRGetOutputPrimary(Display* display, Window root)
{
    return s_second.width > 0 ? sc_secondOutput : NEXT(XRRGetOutputPrimary)(display, root);
}

extern "C" XRROutputInfo* XRRGetOutputInfo(Display* display, XRRScreenResources* resources, RROutput output)
{
    if (output != sc_secondOutput) {
        return NEXT(XRRGetOutputInfo)(display, resources, output);
    }
    auto* info = static_cast<XRROutputInfo*>(calloc(1, sizeof(XRROutputInfo)));
    static char s_name[] = "second";
    info->name = s_name;
    info->crtc = sc_secondCrtc;
    return info;
}

extern "C" XRRCrtcInfo* XRRGetCrtcInfo(Display* display, XRRScreenResources* resources, RRCrtc crtc)
{
    if (crtc != sc_secondCrtc) {
        return NEXT(XRRGetCrtcInfo)(display, resources, crtc);
    }
    auto* info = static_cast<XRRCrtcInfo*>(calloc(1, sizeof(XRRCrtcInfo)));
    info->x = s_second.x;
    info->y = s_second.y;
    info->width = static_cast<unsigned int>(s_second.width);
    info->height = static_cast<unsigned int>(s_second.height);
    info->mode = 1;
    return info;
}
