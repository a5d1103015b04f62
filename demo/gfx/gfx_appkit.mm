// The graphics module with AppKit: a view that draws boxes and labels, and the events of its window.
//
// Each call has its own autorelease pool for the objects that AppKit makes.
#include "demo/gfx/gfxsubsystem.h"

#import <AppKit/AppKit.h>

@interface BKOpenGLView : NSView {
    const Picture* _picture; // set while it is drawn, else null
}
- (void)draw:(const Picture*)picture;
@end

// The method of BKWindow, the class of core's windows, that takes the view.
@interface NSWindow (BKWindow)
- (void)setGLView:(BKOpenGLView*)view;
@end

// The application is the delegate of all windows: AppKit asks it whether a window may close.
@interface DemoApplication : NSApplication {
    BOOL _wantsClose;
}
- (BOOL)takeClose;
@end

static NSColor* colorOf(unsigned int colour)
{
    return [NSColor colorWithCalibratedRed:((colour >> 16) & 0xff) / 255.0
                                     green:((colour >> 8) & 0xff) / 255.0
                                      blue:(colour & 0xff) / 255.0
                                     alpha:1.0];
}

static NSDictionary* attributesOf(const Label& label, CGFloat size)
{
    NSFont* font = label.isBold ? [NSFont boldSystemFontOfSize:size] : [NSFont systemFontOfSize:size];
    return [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, colorOf(label.colour),
                                                      NSForegroundColorAttributeName, nil];
}

static void drawBox(const Box& box)
{
    [colorOf(box.colour) set];
    NSRectFill(NSMakeRect(box.x, box.y, box.width, box.height));
}

// Returns the distance from the label's x to the start of a text of this width.
static CGFloat indentOf(const Label& label, CGFloat width)
{
    switch (label.align) {
    case ALIGN_LEFT:
        return 0;
    case ALIGN_CENTRE:
        return (label.width - width) / 2;
    case ALIGN_RIGHT:
        return label.width - width;
    }
    return 0;
}

static void drawLabel(const Label& label)
{
    NSString* text = [NSString stringWithUTF8String:label.text.c_str()];
    if ([text length] == 0) {
        return; // empty, or not valid UTF-8
    }
    NSDictionary* attributes = attributesOf(label, label.size);
    NSSize size = [text sizeWithAttributes:attributes];
    if (size.width > label.width) {
        attributes = attributesOf(label, label.size * label.width / size.width);
        size = [text sizeWithAttributes:attributes];
    }
    const NSPoint corner = NSMakePoint(label.x + indentOf(label, size.width), label.y - size.height / 2);
    [text drawAtPoint:corner withAttributes:attributes];
}

@implementation BKOpenGLView

- (BOOL)isFlipped
{
    return YES;
}

- (BOOL)isOpaque
{
    return YES;
}

- (BOOL)acceptsFirstResponder
{
    return YES;
}

- (void)draw:(const Picture*)picture
{
    _picture = picture;
    [self display];
    _picture = nullptr;
    [[self window] flushWindow];
}

- (void)drawRect:(NSRect)dirty
{
    [[NSColor blackColor] set];
    NSRectFill(dirty);
    if (!_picture) {
        return; // AppKit redraws between two frames; the next frame follows within 33 ms
    }
    for (const Box& box : _picture->boxes) {
        drawBox(box);
    }
    for (const Label& label : _picture->labels) {
        drawLabel(label);
    }
}

@end

@implementation DemoApplication

- (BOOL)windowShouldClose:(id)window
{
    (void)window;
    _wantsClose = YES;
    return NO;
}

- (BOOL)takeClose
{
    const BOOL wantsClose = _wantsClose;
    _wantsClose = NO;
    return wantsClose;
}

@end

class AppKitGfx : public GfxSubsystem {
public:
    bool start(const char* program) override;
    void attach(void* window) override;
    void getSize(float* width, float* height) override;
    bool nextEvent(GfxEvent* event) override;
    void draw(const Picture& picture) override;

private:
    DemoApplication* m_application = nil;
    BKOpenGLView* m_view = nil;
    unsigned int m_buttons = 0;
};

// Returns null when AppKit cannot open the display. AppKit throws an exception then, which GCC's @catch does not
// catch here, but catch (...) does.
static DemoApplication* makeApplication()
{
    try {
        return static_cast<DemoApplication*>([DemoApplication sharedApplication]);
    } catch (...) {
        return nil;
    }
}

bool AppKitGfx::start(const char* program)
{
#ifdef GNUSTEP
    // Only the program's name: AppKit would try to open other words as documents.
    char* arguments[] = {const_cast<char*>(program), nullptr};
    [NSProcessInfo initializeWithArguments:arguments count:1 environment:environ];
#else
    (void)program;
#endif
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    [[NSUserDefaults standardUserDefaults] registerDefaults:[NSDictionary dictionaryWithObject:@"YES"
                                                                                        forKey:@"GSSuppressAppIcon"]];
    m_application = makeApplication();
    [m_application finishLaunching];
    [m_application activateIgnoringOtherApps:YES];
    m_view = [[BKOpenGLView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
    [pool release];
    return m_application != nil;
}

void AppKitGfx::attach(void* window)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSWindow* target = static_cast<NSWindow*>(window);
    [target setContentView:m_view];
    [target makeFirstResponder:m_view];
    [target setGLView:m_view];
    [pool release];
}

void AppKitGfx::getSize(float* width, float* height)
{
    const NSSize size = [m_view bounds].size;
    *width = static_cast<float>(size.width);
    *height = static_cast<float>(size.height);
}

// Returns the buttons that are held down after this event.
static unsigned int buttonsBehind(NSEvent* event, unsigned int buttons)
{
    switch ([event type]) {
    case NSLeftMouseDown:
        return buttons | 1u;
    case NSLeftMouseUp:
        return buttons & ~1u;
    case NSRightMouseDown:
        return buttons | 2u;
    case NSRightMouseUp:
        return buttons & ~2u;
    default:
        return buttons;
    }
}

static bool isMouse(NSEvent* event)
{
    switch ([event type]) {
    case NSLeftMouseDown:
    case NSLeftMouseUp:
    case NSLeftMouseDragged:
    case NSRightMouseDown:
    case NSRightMouseUp:
    case NSRightMouseDragged:
    case NSMouseMoved:
        return true;
    default:
        return false;
    }
}

bool AppKitGfx::nextEvent(GfxEvent* event)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSEvent* next = [m_application nextEventMatchingMask:NSAnyEventMask
                                               untilDate:[NSDate distantPast]
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES];
    *event = {GFX_IGNORED, 0, m_buttons};
    if (next && [next type] == NSKeyDown) {
        // The event is not sent on: AppKit would beep, because no object handles the key.
        *event = {GFX_KEY, [next keyCode], m_buttons};
    } else if (next && [next type] != NSKeyUp) {
        if (isMouse(next)) {
            m_buttons = buttonsBehind(next, m_buttons);
            *event = {GFX_MOUSE, 0, m_buttons};
        }
        [m_application sendEvent:next];
    }
    if ([m_application takeClose]) {
        event->type = GFX_CLOSE;
    }
    const bool isEvent = next != nil || event->type == GFX_CLOSE;
    [pool release];
    return isEvent;
}

void AppKitGfx::draw(const Picture& picture)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    [m_view draw:&picture];
    [pool release];
}

GfxSubsystem* CreateGfxSubsystem()
{
    static AppKitGfx s_gfx;
    return &s_gfx;
}
