// The property-list codec, which macapi keeps to itself.
#include "macapi/src/objects/plist.h"
#include "macapi/src/objects/url.h"
#include "macapi/src/objects/values.h"

#include <gtest/gtest.h>

#include <random>

using namespace macapi;

static std::string whole(const std::string& value)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + value + "</plist>\n";
}

// What a text is once it has been read and written again; "does not parse" where it cannot be read.
static std::string rewritten(const std::string& text)
{
    const Ref<Object> value = readPlist(text);
    std::string written;
    return !value ? "does not parse" : writePlist(*value, &written) ? written : "cannot be written";
}

static void expectValues(std::initializer_list<std::pair<std::string, std::string>> cases)
{
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(rewritten(whole(value)), expected.empty() ? "does not parse" : whole(expected + "\n")) << value;
    }
}

static std::string nested(const std::string& open, const std::string& close, int depth)
{
    std::string text;
    for (int i = 0; i < depth; i++) {
        text += open;
    }
    for (int i = 0; i < depth; i++) {
        text += close;
    }
    return text;
}

static const char sc_sample[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>CFBundleName</key>
	<string>Brackenlow &amp; friends</string>
	<key>CFBundleVersion</key>
	<string>1.0.2</string>
	<key>Icon</key>
	<data>iVBORw0KGgo=</data>
	<key>Modes</key>
	<array>
		<integer>640</integer>
		<real>59.94</real>
		<true/>
		<false/>
		<array>
		</array>
		<dict>
			<key></key>
			<string></string>
		</dict>
	</array>
	<key>Released</key>
	<date>2003-10-24T18:00:00Z</date>
</dict>
</plist>
)";

TEST(Plist, IsWrittenALineForEachTagAndATabForEachLevel)
{
    EXPECT_EQ(rewritten(sc_sample), sc_sample);
}

TEST(Plist, IsReadIntoObjects)
{
    const Ref<Object> root = readPlist(sc_sample);
    const __CFDictionary* dictionary = as<__CFDictionary>(root.get());
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(dictionary->entries.size(), 5u);
    EXPECT_EQ(as<__CFString>(dictionary->find("CFBundleName"))->text, "Brackenlow & friends");
    EXPECT_EQ(as<__CFData>(dictionary->find("Icon"))->bytes, "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(as<__CFDate>(dictionary->find("Released"))->text, "2003-10-24T18:00:00Z");
    EXPECT_EQ(dictionary->find("released"), nullptr);
    const __CFArray* modes = as<__CFArray>(dictionary->find("Modes"));
    ASSERT_EQ(modes->items.size(), 6u);
    EXPECT_EQ(as<__CFNumber>(modes->items[0].get())->magnitude, 640u);
    EXPECT_EQ(as<__CFNumber>(modes->items[1].get())->real, 59.94);
    EXPECT_EQ(modes->items[2].get(), static_cast<const Object*>(kCFBooleanTrue)); // the one there is
    EXPECT_EQ(modes->items[3].get(), static_cast<const Object*>(kCFBooleanFalse));
}

TEST(Plist, AnImmortalListMakesItsValuesImmortal)
{
    static const Object* const root = immortal(readPlist(sc_sample));
    const __CFArray* modes = as<__CFArray>(as<__CFDictionary>(root)->find("Modes"));
    const Object* empty = as<__CFDictionary>(modes->items[5].get())->find("");
    for (int i = 0; i < 3; i++) {
        for (const Object* object : {root, static_cast<const Object*>(modes), modes->items[0].get(), empty}) {
            object->dropReference();
        }
    }
    std::string text;
    EXPECT_TRUE(writePlist(*root, &text));
    EXPECT_EQ(text, sc_sample);
}

TEST(Plist, Integers)
{
    expectValues({
        {"<integer>0</integer>", "<integer>0</integer>"},
        {"<integer>-0</integer>", "<integer>0</integer>"},
        {"<integer>+12</integer>", "<integer>12</integer>"},
        {"<integer> \n12\t</integer>", "<integer>12</integer>"},
        {"<integer>007</integer>", "<integer>7</integer>"},
        {"<integer>0x1F</integer>", "<integer>31</integer>"},
        {"<integer>-0Xff</integer>", "<integer>-255</integer>"},
        {"<integer>-9223372036854775808</integer>", "<integer>-9223372036854775808</integer>"},
        {"<integer>18446744073709551615</integer>", "<integer>18446744073709551615</integer>"},
        {"<integer>18446744073709551616</integer>", ""}, // nothing holds it
        {"<integer></integer>", ""},
        {"<integer/>", ""},
        {"<integer>-</integer>", ""},
        {"<integer>--1</integer>", ""},
        {"<integer>+-1</integer>", ""},
        {"<integer>0x</integer>", ""},
        {"<integer>1.5</integer>", ""},
        {"<integer>12 34</integer>", ""},
        {"<integer>12abc</integer>", ""},
    });
}

TEST(Plist, Reals)
{
    expectValues({
        {"<real>0.1</real>", "<real>0.1</real>"},
        {"<real>-0</real>", "<real>-0</real>"},
        {"<real>2</real>", "<real>2</real>"},
        {"<real> +2.50 </real>", "<real>2.5</real>"},
        {"<real>1e3</real>", "<real>1000</real>"},
        {"<real>1.7976931348623157e308</real>", "<real>1.7976931348623157e+308</real>"},
        {"<real>5e-324</real>", "<real>5e-324</real>"},
        {"<real>0.30000000000000004</real>", "<real>0.30000000000000004</real>"},
        {"<real>nan</real>", "<real>nan</real>"},
        {"<real>inf</real>", "<real>+infinity</real>"},
        {"<real>+infinity</real>", "<real>+infinity</real>"},
        {"<real>-infinity</real>", "<real>-infinity</real>"},
        {"<real>1e999</real>", ""},
        {"<real>0,5</real>", ""}, // whatever the locale
        {"<real>+-1</real>", ""},
        {"<real>+</real>", ""},
        {"<real></real>", ""},
        {"<real>one</real>", ""},
    });
}

TEST(Plist, Strings)
{
    expectValues({
        {"<string/>", "<string></string>"},
        {"<string>  as it is \n\t</string>", "<string>  as it is \n\t</string>"},
        {"<string>&lt;&gt;&amp;&quot;&apos;</string>", "<string>&lt;&gt;&amp;\"'</string>"},
        {"<string>&#65;&#x42;&#x20ac;&#x1F3AE;</string>", "<string>AB€\U0001f3ae</string>"},
        {"<string>caf\xc3\xa9</string>", "<string>café</string>"},
        {"<string>a<![CDATA[<b>&amp;]]>c</string>", "<string>a&lt;b&gt;&amp;amp;c</string>"},
        {"<string>a<!-- no <b> -->c<?no d?>e</string>", "<string>ace</string>"},
        {"<string>a\r\nb\rc\n</string>", "<string>a\nb\nc\n</string>"},    // XML's idea of a line's end
        {"<string>a&#13;&#10;b</string>", "<string>a&#13;\nb</string>"},   // a carriage return that is meant
        {"<string>&#1;&#xFFFE;</string>", "<string>\\␁\\\ufffc</string>"}, // what XML cannot hold, by its picture
        {"<string>&nbsp;</string>", ""},                                   // XML knows five names
        {"<string>&lt</string>", ""},
        {"<string>&</string>", ""},
        {"<string>&#0;</string>", ""},
        {"<string>&#xD800;</string>", ""},
        {"<string>&#x110000;</string>", ""},
        {"<string>&#99999999999999;</string>", ""},
        {"<string>&#;</string>", ""},
        {"<string>&#x;</string>", ""},
        {"<string>&#65</string>", ""},
        {"<string>a<b/></string>", ""},
        {"<string>a</strin>", ""},
        {"<string>a<![CDATA[b]]</string>", ""},
        {"<string>a<!-- b</string>", ""},
        {"<string>a\x01</string>", ""},
        {"<string>caf\x8e</string>", ""},
        {"<string>\xef\xbf\xbf</string>", ""},
        {std::string("<string>a\0b</string>", 20), ""},
    });
}

TEST(Plist, Data)
{
    expectValues({
        {"<data/>", "<data></data>"},
        {"<data>\n\tAAEC\n\tAwQ=\n</data>", "<data>AAECAwQ=</data>"},
        {"<data>/+//</data>", "<data>/+//</data>"},
        {"<data>QQ==</data>", "<data>QQ==</data>"},
        {"<data>QQ = =</data>", "<data>QQ==</data>"},
        {"<data>QQ=</data>", ""},
        {"<data>Q</data>", ""},
        {"<data>Q===</data>", ""},
        {"<data>====</data>", ""},
        {"<data>QQ==QQ==</data>", ""},
        {"<data>Q-Q_</data>", ""},
    });
}

TEST(Plist, Dates)
{
    expectValues({
        {"<date>2003-10-24T18:00:00Z</date>", "<date>2003-10-24T18:00:00Z</date>"},
        {"<date> 2004-02-29T23:59:59Z\n</date>", "<date>2004-02-29T23:59:59Z</date>"},
        {"<date>2000-02-29T00:00:00Z</date>", "<date>2000-02-29T00:00:00Z</date>"},
        {"<date>2003-02-29T00:00:00Z</date>", ""},
        {"<date>1900-02-29T00:00:00Z</date>", ""},
        {"<date>2003-00-10T00:00:00Z</date>", ""},
        {"<date>2003-13-10T00:00:00Z</date>", ""},
        {"<date>2003-04-31T00:00:00Z</date>", ""},
        {"<date>2003-10-00T00:00:00Z</date>", ""},
        {"<date>2003-10-24T24:00:00Z</date>", ""},
        {"<date>2003-10-24T18:60:00Z</date>", ""},
        {"<date>2003-10-24T18:00:60Z</date>", ""},
        {"<date>2003-10-24 18:00:00Z</date>", ""},
        {"<date>2003-10-24T18:00:00</date>", ""},
        {"<date>24 October 2003</date>", ""},
        {"<date/>", ""},
    });
}

TEST(Plist, Booleans)
{
    expectValues({
        {"<true/>", "<true/>"},
        {"<false />", "<false/>"},
        {"<true></true>", "<true/>"},
        {"<true>yes</true>", ""},
        {"<True/>", ""},
    });
}

static std::string stringOf(const std::string& value)
{
    const Ref<Object> string = readPlist(whole("<string>" + value + "</string>"));
    return as<__CFString>(string.get()) ? as<__CFString>(string.get())->text : "does not parse";
}

static std::string formOf(const std::string& text)
{
    std::string written;
    const size_t before = whole("<string></string>").find("</string>");
    writePlist(*make<__CFString>(text), &written);
    return written.substr(before, written.find("</string>") - before);
}

TEST(Plist, CharactersThatXmlLacksBecomeABackslashAndAControlPicture)
{
    const std::pair<const char*, const char*> cases[] = {
        {"\x01", "\\␁"},
        {"a\x1f\x0b", "a\\␟\\␋"},
        {"\t\n\x7f\xc2\x80", "\t\n\x7f\xc2\x80"}, // it can hold these
        {"\ufffe\uffff", "\\\ufffc\\\ufffd"},
        {"␁", "␁"}, // a picture alone is itself
        {"\\␁", "\\\\␁"},
        {"\\\x01", "\\\\\\␁"},
        {"\\\\␁", "\\\\\\\\␁"},
        {"\\", "\\"}, // and so are backslashes
        {"\\\\ ␁", "\\\\ ␁"},
        {"\\␉\\␊\\␍\\␀\\␠\\␡", "\\␉\\␊\\␍\\␀\\␠\\␡"}, // of characters that need none
        {"\x01\\\x02␃", "\\␁\\\\\\␂␃"},
    };
    for (const auto& [text, form] : cases) {
        EXPECT_EQ(formOf(text), form);
        EXPECT_EQ(stringOf(form), text) << form;
    }
    EXPECT_EQ(rewritten(whole("<dict><key>\\␁</key><true/><key>&#2;</key><true/></dict>")),
              whole("<dict>\n\t<key>\\␁</key>\n\t<true/>\n\t<key>\\␂</key>\n\t<true/>\n</dict>\n"));
}

TEST(Plist, EachTextHasExactlyOneEncoding)
{
    const std::vector<std::string> pieces = {"\\", "\\", "␁", "␟", "\ufffc", "a", " "};
    const std::vector<std::string> unheld = {"\x01", "\x1f", "\ufffe"};
    std::mt19937 random(1024);
    for (int turn = 0; turn < 20000; turn++) {
        std::string text;
        std::string form;
        for (unsigned int length = random() % 8; length > 0; length--) {
            form += pieces[random() % pieces.size()];
            text += random() % 3 == 0 ? unheld[random() % unheld.size()] : pieces[random() % pieces.size()];
        }
        ASSERT_EQ(stringOf(formOf(text)), text);
        ASSERT_EQ(formOf(stringOf(form)), form);
    }
}

TEST(Plist, ArraysAndDictionaries)
{
    expectValues({
        {"<array/>", "<array>\n</array>"},
        {"<dict/>", "<dict>\n</dict>"},
        {"<array> <true/><!-- two --><false/> </array>", "<array>\n\t<true/>\n\t<false/>\n</array>"},
        {"<dict><key>b</key><true/><key>a</key><false/></dict>",
         "<dict>\n\t<key>a</key>\n\t<false/>\n\t<key>b</key>\n\t<true/>\n</dict>"},
        {"<dict><key>a</key><true/><key>a</key><false/></dict>", "<dict>\n\t<key>a</key>\n\t<false/>\n</dict>"},
        {"<dict><key/><true/></dict>", "<dict>\n\t<key></key>\n\t<true/>\n</dict>"},
        {"<dict><key>&lt;&#x20ac;</key><true/></dict>", "<dict>\n\t<key>&lt;€</key>\n\t<true/>\n</dict>"},
        {"<dict a='1' b=\"2\" ><key>a</key >  <true/></dict  >", "<dict>\n\t<key>a</key>\n\t<true/>\n</dict>"},
        {"<dict><key>a</key></dict>", ""}, // no value
        {"<dict><true/></dict>", ""},      // no key
        {"<dict><key>a</key><key>b</key><true/></dict>", ""},
        {"<dict>a<key>a</key><true/></dict>", ""}, // text where none belongs
        {"<array>1</array>", ""},
        {"<array><key>a</key></array>", ""},
        {"<array><true/>", ""},
        {"<array></dict>", ""},
        {"<set/>", ""},
        {"<dict a/>", ""},
        {"<dict a=1/>", ""},
        {"<dict a='1/>", ""},
        {"<dict a='<'/>", ""},
        {"<dict a='1'b='2'/>", ""},
        {"<dict/ >", ""},
        {"< dict/>", ""},
    });
}

TEST(Plist, MayHaveAPrologue)
{
    const std::string plist = "<plist version=\"1.0\"><true/></plist>";
    for (const std::string prologue : {
             "",
             "\xef\xbb\xbf",
             "\xef\xbb\xbf<?xml version='1.0'?>",
             "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n",
             "<?xml version=\"1.0\" encoding='utf-8' standalone=\"no\" ?>",
             "<?xml version=\"1.0\" encoding=\"US-ASCII\"?>",
             "  <!-- a comment --> <?a process?>",
             "<!DOCTYPE plist>",
             "<!DOCTYPE plist PUBLIC \"-//A > B//EN\" 'http://a/b.dtd'><!-- > -->",
             "<!DOCTYPE plist [ <!ELEMENT plist (dict)> <!-- ]> ' --> <!ENTITY a \"]>\"> <?b ]> ' ?> ] >",
         }) {
        EXPECT_EQ(rewritten(prologue + plist), whole("<true/>\n")) << prologue;
    }
    for (const std::string prologue : {
             "text",
             "\xfe\xff",
             " <?xml version=\"1.0\" encoding=\"UTF-8\"",
             "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>",
             "<?xml version=\"1.0\" encoding=\"UTF-16\"?>",
             "<!-- no end",
             "<?no end",
             "<!DOCTYPE plist",
             "<!DOCTYPE plist [",
             "<!DOCTYPE plist \"no end>",
             "<!DOCTYPE plist [ <!-- no end",
             "<!DOCTYPE plist><!DOCTYPE plist>",
         }) {
        EXPECT_EQ(rewritten(prologue + plist), "does not parse") << prologue;
    }
}

TEST(Plist, HoldsOneValueAndEndsWithIt)
{
    EXPECT_EQ(rewritten("<plist><true/></plist>\n<!-- end --> <?end?>\n"), whole("<true/>\n"));
    for (const char* text : {
             "",
             " ",
             "<plist/>",
             "<plist></plist>",
             "<plist>text</plist>",
             "<plist><true/><true/></plist>",
             "<plist><true/></plist>text",
             "<plist><true/></plist><plist/>",
             "<plist><true/></plist><!-- no end",
             "<plist><true/></dict>",
             "<plist><true/>",
             "<plists><true/></plists>",
             "<true/>",
             "{ a = b; }",
         }) {
        EXPECT_EQ(rewritten(text), "does not parse") << text;
    }
}

TEST(Plist, EntitiesOfItsOwnAreNotFollowed)
{
    EXPECT_EQ(rewritten("<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist><string>&a;</string></plist>"),
              "does not parse");
    EXPECT_EQ(
        rewritten("<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><plist><string>&a;</string></plist>"),
        "does not parse");
}

TEST(Plist, NestsToALimit)
{
    const std::string levels = nested("<array>", "</array>", sc_plistDepth);
    EXPECT_NE(rewritten(whole(levels)), "does not parse");
    EXPECT_EQ(rewritten(whole("<array>" + levels + "</array>")), "does not parse");

    // What would take the stack with it if each level were followed.
    EXPECT_EQ(rewritten(whole(nested("<array>", "", 1000000))), "does not parse");
    EXPECT_EQ(rewritten(whole(nested("<dict><key>a</key>", "</dict>", 1000000))), "does not parse");
}

TEST(Plist, WhatIsNestedDeeperIsNotWritten)
{
    __CFArray::Items none;
    Ref<Object> value = make<__CFArray>(std::move(none));
    std::string text = "as it was";
    for (int depth = 1; depth < sc_plistDepth; depth++) {
        __CFArray::Items items;
        items.push_back(std::move(value));
        value = make<__CFArray>(std::move(items));
    }
    EXPECT_TRUE(writePlist(*value, &text));
    EXPECT_EQ(rewritten(text), text);

    text = "as it was";
    __CFArray::Items items;
    items.push_back(std::move(value));
    value = make<__CFArray>(std::move(items));
    EXPECT_FALSE(writePlist(*value, &text));
    EXPECT_EQ(text, "as it was");
}

TEST(Plist, AUrlCannotBeWritten)
{
    __CFArray::Items items;
    items.push_back(makeFileURL("/Games", true));
    std::string text = "as it was";
    EXPECT_FALSE(writePlist(*make<__CFArray>(std::move(items)), &text));
    EXPECT_EQ(text, "as it was");
}

TEST(Plist, ATruncatedListDoesNotParse)
{
    const std::string sample = sc_sample;
    for (size_t length = 0; length + 1 < sample.size(); length++) { // the last line feed may go
        EXPECT_EQ(rewritten(sample.substr(0, length)), "does not parse") << length;
    }
}

// Bytes at random, put into a good file at random. What still parses has to mean something that can be written.
TEST(Plist, DamageIsNoticedOrHarmless)
{
    std::mt19937 random(20031024);
    const std::string pieces[] = {"<",     ">",       "&",  ";",  "]]>",  "<![CDATA[", "<!--",    "-->",
                                  "<?",    "?>",      "</", "/>", "\"",   "'",         "<array>", "</array>",
                                  "<key>", "</dict>", "&#", "0",  "\xff", "\xc3\xa9"};
    int parsed = 0;
    for (int turn = 0; turn < 20000; turn++) {
        std::string text = sc_sample;
        for (int changes = static_cast<int>(random() % 4) + 1; changes > 0; changes--) {
            const size_t position = random() % text.size();
            switch (random() % 4) {
            case 0:
                text[position] = static_cast<char>(random());
                break;
            case 1:
                text.erase(position, random() % 20);
                break;
            case 2:
                text.insert(position, pieces[random() % std::size(pieces)]);
                break;
            case 3:
                text.insert(position, text.substr(random() % text.size(), random() % 60));
                break;
            }
        }
        const std::string once = rewritten(text);
        if (once != "does not parse") {
            parsed++;
            ASSERT_EQ(rewritten(once), once) << text;
        }
    }
    EXPECT_GT(parsed, 100); // some damage is harmless, or this would not have looked at any
}

TEST(Plist, MoreValuesThanAnyProgramNeedsAreTooMuch)
{
    const auto dictionaries = [](int count) {
        std::string text = "<plist><array>";
        for (int i = 0; i < count; i++) {
            text += "<dict/>";
        }
        return text + "</array></plist>";
    };
    bool isTooMuch = true;
    EXPECT_TRUE(readPlist(dictionaries(sc_plistValues - 1), &isTooMuch)); // and the array itself
    EXPECT_FALSE(isTooMuch);
    EXPECT_FALSE(readPlist(dictionaries(sc_plistValues), &isTooMuch));
    EXPECT_TRUE(isTooMuch);
    EXPECT_FALSE(readPlist("<plist>", &isTooMuch));
    EXPECT_FALSE(isTooMuch);
}

TEST(Plist, MoreValuesThanCanBeReadAreNotWritten)
{
    __CFArray::Items items;
    for (int i = 0; i < sc_plistValues; i++) {
        items.push_back(makeBoolean(true));
    }
    std::string text;
    EXPECT_FALSE(writePlist(*make<__CFArray>(std::move(items)), &text));
}
