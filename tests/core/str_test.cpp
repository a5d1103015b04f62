// Escapes. This program defines MemoryMgr::alloc: it records each request, and passes it on or returns null.
#include "core/str.h"

#include "tests/support/game_memory.h"
#include "tests/support/rounds.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <stdint.h>
#include <string.h>
#include <string>

struct Request {
    int bank;
    unsigned long size;
    const char* file;
    unsigned int line;
};
static Request s_last;          // the last one for memory
static unsigned int s_requests; // so far
static bool s_refuses;          // they get null

void* MemoryMgr::alloc(int bank, unsigned long size, const char* file, unsigned int line)
{
    typedef void* (*Alloc)(MemoryMgr*, int, unsigned long, const char*, unsigned int);
    static const Alloc s_alloc = reinterpret_cast<Alloc>(dlsym(RTLD_NEXT, "_ZN9MemoryMgr5allocEimPKcj"));
    ++s_requests;
    s_last = {bank, size, file, line};
    return s_refuses ? nullptr : s_alloc(this, bank, size, file, line);
}

// A manager with bank 0.
class Memory : public GameMemory {
public:
    Memory()
    {
        defineHeap("core", 1 << 20);
        initialize();
    }
};

// The text in a block of exactly its size, decoded there.
static std::string unescaped(const std::string& text, bool* valid)
{
    std::unique_ptr<char[]> block(new char[text.size() + 1]);
    memcpy(block.get(), text.c_str(), text.size() + 1);
    *valid = str::unescape(block.get());
    return block.get();
}

static std::string unescaped(const std::string& text)
{
    bool valid;
    const std::string result = unescaped(text, &valid);
    return (valid ? "valid: " : "invalid: ") + result;
}

static std::string escaped(const std::string& text)
{
    char* copy;
    if (!str::escape(&copy, text.c_str())) {
        return "(failed)";
    }
    const std::string result = copy;
    EXPECT_EQ(g_MemoryPtr->free(0, copy), 0);
    return result;
}

struct Escape {
    char byte;
    char letter;
};
static const Escape sc_escapes[] = {
    {7, 'a'},   // bell
    {8, 'b'},   // backspace
    {9, 't'},   // horizontal tab
    {10, 'n'},  // line feed
    {11, 'v'},  // vertical tab
    {12, 'f'},  // form feed
    {13, 'r'},  // carriage return
    {34, '"'},  // double quote
    {39, '\''}, // single quote
    {92, '\\'}, // backslash
};

static const Escape* escapeOf(char byte)
{
    for (const Escape& escape : sc_escapes) {
        if (escape.byte == byte) {
            return &escape;
        }
    }
    return nullptr;
}

static bool isLetter(char letter)
{
    for (const Escape& escape : sc_escapes) {
        if (escape.letter == letter) {
            return true;
        }
    }
    return false;
}

TEST(Unescape, TurnsEachOfTheTenEscapesIntoItsByte)
{
    for (const Escape& escape : sc_escapes) {
        EXPECT_EQ(unescaped(std::string("<\\") + escape.letter + ">"), std::string("valid: <") + escape.byte + ">");
    }
}

TEST(Unescape, DecodesInTheMiddleOfAText)
{
    EXPECT_EQ(unescaped("a\\tb"), "valid: a\tb");
    EXPECT_EQ(unescaped("\\n\\n\\\\n"), "valid: \n\n\\n");
    EXPECT_EQ(unescaped("say \\\"hi\\\", it\\'s me"), "valid: say \"hi\", it's me");
}

TEST(Unescape, CopiesEveryByteButTheBackslash)
{
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\\') {
            const std::string text = std::string("a") + static_cast<char>(byte) + "b";
            EXPECT_EQ(unescaped(text), "valid: " + text) << byte;
        }
    }
}

TEST(Unescape, OfAnyOtherLetterKeepsTheBackslashAndDropsTheLetter)
{
    for (int byte = 1; byte < 256; ++byte) {
        const char letter = static_cast<char>(byte);
        if (!isLetter(letter)) {
            EXPECT_EQ(unescaped(std::string("\\") + letter + "41"), "invalid: \\41") << byte;
        }
    }
}

TEST(Unescape, KnowsNoNumericEscapes)
{
    EXPECT_EQ(unescaped("\\x41"), "invalid: \\41");
    EXPECT_EQ(unescaped("\\101"), "invalid: \\01");
}

TEST(Unescape, GoesOnBehindAnInvalidEscape)
{
    EXPECT_EQ(unescaped("\\q\\t\\Tz"), "invalid: \\\t\\z");
    EXPECT_EQ(unescaped("\\q\\t"), "invalid: \\\t");
}

TEST(Unescape, OfAnEscapeWithACapitalLetterIsInvalid)
{
    EXPECT_EQ(unescaped("\\N"), "invalid: \\");
}

TEST(Unescape, KeepsABackslashThatEndsTheText)
{
    EXPECT_EQ(unescaped("\\"), "invalid: \\");
    EXPECT_EQ(unescaped("C:\\\\\\"), "invalid: C:\\\\");
}

TEST(Unescape, OfTheEmptyTextIsTrue)
{
    EXPECT_EQ(unescaped(""), "valid: ");
}

TEST(Unescape, OfNullIsFalse)
{
    EXPECT_FALSE(str::unescape(nullptr));
}

TEST(Escape, PutsABackslashAndALetterForEachOfTheTen)
{
    Memory memory;
    for (const Escape& escape : sc_escapes) {
        EXPECT_EQ(escaped(std::string("<") + escape.byte + ">"), std::string("<\\") + escape.letter + ">");
    }
}

TEST(Escape, CopiesAllOtherBytesAsTheyAre)
{
    Memory memory;
    for (int byte = 1; byte < 256; ++byte) {
        const char letter = static_cast<char>(byte);
        if (!escapeOf(letter)) {
            const std::string text = std::string("a") + letter + "b";
            EXPECT_EQ(escaped(text), text) << byte;
        }
    }
    EXPECT_EQ(escaped("Gr\xc3\xbc\xc3\x9f\x65"), "Gr\xc3\xbc\xc3\x9f\x65");
}

TEST(Escape, OfTheEmptyTextIsANewEmptyText)
{
    Memory memory;
    const char* empty = "";
    char* copy = nullptr;
    EXPECT_TRUE(str::escape(&copy, empty));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, empty);
    EXPECT_STREQ(copy, "");
    EXPECT_EQ(memory.free(0, copy), 0);
}

TEST(Escape, AsksBank0ForAPlainCopyInItsLine66)
{
    Memory memory;
    escaped("plain");
    EXPECT_EQ(s_last.bank, 0);
    EXPECT_EQ(s_last.size, 6u);
    EXPECT_STREQ(s_last.file, "core/str");
    EXPECT_EQ(s_last.line, 66u);
    EXPECT_EQ(s_requests, 1u);
}

TEST(Escape, AsksBank0ForACopyWithEscapesInItsLine232)
{
    Memory memory;
    escaped("a\tb\\");
    EXPECT_EQ(s_last.bank, 0);
    EXPECT_EQ(s_last.size, 7u);
    EXPECT_STREQ(s_last.file, "core/str");
    EXPECT_EQ(s_last.line, 232u);
    EXPECT_EQ(s_requests, 1u);
}

TEST(Escape, LeavesTheTextAsItIsAndHandsOutABlockOfItsOwn)
{
    Memory memory;
    const char text[] = "two\nlines";
    char* first = nullptr;
    char* second = nullptr;
    EXPECT_TRUE(str::escape(&first, text));
    EXPECT_TRUE(str::escape(&second, text));
    EXPECT_STREQ(text, "two\nlines");
    EXPECT_NE(first, second);
    EXPECT_STREQ(first, second);
    EXPECT_EQ(memory.free(0, first), 0);
    EXPECT_EQ(memory.free(0, second), 0);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Escape, OfNullIsFalseAndLeavesTheOutputAsItWas)
{
    Memory memory;
    char nothing;
    char* copy = &nothing;
    EXPECT_FALSE(str::escape(&copy, nullptr));
    EXPECT_EQ(copy, &nothing);
    EXPECT_EQ(s_requests, 0u);
}

TEST(Escape, WithoutAnOutputIsFalseAndAsksForNothing)
{
    Memory memory;
    EXPECT_FALSE(str::escape(nullptr, "text"));
    EXPECT_EQ(s_requests, 0u);
}

TEST(Escape, WithoutMemoryIsFalseAndTheOutputNull)
{
    Memory memory;
    s_refuses = true;
    for (const char* text : {"plain", "two\nlines"}) {
        char nothing;
        char* copy = &nothing;
        EXPECT_FALSE(str::escape(&copy, text));
        EXPECT_EQ(copy, nullptr);
    }
}

TEST(Escape, WithoutAManagerIsFalseAndTheOutputNull)
{
    char nothing;
    char* copy = &nothing;
    EXPECT_FALSE(str::escape(&copy, "text"));
    EXPECT_EQ(copy, nullptr);
}

// ---- back and forth ----

// Quiet when all is well: there are a million of them.
static void expectRoundTrip(const std::string& text)
{
    char* copy;
    ASSERT_TRUE(str::escape(&copy, text.c_str()));
    size_t escapes = 0;
    for (char byte : text) {
        escapes += escapeOf(byte) != nullptr;
    }
    ASSERT_EQ(strlen(copy), text.size() + escapes);
    ASSERT_TRUE(str::unescape(copy));
    ASSERT_STREQ(copy, text.c_str());
    g_MemoryPtr->free(0, copy);
}

TEST(RoundTrip, OfEveryTextOfUpToTwoBytesGivesItBack)
{
    Memory memory;
    expectRoundTrip("");
    for (int first = 1; first < 256; ++first) {
        expectRoundTrip(std::string(1, static_cast<char>(first)));
        for (int second = 1; second < 256; ++second) {
            expectRoundTrip({static_cast<char>(first), static_cast<char>(second)});
        }
    }
}

TEST(RoundTrip, OfAMillionRandomTextsGivesThemBack)
{
    Memory memory;
    uint32_t state = 1;
    auto random = [&state](uint32_t below) {
        state = state * 1664525u + 1013904223u;
        return static_cast<uint32_t>((static_cast<uint64_t>(state) * below) >> 32);
    };
    for (int i = 0; i < rounds(1000000); ++i) {
        std::string text(random(24), ' ');
        for (char& byte : text) {
            // Every second byte is one of the ten.
            byte = random(2) ? sc_escapes[random(10)].byte : static_cast<char>(1 + random(255));
        }
        expectRoundTrip(text);
    }
}
