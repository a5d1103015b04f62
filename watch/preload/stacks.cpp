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

// ---- Stacks that were recorded a moment ago
//
// A game allocates many times from one place. Then the return addresses are the same, at the same places of the stack. To
// compare them costs a hundredth of unwinding the stack. A function that is not on the stack any more may have left its
// return address there, below a function that has another frame of the same size; then the older stack is recorded.

#if defined(__x86_64__)

namespace {

struct Recent {
    const void* caller = nullptr;
    uintptr_t frame = 0; // where the return address of the hook is stored
    uint32_t number = 0;
    uint32_t count = 0;
    uintptr_t slots[sc_stackWords] = {}; // where the return addresses are stored
    uintptr_t places[sc_stackWords] = {};
};

} // namespace

static const uintptr_t sc_largestStack = 1u << 20; // bytes: a frame that is farther away is not read

static thread_local Recent s_recent[64] __attribute__((tls_model("initial-exec")));

static Recent& recentOf(const void* caller, uintptr_t frame)
{
    const uint64_t hash = (reinterpret_cast<uintptr_t>(caller) + frame * 31) * 0x9e3779b97f4a7c15u;
    return s_recent[hash >> 58];
}

static bool isSame(const Recent& recent, const void* caller, uintptr_t frame)
{
    if (recent.caller != caller || recent.frame != frame) {
        return false;
    }
    for (uint32_t index = 0; index < recent.count; ++index) {
        if (*reinterpret_cast<const uintptr_t*>(recent.slots[index]) != recent.places[index]) {
            return false;
        }
    }
    return true;
}

// Stores where the return addresses of the stack are, up to the first that is not found there.
static void remember(const Stack& stack, const void* caller, uintptr_t frame, uint32_t number)
{
    Recent& recent = recentOf(caller, frame);
    recent = Recent();
    for (unsigned int index = 0; index < stack.count(); ++index) {
        const uintptr_t slot = stack.slotAt(index);
        const uintptr_t found = reinterpret_cast<uintptr_t>(stack.at(index));
        const bool isOnStack = slot >= frame && slot < frame + sc_largestStack && slot % sizeof(slot) == 0;
        if (!isOnStack || *reinterpret_cast<const uintptr_t*>(slot) != found) {
            break;
        }
        recent.slots[index] = slot;
        recent.places[index] = found;
        recent.count = index + 1;
    }
    if (recent.count > 0) {
        recent.number = number;
        recent.frame = frame;
        recent.caller = caller;
    }
}

#else // on this processor a return address may be in a register

namespace {

struct Recent {
    uint32_t number = 0;
};

} // namespace

static Recent s_recent;

static Recent& recentOf(const void*, uintptr_t)
{
    return s_recent;
}

static bool isSame(const Recent&, const void*, uintptr_t)
{
    return false;
}

static void remember(const Stack&, const void*, uintptr_t, uint32_t)
{
}

#endif

static uint32_t unwind(const void* caller, Stack* stack)
{
    stack->capture(caller, sc_stackWords);
    uintptr_t places[sc_stackWords] = {};
    for (unsigned int index = 0; index < stack->count(); ++index) {
        places[index] = reinterpret_cast<uintptr_t>(stack->at(index));
    }
    pthread_mutex_lock(&s_lock);
    const uint32_t number = addPlaces(places);
    pthread_mutex_unlock(&s_lock);
    return number;
}

uint32_t numberOfStack(const void* caller, const void* frame)
{
    const uintptr_t place = reinterpret_cast<uintptr_t>(frame);
    const Recent& recent = recentOf(caller, place);
    if (isSame(recent, caller, place)) {
        return recent.number;
    }
    Stack stack;
    const uint32_t number = unwind(caller, &stack);
    remember(stack, caller, place, number);
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
