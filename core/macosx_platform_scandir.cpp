// Listing a folder.
//
// 1. The system gets the converted path. The paths of the list begin with the path as the caller spelled it.
// 2. Each path of the list has 260 bytes, with the NUL. A longer path is truncated.
#include "core/allocator.h"
#include "core/platform.h"
#include "file/file.h"

#include <algorithm>
#include <assert.h>
#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

typedef char Path[260];

// The callbacks of the running scan. They are static because scandir passes no context to its callbacks.
static int (*select_func)(const char*);
static int (*compare_func)(const void*, const void*);

// The callbacks that scandir gets; they call the game's. Systems declare the parameters of scandir's callbacks
// differently: as pointers to dirent, to const dirent, or to void. The template takes its type from the declaration
// of this system.
//
// Deliberate: an entry whose type the file system does not tell (DT_UNKNOWN) is not a regular file.
template <typename Entry>
static int scandir_select(Entry* entry)
{
    return entry->d_type == DT_REG ? select_func(entry->d_name) : 0;
}

template <typename Entry>
static int scandir_compare(Entry left, Entry right)
{
    return compare_func(left, right);
}

template <typename Select, typename Compare>
static int callScandir(int (*scan)(const char*, dirent***, Select*, Compare*), const char* folder, dirent*** entries)
{
    Select* const select = scandir_select;
    Compare* const compare = scandir_compare;
    return scan(folder, entries, select_func ? select : nullptr, compare_func ? compare : nullptr);
}

// Stores the entries, which the caller frees, and returns their number; -1 if the folder cannot be read. A callback
// may call ScanDir: after that inner scan the callbacks of the outer scan are restored.
static int scan(const char* folder, dirent*** entries, int (*select)(const char*),
                int (*compare)(const void*, const void*))
{
    static int s_depth;
    const auto outerSelect = select_func;
    const auto outerCompare = compare_func;
    select_func = select;
    compare_func = compare;
    ++s_depth;
    const int count = callScandir(scandir, folder, entries);
    if (--s_depth > 0) {
        select_func = outerSelect;
        compare_func = outerCompare;
    }
    return count;
}

// The beginning of all paths of a list: the folder and a slash.
struct Prefix_s {
    char text[1024 + 1] = ""; // a folder of at most 1023 bytes, the slash, the NUL
    size_t length;            // bytes of text, at most 259: a path has no room for more

    // convertedLength: the length of the converted path, which is also the length of path.
    Prefix_s(const char* path, size_t convertedLength)
    {
        strcpy(text, path);
        if (convertedLength == 0 || text[convertedLength - 1] != '/') {
            strcpy(text + convertedLength, "/");
        }
        length = std::min(strlen(text), sizeof(Path) - 1);
    }
};

static void writePath(Path& path, const Prefix_s& prefix, const char* name)
{
    const size_t nameLength = std::min(strlen(name), sizeof(path) - 1 - prefix.length);
    assert(prefix.length + nameLength < sizeof(path) && "2: each path of the list has 260 bytes, with the NUL");
    memcpy(path, prefix.text, prefix.length);
    memcpy(path + prefix.length, name, nameLength);
    path[prefix.length + nameLength] = '\0';
}

// Frees the entries, and returns their paths in a block of bank 0; null without a memory manager. 1072 is a frozen
// number that names this block in leak reports: docs/architecture.md, "Numbers in block tags".
static Path* makeList(const Prefix_s& prefix, dirent** entries, int count)
{
    unsigned long size;
    if (__builtin_mul_overflow(count, sizeof(Path), &size)) {
        size = ULONG_MAX; // no bank has so many bytes: the memory manager ends the game as out of memory
    }
    Path* list = static_cast<Path*>(AllocInBank(0, size, "core/macosx_platform", 1072));
    for (int i = 0; i < count; ++i) {
        if (list) {
            writePath(list[i], prefix, entries[i]->d_name);
        }
        free(entries[i]);
    }
    return list;
}

int Platform::ScanDir(const char* path, char (**out)[260], int (*select)(const char*),
                      int (*compare)(const void*, const void*))
{
    if (!out) {
        return 0;
    }
    *out = nullptr;
    char folder[1024];
    if (!path || strlen(path) >= sizeof(folder)) {
        return 0; // a truncated path would name another folder
    }
    ConvertDOSToMacPath(path, folder);
    dirent** entries = nullptr;
    const int count = scan(folder, &entries, select, compare);
    if (count > 0) {
        *out = makeList(Prefix_s(path, strlen(folder)), entries, count);
    }
    free(entries);
    return *out ? count : 0;
}

void Platform::ScanDirFree(char (*list)[260])
{
    if (list) {
        FreeInBank(0, list);
    }
}
