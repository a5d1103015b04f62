// What stands behind the window class where there is no AppKit: no window is ever made.
#include "core/macosx_bkwindow.h"

bool BKHasWindowServer()
{
    return false;
}

int BKRunAlert(const char*, const char*, const char*)
{
    return 1;
}
