// The window class, and every message to AppKit.
//
// 1. Games have no autorelease pools where they call the platform from: each call that may need one has its own.
// 2. AppKit raises exceptions, and without a window server it does so at once. So whether there is one is asked first.
#include "core/macosx_bkwindow.h"

#import <Cocoa/Cocoa.h>

#include <ApplicationServices/ApplicationServices.h>

#include <set>

@class BKOpenGLView; // the graphics library's

@interface BKWindow : NSWindow {
    BKOpenGLView* _glView; // not ours to keep
}
- (BOOL)canBecomeKeyWindow;
- (void)setGLView:(BKOpenGLView*)view;
- (BKOpenGLView*)getGLView;
@end

@implementation BKWindow

// A window without a frame would have no keyboard otherwise.
- (BOOL)canBecomeKeyWindow
{
    return YES;
}

- (void)setGLView:(BKOpenGLView*)view
{
    _glView = view;
}

- (BKOpenGLView*)getGLView
{
    return _glView;
}

@end

// AppKit takes the command line's words for documents, and shows an alert for each that nobody opens.
@interface BKLaunchDelegate : NSObject
- (BOOL)application:(NSApplication*)application openFile:(NSString*)name;
@end

@implementation BKLaunchDelegate

- (BOOL)application:(NSApplication*)application openFile:(NSString*)name
{
    (void)application;
    (void)name;
    return YES; // the game has read it
}

@end

// GNUstep's own, on no Mac: has AppKit look at the screens again.
@interface NSScreen (BKScreensThatChange)
+ (void)resetScreens;
@end

class Pool {
public:
    Pool() : m_pool([[NSAutoreleasePool alloc] init]) {}
    ~Pool() { [m_pool release]; }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

private:
    NSAutoreleasePool* m_pool;
};

static BKWindow* asWindow(void* window) { return static_cast<BKWindow*>(window); }

static BKRect fromRect(const NSRect& rect)
{
    return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

static BKPoint fromPoint(const NSPoint& point) { return {point.x, point.y}; }

// The screen that positions count from, which shows the main display.
static NSScreen* firstScreen() { return [[NSScreen screens] objectAtIndex:0]; }

// Where AppKit has its lower left corner. On a Mac that is AppKit's origin. GNUstep's origin is the lower left corner of
// the X desktop, on which the screen may lie anywhere.
static NSPoint mainCorner() { return [firstScreen() frame].origin; }

static NSRect toAppKit(const BKRect& rect)
{
    const NSPoint corner = mainCorner();
    return NSMakeRect(rect.x + corner.x, rect.y + corner.y, rect.width, rect.height);
}

static BKRect fromAppKit(const NSRect& rect)
{
    const NSPoint corner = mainCorner();
    return fromRect(NSOffsetRect(rect, -corner.x, -corner.y));
}

static bool hasWindowServer()
{
    const CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (session) {
        CFRelease(session);
    }
    return session != nullptr;
}

// Before its launch is finished an application here doesn't learn which window has the keyboard: no alert would hear a
// key.
static void finishLaunching()
{
    BKLaunchDelegate* delegate = [[BKLaunchDelegate alloc] init];
    [NSApp setDelegate:delegate];
    [NSApp finishLaunching];
    [NSApp setDelegate:nil];
    [delegate release];
}

// Where there is no window manager, AppKit measures the frames that it would have: it shows 15 windows, one after the
// other, and waits up to a second until each is drawn. They lie outside the screen, where a display of 8 bits a pixel
// never draws them. On the screen it draws them at once.
static void measureFramesOnScreen()
{
    const size_t fewBits = 8;
    if (CGDisplayBitsPerPixel(kCGDirectMainDisplay) <= fewBits) {
        NSDictionary* onScreen = [NSDictionary dictionaryWithObject:@"YES" forKey:@"GSBackChecksOffsetsOnScreen"];
        [[NSUserDefaults standardUserDefaults] registerDefaults:onScreen];
    }
}

// AppKit without its own way to the window server, its back end being away, can't make one. GCC's @catch doesn't work in
// Objective-C++; catch does.
static bool makeApplication()
{
    const Pool pool;
    try {
        measureFramesOnScreen();
        [NSApplication sharedApplication];
        finishLaunching();
        return true;
    } catch (...) {
        return false;
    }
}

static NSArray* framesOfScreens()
{
    NSMutableArray* frames = [NSMutableArray array];
    for (NSUInteger i = 0; i < [[NSScreen screens] count]; i++) {
        [frames addObject:NSStringFromRect([[[NSScreen screens] objectAtIndex:i] frame])];
    }
    return frames;
}

// GNUstep learns from an event that a screen has moved or changed its size, and the game may not have read that event
// yet. So AppKit is told here what it will be told then. Its windows move along with their screens.
static void lookAtScreens()
{
    if (![NSScreen respondsToSelector:@selector(resetScreens)]) {
        return;
    }
    const Pool pool;
    NSArray* former = framesOfScreens();
    [NSScreen resetScreens];
    if (![framesOfScreens() isEqual:former]) {
        [[NSNotificationCenter defaultCenter] postNotificationName:NSApplicationDidChangeScreenParametersNotification
                                                            object:NSApp];
    }
}

bool BKMakeApplication()
{
    static bool s_failed; // such an attempt can't be repeated
    if (!hasWindowServer()) {
        return false;
    }
    if (!NSApp && !s_failed) {
        s_failed = !makeApplication();
    } else if (!s_failed) {
        lookAtScreens();
    }
    return !s_failed;
}

// The game's texts are UTF-8 where they come from its strings file, and Mac Roman, in which every byte is a character,
// where they don't.
static NSString* textOf(const char* bytes)
{
    NSString* text = [NSString stringWithCString:bytes ? bytes : "" encoding:NSUTF8StringEncoding];
    return text ? text : [NSString stringWithCString:bytes encoding:NSMacOSRomanStringEncoding];
}

// The panel takes its message for a format: a percent sign is two there.
static NSString* asFormat(NSString* text)
{
    return [[text componentsSeparatedByString:@"%"] componentsJoinedByString:@"%%"];
}

int BKRunAlert(const char* title, const char* message, const char* button)
{
    const Pool pool;
    return static_cast<int>(NSRunAlertPanel(textOf(title), asFormat(textOf(message)), textOf(button), nil, nil));
}

// AppKit's main screen is the screen of the window with the keyboard, also for a while after that window was closed. When
// it is another screen than the first, its size means nothing for positions that count from the first.
BKRect BKMainScreenFrame()
{
    const Pool pool;
    NSScreen* screen = [NSScreen mainScreen];
    const bool isListed = [[NSScreen screens] containsObject:screen];
    return fromAppKit([isListed ? firstScreen() : screen frame]);
}

double BKFirstScreenHeight()
{
    const Pool pool;
    return [firstScreen() frame].size.height;
}

int BKModeEntry(CFDictionaryRef mode, const char* name)
{
    const Pool pool;
    return [[(NSDictionary*)mode objectForKey:textOf(name)] intValue];
}

static std::set<const void*> s_made; // where windows of ours are or were

// GNUstep gives no window a larger frame: setMaxSize: takes no more, and a larger window is cut to it when it is moved.
static const double sc_longestSide = 10000; // pixels

static bool isTooLarge(const BKRect& content, unsigned int styleMask)
{
    const NSSize frame = [NSWindow frameRectForContentRect:toAppKit(content) styleMask:styleMask].size;
    return frame.width > sc_longestSide || frame.height > sc_longestSide;
}

void* BKMakeWindow(const BKRect& content, unsigned int styleMask, int backing, bool defer)
{
    const Pool pool;
    if (isTooLarge(content, styleMask)) {
        return nullptr;
    }
    BKWindow* window = [[BKWindow alloc] initWithContentRect:toAppKit(content)
                                                   styleMask:styleMask
                                                     backing:static_cast<NSBackingStoreType>(backing)
                                                       defer:defer];
    s_made.insert(window);
    return window;
}

bool BKIsWindow(const void* window)
{
    if (!window || !NSApp || !hasWindowServer()) {
        return false;
    }
    const Pool pool;
    const bool known = [[NSApp windows] indexOfObjectIdenticalTo:(id)window] != NSNotFound;
    return known || s_made.count(window) == 0; // a game's own window may not be listed before it is shown
}

std::string BKWindowTitle(void* window)
{
    const Pool pool;
    const char* title = [[asWindow(window) title] UTF8String];
    return title ? title : "";
}

BKRect BKWindowContentRect(void* window)
{
    const Pool pool;
    return fromAppKit([asWindow(window) contentRectForFrameRect:[asWindow(window) frame]]);
}

void BKWindowSetTitle(void* window, const char* title)
{
    const Pool pool;
    [asWindow(window) setTitle:textOf(title)];
}

void BKWindowSetBlackBackground(void* window)
{
    const Pool pool;
    [asWindow(window) setBackgroundColor:[NSColor blackColor]];
}

void BKWindowSetAcceptsMouseMoved(void* window, bool accepts)
{
    const Pool pool;
    [asWindow(window) setAcceptsMouseMovedEvents:accepts];
}

void BKWindowSetReleasedWhenClosed(void* window, bool released) { [asWindow(window) setReleasedWhenClosed:released]; }

void BKWindowSetDelegateToApplication(void* window)
{
    const Pool pool;
    [asWindow(window) setDelegate:(id)NSApp];
}

void BKWindowClearDelegate(void* window)
{
    const Pool pool;
    [asWindow(window) setDelegate:nil];
}

void BKWindowSetLevel(void* window, int level)
{
    const Pool pool;
    [asWindow(window) setLevel:level];
}

void BKWindowCenter(void* window)
{
    const Pool pool;
    [asWindow(window) center];
}

void BKWindowMakeKey(void* window)
{
    const Pool pool;
    [asWindow(window) makeKeyWindow];
}

void BKWindowMakeKeyAndOrderFront(void* window)
{
    const Pool pool;
    [asWindow(window) makeKeyAndOrderFront:asWindow(window)];
}

void BKWindowClose(void* window)
{
    const Pool pool;
    [asWindow(window) close];
}

void BKWindowRetain(void* window) { [asWindow(window) retain]; }

void BKWindowRelease(void* window)
{
    const Pool pool;
    [asWindow(window) release];
}

BKPoint BKWindowConvertBaseToScreen(void* window, const BKPoint& point)
{
    const Pool pool;
    const NSPoint onDesktop = [asWindow(window) convertBaseToScreen:NSMakePoint(point.x, point.y)];
    const NSPoint corner = mainCorner();
    return {onDesktop.x - corner.x, onDesktop.y - corner.y};
}

// Of a point in a window with its frame: where it is in the window's contents. On a Mac the frame has nothing on the
// left of the contents or below; under X11 the window manager's may have.
static BKPoint inContents(NSWindow* window, NSPoint point)
{
    const NSRect frame = [window frame];
    const NSRect content = [window contentRectForFrameRect:frame];
    return {point.x - (NSMinX(content) - NSMinX(frame)), point.y - (NSMinY(content) - NSMinY(frame))};
}

bool BKCurrentEventLocation(BKPoint& point)
{
    const Pool pool;
    NSEvent* event = [NSApp currentEvent];
    if (event) {
        NSWindow* window = [event window];
        const NSPoint location = [event locationInWindow];
        point = window ? inContents(window, location) : fromPoint(location);
    }
    return event != nil;
}

bool BKKeyWindowMouseLocation(BKPoint& point)
{
    const Pool pool;
    NSWindow* window = [NSApp keyWindow];
    if (window) {
        point = inContents(window, [window mouseLocationOutsideOfEventStream]);
    }
    return window != nil;
}
