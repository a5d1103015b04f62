// Objects of macapi answer AppKit's messages, as on the Mac.
#include "tests/support/x_server.h"

#include <Carbon/Carbon.h>

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

class Bridge : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped()) {
            start("1024x768x24");
            m_pool = [[NSAutoreleasePool alloc] init];
            mode(); // an object, from which on the constants answer too
        }
    }

    void TearDown() override
    {
        [m_pool release];
        XServer::TearDown();
    }

    static NSDictionary* mode() { return (NSDictionary*)CGDisplayCurrentMode(kCGDirectMainDisplay); }

private:
    NSAutoreleasePool* m_pool = nil;
};

// What an object says of itself, in UTF-8.
static std::string textOf(id object) { return [[object description] UTF8String]; }

static NSNumber* numberOf(double value)
{
    return [(NSNumber*)CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value) autorelease];
}

static NSNumber* numberOf(long long value)
{
    return [(NSNumber*)CFNumberCreate(kCFAllocatorDefault, kCFNumberLongLongType, &value) autorelease];
}

TEST_F(Bridge, AModeAnswersWithItsSizes)
{
    EXPECT_EQ([[mode() objectForKey:@"Width"] intValue], 1024);
    EXPECT_EQ([[mode() objectForKey:@"Height"] intValue], 768);
    EXPECT_EQ([[mode() objectForKey:@"BitsPerPixel"] intValue], 32);
    EXPECT_EQ([[mode() objectForKey:@"RefreshRate"] doubleValue], 0);
    EXPECT_EQ([mode() count], 4u);
}

TEST_F(Bridge, AKeyMayBeAStringOfEitherSide)
{
    EXPECT_EQ([[mode() objectForKey:(id)kCGDisplayWidth] intValue], 1024);
    EXPECT_EQ([[mode() objectForKey:(id)CFSTR("Width")] intValue], 1024);
    EXPECT_EQ([[mode() objectForKey:[NSString stringWithCString:"Width"]] intValue], 1024);
    EXPECT_EQ(CFDictionaryGetValue((CFDictionaryRef)mode(), @"Width"), [mode() objectForKey:@"Width"]);
}

TEST_F(Bridge, AMissingKeyReturnsNil)
{
    EXPECT_EQ([mode() objectForKey:@"Depth"], nil);
    EXPECT_EQ([mode() objectForKey:nil], nil);
    EXPECT_EQ([mode() objectForKey:[NSNumber numberWithInt:1]], nil);
    EXPECT_EQ([mode() objectForKey:(id)kCFBooleanTrue], nil);
    EXPECT_EQ([mode() objectForKey:@""], nil);
    const unichar half = 0xd800;
    EXPECT_EQ([mode() objectForKey:[NSString stringWithCharacters:&half length:1]], nil);
}

TEST_F(Bridge, ADictionaryAnswersTheMessagesOfNSDictionary)
{
    EXPECT_TRUE([mode() isKindOfClass:[NSDictionary class]]);
    EXPECT_FALSE([mode() isKindOfClass:[NSString class]]);
    EXPECT_TRUE([mode() respondsToSelector:@selector(objectForKey:)]);
    NSArray* keys = [[mode() allKeys] sortedArrayUsingSelector:@selector(compare:)];
    EXPECT_EQ(textOf([keys componentsJoinedByString:@" "]), "BitsPerPixel Height RefreshRate Width");
    NSMutableDictionary* copy = [[mode() mutableCopy] autorelease];
    [copy setObject:@"a" forKey:@"b"];
    EXPECT_EQ([copy count], 5u);
    EXPECT_TRUE([[NSDictionary dictionaryWithDictionary:mode()] isEqual:mode()]);
    EXPECT_NE(textOf(mode()).find("Width = 1024"), std::string::npos) << textOf(mode());
}

TEST_F(Bridge, NumbersAreNSNumbers)
{
    NSNumber* number = numberOf(-3ll);
    EXPECT_TRUE([number isKindOfClass:[NSNumber class]]);
    EXPECT_EQ([number intValue], -3);
    EXPECT_EQ([number longLongValue], -3);
    EXPECT_EQ([number integerValue], -3);
    EXPECT_EQ([number doubleValue], -3.0);
    EXPECT_EQ([number floatValue], -3.0f);
    EXPECT_EQ([number unsignedCharValue], 253);
    EXPECT_TRUE([number boolValue]);
    EXPECT_TRUE([number isEqual:[NSNumber numberWithInt:-3]]);
    EXPECT_TRUE([[NSNumber numberWithInt:-3] isEqual:number]);
    EXPECT_EQ([number hash], [[NSNumber numberWithInt:-3] hash]);
    EXPECT_EQ([number compare:[NSNumber numberWithInt:2]], NSOrderedAscending);
    EXPECT_EQ(textOf(number), "-3");
    EXPECT_EQ(textOf([number stringValue]), "-3");
    EXPECT_EQ(textOf([number copy]), "-3");
}

TEST_F(Bridge, RealNumbersAreNSNumbers)
{
    NSNumber* number = numberOf(59.5);
    EXPECT_EQ([number doubleValue], 59.5);
    EXPECT_EQ([number intValue], 59);
    EXPECT_EQ(textOf(number), "59.5");
    double value = 0;
    [number getValue:&value];
    EXPECT_EQ(value, 59.5);
    EXPECT_EQ([numberOf(1e30) longLongValue], INT64_MAX);
    EXPECT_EQ([numberOf(5e9) intValue], (int)5000000000);
}

TEST_F(Bridge, BooleansAreNSNumbers)
{
    EXPECT_TRUE([(NSNumber*)kCFBooleanTrue boolValue]);
    EXPECT_FALSE([(NSNumber*)kCFBooleanFalse boolValue]);
    EXPECT_EQ([(NSNumber*)kCFBooleanTrue intValue], 1);
    EXPECT_EQ(textOf((id)kCFBooleanTrue), "1");
}

TEST_F(Bridge, StringsAreNSStrings)
{
    NSString* string =
        (NSString*)CFStringCreateWithCString(nullptr, "caf\xc3\xa9 \xf0\x9d\x84\x9e", kCFStringEncodingUTF8);
    EXPECT_EQ([string length], 7u); // the clef is two
    EXPECT_STREQ([string UTF8String], "caf\xc3\xa9 \xf0\x9d\x84\x9e");
    EXPECT_TRUE([string hasPrefix:@"caf"]);
    EXPECT_TRUE([@"Width" isEqual:(id)kCGDisplayWidth]);
    EXPECT_TRUE([(id)kCGDisplayWidth isEqual:@"Width"]);
    EXPECT_EQ([(id)kCGDisplayWidth hash], [@"Width" hash]);
    [string release];
}

TEST_F(Bridge, CFRetainAndRetainCountTheSameReferences)
{
    NSNumber* number = (NSNumber*)CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, "\0\0\0");
    EXPECT_EQ([number retainCount], 1u);
    CFRetain(number);
    EXPECT_EQ([number retainCount], 2u);
    EXPECT_EQ([number retain], number);
    [number release];
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    [number autorelease];
    [pool release];
    EXPECT_EQ([number retainCount], 1u);
    CFRelease(number);
}

TEST_F(Bridge, ALentDictionaryOutlivesReleases)
{
    for (int i = 0; i < 5; i++) {
        [mode() release];
    }
    EXPECT_EQ([[mode() objectForKey:@"Width"] intValue], 1024);
}

TEST_F(Bridge, AppKitsOwnObjectsAreNotTakenForOurs)
{
    NSDictionary* dictionary = [NSDictionary dictionaryWithObject:@"b" forKey:@"a"];
    char text[8];
    int value;
    EXPECT_EQ(CFDictionaryGetCount((CFDictionaryRef)dictionary), 0);
    EXPECT_EQ(CFDictionaryGetValue((CFDictionaryRef)dictionary, @"a"), nullptr);
    EXPECT_FALSE(CFStringGetCString((CFStringRef) @"text", text, sizeof(text), kCFStringEncodingASCII));
    EXPECT_EQ(CFStringGetLength((CFStringRef) @"text"), 0);
    EXPECT_FALSE(CFNumberGetValue((CFNumberRef)[NSNumber numberWithInt:1], kCFNumberIntType, &value));
    EXPECT_FALSE(CFBooleanGetValue((CFBooleanRef)[NSNumber numberWithBool:YES]));
    EXPECT_EQ(CFURLCreateWithString(nullptr, (CFStringRef) @"http://a/", nullptr), nullptr);
    EXPECT_EQ(CFRetain(dictionary), dictionary);
    CFRelease(dictionary);
    EXPECT_EQ([dictionary count], 1u);
}

TEST_F(Bridge, PreferencesRefuseAppKitsOwnObjects)
{
    CFPreferencesSetAppValue(CFSTR("kept"), kCFBooleanTrue, kCFPreferencesCurrentApplication);
    for (int number = 0; number < 12; number++) {
        const CFTypeRef value = [NSNumber numberWithInt:number];
        CFPreferencesSetAppValue(CFSTR("new"), value, kCFPreferencesCurrentApplication);
        CFPreferencesSetAppValue(CFSTR("kept"), value, kCFPreferencesCurrentApplication);
        EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("new"), kCFPreferencesCurrentApplication), nullptr) << number;
    }
    EXPECT_EQ(CFPreferencesCopyAppValue(CFSTR("kept"), kCFPreferencesCurrentApplication), kCFBooleanTrue);
}

TEST_F(Bridge, TheShieldingLevelIsAboveAppKitsHighest)
{
    EXPECT_GT(CGShieldingWindowLevel(), static_cast<int>(NSScreenSaverWindowLevel));
}
