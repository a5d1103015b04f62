// The graphics by AppKit: a view that draws boxes and texts, and the events of its window.
//
// Each call has a pool of its own for what AppKit leaves behind.
#include "demo/gfx/gfxsubsystem.h"

#import <AppKit/AppKit.h>

@interface BKOpenGLView : NSView {
    const Picture* _picture; // while it is drawn
}
- (void)draw:(const Picture*)picture;
@end

// What the window's class has for the view.
@interface NSWindow (BKWindow)
- (void)setGLView:(BKOpenGLView*)view;
@end

// The delegate of all windows: it is asked whether one may close.
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

// How far into its box a text of this width begins.
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
        return; // also of bytes that are no text
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
        return; // uncovered between two frames; the next one is not far
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

// Null when AppKit has no way to the display; it says so by an exception, which GCC's @catch doesn't catch here.
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
    // The program's name alone: AppKit would take other words for documents to open.
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

// The buttons held down behind this event.
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
        *event = {GFX_KEY, [next keyCode], m_buttons}; // AppKit would beep: nobody else takes it
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
