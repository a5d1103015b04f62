// Small games. Each plays one part of a game's life while calls fail.
//
//     prove_failures SCENARIO [STEP]     lets every STEP-th call of the scenario fail; each call, by default
//     prove_failures once SCENARIO       plays the scenario in the working folder; no call fails
//     prove_failures list                prints the names of the scenarios
//
// The run functions allocate nothing themselves: only the library's own calls count.
#include "tests/prove/failing/server.h"

#include "core/commandline.h"
#include "core/memorymgr.h"
#include "core/mutex.h"
#include "core/platform.h"
#include "core/preferences.h"
#include "core/stringtable.h"

#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace fs = std::filesystem;

class FailingMemory : public MemoryMgr {
public:
    using MemoryMgr::bankSizePath;

    // The third bank is so small that most of its blocks are fallback blocks. The fourth takes them from malloc.
    void begin()
    {
        defineLocAllocCb(MEMLOC_CUSTOM, callback);
        defineLocReallocCb(MEMLOC_CUSTOM, [](void* block, unsigned long size) { return realloc(block, size); });
        defineLocFreeCb(MEMLOC_CUSTOM, ::free);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", m_coreSize);
        defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 1024);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "small", 64);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "custom", 256);
        initialize();
    }

    // The library's blocks are fallback blocks, too: each of them is a malloc that can fail.
    static inline unsigned int m_coreSize = 1 << 19;

    const char* check()
    {
        for (int bank = 0; bank < bankCount; ++bank) {
            const int code = checkMemory(bank, nullptr, false);
            const bool hasRegion = banks[bank].base != nullptr; // without one, checkMemory returns MEMERR_SIZE
            if (code != MEMERR_NONE && code != MEMERR_OVERFLOW && (code != MEMERR_SIZE || hasRegion)) {
                return "a bank is damaged";
            }
        }
        return nullptr;
    }

protected:
    void onOutOfMemory(int reason) override { fprintf(stderr, "onOutOfMemory(%d)\n", reason); }

private:
    static void* callback(unsigned long size) { return malloc(size); }
};

alignas(16) static char s_storage[sizeof(FailingMemory)];
static FailingMemory* s_memory;

static void beginMemory()
{
    s_memory = new (s_storage) FailingMemory;
    s_memory->begin();
}

static void endMemory()
{
    s_memory->~FailingMemory();
    g_MemoryPtr = nullptr;
}

static void write(const char* path, const std::string& content)
{
    const fs::path folder = fs::path(path).parent_path();
    if (!folder.empty()) {
        fs::create_directories(folder);
    }
    std::ofstream(path, std::ios::binary) << content;
}

// ---- Files that several scenarios have. A scenario's folders are in its working folder.

static const char* const sc_sizes = "local/Application Support/Brackenlow/prove_failures/data/memory.dat";
static const char* const sc_namelessSizes = "local/Application Support/Brackenlow/game/data/memory.dat";

static void useOwnFolders()
{
    const std::string here = fs::current_path().string();
    setenv("MACAPI_LIBRARY", (here + "/local").c_str(), 1);
    setenv("MACAPI_USER_LIBRARY", (here + "/user").c_str(), 1);
    fs::create_directories("local/Application Support");
    fs::create_directories("user/Preferences");
}

static void prepareStart()
{
    useOwnFolders();
    write(sc_sizes, "core=524288\nframe=1500\nnone=3\nsmall=64\n");
}

// The bank-size file is written in place, so a failed write can leave a part of its lines.
// Without memory for its name, a process is called "game".
static const char* acceptSizes(const std::string& path, const std::string& content)
{
    return (path == sc_sizes || path == sc_namelessSizes) &&
                   content.find_first_not_of("abcdefghijklmnopqrstuvwxyz=0123456789\n") == std::string::npos
               ? "written in place"
               : nullptr;
}

// ---- start: from the first call to the first frame

static const char* const sc_words[] = {"prove_failures", "-size", "640", "480", "-quiet"};

static int runStart()
{
    CommandLine line;
    line.addCommand("-size", 2, 0);
    line.addCommand("-quiet", 0, 0);
    line.init(5, const_cast<char**>(sc_words));
    Platform::SetCommandLine(&line);
    Platform::SystemCheck();
    Platform::SetApp(1);
    Platform::GetAppTitle();
    Platform::GetAppVersion();
    Platform::GetAppFilePrefix();
    Platform::CreateAppFilename("log", ".txt");
    GetAppGamePath();
    beginMemory();
    Platform::CreateDir("saves");
    s_memory->touchMemory();
    g_MemoryPtr->free(0, g_MemoryPtr->alloc(0, 100, "start", 1));
    Platform::SetCommandLine(nullptr);
    return 0;
}

// Checks that a game that has begun can use its banks.
static const char* checkMemory()
{
    void* block = g_MemoryPtr->alloc(0, 64, "check", 1);
    memset(block, 1, 64);
    const int freed = g_MemoryPtr->free(0, block);
    const char* fault = s_memory->check();
    endMemory();
    return freed == 0 ? fault : "a block cannot be freed";
}

// ---- modules: LoadGraphicsAPI finds this function by its name. If it finds none, the process ends with the status 1.

static const int sc_moduleEnd = 1;

extern "C" __attribute__((visibility("default"))) void CreateGfxSubsystem()
{
}

static int runModules()
{
    LoadGraphicsAPI("none");
    UnloadGraphicsAPI();
    return 0;
}

// ---- play: blocks of all kinds

static int runPlay()
{
    static char s_names[1200][8]; // 1200 different source names: the table of names has to grow
    static void* s_blocks[1200];  // as many fallback blocks: the table of their links has to grow
    for (int i = 0; i < 1200; ++i) {
        snprintf(s_names[i], sizeof(s_names[i]), "n%d", i);
        s_blocks[i] =
            g_MemoryPtr->alloc(i % 3 == 0 ? -1 : 2 + i % 2, 10 + static_cast<unsigned long>(i % 90), s_names[i], 1);
    }
    for (int frame = 0; frame < 10; ++frame) {
        for (int i = 0; i < 10 + frame; ++i) {
            memset(g_MemoryPtr->alloc(1, 300, "frame", 1), 2, 300);
        }
        void* block = g_MemoryPtr->alloc(0, 1 << (10 + frame), "large", 1); // the last one is a fallback block
        g_MemoryPtr->free(1, nullptr);
        g_MemoryPtr->free(0, block);
    }
    for (int i = 0; i < 1200; ++i) {
        const int bank = i % 3 == 0 ? -1 : 2 + i % 2;
        g_MemoryPtr->free(bank, s_blocks[i * 7 % 1200]) == 0 || g_MemoryPtr->free(-1, nullptr);
    }
    return 0;
}

// ---- location: a location's callbacks have little memory, or none

static size_t s_arenaUsed; // bytes of the arena that were given out
static int s_arenaBlocks;  // given out and not given back
alignas(16) static char s_arena[1 << 16];

// A block of the arena lies behind 16 bytes, in which its size is. The arena does not use given back bytes again.
static void* takeFromArena(unsigned long size)
{
    const size_t whole = 16 + ((size + 15) & ~15ul);
    if (CallFails("location callback") || whole > sizeof(s_arena) - s_arenaUsed) {
        return nullptr;
    }
    char* block = s_arena + s_arenaUsed + 16;
    memcpy(block - 16, &size, sizeof(size));
    s_arenaUsed += whole;
    s_arenaBlocks += 1;
    return block;
}

static void giveToArena(void* block)
{
    s_arenaBlocks -= block != nullptr;
}

static void* resizeInArena(void* block, unsigned long size)
{
    unsigned long former = 0;
    if (block) { // null if the bank has no region
        memcpy(&former, static_cast<char*>(block) - 16, sizeof(former));
    }
    void* moved = takeFromArena(size);
    if (moved) {
        memcpy(moved, block ? block : moved, former < size ? former : size);
        giveToArena(block);
    }
    return moved;
}

class ArenaMemory : public FailingMemory {
public:
    void begin()
    {
        defineLocAllocCb(MEMLOC_CUSTOM, takeFromArena);
        defineLocReallocCb(MEMLOC_CUSTOM, resizeInArena);
        defineLocFreeCb(MEMLOC_CUSTOM, giveToArena);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "core", 4096);
        defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "frame", 512);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "small", 64);
        initialize();
    }
};
static_assert(sizeof(ArenaMemory) == sizeof(FailingMemory), "it is placed in the same storage");

// Four calls of each kind that fill, overflow and empty the banks.
static int runLocation()
{
    ArenaMemory* memory = new (s_storage) ArenaMemory;
    s_memory = memory;
    memory->begin();
    static void* s_blocks[40];
    for (int i = 0; i < 40; ++i) {
        s_blocks[i] = g_MemoryPtr->alloc(i % 2 * 2, 40 + static_cast<unsigned long>(i), "location", 1);
    }
    for (int frame = 0; frame < 4; ++frame) {
        for (int i = 0; i < 4 + 2 * frame; ++i) {
            memset(g_MemoryPtr->alloc(1, 200, "frame", 1), 2, 200);
        }
        g_MemoryPtr->free(1, nullptr);
    }
    for (int i = 0; i < 40; ++i) {
        g_MemoryPtr->free(i % 2 * 2, s_blocks[i]);
    }
    const char* fault = memory->check();
    endMemory();
    return fault ? 1 : 0;
}

static const char* checkLocation()
{
    return s_arenaBlocks != 0 ? "the location did not get all its memory back" : nullptr;
}

// ---- locks: the game's own mutexes

alignas(Mutex) static char s_mutexStorage[sizeof(Mutex)];
static Mutex* s_mutex;

static void lockTwice(Mutex* mutex)
{
    const bool isOuter = pthread_mutex_trylock(&mutex->mutex) == 0;
    if (isOuter) {
        pthread_mutex_unlock(&mutex->mutex);
    }
    if (pthread_mutex_lock(&mutex->mutex) == 0) {
        pthread_mutex_unlock(&mutex->mutex);
    }
}

static int runLocks()
{
    memset(s_mutexStorage, 0xa5, sizeof(s_mutexStorage)); // as memory that was used before
    s_mutex = new (static_cast<void*>(s_mutexStorage)) Mutex;
    lockTwice(s_mutex);
    Mutex* inBank = new Mutex;
    lockTwice(inBank);
    delete inBank;
    return 0;
}

static const char* checkLocks()
{
    const int locked = pthread_mutex_lock(&s_mutex->mutex);
    if (locked != 0 || pthread_mutex_unlock(&s_mutex->mutex) != 0) {
        return "a mutex cannot be locked and unlocked";
    }
    s_mutex->~Mutex();
    endMemory();
    return nullptr;
}

// ---- load: texts, settings, folders

static const char* const sc_texts =
    "\"Quit\" = \"Beenden\"\n\"New Game\" = \"Neues Spiel\"\n\"Options\" = \"Optionen\"\n";

static void prepareLoad()
{
    useOwnFolders(); // without a bank-size file: the banks have the sizes of the code
    write("de/strings.utf8", sc_texts);
    write("game.ini", "[Video]\nwidth=640\nmode=window\n");
    for (const char* name : {"levels/a.txt", "levels/b.txt", "levels/c.dat"}) {
        write(name, name);
    }
}

// Makes bank 0 so small that its blocks come from malloc. Reads Info.plist before calls fail: if there is no memory
// while it is read for the first time, the values that were read until then are never freed
// (macapi/src/objects/object.cpp).
static void setUpSmallCore()
{
    Platform::GetAppVersion();
    FailingMemory::m_coreSize = 64;
    beginMemory();
}

static int runLoad()
{
    {
        StringTable table;
        StringTable::s_setLocalePath("de");
        table.setLanguage("de");
        table.translate("Quit");
        table.translate("Continue");
    }
    {
        Preferences preferences;
        preferences.init("game.ini");
        preferences.read("Video", "width", 1);
        preferences.read("Video", "mode", "full");
        preferences.read("Audio", "volume", "11");
    }
    char(*list)[260] = nullptr;
    Platform::ScanDir("levels", &list, nullptr, nullptr);
    Platform::ScanDirFree(list);
    return 0;
}

// If the strings file cannot be opened, the table acts as without a file: at its end it writes its own texts.
static const char* checkLoad()
{
    const bool isWhole = fs::file_size("de/strings.utf8") == strlen(sc_texts);
    const char* fault = nullptr;
    {
        StringTable table;
        if (!table.setLanguage("de") || (isWhole && strcmp(table.translate("Quit"), "Beenden") != 0)) {
            fault = "the next table does not translate";
        }
    }
    endMemory();
    return fault;
}

static const char* acceptTexts(const std::string& path, const std::string& content)
{
    const bool isExport = content.find("Beenden") == std::string::npos && (content.empty() || content[0] == '"');
    return path == "de/strings.utf8" && isExport ? "written in place" : acceptSizes(path, content);
}

// Returns true if a strings file could not be read: the string table leaves such a file open (core/stringtable.cpp).
static bool keepsFile(const std::string& said)
{
    return said.find("File I/O Error") != std::string::npos ||
           said.find("Memory Allocation Error") != std::string::npos;
}

// ---- collect and export: a table without a strings file

static void prepareCollect()
{
    useOwnFolders();
    fs::create_directories("de");
}

static int runCollect()
{
    StringTable table;
    StringTable::s_setLocalePath("de");
    table.setLanguage("de");
    static char s_text[32];
    for (int i = 0; i < 40; ++i) {
        snprintf(s_text, sizeof(s_text), "Level \"%d\"\n", i);
        table.translate(s_text);
    }
    return 0;
}

static const char* checkEnd()
{
    const char* fault = s_memory->check();
    endMemory();
    return fault;
}

// ---- preferences

static void preparePreferences()
{
    prepareLoad();
    const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    const std::string entries = "<key>Video/mode</key><string>old</string><key>other</key><string>kept</string>";
    write("user/Preferences/com.example.prove.plist", start + entries + "</dict></plist>\n");
    write("user/Preferences/com.example.prove.plist.bak", start + entries + "</dict></plist>\n");
}

static int runPreferences()
{
    Preferences preferences;
    preferences.init("game.ini");
    preferences.read("Video", "mode", "none");
    preferences.write("Video", "mode", "new");
    preferences.read("Video", "width", 3);
    Platform::RegSetInt32("Video", "height", 480);
    Platform::RegGetInt32("Video", "height", 0);
    char text[] = "name";
    char out[1024];
    Platform::RegSetString("Player", "name", text);
    Platform::RegGetString("Player", "name", text, out);
    bool created = false;
    Platform::RegInitSecureKey("marker", created);
    return 0;
}

static const char* checkPreferences()
{
    const char* fault = nullptr;
    {
        Preferences preferences;
        const std::string mode = preferences.read("Video", "mode", "none");
        if (mode != "old" && mode != "new") {
            fault = "a setting is lost";
        }
        char kept[] = "lost";
        char out[1024];
        Platform::RegGetString("", "other", kept, out);
        if (strcmp(out, "kept") != 0) {
            fault = "another setting is lost";
        }
        preferences.write("Video", "next", 7);
        if (preferences.read("Video", "next", 0) != 7) {
            fault = "the next setting cannot be written";
        }
    }
    endMemory();
    return fault;
}

// Writes the pending values, so that their blocks are freed.
static void settlePreferences()
{
    Preferences preferences;
    preferences.write("Video", "settled", 1);
    preferences.read("Video", "settled", 0);
    bool created = false;
    Platform::RegInitSecureKey("marker", created);
}

static void setUpPreferences()
{
    Platform::GetAppVersion(); // reads Info.plist, as setUpSmallCore does
    FailingMemory::m_coreSize = 1 << 19;
    beginMemory();
}

// Each write replaces the whole file, so the file after any of the writes is allowed.
static const char* acceptPreferences(const std::string& path, const std::string& content)
{
    const bool isStore = path.find("/Preferences/") != std::string::npos;
    const bool isWhole = content.find("</plist>") != std::string::npos;
    return isStore && isWhole ? "one of several writes" : acceptTexts(path, content);
}

// ---- window and alert

// No panel waits for a button in this program: a game may define this function of AppKit.
extern "C" __attribute__((visibility("default"))) long NSRunAlertPanel(void*, ...)
{
    return 1;
}

// AppKit connects to the window server later, in each run.
static void loadAppKit()
{
    if (!dlopen("libcore-appkit.so.1", RTLD_LAZY | RTLD_GLOBAL)) {
        fprintf(stderr, "%s\n", dlerror());
    }
}

static int runWindow()
{
    int x = 0, y = 0, bits = 0;
    Platform::SystemCheck();
    Platform::GetDesktopInfo(x, y, bits);
    const char* title = "a title that is longer than the space of a short string";
    void* window = Platform::InitWindow(0, nullptr, title, nullptr, nullptr, 10, 10, 320, 200, false, false, nullptr);
    Platform::SetWindow(window);
    Platform::SetWindowPos();
    Platform::ShowCursor(false);
    Platform::CaptureMouse(true);
    Platform::SetCursorPos(50, 60);
    Platform::GetCursorPos(x, y);
    Platform::SetFullscreenWindow(window, true, 640, 480);
    Platform::SetFullscreenWindow(Platform::GetWindow(), false, 320, 200);
    Platform::CaptureMouse(false);
    Platform::ShowCursor(true);
    Platform::DestructWindow(Platform::GetWindow());
    Platform::SetWindow(nullptr);
    return 0;
}

static int runAlert()
{
    Platform::MessageBox("Alert", "%s and %d", "a text that is longer than the space of a short string", 7);
    return 0;
}

// The first window and the first alert of a game.
static int runAppKit()
{
    void* window =
        Platform::InitWindow(0, nullptr, "prove", nullptr, nullptr, 10, 10, 320, 200, false, false, nullptr);
    runAlert();
    Platform::DestructWindow(window);
    return 0;
}

static int runPrintedAlert()
{
    unsetenv("DISPLAY");
    return runAlert();
}

// ---- shutdown

static void setUpShutdown()
{
    setUpSmallCore();
    for (int i = 0; i < 20; ++i) {
        g_MemoryPtr->alloc(i % 4, 100, "shutdown", 1);
    }
}

static int runShutdown()
{
    endMemory();
    Platform::SetApp(0);
    return 0;
}

static const Scenario sc_scenarios[] = {
    {"start", CALLERS_ALL, prepareStart, nullptr, runStart, checkMemory, acceptSizes},
    {"modules", CALLERS_ALL, useOwnFolders, nullptr, runModules, nullptr, nullptr, nullptr, false, false, false, 0,
     sc_moduleEnd},
    {"play", CALLERS_ALL, prepareStart, beginMemory, runPlay, checkMemory, acceptSizes},
    {"location", CALLERS_ALL, prepareStart, nullptr, runLocation, checkLocation, acceptSizes},
    {"locks", CALLERS_ALL, prepareStart, beginMemory, runLocks, checkLocks, acceptSizes},
    {"load", CALLERS_ALL, prepareLoad, setUpSmallCore, runLoad, checkLoad, acceptTexts, nullptr, false, false, false,
     0, 0, nullptr, keepsFile},
    {"collect", CALLERS_ALL, prepareCollect, setUpSmallCore, runCollect, checkEnd, acceptTexts},
    {"preferences", CALLERS_ALL, preparePreferences, setUpPreferences, runPreferences, checkPreferences,
     acceptPreferences, nullptr, false, false, false, 0, 0, settlePreferences},
    {"window", CALLERS_LIBRARIES, useOwnFolders, nullptr, runWindow, nullptr, nullptr, loadAppKit, true},
    {"alert", CALLERS_LIBRARIES, useOwnFolders, nullptr, runAlert, nullptr, nullptr, loadAppKit},
    {"appkit", CALLERS_APPKIT, useOwnFolders, nullptr, runAppKit, nullptr, nullptr, loadAppKit},
    {"printed-alert", CALLERS_ALL, useOwnFolders, nullptr, runPrintedAlert, nullptr, nullptr},
    {"shutdown", CALLERS_ALL, prepareStart, setUpShutdown, runShutdown, nullptr, acceptSizes},
};

static int playOnce(const Scenario& scenario)
{
    if (scenario.prepare) {
        scenario.prepare();
    }
    if (scenario.setUp) {
        scenario.setUp();
    }
    return scenario.run();
}

int main(int argc, char** argv)
{
    const std::string wanted = argc > 1 ? argv[1] : "";
    const std::string named = argc > 2 ? argv[2] : "";
    for (const Scenario& scenario : sc_scenarios) {
        if (wanted == "list") {
            puts(scenario.name);
        } else if (wanted == "once" && named == scenario.name) {
            return playOnce(scenario);
        } else if (wanted == scenario.name) {
            return PlayWithFailures(scenario, argc > 2 ? static_cast<unsigned int>(atoi(argv[2])) : 1);
        }
    }
    if (wanted != "list") {
        fprintf(stderr, "usage: %s SCENARIO [STEP] | once SCENARIO | list\n", argv[0]);
        return 2;
    }
    return 0;
}
