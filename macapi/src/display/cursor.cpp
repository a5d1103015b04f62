// The exported calls for the cursor.
#include <ApplicationServices/ApplicationServices.h>

#include "macapi/src/display/windowserver.h"

using namespace macapi;

static CGError resultOf(bool done)
{
    return done ? kCGErrorSuccess : kCGErrorFailure;
}

// Returns the error for a call about a display; success if there is a window server and the display is the main one.
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
