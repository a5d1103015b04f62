// A small game that uses each library of core, as a game outside this tree does. expected.txt is its output.
#include "core/commandline.h"
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/preferences.h"
#include "core/str.h"
#include "core/stringtable.h"
#include "core/version.h"
#include "file/file.h"
#include "logger/logger.h"

#include <stdio.h>
#include <string.h>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

class Unit : public Allocator<1> {
public:
    explicit Unit(int unitHealth) : health(unitHealth) {}
    int health;
};

// The loaders find this function by its name.
extern "C" void* CreateGfxSubsystem()
{
    static int s_graphics;
    return &s_graphics;
}

static void show(const char* subject, bool works)
{
    printf("%s: %s\n", subject, works ? "works" : "does not work");
}

static bool parses()
{
    char text[] = "width = 640\n";
    Parser parser(text);
    int width = 0;
    char* name = parser.ParseLine() ? parser.GetToken(" ") : nullptr;
    return name && parser.ParamEqualsInt32(name, "width", &width) && width == 640;
}

static bool escapes()
{
    char* escaped = nullptr;
    str::escape(&escaped, "a\tb");
    const bool right = escaped && strcmp(escaped, "a\\tb") == 0;
    g_MemoryPtr->free(0, escaped);
    return right;
}

static bool keepsSettings()
{
    Preferences preferences;
    preferences.write("Video", "width", 800);
    CFStringRef key = CreateKey("Video", "width");
    char text[32] = "";
    const bool there = CFStringGetCString(key, text, sizeof(text), kCFStringEncodingASCII);
    CFRelease(key);
    return there && strcmp(text, "Video/width") == 0 && preferences.read("Video", "width", 0) == 800;
}

static bool readsFiles(const char* path)
{
    _BkzFileType_s* file = File::open(path, "rb");
    const bool right = file && File::getLength(file) > 0;
    if (file) {
        File::close(file);
    }
    return right && stricmp("Game", "gAME") == 0;
}

int main(int, char** argv)
{
    setvbuf(stdout, nullptr, _IONBF, 0); // the log goes to the standard error stream; keep the order
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "units", 1 << 16);
    memory.initialize();

    printf("version %s\n", CoreVersion());
    show("the version's check", CoreVersionMatches());
    Unit* unit = new Unit(7);
    show("memory", g_MemoryPtr->getSize(1, unit) != 0 && unit->health == 7);
    delete unit;
    show("the parser", parses());
    show("escapes", escapes());
    {
        StringTable texts;
        show("texts", strcmp(reinterpret_cast<const char*>(g_stringTblPtr->translate("New Game")), "New Game") == 0);
    }
    show("preferences", keepsSettings());
    show("files", readsFiles(argv[0]));
    show("the platform", Platform::GetTime() != 0 && Platform::GetAppTitle() != nullptr);
    show("the loader",
         LoadGraphicsAPI("") && reinterpret_cast<void* (*)()>(gfxCreateGfxSubsystem) == CreateGfxSubsystem);
    owLogger::log(0, "the logger: works");
    return 0;
}
