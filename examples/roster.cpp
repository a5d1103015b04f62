// A small program that uses the platform's time, threads, random numbers and folders: it prints the files of a folder
// in a random order.
//
//     example_roster [FOLDER [SEED]]
//
//     $ example_roster units 7
//     3 files in "units", 33 bytes, by lot:
//       1. units/knight
//       2. units/wagon
//       3. units/archer
//
// The same seed gives the same order on every machine. Without SEED the program uses the clock as its seed. FOLDER
// may have backslashes, like a path in a game's data. The exit status is 1 when the folder has no files.
#include "core/memorymgr.h"
#include "core/platform.h"
#include "file/file.h"

#include <atomic>
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <thread>
#include <utility>

class RosterMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

typedef char Path[260];

// The thread object. threadStarter sets the fourth word to 0 when the thread's function has returned; the other words
// are free for the game.
struct Weighing {
    const Path* paths;
    unsigned long count;
    unsigned long bytes;
    std::atomic<unsigned int> running;
};

// The argument of threadStarter, which deletes it.
struct ThreadStart {
    int (*function)(void*);
    void* argument;
    void* thread;
};

static int weigh(void* argument)
{
    Weighing* weighing = static_cast<Weighing*>(argument);
    for (unsigned long i = 0; i < weighing->count; ++i) {
        _BkzFileType_s* file = File::open(weighing->paths[i], "rb");
        weighing->bytes += File::getLength(file); // 0 for a file that can't be opened
        File::close(file);
    }
    return 0;
}

static int isVisible(const char* name)
{
    return name[0] != '.';
}

// The compare callback of ScanDir gets the addresses of pointers to dirent records.
static int byName(const void* left, const void* right)
{
    const auto name = [](const void* entry) { return (*static_cast<dirent* const*>(entry))->d_name; };
    return stricmp(name(left), name(right));
}

// Stores a random order of 0 to count - 1.
static void drawLots(int* order, int count)
{
    for (int i = 0; i < count; ++i) {
        order[i] = i;
    }
    for (int left = count; left > 1; --left) {
        std::swap(order[left - 1], order[mt_rand() % static_cast<unsigned int>(left)]);
    }
}

int main(int argc, char** argv)
{
    RosterMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();

    const char* folder = argc > 1 ? argv[1] : ".";
    mt_srand(argc > 2 ? static_cast<unsigned int>(strtoul(argv[2], nullptr, 10)) : Platform::GetTime());

    Path* paths;
    const int count = Platform::ScanDir(folder, &paths, isVisible, byName);
    if (count == 0) {
        printf("There are no files in \"%s\".\n", folder);
        return 1;
    }

    // The second thread adds up the file sizes while this thread shuffles.
    Weighing weighing = {paths, static_cast<unsigned long>(count), 0, {1}};
    std::thread thread(threadStarter, new ThreadStart{weigh, &weighing, &weighing});
    int* order =
        static_cast<int*>(memory.alloc(0, static_cast<unsigned long>(count) * sizeof(int), "roster", __LINE__));
    drawLots(order, count);
    while (weighing.running) {
        Platform::Sleep(1);
    }
    thread.join();

    printf("%d files in \"%s\", %lu bytes, by lot:\n", count, folder, weighing.bytes);
    for (int i = 0; i < count; ++i) {
        printf("%3d. %s\n", i + 1, paths[order[i]]);
    }
    memory.free(0, order);
    Platform::ScanDirFree(paths);
    return 0;
}
