#include "watch/preload/stacks.h"

#include <pthread.h>
#include <string.h>
#include <sys/mman.h>

namespace watch {

static const unsigned int sc_stackWords = 8; // places of a stack that are recorded
static const uint32_t sc_mostStacks = 1u << 16;
static const uint32_t sc_slots = sc_mostStacks * 2;

namespace {

struct StackTable {
    uintptr_t places[sc_mostStacks][sc_stackWords];
    uint32_t slots[sc_slots]; // the number of a stack, or 0
};

} // namespace

static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;
static StackTable* s_table; // pages that are not used take no memory
static uint32_t s_count;

static StackTable* table()
{
    if (!s_table) {
        void* pages = mmap(nullptr, sizeof(StackTable), PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        s_table = pages == MAP_FAILED ? nullptr : static_cast<StackTable*>(pages);
    }
    return s_table;
}

static uint32_t hashOf(const uintptr_t* places)
{
    uint64_t hash = 0;
    for (unsigned int index = 0; index < sc_stackWords; ++index) {
        hash = (hash ^ places[index]) * 0x9e3779b97f4a7c15u;
        hash ^= hash >> 29;
    }
    return static_cast<uint32_t>(hash) % sc_slots;
}

static uint32_t addPlaces(const uintptr_t* places)
{
    StackTable* stacks = table();
    if (!stacks) {
        return 0;
    }
    uint32_t slot = hashOf(places);
    while (const uint32_t number = stacks->slots[slot]) {
        if (memcmp(stacks->places[number - 1], places, sizeof(stacks->places[0])) == 0) {
            return number;
        }
        slot = (slot + 1) % sc_slots;
    }
    if (s_count == sc_mostStacks) {
        return 0;
    }
    memcpy(stacks->places[s_count], places, sizeof(stacks->places[0]));
    return stacks->slots[slot] = ++s_count;
}

uint32_t numberOfStack(const void* caller)
{
    Stack stack;
    stack.capture(caller, sc_stackWords);
    uintptr_t places[sc_stackWords] = {};
    for (unsigned int index = 0; index < stack.count(); ++index) {
        places[index] = reinterpret_cast<uintptr_t>(stack.at(index));
    }
    pthread_mutex_lock(&s_lock);
    const uint32_t number = addPlaces(places);
    pthread_mutex_unlock(&s_lock);
    return number;
}

void addStackTo(Message& message, uint32_t number, const char* before)
{
    for (uintptr_t place : s_table->places[number - 1]) {
        if (place != 0) {
            message.add(before).addCode(reinterpret_cast<const void*>(place));
        }
    }
}

uint32_t stackCount()
{
    return s_count;
}

} // namespace watch
