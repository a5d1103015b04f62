// The cursor, in the Mac's terms.
#include <ApplicationServices/ApplicationServices.h>

#include "macapi/src/display/windowserver.h"

using namespace macapi;

static CGError resultOf(bool done)
{
    return done ? kCGErrorSuccess : kCGErrorFailure;
}

// What to answer a call about a display without trying; success where it can be tried.
static CGError refusal(CGDirectDisplayID display)
{
    return !hasWindowServer()          ? kCGErrorFailure
           : display != sc_mainDisplay ? kCGErrorIllegalArgument
                                       : kCGErrorSuccess;
}

CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID display)
{
    const CGError refused = refusal(display);
    return refused ? refused : resultOf(hideCursor());
}

CGDisplayErr CGDisplayShowCursor(CGDirectDisplayID display)
{
    const CGError refused = refusal(display);
    return refused ? refused : resultOf(showCursor());
}

CGDisplayErr CGDisplayMoveCursorToPoint(CGDirectDisplayID display, CGPoint point)
{
    const CGError refused = refusal(display);
    return refused ? refused : resultOf(moveCursor(point.x, point.y));
}

CGError CGAssociateMouseAndMouseCursorPosition(boolean_t connected)
{
    return resultOf(connectMouseAndCursor(connected));
}
