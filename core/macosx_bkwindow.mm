// Every message to AppKit.
#include "core/macosx_bkwindow.h"

#include <ApplicationServices/ApplicationServices.h>

#import <AppKit/AppKit.h>

// Whether there is an application object, the game's own where it has made one. AppKit may be unable to make one.
static bool hasApplication()
{
    @try {
        return [NSApplication sharedApplication] != nil;
    } @catch (NSException*) {
        return false;
    }
}

bool BKHasWindowServer()
{
    const CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (!session) {
        return false;
    }
    CFRelease(session);
    static const bool s_application = hasApplication(); // asked once: a failed attempt can't be repeated
    return s_application;
}

static NSString* textOf(const char* bytes)
{
    NSString* text = nil;
    @try {
        text = [NSString stringWithCString:bytes];
    } @catch (NSException*) {
        // Bytes that the user's encoding doesn't have; as Latin-1 every byte is a character.
    }
    return text ? text : [NSString stringWithCString:bytes encoding:NSISOLatin1StringEncoding];
}

int BKRunAlert(const char* title, const char* message, const char* button)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    const int result =
        static_cast<int>(NSRunAlertPanel(textOf(title), @"%@", textOf(button), nil, nil, textOf(message)));
    [pool release];
    return result;
}
