// What you learn: how the texts of a game come in the player's language.
//
// The text in the source is the key. translate returns its translation, from "strings.utf8" in the locale folder. A
// text without a translation comes back as it is, so a game can always be played.
#include "core/memorymgr.h"
#include "core/platform.h"
#include "core/stringtable.h"

#include <stdio.h>
#include <string>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static void showMenu(const char* language)
{
    // Keep the path short: at most 114 bytes.
    StringTable::s_setLocalePath((std::string(GetAppGamePath()) + "locale/" + language).c_str());
    StringTable strings; // g_stringTblPtr points to this table until it is destroyed
    if (!strings.setLanguage(language)) {
        printf("there is no file for \"%s\"\n", language);
    }

    printf("%s: %s | %s | %s\n", language, g_stringTblPtr->translate("New Game"), g_stringTblPtr->translate("Quit"),
           g_stringTblPtr->translate("Credits"));
    printf(g_stringTblPtr->translate("%d units are ready.\n"), 12); // translators keep the %d
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20); // the table lies in bank 0
    memory.initialize();

    showMenu("de");
    showMenu("fr"); // a new table for each language: an entry of the first language would hide one of the second
    return 0;
}
