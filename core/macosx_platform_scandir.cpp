// The entries of a folder.
//
// 1. The system is asked for the converted path; what the caller gets begins with the path as it was given.
// 2. An entry never takes more than its 260 bytes, and always ends in NUL.
#include "core/allocator.h"
#include "core/platform.h"
#include "file/file.h"

#include <algorithm>
#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

typedef char Path[260];

// The callbacks of the scan that was begun last: the system's take no context.
static int (*select_func)(const char*);
static int (*compare_func)(const void*, const void*);

// What scandir calls instead. Systems differ in whether its callbacks take pointers to const or not, or to anything; these
// take what its declaration here says.
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

// The number of entries, which are the caller's to free; -1 when the folder can't be read. A callback may look into a
// folder of its own, and then the outer scan goes on with its own callbacks.
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

// What all paths of a list begin with.
struct Prefix_s {
    char text[1024 + 1] = "";
    size_t length; // of what fits into a path

    // Both lengths are the same, as long as the game's file library keeps to that when it converts a path.
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
    memcpy(path, prefix.text, prefix.length);
    memcpy(path + prefix.length, name, nameLength);
    path[prefix.length + nameLength] = '\0';
}

// The paths, in a block of bank 0. Frees the entries.
static Path* makeList(const Prefix_s& prefix, dirent** entries, int count)
{
    unsigned long size;
    if (__builtin_mul_overflow(count, sizeof(Path), &size)) {
        size = ULONG_MAX; // as out of memory as it gets
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
        return 0; // cut, it would be another folder
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
