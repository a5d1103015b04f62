// The functions of core/macosx_bkwindow.h for a build without AppKit: no window can be made, and no alert is shown.
#include "core/macosx_bkwindow.h"

bool BKMakeApplication()
{
    return false;
}

int BKRunAlert(const char*, const char*, const char*)
{
    return 1;
}

BKRect BKMainScreenFrame()
{
    return {};
}

double BKFirstScreenHeight()
{
    return 0;
}

int BKModeEntry(CFDictionaryRef, const char*)
{
    return 0;
}

void* BKMakeWindow(const BKRect&, unsigned int, int, bool)
{
    return nullptr;
}

bool BKIsWindow(const void*)
{
    return false;
}

std::string BKWindowTitle(void*)
{
    return {};
}

BKRect BKWindowContentRect(void*)
{
    return {};
}

void BKWindowSetTitle(void*, const char*)
{
}

void BKWindowSetBlackBackground(void*)
{
}

void BKWindowSetAcceptsMouseMoved(void*, bool)
{
}

void BKWindowSetReleasedWhenClosed(void*, bool)
{
}

void BKWindowSetDelegateToApplication(void*)
{
}

void BKWindowClearDelegate(void*)
{
}

void BKWindowSetLevel(void*, int)
{
}

void BKWindowCenter(void*)
{
}

void BKWindowMakeKey(void*)
{
}

void BKWindowMakeKeyAndOrderFront(void*)
{
}

void BKWindowClose(void*)
{
}

void BKWindowRetain(void*)
{
}

void BKWindowRelease(void*)
{
}

BKPoint BKWindowConvertBaseToScreen(void*, const BKPoint& point)
{
    return point;
}

bool BKCurrentEventLocation(BKPoint&)
{
    return false;
}

bool BKKeyWindowMouseLocation(BKPoint&)
{
    return false;
}
