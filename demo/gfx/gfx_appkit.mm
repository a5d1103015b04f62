// The graphics module with AppKit: a view that draws pictures, and the events of its window.
//
// 1. A pane is drawn when it differs from the pane with the same index in the last picture. If AppKit asks for an
//    area outside of the changed area, all panes are drawn.
// 2. The ground of a pane is drawn once, into an image. The image is kept as long as pictures have this ground. Only the
//    places of the shapes in this picture and in the last picture are drawn again.
// 3. In the view and in images, y grows upward. In a Picture, y grows downward. This file converts y.
//
// Each call has its own autorelease pool for the objects that AppKit makes.
#include "demo/gfx/gfxsubsystem.h"

#import <AppKit/AppKit.h>

#include <algorithm>

@interface BKOpenGLView : NSView
- (void)draw:(const Picture*)picture;
@end

// The state of the view. There is only one view.
static Picture s_picture;                      // the last picture
static std::vector<bool> s_isChanged;          // for each pane
static NSRect s_changedArea;                   // the area to draw of the changed panes; empty after they were drawn
static std::shared_ptr<const Shapes> s_ground; // what the image shows
static NSImage* s_groundImage;
static std::vector<NSRect> s_shown; // where the shapes are that were drawn on the ground

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

static NSColor* colorOf(unsigned int colour, float alpha)
{
    return [NSColor colorWithCalibratedRed:((colour >> 16) & 0xff) / 255.0
                                     green:((colour >> 8) & 0xff) / 255.0
                                      blue:(colour & 0xff) / 255.0
                                     alpha:alpha];
}

static NSDictionary* attributesOf(const Label& label, CGFloat size)
{
    NSFont* font = label.isBold ? [NSFont boldSystemFontOfSize:size] : [NSFont systemFontOfSize:size];
    return [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, colorOf(label.colour, 1),
                                                      NSForegroundColorAttributeName, nil];
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

static void drawLabel(const Label& label, CGFloat viewHeight)
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
    const NSPoint corner = NSMakePoint(label.x + indentOf(label, size.width), viewHeight - label.y - size.height / 2);
    [text drawAtPoint:corner withAttributes:attributes];
}

static NSPoint middleOf(NSPoint first, NSPoint second)
{
    return NSMakePoint((first.x + second.x) / 2, (first.y + second.y) / 2);
}

// Adds a curve that begins at `from` in the direction of `corner`, and ends at `to`, coming from the direction of
// `corner`.
static void curveAround(NSBezierPath* path, NSPoint from, NSPoint corner, NSPoint to)
{
    const NSPoint first = NSMakePoint(from.x + (corner.x - from.x) * 2 / 3, from.y + (corner.y - from.y) * 2 / 3);
    const NSPoint second = NSMakePoint(to.x + (corner.x - to.x) * 2 / 3, to.y + (corner.y - to.y) * 2 / 3);
    [path curveToPoint:to controlPoint1:first controlPoint2:second];
}

static void addOutline(NSBezierPath* path, const Outline& outline, bool isRound, NSPoint origin)
{
    const auto at = [&](size_t index) {
        const Point& point = outline[index % outline.size()];
        return NSMakePoint(point.x - origin.x, origin.y - point.y);
    };
    if (isRound) {
        [path moveToPoint:middleOf(at(0), at(1))];
        for (size_t index = 1; index <= outline.size(); ++index) {
            curveAround(path, middleOf(at(index - 1), at(index)), at(index), middleOf(at(index), at(index + 1)));
        }
    } else {
        [path moveToPoint:at(0)];
        for (size_t index = 1; index < outline.size(); ++index) {
            [path lineToPoint:at(index)];
        }
    }
    [path closePath];
}

// origin is the place in the picture that is drawn at 0, 0.
static void drawShapes(const Shapes& shapes, NSPoint origin)
{
    for (const Shape& shape : shapes) {
        NSBezierPath* path = [NSBezierPath bezierPath];
        for (const Outline& outline : shape.outlines) {
            addOutline(path, outline, shape.isRound, origin);
        }
        [path setWindingRule:NSEvenOddWindingRule];
        [colorOf(shape.colour, shape.alpha) set];
        if (shape.line > 0) {
            [path setLineWidth:shape.line];
            [path setLineJoinStyle:NSRoundLineJoinStyle];
            [path stroke];
        } else {
            [path fill];
        }
    }
}

static void drawGround(const Pane& pane, NSRect area)
{
    const NSRect whole = NSMakeRect(0, 0, NSWidth(area), NSHeight(area));
    if (s_ground != pane.ground || !NSEqualSizes([s_groundImage size], whole.size)) {
        [s_groundImage release];
        s_groundImage = [[NSImage alloc] initWithSize:whole.size];
        s_ground = pane.ground;
        [s_groundImage lockFocus];
        drawShapes(*s_ground, NSMakePoint(pane.area.x, pane.area.y + pane.area.height));
        [s_groundImage unlockFocus];
    }
    [s_groundImage drawInRect:area fromRect:whole operation:NSCompositeCopy fraction:1];
}

static NSRect areaOf(const Pane& pane, CGFloat viewHeight)
{
    return NSMakeRect(pane.area.x, viewHeight - pane.area.y - pane.area.height, pane.area.width, pane.area.height);
}

static NSRect boundsOf(const Shape& shape, CGFloat viewHeight)
{
    const Point& first = shape.outlines[0][0];
    CGFloat left = first.x, right = first.x, top = first.y, bottom = first.y;
    for (const Outline& outline : shape.outlines) {
        for (const Point& point : outline) {
            left = std::min<CGFloat>(left, point.x);
            right = std::max<CGFloat>(right, point.x);
            top = std::min<CGFloat>(top, point.y);
            bottom = std::max<CGFloat>(bottom, point.y);
        }
    }
    const CGFloat edge = shape.line + 1; // a smoothed edge also covers a part of the next pixel
    return NSIntegralRect(
        NSMakeRect(left - edge, viewHeight - bottom - edge, right - left + 2 * edge, bottom - top + 2 * edge));
}

// Adds the bounds of the shapes. The bounds of shapes that follow each other and overlap become one rectangle.
static void addBounds(const Shapes& shapes, CGFloat viewHeight, std::vector<NSRect>* rects)
{
    const size_t begin = rects->size();
    for (const Shape& shape : shapes) {
        const NSRect bounds = boundsOf(shape, viewHeight);
        if (rects->size() > begin && NSIntersectsRect(rects->back(), bounds)) {
            rects->back() = NSUnionRect(rects->back(), bounds);
        } else {
            rects->push_back(bounds);
        }
    }
}

// Returns the part of a pane that has to be drawn again. last is null when the last picture did not have this pane.
static NSRect changedAreaOf(const Pane* last, const Pane& pane, CGFloat viewHeight)
{
    const NSRect area = areaOf(pane, viewHeight);
    if (!last || !pane.ground || last->ground != pane.ground || !NSEqualRects(areaOf(*last, viewHeight), area)) {
        return area;
    }
    std::vector<NSRect> rects;
    addBounds(last->shapes, viewHeight, &rects);
    addBounds(pane.shapes, viewHeight, &rects);
    NSRect changed = NSZeroRect;
    for (const NSRect& rect : rects) {
        changed = NSUnionRect(changed, rect);
    }
    return NSIntersectionRect(changed, area);
}

static void drawPane(const Pane& pane, CGFloat viewHeight, bool isAll)
{
    const NSRect area = areaOf(pane, viewHeight);
    [NSGraphicsContext saveGraphicsState];
    NSRectClip(area);
    if (pane.ground) {
        std::vector<NSRect> rects;
        addBounds(pane.shapes, viewHeight, &rects);
        std::vector<NSRect> changed = rects;
        changed.insert(changed.end(), s_shown.begin(), s_shown.end());
        if (!isAll && s_ground == pane.ground && !changed.empty()) {
            NSRectClipList(changed.data(), static_cast<int>(changed.size()));
        }
        s_shown = rects;
        drawGround(pane, area);
    }
    drawShapes(pane.shapes, NSMakePoint(0, viewHeight));
    for (const Label& label : pane.labels) {
        drawLabel(label, viewHeight);
    }
    [NSGraphicsContext restoreGraphicsState];
}

@implementation BKOpenGLView

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
    s_isChanged.assign(picture->size(), true);
    s_changedArea = NSZeroRect;
    for (size_t index = 0; index < picture->size(); ++index) {
        const Pane& pane = (*picture)[index];
        s_isChanged[index] = index >= s_picture.size() || !(pane == s_picture[index]);
        if (s_isChanged[index]) {
            const Pane* last = index < s_picture.size() ? &s_picture[index] : nullptr;
            s_changedArea = NSUnionRect(s_changedArea, changedAreaOf(last, pane, NSHeight([self bounds])));
        }
    }
    s_picture = *picture;
    [self setNeedsDisplayInRect:s_changedArea];
    [self displayIfNeeded];
    s_changedArea = NSZeroRect;
    [[self window] flushWindow];
}

- (void)drawRect:(NSRect)dirty
{
    if (s_picture.empty()) {
        [[NSColor blackColor] set];
        NSRectFill(dirty);
    }
    const bool isAll = !NSContainsRect(s_changedArea, dirty);
    for (size_t index = 0; index < s_picture.size(); ++index) {
        if (isAll || s_isChanged[index]) {
            drawPane(s_picture[index], NSHeight([self bounds]), isAll);
        }
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
    s_picture.clear(); // a new window shows nothing yet
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
    *event = {GFX_IGNORED, 0, m_buttons, false};
    if (next && [next type] == NSKeyDown) {
        // The event is not sent on: AppKit would beep, because no object handles the key.
        *event = {GFX_KEY, [next keyCode], m_buttons, false};
    } else if (next && [next type] != NSKeyUp) {
        if (isMouse(next)) {
            m_buttons = buttonsBehind(next, m_buttons);
            *event = {GFX_MOUSE, 0, m_buttons, [next type] == NSLeftMouseDown};
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
