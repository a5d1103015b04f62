// What you learn: how threadStarter runs a function of the game in a thread, and how the game sees that it is over.
//
// threadStarter has the form that the system's thread calls want. It gets a record with a function, its argument and
// a thread object. It calls the function, sets the object's running flag to 0, and deletes the record.
#include "core/platform.h"

#include <atomic>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

// The thread object: three words for the game, then the running flag. The game owns it.
struct Loading {
    const char* file;
    uintptr_t bytes;
    uintptr_t spare;
    std::atomic<unsigned int> running;
};

// The record: made with plain new, deleted by threadStarter.
struct ThreadStart {
    int (*function)(void*);
    void* argument;
    void* thread;
};

static int load(void* argument)
{
    Loading* loading = static_cast<Loading*>(argument);
    for (const char* letter = loading->file; *letter; ++letter) {
        ++loading->bytes; // work that takes long in a real game
    }
    return 0;
}

// The system's calls want a function that returns a pointer.
static void* begin(void* record)
{
    threadStarter(record);
    return nullptr;
}

int main()
{
    Loading loading = {"levels/castle", 0, 0, {1}}; // running before the thread begins
    pthread_t thread;
    if (pthread_create(&thread, nullptr, begin, new ThreadStart{load, &loading, &loading}) != 0) {
        return 1;
    }
    while (loading.running) { // a game draws its next frame here
        Platform::Sleep(1);
    }
    pthread_join(thread, nullptr);
    printf("\"%s\" is loaded: %lu letters\n", loading.file, static_cast<unsigned long>(loading.bytes));
    return 0;
}
