// The window manager openbox, on the X server that DISPLAY names.
#pragma once

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fcntl.h>
#include <unistd.h>

// Starts openbox and returns its process when it manages the server's windows. The caller ends the process.
inline pid_t startOpenbox(Display* display, Window root)
{
    const pid_t manager = fork();
    if (manager == 0) {
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execlp("openbox", "openbox", "--sm-disable", nullptr);
        _exit(127);
    }
    const Atom check = XInternAtom(display, "_NET_SUPPORTING_WM_CHECK", False);
    unsigned char* value = nullptr;
    while (!value) {
        Atom type;
        int bits;
        unsigned long count, rest;
        XGetWindowProperty(display, root, check, 0, 1, False, AnyPropertyType, &type, &bits, &count, &rest, &value);
    }
    XFree(value);
    return manager;
}
