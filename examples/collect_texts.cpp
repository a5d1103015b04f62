// What you learn: how a game collects its texts into a file for a translator.
//
// Play the game once with a table that never calls setLanguage. Each text that goes through translate becomes an
// entry. When the table is destroyed, it writes all entries to "strings.utf8" in the locale folder. An existing file
// is overwritten.
#include "core/memorymgr.h"
#include "core/stringtable.h"
#include "file/file.h"

#include <stdio.h>
#include <string>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static void playGame()
{
    g_stringTblPtr->translate("New Game");
    g_stringTblPtr->translate("Quit");
    g_stringTblPtr->translate("Say \"Yes\"\n"); // written with escapes
    g_stringTblPtr->translate("new game");      // no second entry: upper and lower case of a key are equal
}

static std::string textOf(const char* path)
{
    _BkzFileType_s* file = File::open(path, "rb");
    std::string text(File::getLength(file), '\0');
    if (!text.empty() && File::read(&text[0], text.size(), 1, file) != 1) {
        text.clear();
    }
    File::close(file);
    return text;
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();

    StringTable::s_setLocalePath("."); // the working folder
    {
        StringTable strings;
        playGame();
    } // the table is destroyed here

    printf("%s", textOf("strings.utf8").c_str()); // the order is that of the hash table, the same on every machine
    return 0;
}
