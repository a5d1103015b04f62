// The window class, and all messages to AppKit.
//
// 1. A game may call the platform where it has no autorelease pool. So each function that may need a pool makes one.
// 2. AppKit throws an exception when it cannot connect to a window server. So BKMakeApplication first checks that
//    there is a window server.
// 3. Each function converts between AppKit's coordinates and those of core/macosx_bkwindow.h.
#include "core/macosx_bkwindow.h"

#import <Cocoa/Cocoa.h>

#include <ApplicationServices/ApplicationServices.h>

#include <set>

@class BKOpenGLView; // a class of the graphics library

@interface BKWindow : NSWindow {
    BKOpenGLView* _glView; // not retained: the graphics library owns it
}
- (BOOL)canBecomeKeyWindow;
- (void)setGLView:(BKOpenGLView*)view;
- (BKOpenGLView*)getGLView;
@end

@implementation BKWindow

// NSWindow returns NO for a window without a frame. A full-screen game would then receive no keys.
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

// At the end of the launch AppKit opens each word of the command line as a document, and shows an alert for each
// document that the delegate does not accept. This delegate accepts all of them.
@interface BKLaunchDelegate : NSObject
- (BOOL)application:(NSApplication*)application openFile:(NSString*)name;
@end

@implementation BKLaunchDelegate

- (BOOL)application:(NSApplication*)application openFile:(NSString*)name
{
    (void)application;
    (void)name;
    return YES; // nothing to open: the game reads its command line itself
}

@end

// A method of GNUstep that the Mac does not have. It makes AppKit read the list of screens again.
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

// Returns the screen that positions count from: AppKit's first screen, which shows the main display.
static NSScreen* firstScreen() { return [[NSScreen screens] objectAtIndex:0]; }

// Returns the lower left corner of the first screen in AppKit's coordinates. On the Mac this is (0, 0). GNUstep
// counts from the lower left corner of the X desktop, and the first screen may lie anywhere on that desktop.
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

// Ends the launch of the application object. Before that, GNUstep's application object does not learn which window
// is the key window, and an alert would receive no keys.
static void finishLaunching()
{
    BKLaunchDelegate* delegate = [[BKLaunchDelegate alloc] init];
    [NSApp setDelegate:delegate];
    [NSApp finishLaunching];
    [NSApp setDelegate:nil];
    [delegate release];
}

// Without a window manager, GNUstep measures its own frames: it opens 15 windows outside the screen, one after the
// other, and waits up to a second until each window is drawn. A display of 8 bits per pixel or fewer never draws
// windows outside the screen, so the game would wait for 15 seconds. For such a display this function makes GNUstep
// open the windows on the screen, where they are drawn at once.
static void measureFramesOnScreen()
{
    const size_t fewBits = 8;
    if (CGDisplayBitsPerPixel(kCGDirectMainDisplay) <= fewBits) {
        NSDictionary* onScreen = [NSDictionary dictionaryWithObject:@"YES" forKey:@"GSBackChecksOffsetsOnScreen"];
        [[NSUserDefaults standardUserDefaults] registerDefaults:onScreen];
    }
}

// Makes the application object. Returns false when AppKit throws an exception, for example when GNUstep's back end,
// its module for the window server, is not installed. The function uses catch because GCC's @catch does not work in
// Objective-C++.
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

// Updates GNUstep's list of screens. GNUstep updates the list itself when the game fetches an event about the
// change; the game may not have fetched that event yet. When the screens have changed, the function posts AppKit's
// notification, as GNUstep does for the event, and AppKit's windows move with their screens.
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
    static bool s_failed; // AppKit cannot make the application object after a failed attempt
    if (s_failed || !hasWindowServer()) {
        return false;
    }
    if (!NSApp) {
        s_failed = !makeApplication();
    } else {
        lookAtScreens();
    }
    return !s_failed;
}

// Returns an NSString of the text. A game's texts from a strings file are UTF-8, its other texts can be Mac Roman.
// A text that is not UTF-8 is read as Mac Roman, in which each byte is a character, so the result is never null.
// null counts as "".
static NSString* textOf(const char* bytes)
{
    NSString* text = [NSString stringWithCString:bytes ? bytes : "" encoding:NSUTF8StringEncoding];
    return text ? text : [NSString stringWithCString:bytes encoding:NSMacOSRomanStringEncoding];
}

// Doubles each percent sign, because the panel reads its message as a printf format.
static NSString* asFormat(NSString* text)
{
    return [[text componentsSeparatedByString:@"%"] componentsJoinedByString:@"%%"];
}

int BKRunAlert(const char* title, const char* message, const char* button)
{
    const Pool pool;
    return static_cast<int>(NSRunAlertPanel(textOf(title), asFormat(textOf(message)), textOf(button), nil, nil));
}

// AppKit's main screen is the screen of the key window; for a while also after that window was closed. Positions
// count from the first screen. So the result is the rectangle of the first screen. If AppKit's main screen is not in
// AppKit's list of screens, the result is the rectangle of the main screen.
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

// The address of each window that BKMakeWindow has made, also after its end; null before the first window. The set is
// never destroyed: a game's static object may ask about a window while the process ends.
static std::set<const void*>* s_made;

// Returns false if there is no memory to note the window.
static bool noteWindow(const void* window)
{
    try {
        if (!s_made) {
            s_made = new std::set<const void*>;
        }
        s_made->insert(window);
        return true;
    } catch (...) { // std::bad_alloc
        return false;
    }
}

// GNUstep's largest frame: setMaxSize: accepts no larger size, and GNUstep shrinks a larger window when it moves.
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
    if (!noteWindow(window)) {
        [window release];
        return nullptr;
    }
    return window;
}

bool BKIsWindow(const void* window)
{
    if (!window || !NSApp || !hasWindowServer()) {
        return false;
    }
    const Pool pool;
    const bool known = [[NSApp windows] indexOfObjectIdenticalTo:(id)window] != NSNotFound;
    // AppKit may not list a window before it is shown. So a pointer that does not come from BKMakeWindow counts as a
    // window: the game may have made that window itself.
    return known || !s_made || s_made->count(window) == 0;
}

// Returns "" if there is no memory for the title.
std::string BKWindowTitle(void* window)
{
    const Pool pool;
    const char* title = [[asWindow(window) title] UTF8String];
    try {
        return title ? title : "";
    } catch (...) { // std::bad_alloc
        return "";
    }
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

// Converts a point that counts from the lower left corner of the frame to one that counts from the lower left
// corner of the content. On the Mac both corners are the same. On X11 the window manager's frame may have a left
// and a lower edge.
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
