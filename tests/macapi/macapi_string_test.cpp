#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <string.h>
#include <string>
#include <thread>
#include <vector>

static CFStringRef make(const std::string& text, CFStringEncoding encoding)
{
    return CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), encoding);
}

// The text in an encoding, with its own room to the byte; "refused" where there is none.
static std::string get(CFStringRef string, CFStringEncoding encoding)
{
    char buffer[2048];
    return CFStringGetCString(string, buffer, sizeof(buffer), encoding) ? buffer : "refused";
}

static std::string converted(const std::string& text, CFStringEncoding from, CFStringEncoding to)
{
    CFStringRef string = make(text, from);
    if (!string) {
        return "no string";
    }
    const std::string result = get(string, to);
    CFRelease(string);
    return result;
}

static std::string allBytes(int first, int last)
{
    std::string bytes;
    for (int byte = first; byte <= last; byte++) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

TEST(String, EncodingsHaveTheMacsNumbers)
{
    EXPECT_EQ(kCFStringEncodingMacRoman, 0);
    EXPECT_EQ(kCFStringEncodingASCII, 0x0600);
    EXPECT_EQ(kCFStringEncodingUTF8, 0x08000100);
}

TEST(String, AsciiGoesInAndOutUnchangedInEveryEncoding)
{
    const CFStringEncoding encodings[] = {kCFStringEncodingASCII, kCFStringEncodingMacRoman, kCFStringEncodingUTF8};
    for (CFStringEncoding from : encodings) {
        for (CFStringEncoding to : encodings) {
            EXPECT_EQ(converted(allBytes(1, 127), from, to), allBytes(1, 127));
            EXPECT_EQ(converted("", from, to), "");
        }
    }
}

TEST(String, AsciiRefusesEveryByteAbove127OnTheWayIn)
{
    for (int byte = 128; byte <= 255; byte++) {
        EXPECT_EQ(make(std::string("name") + static_cast<char>(byte), kCFStringEncodingASCII), nullptr) << byte;
    }
}

TEST(String, AsciiRefusesAnythingElseOnTheWayOut)
{
    EXPECT_EQ(converted("caf\xc3\xa9", kCFStringEncodingUTF8, kCFStringEncodingASCII), "refused");
    EXPECT_EQ(converted("caf\x8e", kCFStringEncodingMacRoman, kCFStringEncodingASCII), "refused");
}

TEST(String, MacRomanHasAMeaningForEveryByteAndGivesItBack)
{
    EXPECT_EQ(converted(allBytes(1, 255), kCFStringEncodingMacRoman, kCFStringEncodingMacRoman), allBytes(1, 255));
}

TEST(String, MacRomansUpperHalfIsTheMacs)
{
    // In order, 128 to 255. The no-break space is 0xca, the logo 0xf0.
    const std::string characters = "ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü"
                                   "†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø"
                                   "¿¡¬√ƒ≈∆«»…\u00a0ÀÃÕŒœ–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ"
                                   "‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uf8ffÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";
    EXPECT_EQ(converted(allBytes(128, 255), kCFStringEncodingMacRoman, kCFStringEncodingUTF8), characters);
    EXPECT_EQ(converted(characters, kCFStringEncodingUTF8, kCFStringEncodingMacRoman), allBytes(128, 255));
}

TEST(String, MacRomanRefusesWhatItDoesNotHave)
{
    EXPECT_EQ(converted("\u0416", kCFStringEncodingUTF8, kCFStringEncodingMacRoman), "refused");
    EXPECT_EQ(converted("\u00a4", kCFStringEncodingUTF8, kCFStringEncodingMacRoman),
              "refused"); // the euro has its place
    EXPECT_EQ(converted("\U0001f3ae", kCFStringEncodingUTF8, kCFStringEncodingMacRoman), "refused");
}

TEST(String, TextThatIsNoUtf8MakesNoString)
{
    const struct {
        const char* text;
        bool good;
    } cases[] = {
        {"\xc2\x80", true},          // the first of two bytes
        {"\xdf\xbf", true},          // and the last
        {"\xe0\xa0\x80", true},      // the first of three
        {"\xed\x9f\xbf", true},      // the last below the surrogates
        {"\xee\x80\x80", true},      // the first above
        {"\xef\xbf\xbf", true},      // the last of three
        {"\xf0\x90\x80\x80", true},  // the first of four
        {"\xf4\x8f\xbf\xbf", true},  // the last there is
        {"\x80", false},             // a following byte that follows nothing
        {"\xbf", false},             //
        {"\xc3", false},             // cut short
        {"\xe2\x82", false},         //
        {"\xf0\x9f\x8e", false},     //
        {"\xc3(", false},            // the second byte is none
        {"\xe2(\xa1", false},        //
        {"\xe2\x82(", false},        //
        {"\xc0\xaf", false},         // a slash in two bytes
        {"\xc1\xbf", false},         //
        {"\xe0\x9f\xbf", false},     // two bytes' worth in three
        {"\xf0\x8f\xbf\xbf", false}, // three's in four
        {"\xed\xa0\x80", false},     // half a surrogate pair
        {"\xed\xbf\xbf", false},     //
        {"\xf4\x90\x80\x80", false}, // above U+10FFFF
        {"\xf8\x88\x80\x80\x80", false},
        {"\xfe", false},
        {"\xff", false},
    };
    for (const auto& c : cases) {
        for (const std::string& text : {std::string(c.text), std::string("a") + c.text, std::string(c.text) + "z"}) {
            const std::string expected = c.good ? text : "no string";
            EXPECT_EQ(converted(text, kCFStringEncodingUTF8, kCFStringEncodingUTF8), expected)
                << testing::PrintToString(text);
        }
    }
}

TEST(String, AnUnknownEncodingIsRefused)
{
    const CFStringEncoding unknown = 0x0999;
    EXPECT_EQ(make("text", unknown), nullptr);
    EXPECT_EQ(converted("text", kCFStringEncodingASCII, unknown), "refused");
}

TEST(String, TheBufferHasToHoldTheTextAndItsNul)
{
    CFStringRef string = make("abc", kCFStringEncodingASCII);
    for (CFIndex size : {-1, 0, 1, 3}) {
        char buffer[8] = "before";
        EXPECT_FALSE(CFStringGetCString(string, buffer, size, kCFStringEncodingASCII)) << size;
        EXPECT_STREQ(buffer, "before"); // as it was
    }
    char buffer[8] = "before";
    EXPECT_TRUE(CFStringGetCString(string, buffer, 4, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_STREQ(buffer + 4, "re"); // not a byte more
    CFRelease(string);
}

TEST(String, RoomIsCountedInBytesOfTheEncoding)
{
    CFStringRef string = make("\x8e", kCFStringEncodingMacRoman); // e acute: one byte there, two in UTF-8
    char buffer[3];
    EXPECT_TRUE(CFStringGetCString(string, buffer, 2, kCFStringEncodingMacRoman));
    EXPECT_FALSE(CFStringGetCString(string, buffer, 2, kCFStringEncodingUTF8));
    EXPECT_TRUE(CFStringGetCString(string, buffer, 3, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "é");
    CFRelease(string);
}

TEST(String, ItsLengthIsInUtf16Units)
{
    const struct {
        const char* text;
        CFIndex length;
    } cases[] = {
        {"", 0}, {"abc", 3}, {"é", 1}, {"€", 1}, {"\U0001f3ae", 2}, // a pair
    };
    for (const auto& c : cases) {
        CFStringRef string = make(c.text, kCFStringEncodingUTF8);
        EXPECT_EQ(CFStringGetLength(string), c.length) << c.text;
        CFRelease(string);
    }
}

TEST(String, MacRomanTextFitsItsLengthPlusOne)
{
    CFStringRef string = make(allBytes(1, 255), kCFStringEncodingMacRoman);
    ASSERT_EQ(CFStringGetLength(string), 255);
    std::vector<char> buffer(CFStringGetLength(string) + 1);
    EXPECT_TRUE(CFStringGetCString(string, buffer.data(), buffer.size(), kCFStringEncodingMacRoman));
    CFRelease(string);
}

TEST(String, ALiteralIsTheSameStringEachTimeAndForEver)
{
    CFStringRef first = CFSTR("Width");
    EXPECT_EQ(get(first, kCFStringEncodingASCII), "Width");
    for (int i = 0; i < 10; i++) {
        CFRelease(first);
        EXPECT_EQ(CFSTR("Width"), first);
    }
    EXPECT_NE(CFSTR("Height"), first);
    EXPECT_EQ(get(first, kCFStringEncodingASCII), "Width");
}

TEST(String, NullIsAnsweredSafely)
{
    CFStringRef string = make("text", kCFStringEncodingASCII);
    char buffer[8];
    EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorDefault, nullptr, kCFStringEncodingASCII), nullptr);
    EXPECT_FALSE(CFStringGetCString(nullptr, buffer, sizeof(buffer), kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(string, nullptr, sizeof(buffer), kCFStringEncodingASCII));
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    CFRelease(string);
}

TEST(String, ANumberIsNoString)
{
    const int value = 5;
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value);
    const CFStringRef disguised = static_cast<CFStringRef>(static_cast<CFTypeRef>(number));
    EXPECT_EQ(get(disguised, kCFStringEncodingASCII), "refused");
    EXPECT_EQ(CFStringGetLength(disguised), 0);
    CFRelease(number);
}

TEST(Object, LivesAsLongAsAnyReference)
{
    CFStringRef string = make("a text that is too long to lie in the object itself", kCFStringEncodingASCII);
    EXPECT_EQ(CFRetain(string), string);
    CFRelease(string);
    EXPECT_EQ(get(string, kCFStringEncodingASCII), "a text that is too long to lie in the object itself");
    CFRelease(string); // the sanitizers tell if that was one too few, or too many
}

TEST(Object, IsRetainedAndReleasedFromManyThreads)
{
    CFStringRef string = make("shared by all of them, and long enough to be on the heap", kCFStringEncodingASCII);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        CFRetain(string);
        threads.emplace_back([string] {
            for (int turn = 0; turn < 10000; turn++) {
                CFRetain(string);
                CFRelease(string);
            }
            EXPECT_EQ(CFStringGetLength(string), 56);
            CFRelease(string);
        });
    }
    CFRelease(string); // any of the threads may hold the last one
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Object, LiteralsAreMadeFromManyThreads)
{
    std::vector<CFStringRef> strings(8);
    std::vector<std::thread> threads;
    for (CFStringRef& string : strings) {
        threads.emplace_back([&string] { string = CFSTR("RefreshRate"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (CFStringRef string : strings) {
        EXPECT_EQ(string, strings[0]);
    }
}
