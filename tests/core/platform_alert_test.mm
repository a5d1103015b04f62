// The alert on a display: what the platform asks AppKit to show. The test starts its own X server.
#include "core/platform.h"
#include "tests/support/x_server.h"

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

static std::vector<std::string> s_panel; // title, message and the three buttons
static std::string s_format;             // the message as it was handed over, to be formatted with what follows
static NSInteger s_answer = NSAlertDefaultReturn;

static std::string textOf(NSString* text) { return text ? [text UTF8String] : "nil"; }

extern "C" NSInteger NSRunAlertPanel(NSString* title, NSString* format, NSString* button, NSString* alternate,
                                     NSString* other, ...)
{
    va_list arguments;
    va_start(arguments, other);
    NSString* message = [[NSString alloc] initWithFormat:format arguments:arguments];
    va_end(arguments);
    s_format = textOf(format);
    s_panel = {textOf(title), textOf(message), textOf(button), textOf(alternate), textOf(other)};
    [message release];
    return s_answer;
}

// Opens a document while AppKit ends the launch of the application object, as AppKit does for a word of the command line.
@interface DocumentOpener : NSObject {
    BOOL _isAccepted;
}
- (void)open:(NSNotification*)notification;
- (BOOL)isAccepted;
@end

@implementation DocumentOpener

- (void)open:(NSNotification*)notification
{
    (void)notification;
    _isAccepted = [(id)[NSApp delegate] application:NSApp openFile:@"level1"];
}

- (BOOL)isAccepted
{
    return _isAccepted;
}

@end

class PlatformPanel : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped()) {
            start("320x240x24");
        }
    }
};

TEST_F(PlatformPanel, IsTitledAlertWhateverTheCaptionAndHasOneButton)
{
    Platform::MessageBox("Out of Memory Error", "%s lost %d units", "Ada", 3);
    EXPECT_EQ(s_panel, (std::vector<std::string>{"Alert", "Ada lost 3 units", "OK", "nil", "nil"}));
}

TEST_F(PlatformPanel, IsHandedTheTextItselfAsItsMessage)
{
    Platform::MessageBox("caption", "%s lost %d units", "Ada", 3);
    EXPECT_EQ(s_format, "Ada lost 3 units");
}

TEST_F(PlatformPanel, AnswersWhatThePanelAnswered)
{
    EXPECT_EQ(Platform::MessageBox("caption", "text"), 1);
    s_answer = -2;
    EXPECT_EQ(Platform::MessageBox("caption", "text"), -2);
}

TEST_F(PlatformPanel, ShowsAtMost4094Bytes)
{
    Platform::MessageBox("caption", "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(s_panel.at(1), std::string(4094, 'x'));
}

TEST_F(PlatformPanel, ShowsPercentSignsOfTheTextAsTheyAre)
{
    Platform::MessageBox("caption", "%s", "100 %@ %n %s");
    EXPECT_EQ(s_panel.at(1), "100 %@ %n %s");
}

TEST_F(PlatformPanel, ShowsUtf8AndElseMacRoman)
{
    Platform::MessageBox("caption", "%s", "caf\xc3\xa9");
    EXPECT_EQ(s_panel.at(1), "caf\xc3\xa9");
    Platform::MessageBox("caption", "%s", "caf\x8e");
    EXPECT_EQ(s_panel.at(1), "caf\xc3\xa9");
}

// What a panel shows of a text: of bytes that were filled up from the front to length bytes, and a tail.
static std::string shownOf(size_t length, const std::string& tail, const std::string& front = "")
{
    const std::string text = front + std::string(length - front.size(), 'x') + tail;
    Platform::MessageBox("caption", "%s", text.c_str());
    return s_panel.at(1);
}

TEST_F(PlatformPanel, OfATruncatedUtf8TextTheIncompleteLastCharacterIsNotShown)
{
    const std::string umlaut = "\xc3\xa4";
    const std::string euro = "\xe2\x82\xac";
    const std::string clef = "\xf0\x9d\x84\x9e";
    EXPECT_EQ(shownOf(4093, umlaut, umlaut), umlaut + std::string(4091, 'x'));
    EXPECT_EQ(shownOf(4093, umlaut + umlaut), std::string(4093, 'x'));
    for (const size_t kept : {1, 2}) {
        EXPECT_EQ(shownOf(4094 - kept, euro + "more", euro), euro + std::string(4091 - kept, 'x'));
    }
    for (const size_t kept : {1, 2, 3}) {
        EXPECT_EQ(shownOf(4094 - kept, clef + "more", umlaut), umlaut + std::string(4092 - kept, 'x'));
    }
}

TEST_F(PlatformPanel, AUtf8TextThatIsTruncatedAfterAWholeCharacterIsShownWhole)
{
    const std::string umlaut = "\xc3\xa4";
    const std::string clef = "\xf0\x9d\x84\x9e";
    EXPECT_EQ(shownOf(4092, umlaut), std::string(4092, 'x') + umlaut); // not cut
    EXPECT_EQ(shownOf(4092, umlaut + umlaut), std::string(4092, 'x') + umlaut);
    EXPECT_EQ(shownOf(4090, clef + clef), std::string(4090, 'x') + clef);
}

TEST_F(PlatformPanel, ATruncatedMacRomanTextIsShownToItsLastByte)
{
    const std::string shown = "\xc3\xa9" + std::string(4092, 'x');        // e with an acute accent, 0x8e in Mac Roman
    EXPECT_EQ(shownOf(4093, "\xc3\xa4", "\x8e"), shown + "\xe2\x88\x9a"); // 0xc3 is the square root there
    EXPECT_EQ(shownOf(4093, "\x8e\x8e", "\x8e"), shown + "\xc3\xa9");
    EXPECT_EQ(shownOf(4093, "\x8e\x8e"), std::string(4093, 'x') + "\xc3\xa9");
}

TEST_F(PlatformPanel, ATextThatIsNotTruncatedIsShownToItsLastByte)
{
    EXPECT_EQ(shownOf(3, "\xc3"), "xxx\xe2\x88\x9a");
    EXPECT_EQ(shownOf(4093, "\xc3"), std::string(4093, 'x') + "\xe2\x88\x9a");
}

// AppKit would show an alert of its own for each word that the delegate does not accept.
TEST_F(PlatformPanel, TheWordsOfTheCommandLineAreAcceptedAsDocumentsDuringTheLaunch)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    DocumentOpener* opener = [[DocumentOpener alloc] init];
    NSNotificationCenter* center = [NSNotificationCenter defaultCenter];
    [center addObserver:opener
               selector:@selector(open:)
                   name:NSApplicationWillFinishLaunchingNotification
                 object:nil];
    Platform::MessageBox("caption", "text");
    EXPECT_TRUE([opener isAccepted]);
    EXPECT_EQ([NSApp delegate], nil); // the delegate only serves the launch
    [center removeObserver:opener];
    [opener release];
    [pool release];
}

TEST_F(PlatformPanel, IsNotOnStandardErrorAsWell)
{
    testing::internal::CaptureStderr(); // AppKit's own remarks go there
    Platform::MessageBox("caption", "the units are lost");
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("the units are lost"), std::string::npos);
}
