// As much of Cocoa as core sends messages to: for the layout check alone.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef signed char BOOL;
#define YES ((BOOL)1)
#define NO ((BOOL)0)
#define nil ((id)0)
typedef unsigned int NSUInteger;
enum { NSNotFound = 0x7fffffff };

typedef struct _NSPoint {
    float x;
    float y;
} NSPoint;
typedef struct _NSSize {
    float width;
    float height;
} NSSize;
typedef struct _NSRect {
    NSPoint origin;
    NSSize size;
} NSRect;

inline NSPoint NSMakePoint(float x, float y) { return NSPoint{x, y}; }

inline NSRect NSMakeRect(float x, float y, float width, float height) { return NSRect{{x, y}, {width, height}}; }

inline NSRect NSOffsetRect(NSRect rect, float x, float y)
{
    return NSMakeRect(rect.origin.x + x, rect.origin.y + y, rect.size.width, rect.size.height);
}

inline float NSMinX(NSRect rect) { return rect.origin.x; }

inline float NSMinY(NSRect rect) { return rect.origin.y; }

@class NSString;
extern "C" NSString* NSStringFromRect(NSRect rect);

__attribute__((objc_root_class))
@interface NSObject
+ (id)alloc;
- (id)init;
- (id)retain;
- (void)release;
@end

@interface NSAutoreleasePool : NSObject
@end

typedef NSUInteger NSStringEncoding;
enum { NSUTF8StringEncoding = 4, NSMacOSRomanStringEncoding = 30 };

@class NSArray;

@interface NSString : NSObject
+ (id)stringWithCString:(const char*)bytes encoding:(NSStringEncoding)encoding;
- (const char*)UTF8String;
- (int)intValue;
- (NSArray*)componentsSeparatedByString:(NSString*)separator;
@end

@interface NSArray : NSObject
- (NSUInteger)count;
- (BOOL)containsObject:(id)object;
- (BOOL)isEqual:(id)object;
- (id)objectAtIndex:(NSUInteger)index;
- (NSUInteger)indexOfObjectIdenticalTo:(id)object;
- (NSString*)componentsJoinedByString:(NSString*)separator;
@end

@interface NSMutableArray : NSArray
+ (id)array;
- (void)addObject:(id)object;
@end

@interface NSDictionary : NSObject
+ (id)dictionaryWithObject:(id)object forKey:(id)key;
- (id)objectForKey:(id)key;
@end

@interface NSColor : NSObject
+ (NSColor*)blackColor;
@end

@interface NSUserDefaults : NSObject
+ (NSUserDefaults*)standardUserDefaults;
- (void)registerDefaults:(NSDictionary*)defaults;
@end

@interface NSNotificationCenter : NSObject
+ (NSNotificationCenter*)defaultCenter;
- (void)postNotificationName:(NSString*)name object:(id)object;
@end
extern "C" NSString* NSApplicationDidChangeScreenParametersNotification;

@class NSWindow;

@interface NSEvent : NSObject
- (NSPoint)locationInWindow;
- (NSWindow*)window;
@end

@interface NSScreen : NSObject
+ (BOOL)respondsToSelector:(SEL)selector;
+ (NSArray*)screens;
+ (NSScreen*)mainScreen;
- (NSRect)frame;
@end

typedef NSUInteger NSBackingStoreType;

@interface NSWindow : NSObject
+ (NSRect)frameRectForContentRect:(NSRect)content styleMask:(NSUInteger)style;
- (id)initWithContentRect:(NSRect)content
                styleMask:(NSUInteger)style
                  backing:(NSBackingStoreType)backing
                    defer:(BOOL)defer;
- (BOOL)canBecomeKeyWindow;
- (NSString*)title;
- (void)setTitle:(NSString*)title;
- (NSRect)frame;
- (NSRect)contentRectForFrameRect:(NSRect)frame;
- (void)setBackgroundColor:(NSColor*)color;
- (void)setAcceptsMouseMovedEvents:(BOOL)accepts;
- (void)setReleasedWhenClosed:(BOOL)released;
- (void)setDelegate:(id)delegate;
- (void)setLevel:(int)level;
- (void)center;
- (void)makeKeyWindow;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)close;
- (NSPoint)convertBaseToScreen:(NSPoint)point;
- (NSPoint)mouseLocationOutsideOfEventStream;
@end

@interface NSApplication : NSObject
+ (NSApplication*)sharedApplication;
- (void)setDelegate:(id)delegate;
- (void)finishLaunching;
- (NSArray*)windows;
- (NSWindow*)keyWindow;
- (NSEvent*)currentEvent;
@end
extern "C" id NSApp;

extern "C" int NSRunAlertPanel(NSString* title, NSString* format, NSString* button, NSString* alternate,
                               NSString* other, ...);
