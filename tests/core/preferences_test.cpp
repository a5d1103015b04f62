#include "core/preferences.h"

#include "tests/support/game_memory.h"
#include "tests/support/library_memory.h"
#include "tests/support/watched_log.h"

#include <optional>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

// The leak sanitizer does not report blocks that are allocated between these two calls. Null in other builds.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

// init for a path that a later init replaces. That init does not free the copy of the path. Deliberate.
static bool initAndLoseThePath(Preferences& preferences, const char* path)
{
    if (__lsan_disable) {
        __lsan_disable();
    }
    const bool result = preferences.init(path);
    if (__lsan_enable) {
        __lsan_enable();
    }
    return result;
}

static_assert(std::is_base_of_v<Allocator<0>, Preferences>);
static_assert(sizeof(Preferences) == sizeof(void*), "no fields");

// Preferences with an INI file of these bytes.
class IniPreferences : public Preferences {
public:
    IniPreferences(const std::string& bytes)
    {
        writeFile("game.ini", bytes);
        init("game.ini");
    }
};

// ---- The INI file.

struct Question {
    std::string file;
    std::string section;
    std::string key;
    std::optional<std::string> value;
};

// Without this function and the next one, the test framework prints all bytes of a record, also those between its
// fields.
static void PrintTo(const Question& question, std::ostream* out)
{
    *out << question.section << "/" << question.key;
}

class IniFile : public testing::TestWithParam<Question> {};

TEST_P(IniFile, AnswersAQuestion)
{
    IniPreferences preferences(GetParam().file);
    char out[1024] = "untouched";
    EXPECT_EQ(ReadKey(GetParam().section.c_str(), GetParam().key.c_str(), out), GetParam().value.has_value());
    EXPECT_EQ(out, GetParam().value.value_or("untouched"));
}

static const std::nullopt_t sc_none = std::nullopt;
static const std::string sc_name255(255, 'n');
static const std::string sc_value1019(1019, 'v');

static const Question sc_questions[] = {
    {"[Video]\nwidth=640\n", "Video", "width", "640"},
    {"[Video]\nwidth=640\n", "video", "WIDTH", "640"}, // case is one
    {"[VIDEO]\nWIDTH=640\n", "Video", "width", "640"},
    {"[Video]\nwidth=640\n", "Audio", "width", sc_none},
    {"[Video]\nwidth=640\n", "Video", "height", sc_none},
    {"[Video]\nwidth=640\n", "Video", "", sc_none},
    {"", "Video", "width", sc_none},
    {"\n", "", "", sc_none},
    // The end of the line.
    {"[Video]\r\ndepth=32\r\n", "Video", "depth", "32"},
    {"[Video]\ndepth=32\n", "Video", "depth", "32"},
    {"[Video]\ndepth=32\r\r\n", "Video", "depth", "32\r"}, // one carriage return goes
    {"[Video]\ndepth=32 \t\n", "Video", "depth", "32 \t"},
    {"[Video]\ndepth=\n", "Video", "depth", ""},
    {"[Video]\ndepth=\r\n", "Video", "depth", ""},
    // A last line without a line feed loses what stands in its place.
    {"[Video]\nfullscreen=1", "Video", "fullscreen", ""},
    {"[Video]\nwidth=640", "Video", "width", "64"},
    {"[Video]\nwidth=640\r", "Video", "width", "640"},
    {"[Video]\nwidth=64\r0", "Video", "width", "64"}, // the carriage return is the character before
    {"[Video]\nwidth=", "Video", "width", ""},
    // Carriage returns alone end no line.
    {"[Video]\rwidth=640\r", "Video", "width", sc_none},
    {"[Video]\na=1\rwidth=640\n", "Video", "a", "1\rwidth=640"},
    // Comments.
    {"[Video]\n;width=1\nwidth=640\n", "Video", "width", "640"},
    {"[Video]\n;width=1\n", "Video", ";width", sc_none},
    {";[Video]\nwidth=640\n", "Video", "width", sc_none},
    {"[Video]\n ;width=1\n", "Video", " ;width", "1"}, // only as the first character
    {"[Video]\nwidth=640;wide\n", "Video", "width", "640;wide"},
    {"[Video]\n#width=1\n", "Video", "#width", "1"},
    // Names are taken as they stand.
    {"[Video]\nwidth = 640\n", "Video", "width", sc_none},
    {"[Video]\nwidth = 640\n", "Video", "width ", " 640"},
    {"[Video]\n\twidth=640\n", "Video", "width", sc_none},
    {"[Video]\n\twidth=640\n", "Video", "\twidth", "640"},
    {"[ Video ]\nwidth=640\n", "Video", "width", sc_none},
    {"[ Video ]\nwidth=640\n", " Video ", "width", "640"},
    {"[Video Modes]\nbest mode=wide\n", "video modes", "Best Mode", "wide"},
    {"[]\n=none\n", "", "", "none"},
    {"[\xc4\xd6]\n\xdc=1\n", "\xc4\xd6", "\xdc", "1"},
    {"[\xc4\xd6]\n\xdc=1\n", "\xe4\xf6", "\xdc", sc_none}, // case is ASCII's
    // "=" and "]".
    {"[Video]\nmode=a=b==c\n", "Video", "mode", "a=b==c"},
    {"[Video]\nmode=a=b\n", "Video", "mode=a", sc_none},
    {"[Video]\nwidth\nwidth=640\n", "Video", "width", "640"},
    {"[Video] and more\nwidth=640\n", "Video", "width", "640"},
    {"[Video]]\nwidth=640\n", "Video", "width", "640"},
    {"[Vid]eo]\nwidth=640\n", "Vid]eo", "width", sc_none},
    {"[[Video]\nwidth=640\n", "[Video", "width", "640"},
    {"[Video]=1\n", "Video", "[Video]", sc_none},
    {" [Video]\nwidth=640\n", "Video", "width", sc_none},
    // "[" without "]" ends the section, up to the next good one.
    {"[Video]\n[Audio\nwidth=640\n", "Video", "width", sc_none},
    {"[Video]\n[Audio\nwidth=640\n", "Audio", "width", sc_none},
    {"[Video]\n[\nwidth=640\n[Video]\nwidth=800\n", "Video", "width", "800"},
    // Outside, and in other sections.
    {"width=1\n[Video]\nwidth=640\n", "Video", "width", "640"},
    {"width=1\n", "", "width", sc_none},
    {"[Audio]\nwidth=1\n[Video]\nwidth=640\n", "Video", "width", "640"},
    {"[Video]\n[Audio]\nwidth=1\n", "Video", "width", sc_none},
    // The first that fits, and a section may be opened again.
    {"[Video]\nwidth=640\nwidth=800\n", "Video", "width", "640"},
    {"[Video]\nWidth=640\nwidth=800\n", "Video", "width", "640"},
    {"[Video]\na=1\n[Audio]\nb=2\n[video]\nwidth=640\n", "Video", "width", "640"},
    {"[Video]\nwidth=1\n[Audio]\n[Video]\nwidth=2\n", "Video", "width", "1"},
    // A section's name has 255 characters.
    {"[" + sc_name255 + "]\na=1\n", sc_name255, "a", "1"},
    {"[" + sc_name255 + "n]\na=1\n", sc_name255, "a", "1"},
    {"[" + sc_name255 + "n]\na=1\n", sc_name255 + "n", "a", sc_none},
    {"[" + std::string(1021, 'n') + "]\na=1\n[b]\na=2\n", "b", "a", "2"},
    {"[a]\n" + sc_name255 + "n=1\n", "a", sc_name255 + "n", "1"}, // an entry's as many as its line
    // A line has 1023 bytes, and the rest is the next one.
    {"[a]\nbcd" + sc_value1019 + "=1\n", "a", "bcd" + sc_value1019, ""}, // "=" is the last of the 1023
    {"[a]\nk=" + sc_value1019 + "x\n", "a", "k", sc_value1019 + "x"},
    {"[a]\nk=" + sc_value1019 + "xy\n", "a", "k", sc_value1019 + "x"},
    {"[a]\nk=" + sc_value1019 + "xyk2=2\n", "a", "k2", "2"},
    {"[a]\nk=" + sc_value1019 + "xy[b]\nk2=2\n", "b", "k2", "2"},
    {"[a]\n;" + std::string(1022, '-') + "k=1\n", "a", "k", "1"}, // and is no comment any more
    {"[a" + std::string(1022, '-') + "]\nk=1\n", "a", "k", sc_none},
    // A NUL ends its line early.
    {std::string("[a]\nk=v\0w\nl=2\n", 14), "a", "k", ""},
    {std::string("[a]\nk=v\0w\nl=2\n", 14), "a", "l", "2"},
    {std::string("[a]\n\0k=1\nl=2\n", 13), "a", "l", "2"},
};
INSTANTIATE_TEST_SUITE_P(Preferences, IniFile, testing::ValuesIn(sc_questions));

TEST(Preferences, ReadTheIniFileWhereNothingIsStored)
{
    IniPreferences preferences("[Video]\nwidth=640\n");
    EXPECT_STREQ(preferences.read("video", "width", "800"), "640");
    EXPECT_EQ(preferences.read("video", "width", 800), 640);
    EXPECT_EQ(takeMessages(), "");
}

TEST(Preferences, ReadTheIniFileAfreshEachTime)
{
    IniPreferences preferences("[Video]\nwidth=640\n");
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    writeFile("game.ini", "[Video]\nwidth=800\n");
    EXPECT_EQ(preferences.read("Video", "width", 5), 800);
}

TEST(Preferences, NeverWriteTheIniFile)
{
    IniPreferences preferences("[Video]\nwidth=640\n");
    preferences.write("Video", "width", 800);
    EXPECT_EQ(readFile("game.ini"), "[Video]\nwidth=640\n");
}

TEST(Preferences, KeepACopyOfThePath)
{
    writeFile("game.ini", "[Video]\nwidth=640\n");
    char path[] = "game.ini";
    Preferences preferences;
    EXPECT_TRUE(preferences.init(path));
    path[0] = 'x';
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
}

TEST(Preferences, InitIsTrueForAnyPathAndTheLastOneCounts)
{
    writeFile("second.ini", "[Video]\nwidth=640\n");
    Preferences preferences;
    EXPECT_TRUE(initAndLoseThePath(preferences, "missing.ini"));
    EXPECT_TRUE(initAndLoseThePath(preferences, "second.ini"));
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    EXPECT_TRUE(preferences.init(nullptr));
    EXPECT_EQ(preferences.read("Video", "width", 5), 5);
}

#ifdef WATCHES_LIBRARY_MEMORY

TEST(Preferences, TheEndOfAnObjectFreesThePath)
{
    {
        Preferences preferences;
        LibraryMemory::isWatched = true;
        preferences.init("game.ini");
        LibraryMemory::isWatched = false;
        EXPECT_EQ(LibraryMemory::blockCount, 1);
        EXPECT_EQ(LibraryMemory::taken, sizeof("game.ini"));
        EXPECT_EQ(LibraryMemory::givenBack, 0);
    }
    EXPECT_EQ(LibraryMemory::givenBack, 1);
}

#endif

TEST(Preferences, TheEndOfOneObjectForgetsTheIniFileForAllObjects)
{
    IniPreferences preferences("[Video]\nwidth=640\n");
    {
        Preferences others;
        EXPECT_EQ(others.read("Video", "width", 5), 640); // one path for all
    }
    EXPECT_EQ(preferences.read("Video", "width", 5), 5);
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: \f");
}

TEST(Preferences, SayThatTheIniFileIsMissingAndGiveTheDefault)
{
    Preferences preferences;
    preferences.init("none.ini");
    EXPECT_STREQ(preferences.read("Video", "mode", "wide"), "wide");
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: none.ini\f");
    char out[1024] = "untouched";
    EXPECT_FALSE(ReadKey("Video", "mode", out));
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: none.ini\f");
}

TEST(Preferences, APipeCountsAsAMissingIniFile)
{
    alarm(60); // the end of a test that waits after all
    ASSERT_EQ(mkfifo("pipe.ini", 0600), 0);
    for (const char* path : {"pipe.ini", "/dev/zero", "."}) {
        Preferences preferences;
        preferences.init(path);
        EXPECT_STREQ(preferences.read("Video", "width", "640"), "640");
        EXPECT_EQ(takeMessages(), std::string("4 Preferences File Missing: ") + path + "\f");
    }
}

TEST(Preferences, SayNothingAboutAMissingEntry)
{
    IniPreferences preferences("");
    EXPECT_STREQ(preferences.read("Video", "mode", "wide"), "wide");
    EXPECT_EQ(takeMessages(), "");
}

// ---- Reads.

TEST(Preferences, AreEmptyWithoutADefaultText)
{
    IniPreferences preferences("");
    preferences.read("Video", "mode", "wide");
    EXPECT_STREQ(preferences.read("Video", "mode", nullptr), "");
}

TEST(Preferences, OneBufferHoldsEveryTextThatWasRead)
{
    IniPreferences preferences("[Video]\nwidth=640\nheight=480\n");
    Preferences others;
    const char* width = preferences.read("Video", "width", nullptr);
    EXPECT_STREQ(width, "640");
    EXPECT_EQ(others.read("Video", "height", nullptr), width);
    EXPECT_STREQ(width, "480");
    preferences.read("Video", "width", 5);
    EXPECT_STREQ(width, "640"); // numbers are read as texts
}

TEST(Preferences, ADefaultLongerThanTheBufferIsTruncated)
{
    IniPreferences preferences("");
    EXPECT_EQ(preferences.read("a", "b", std::string(5000, 'x').c_str()), std::string(1023, 'x'));
}

TEST(Preferences, TheBufferIsEmptiedBeforeTheIniFileIsRead)
{
    IniPreferences preferences(
        "[]\nmode=no section\n=neither\n[Video]\nmode=wide\n=no key\n[mode]\nlast=1\n[de]\nmode=tail\n");
    const char* text = preferences.read("", "section", "Video");
    EXPECT_STREQ(preferences.read(text, "mode", "default"), "no section");
    text = preferences.read("", "key", "mode");
    EXPECT_STREQ(preferences.read("Video", text, "default"), "no key");
    text = preferences.read("Video", "mode", "narrow");
    EXPECT_STREQ(preferences.read("Video", "last mode", text), "");
    text = preferences.read("Video", "mode", "narrow");
    EXPECT_STREQ(preferences.read(text + 2, "mode", "default"), "tail") << "only its first byte is written";
}

TEST(Preferences, TheStoreIsAskedBeforeTheBufferIsEmptied)
{
    IniPreferences preferences("");
    preferences.write("Video", "mode", "wide");
    const char* section = preferences.read("", "section", "Video");
    EXPECT_STREQ(preferences.read(section, "mode", "default"), "wide");
}

struct Number {
    const char* text;
    int value;
};

static void PrintTo(const Number& number, std::ostream* out)
{
    *out << number.value;
}

class Numbers : public testing::TestWithParam<Number> {};

TEST_P(Numbers, AreReadAsAtoiDoes)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    memory.initialize();
    IniPreferences preferences("[a]\nb=" + std::string(GetParam().text) + "\n");
    EXPECT_EQ(preferences.read("a", "b", 5), GetParam().value);
}

static const Number sc_numbers[] = {
    {"640", 640},
    {"-1", -1},
    {"+7", 7},
    {"0", 0}, // and not the default
    {"", 5},  // which stands for nothing at all
    {" 12", 12},
    {"\t\v\f 12", 12},
    {"12abc", 12},
    {"abc", 0},
    {" ", 0},
    {"-", 0},
    {"1.9", 1},
    {"0x10", 0},
    {"010", 10},
    {"2147483647", 2147483647},
    {"-2147483648", -2147483647 - 1},
    {"2147483648", 2147483647}, // what is out of range is the nearest
    {"-2147483649", -2147483647 - 1},
    {"4294967295", 2147483647},
    {"99999999999999999999", 2147483647},
    {"-99999999999999999999", -2147483647 - 1},
};
INSTANTIATE_TEST_SUITE_P(Preferences, Numbers, testing::ValuesIn(sc_numbers));

// ---- The store.

TEST(Preferences, ReadWhatWasWritten)
{
    Preferences preferences;
    preferences.write("Video", "mode", "wide");
    preferences.write("Video", "width", -640);
    EXPECT_STREQ(preferences.read("Video", "mode", "narrow"), "wide");
    EXPECT_STREQ(preferences.read("Video", "width", nullptr), "-640");
    EXPECT_EQ(preferences.read("Video", "width", 5), -640);
    EXPECT_EQ(takeMessages(), ""); // the INI file isn't asked
}

TEST(Preferences, TheStoreWinsOverTheIniFile)
{
    IniPreferences preferences("[Video]\nmode=narrow\n");
    preferences.write("Video", "mode", "wide");
    EXPECT_STREQ(preferences.read("Video", "mode", "none"), "wide");
}

TEST(Preferences, AStoredEmptyTextWinsOverTheIniFileAndIsNoNumber)
{
    IniPreferences preferences("[Video]\nwidth=640\n");
    preferences.write("Video", "width", static_cast<const char*>(nullptr));
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "");
    EXPECT_EQ(preferences.read("Video", "width", 800), 800);
}

TEST(Preferences, AStored0IsNotTheDefault)
{
    Preferences preferences;
    preferences.write("Video", "width", 0);
    EXPECT_EQ(preferences.read("Video", "width", 5), 0);
}

TEST(Preferences, SectionsTellKeysApartAndInTheStoreCaseDoes)
{
    IniPreferences preferences("");
    preferences.write("Video", "mode", "wide");
    preferences.write("Audio", "mode", "stereo");
    EXPECT_STREQ(preferences.read("Video", "mode", ""), "wide");
    EXPECT_STREQ(preferences.read("Audio", "mode", ""), "stereo");
    EXPECT_STREQ(preferences.read("video", "mode", ""), "");
    EXPECT_STREQ(preferences.read("Video/mode", "", ""), "");
}

TEST(Preferences, EveryByteBut0IsAText)
{
    std::string text;
    for (int byte = 1; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }
    Preferences preferences;
    preferences.write(text.c_str(), text.c_str(), text.c_str());
    EXPECT_EQ(preferences.read(text.c_str(), text.c_str(), ""), text);
}

TEST(Preferences, TheLongestTextThatIsReadHas1023Bytes)
{
    IniPreferences preferences("[a]\nb=from the file\n");
    preferences.write("a", "b", std::string(1023, 'x').c_str());
    EXPECT_EQ(preferences.read("a", "b", ""), std::string(1023, 'x'));
    preferences.write("a", "b", std::string(1024, 'x').c_str());
    EXPECT_STREQ(preferences.read("a", "b", ""), "from the file");
}

TEST(Preferences, KeysThatAgreeIn1023BytesAreOne)
{
    Preferences preferences;
    const std::string key(2000, 'k');
    preferences.write("a", key.c_str(), "long");
    EXPECT_STREQ(preferences.read("a", (key + "x").c_str(), ""), "long");
    EXPECT_STREQ(preferences.read("a", std::string(1021, 'k').c_str(), ""), "long");
}

TEST(Preferences, LiveInBank0)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    memory.initialize();
    Preferences* preferences = new ("test", 7) Preferences;
    EXPECT_EQ(memory.banks[0].usedNodeCount, 1u);
    EXPECT_EQ(lineOf(memory.banks[0].usedList), 7u);
    preferences->write("Video", "width", 640);
    EXPECT_EQ(preferences->read("Video", "width", 5), 640);
    delete preferences;
    EXPECT_EQ(memory.check(0, true), 0);
    EXPECT_EQ(memory.banks[0].freeCount, 1u); // the number's buffer has not counted as one
}

TEST(Preferences, ReadingANumberDoesNotChangeBank0OfAnyType)
{
    GameMemory memory;
    memory.defineLinear("core", 4096);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    Preferences preferences;
    preferences.write("Video", "width", 640);
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    EXPECT_EQ(memory.banks[0].bytesInUse, 128u);
}
