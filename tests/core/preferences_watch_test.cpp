// The calls of Preferences to the system's store, to the file library and to the memory manager, in their order, and
// what Preferences does with the results.
#include "core/preferences.h"

#include "core/memorymgr.h"
#include "file/file.h"

#include "tests/support/game_memory.h"
#include "tests/support/watched_log.h"
#include "tests/support/watched_preferences.h"

#include <Carbon/Carbon.h>

#include <dlfcn.h>

// ---- The file library: one INI file, in memory.

static struct {
    std::string bytes;
    bool opens = true;
} s_ini;

static ssize_t readIni(void* position, char* buffer, size_t size)
{
    return static_cast<ssize_t>(
        s_ini.bytes.copy(buffer, size, std::exchange(*static_cast<size_t*>(position), s_ini.bytes.size())));
}

static int closeIni(void*)
{
    note("close");
    return 0;
}

static const char* s_buffer;     // what the last text read returned
static std::string s_textAtOpen; // in it when a file is opened

FILE* fopen_mac(const char* path, const char* mode)
{
    s_textAtOpen = s_buffer ? s_buffer : "";
    note("open " + std::string(path) + " " + mode);
    static size_t s_position;
    s_position = 0;
    return s_ini.opens ? fopencookie(&s_position, "r", {readIni, nullptr, nullptr, closeIni}) : nullptr;
}

// ---- The memory manager. It wants to know what the game is called, in a string that is none of ours.

OSErr GetCurrentProcess(ProcessSerialNumber*)
{
    return procNotFound;
}

int MemoryMgr::free(int bank, void* block)
{
    typedef int Free(MemoryMgr*, int, void*);
    static Free* const next = reinterpret_cast<Free*>(dlsym(RTLD_NEXT, "_ZN9MemoryMgr4freeEiPv"));
    const int result = next(this, bank, block);
    if (block == s_buffer) {
        note("free the buffer in bank " + std::to_string(bank) + " = " + std::to_string(result));
    }
    return result;
}

struct PreferencesWatch : testing::Test {
    PreferencesWatch() { preferences.init("game.ini"); }

    Preferences preferences;
};

TEST_F(PreferencesWatch, AStoredTextIsAskedForConvertedAndReleased)
{
    s_value = makeText("640");
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "640");
    EXPECT_EQ(takeLog(), "string Video/width = #2, copy #2 of this application = #1, release #2, convert #1 into 4, "
                         "release #1");
}

TEST_F(PreferencesWatch, WithoutAStoredValueTheIniFileIsOpenedAndClosed)
{
    s_ini.bytes = "[Video]\nwidth=640\n";
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "640");
    EXPECT_EQ(takeLog(), "string Video/width = #1, copy #1 of this application = null, release #1, open game.ini rt, "
                         "close");
    EXPECT_STREQ(preferences.read("Video", "height", "600"), "600");
    EXPECT_EQ(takeLog(), "string Video/height = #2, copy #2 of this application = null, release #2, "
                         "open game.ini rt, close");
    EXPECT_EQ(takeMessages(), "");
}

TEST_F(PreferencesWatch, TheBufferIsEmptyWhenTheIniFileIsOpened)
{
    s_value = makeText("640");
    s_buffer = preferences.read("Video", "width", "800");
    s_value = nullptr;
    s_ini.bytes = "[Video]\nheight=600\n";
    EXPECT_STREQ(preferences.read("Video", "height", "480"), "600");
    EXPECT_EQ(s_textAtOpen, "");
    EXPECT_STREQ(preferences.read("Video", "depth", "32"), "32");
    EXPECT_EQ(s_textAtOpen, "");
}

TEST_F(PreferencesWatch, WithoutAKeyOnlyTheIniFileIsRead)
{
    s_refused = "Video/width";
    s_ini.bytes = "[Video]\nwidth=640\n";
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "640");
    EXPECT_EQ(takeLog(), "string Video/width = null, open game.ini rt, close");
}

TEST_F(PreferencesWatch, AStoredValueThatIsNoTextIsReleasedAndTheIniFileAsked)
{
    s_value = makeObject("7", false);
    s_ini.bytes = "[Video]\nwidth=640\n";
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "640");
    EXPECT_EQ(takeLog(), "string Video/width = #2, copy #2 of this application = #1, release #2, "
                         "convert #1 into 2 = no, release #1, open game.ini rt, close");
}

TEST_F(PreferencesWatch, ALongStoredTextGetsNoMoreRoomThanTheBufferHas)
{
    s_value = makeText(std::string(1023, 'x'));
    EXPECT_EQ(preferences.read("a", "b", "default"), std::string(1023, 'x'));
    s_value = makeText(std::string(1024, 'x'));
    EXPECT_STREQ(preferences.read("a", "b", "default"), "default");
    EXPECT_EQ(takeLog(), "string a/b = #2, copy #2 of this application = #1, release #2, convert #1 into 1024, "
                         "release #1, string a/b = #4, copy #4 of this application = #3, release #4, "
                         "convert #3 into 1024 = no, release #3, open game.ini rt, close");
}

TEST_F(PreferencesWatch, AMissingIniFileIsLoggedOnceForEachRead)
{
    s_ini.opens = false;
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "800");
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: game.ini\f");
    EXPECT_EQ(preferences.read("Video", "width", 5), 5);
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: game.ini\f");
}

TEST_F(PreferencesWatch, WithoutAPathNothingIsOpened)
{
    {
        const Preferences others;
    } // which end, and forget the path for all
    EXPECT_STREQ(preferences.read("Video", "width", "800"), "800");
    EXPECT_EQ(takeMessages(), "4 Preferences File Missing: \f");
    EXPECT_EQ(takeLog(), "string Video/width = #1, copy #1 of this application = null, release #1");
}

TEST_F(PreferencesWatch, ReadingANumberFreesTheBufferInBank0WhichRefusesIt)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    memory.initialize();
    s_value = makeText("640");
    s_buffer = preferences.read("Video", "width", "");
    takeLog();

    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    EXPECT_EQ(takeLog(), "string Video/width = #3, copy #3 of this application = #1, release #3, convert #1 into 4, "
                         "release #1, free the buffer in bank 0 = -4");
    EXPECT_EQ(memory.check(0, true), 0);
    EXPECT_EQ(memory.banks[0].freeCount, 0u);
}

TEST_F(PreferencesWatch, ADefaultNumberFreesNothingInBank0)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    memory.initialize();
    s_buffer = preferences.read("Video", "width", "");
    takeLog();
    EXPECT_EQ(preferences.read("Video", "width", 5), 5);
    EXPECT_EQ(takeLog(), "string Video/width = #2, copy #2 of this application = null, release #2, open game.ini rt, "
                         "close");
}

TEST_F(PreferencesWatch, ALinearBank0KeepsItsBlocks)
{
    GameMemory memory;
    memory.defineLinear("core", 4096);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    s_value = makeText("640");
    s_buffer = preferences.read("Video", "width", "");
    takeLog();

    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    EXPECT_EQ(memory.banks[0].bytesInUse, 128u);
    EXPECT_EQ(takeLog().find("free"), std::string::npos);
}

TEST_F(PreferencesWatch, ABank0ThatIsNoHeapIsNotAskedToFree)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_OTHER, "core", 4096);
    memory.initialize();
    s_value = makeText("640");
    s_buffer = preferences.read("Video", "width", "");
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
    EXPECT_EQ(takeLog().find("free"), std::string::npos);
}

TEST_F(PreferencesWatch, ANumberCanBeReadWithoutAMemoryManager)
{
    ASSERT_EQ(g_MemoryPtr, nullptr);
    s_value = makeText("640");
    EXPECT_EQ(preferences.read("Video", "width", 5), 640);
}

TEST_F(PreferencesWatch, ATextIsStoredReleasedAndThenFlushed)
{
    preferences.write("Video", "mode", "wide");
    EXPECT_EQ(takeLog(), "string Video/mode = #1, string wide = #2, set #1 of this application to #2, release #2, "
                         "release #1, synchronise this application");
}

TEST_F(PreferencesWatch, ANumberIsStoredAsAText)
{
    preferences.write("Video", "width", -2147483647 - 1);
    EXPECT_EQ(takeLog(), "string Video/width = #1, string -2147483648 = #2, set #1 of this application to #2, "
                         "release #2, release #1, synchronise this application");
}

TEST_F(PreferencesWatch, ANullTextIsStoredAsAnEmptyOne)
{
    preferences.write("Video", "mode", static_cast<const char*>(nullptr));
    EXPECT_EQ(takeLog(), "string Video/mode = #1, string  = #2, set #1 of this application to #2, release #2, "
                         "release #1, synchronise this application");
}

TEST_F(PreferencesWatch, AKeyOrATextThatCanNotBeMadeIsNotStoredAndNothingIsLeftBehind)
{
    s_refused = "Video/mode";
    preferences.write("Video", "mode", "wide");
    EXPECT_EQ(takeLog(), "string Video/mode = null");
    s_refused = "wide";
    preferences.write("Video", "mode", "wide");
    EXPECT_EQ(takeLog(), "string Video/mode = #1, string wide = null, release #1");
}

TEST_F(PreferencesWatch, ANullSectionOrKeyIsNeitherReadNorWritten)
{
    preferences.write(nullptr, "mode", "wide");
    preferences.write("Video", nullptr, 1);
    EXPECT_STREQ(preferences.read(nullptr, "mode", "default"), "default");
    EXPECT_EQ(preferences.read("Video", nullptr, 5), 5);
    EXPECT_FALSE(ReadKey("Video", "mode", nullptr));
    EXPECT_EQ(takeLog(), "");
}

TEST_F(PreferencesWatch, AKeyIsSectionSlashKeyAndTheCallersToRelease)
{
    EXPECT_EQ(reinterpret_cast<const WatchedObject*>(CreateKey("Video", "width"))->text, "Video/width");
    EXPECT_EQ(takeLog(), "string Video/width = #1");
    EXPECT_EQ(CreateKey(nullptr, "width"), nullptr);
    EXPECT_EQ(CreateKey("Video", nullptr), nullptr);
}

TEST_F(PreferencesWatch, AKeyIsTruncatedTo1023Bytes)
{
    CreateKey(std::string(1000, 's').c_str(), std::string(1000, 'k').c_str());
    EXPECT_EQ(s_objects.back().text, std::string(1000, 's') + "/" + std::string(22, 'k'));
}
