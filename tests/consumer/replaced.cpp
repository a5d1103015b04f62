// A game that defines a function of a library in place of the library's own. It links with shared libraries only.
#include "core/memorymgr.h"
#include "core/stringtable.h"
#include "file/file.h"

#include <stdio.h>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

_BkzFileType_s* File::open(const char*, const char* mode)
{
    printf("opens a strings file: %s\n", mode);
    return nullptr;
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();
    StringTable texts;
    texts.setLanguage("de");
    return 0;
}
