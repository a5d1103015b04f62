// What you learn: how to list the files of a folder, chosen and sorted.
//
// The list is one block of bank 0. Each path is the folder as it was given, "/" and the file's name, in 260 bytes.
#include "core/memorymgr.h"
#include "core/platform.h"
#include "file/file.h"

#include <dirent.h>
#include <stdio.h>
#include <string.h>
#include <string>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

// Called with the name of each regular file, never of a folder. Returns 0 for a file that is not listed.
static int isUnit(const char* name)
{
    const char* end = strrchr(name, '.');
    return end && stricmp(end, ".unit") == 0;
}

// Called with the addresses of two pointers to the system's records.
static int byName(const void* left, const void* right)
{
    const dirent* first = *static_cast<dirent* const*>(left);
    const dirent* second = *static_cast<dirent* const*>(right);
    return stricmp(first->d_name, second->d_name);
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();

    // The files that ship with a game lie in its folder "Game".
    const std::string folder = std::string(GetAppGamePath()) + "units";
    char(*list)[260];
    const int count = Platform::ScanDir(folder.c_str(), &list, isUnit, byName);
    printf("%d units\n", count);
    for (int i = 0; i < count; ++i) {
        _BkzFileType_s* file = File::open(list[i], "rb");
        printf("  Game/units%s has %lu bytes\n", list[i] + folder.size(), File::getLength(file));
        File::close(file);
    }
    Platform::ScanDirFree(list); // takes null too, which is the list of an empty folder

    printf("%d files in a folder that does not exist\n", Platform::ScanDir("no such folder", &list, isUnit, byName));
    return 0;
}
