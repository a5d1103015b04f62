// What you learn: preferences with a section and a key, whose first values come from an INI file of the game.
//
// A read asks the store, which has what the player chose; then the INI file, which ships with the game; then it
// returns the default in the source. A write changes the store only, and the value is on the disk when it returns.
#include "core/preferences.h"
#include "core/memorymgr.h"
#include "core/platform.h"

#include <stdio.h>
#include <string>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static void show(Preferences& preferences)
{
    // The text is in a buffer of the library. It is valid until the next read: print or copy it first.
    printf("player \"%s\", ", preferences.read("Player", "name", "nobody"));
    printf("width %d, ", preferences.read("Video", "width", 640));
    printf("music %d\n", preferences.read("Sound", "music", 70));
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();

    Preferences preferences;
    preferences.init((std::string(GetAppGamePath()) + "game.ini").c_str());
    show(preferences); // the first run: the INI file, or the default

    preferences.write("Player", "name", "Ada");
    preferences.write("Video", "width", 1024);
    show(preferences); // the store, also in the next run
    return 0;
}
