// Includes the Mac's headers, and AppKit in front of them or behind where it is asked for.
#ifdef APPKIT_FIRST
#include <AppKit/AppKit.h>
#endif
#include <Carbon/Carbon.h>

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <mach-o/dyld.h>
#ifdef APPKIT_LAST
#include <AppKit/AppKit.h>
#endif

// The Mac's own sizes: a negative one does not compile.
#define HOLDS(name, condition) typedef char name[(condition) ? 1 : -1]
HOLDS(booleans, sizeof(Boolean) == 1 && sizeof(UInt8) == 1 && sizeof(SInt8) == 1);
HOLDS(shorts, sizeof(UInt16) == 2 && sizeof(SInt16) == 2 && sizeof(OSErr) == 2);
HOLDS(longs, sizeof(UInt32) == 4 && sizeof(SInt32) == 4 && sizeof(OSStatus) == 4 && sizeof(OSType) == 4);
HOLDS(indexes, sizeof(CFIndex) == sizeof(void*) && sizeof(CFStringEncoding) == 4);
HOLDS(displays, sizeof(CGDirectDisplayID) == 4 && sizeof(CGError) == 4 && sizeof(CGWindowLevel) == 4);
HOLDS(coordinates, sizeof(CGFloat) == sizeof(void*) && sizeof(CGPoint) == 2 * sizeof(CGFloat));
HOLDS(drawing, sizeof(Point) == 4 && sizeof(Rect) == 8);
HOLDS(processes, sizeof(ProcessSerialNumber) == 8);
HOLDS(references, sizeof(FSRef) == 80);
HOLDS(wides, sizeof(UnsignedWide) == 8 && sizeof(Nanoseconds) == 8 && sizeof(AbsoluteTime) == 8);
HOLDS(points, sizeof(Point) == 4 && sizeof(Rect) == 8);
HOLDS(floats, sizeof(CGFloat) == (sizeof(void*) == 8 ? 8 : 4) && sizeof(CGPoint) == 2 * sizeof(CGFloat));
HOLDS(handles, sizeof(NSSymbol) == sizeof(void*) && sizeof(GrafPtr) == sizeof(void*));
HOLDS(truths, sizeof(boolean_t) == 4 && sizeof(CGDisplayErr) == 4 && sizeof(CGWindowLevel) == 4);

CFStringRef literal(void);
CFStringRef literal(void) { return CFSTR("Width"); }
