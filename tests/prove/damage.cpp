// Flips each bit of the headers of random heap states, and looks at what the library and the walk of core-memory make of
// the damage.
//
//     prove_damage FIRST_SEED STATES SIZE
//
// SIZE is that of the bank in bytes, a multiple of a page. A bank of 32 KiB or more has an index. The bank's region and the
// fallback blocks lie in address space that cannot be accessed otherwise, so each read and each write outside of them
// ends in a signal. In a 64-bit build this space has 8 GiB, and links and sizes reach at most 2 GiB. In a 32-bit build a link
// is a pointer: see reserveSpace. Prints a line for each field of a header:
//
//     used next flips=960 clean=0 check=960 walk=960 named=960 played=96 outside=30 circles=2 location=5
//
// | Word | Number of flips |
// |---|---|
// | clean | after which neither checkMemory nor the walk finds anything |
// | check, walk | that checkMemory finds; that the walk finds |
// | named | for which the walk names the damaged block, a neighbour of it, or its offset |
// | played | after which alloc and free are called, in a process of its own; in each tenth state |
// | outside, circles | after which alloc or free access memory outside of the bank's, or do not end |
// | location | after which alloc goes to the location, although the bank had room; or free gives the location a block that the location has not made |
//
// Prints FAULT and a reason when checkMemory or the walk leave the bank's memory or do not end, and when free does not refuse
// a block without its mark. Ends with 0 if there is no FAULT, else with 1.
#include "core/memorymgr.h"
#include "watch/ownmemory.h"
#include "watch/walk.h"

#include <map>
#include <random>
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

static const size_t sc_arenaSize = 65536; // bytes for fallback blocks
static const size_t sc_blockSize = 64;    // of a fallback block: the game here never writes to its blocks
static unsigned int s_size;               // of the bank
static char* s_space;                     // the address space that cannot be accessed but for the next two
static size_t s_spaceSize;
static char* s_region;
static char* s_arena;
static size_t s_arenaUsed;
static sigjmp_buf s_back;

enum e_Ending : int { ENDED, LEFT_MEMORY, IN_A_CIRCLE, AT_LOCATION };

static bool s_isPlaying; // in a process of its own, after damage

static void* serve(unsigned long)
{
    if (s_isPlaying) {
        _exit(AT_LOCATION); // the bank has room for all that is played
    }
    static bool s_isRegionServed;
    if (!s_isRegionServed) {
        s_isRegionServed = true;
        return s_region;
    }
    if (s_arenaUsed == sc_arenaSize) {
        abort();
    }
    s_arenaUsed += sc_blockSize;
    return s_arena + s_arenaUsed - sc_blockSize;
}

static void takeBack(void* block)
{
    const size_t offset = static_cast<size_t>(static_cast<char*>(block) - s_arena);
    if (s_isPlaying && (offset >= s_arenaUsed || offset % sc_blockSize != 0)) {
        _exit(AT_LOCATION);
    }
}

class DamageMemory : public MemoryMgr {
public:
    DamageMemory()
    {
        defineLocAllocCb(MEMLOC_CUSTOM, serve);
        defineLocFreeCb(MEMLOC_CUSTOM, takeBack);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "bank", s_size);
        initialize();
    }

    const MemoryBank_s& bank() const { return banks[0]; }

protected:
    void onOutOfMemory(int) override { abort(); }
};

// Reserves the address space, or part of it. Returns null if it is not free.
static char* reserve(uintptr_t address, size_t size)
{
    void* const wanted = reinterpret_cast<void*>(address);
    void* const memory = mmap(wanted, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED || (address != 0 && memory != wanted)) {
        return nullptr;
    }
    return static_cast<char*>(memory);
}

// Reserves the space. In a 32-bit build the space has 64 MiB, and a flip of one of the six upper bits of a pointer leads
// out of it. So 64 MiB are reserved for each of these flips, too.
static bool reserveSpace()
{
    if (sizeof(void*) == 8) {
        s_spaceSize = static_cast<size_t>(uint64_t(8) << 30);
        s_space = reserve(0, s_spaceSize);
        return s_space != nullptr;
    }
    s_spaceSize = 64u << 20;
    for (uintptr_t place = 1; place < 64 && !s_space; ++place) {
        std::vector<char*> reserved = {reserve(place * s_spaceSize, s_spaceSize)};
        for (uintptr_t bit = 1; bit < 64 && reserved.back(); bit *= 2) {
            if ((place ^ bit) != 0 && (place ^ bit) != 63) { // the first and the last 64 MiB are never a program's
                reserved.push_back(reserve((place ^ bit) * s_spaceSize, s_spaceSize));
            }
        }
        s_space = reserved.back() ? reserved.front() : nullptr;
        for (size_t i = 0; i < reserved.size() && !s_space; ++i) {
            if (reserved[i]) {
                munmap(reserved[i], s_spaceSize);
            }
        }
    }
    return s_space != nullptr;
}

static void reserveMemory()
{
    if (!reserveSpace()) {
        fprintf(stderr, "the address space cannot be reserved\n");
        exit(2);
    }
    s_region = s_space + s_spaceSize / 2;
    s_arena = s_region + s_spaceSize / 8;
    if (mprotect(s_region, s_size, PROT_READ | PROT_WRITE) != 0 ||
        mprotect(s_arena, sc_arenaSize, PROT_READ | PROT_WRITE) != 0) {
        perror("mprotect");
        exit(2);
    }
}

// Ticks of the clock of 4 ms. A part that takes longer is in a circle. An emulator is slower.
static const unsigned int sc_mostTicks = sizeof(void*) == 8 ? 3 : 25;
static volatile bool s_isInPart;
static volatile unsigned int s_ticks; // in the current part

// Runs a part. Returns how it ended.
template <class Part>
static e_Ending run(const Part& part)
{
    const int ending = sigsetjmp(s_back, 0);
    if (ending == ENDED) {
        s_ticks = 0;
        s_isInPart = true;
        part();
    }
    s_isInPart = false;
    return static_cast<e_Ending>(ending);
}

static void endPart(e_Ending ending)
{
    if (s_isPlaying) {
        _exit(ending);
    }
    siglongjmp(s_back, ending);
}

static void onTick(int)
{
    s_ticks = s_ticks + 1;
    if (s_isInPart && s_ticks > sc_mostTicks) {
        endPart(IN_A_CIRCLE);
    }
}

static void startClock()
{
    const itimerval ticks = {{0, 4000}, {0, 4000}};
    setitimer(ITIMER_VIRTUAL, &ticks, nullptr);
}

static void catchSignals()
{
    struct sigaction action = {};
    action.sa_flags = SA_NODEFER; // siglongjmp does not unblock a signal here
    action.sa_handler = [](int) { endPart(LEFT_MEMORY); };
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
    action.sa_handler = onTick;
    sigaction(SIGVTALRM, &action, nullptr);
    startClock();
}

// Reads the region, the fallback blocks, the memory manager and the tables of links. Refuses every other address of the
// space.
class RegionMemory : public watch::MemoryReader {
public:
    explicit RegionMemory(const MemoryMgr& manager)
        : MemoryReader(watch::ownLayout()), m_manager(reinterpret_cast<const char*>(&manager))
    {
    }

    bool read(uint64_t address, void* out, size_t size) const override
    {
        const char* const from = reinterpret_cast<const char*>(address);
        if (isPart(from, size, s_region, s_size) || isPart(from, size, s_arena, s_arenaUsed) ||
            isPart(from, size, m_manager, sizeof(DamageMemory))) {
            memcpy(out, from, size);
            return true;
        }
        return !isPart(from, 1, s_space, s_spaceSize) && m_own.read(address, out, size);
    }

private:
    static bool isPart(const char* from, size_t size, const char* part, size_t partSize)
    {
        return from >= part && size <= partSize && static_cast<size_t>(from - part) <= partSize - size;
    }

    const char* m_manager;
    watch::OwnMemory m_own;
};

// ---- One state

struct Counts {
    unsigned int flips, clean, check, walk, named, played, outside, circles, location;
};

typedef std::vector<void*> Blocks;

// Plays a game with up to 20 blocks in the bank, and some fallback blocks.
static void playRandomly(DamageMemory& memory, std::mt19937& random, Blocks* blocks)
{
    for (int i = 0; i < 60; ++i) {
        if (random() % 12 == 0) {
            blocks->push_back(memory.alloc(0, s_size + random() % 90, "state", 1 + i));
        } else if (blocks->size() < 20 && random() % 3 != 0) {
            blocks->push_back(memory.alloc(0, 1 + random() % (s_size / 45), "state", 1 + i));
        } else if (!blocks->empty()) {
            std::swap((*blocks)[random() % blocks->size()], blocks->back());
            memory.free(0, blocks->back());
            blocks->pop_back();
        }
    }
}

struct Place {
    char* header;
    const char* state; // "used", "free" or "fallback"
};

static MemoryHeapNode_s* nodeAt(char* header)
{
    return reinterpret_cast<MemoryHeapNode_s*>(header);
}

static std::vector<Place> headersOf(const MemoryBank_s& bank)
{
    std::vector<Place> places;
    for (unsigned int offset = 0; offset < bank.size; offset += nodeAt(bank.base + offset)->size) {
        const bool isUsed = nodeAt(bank.base + offset)->magic == 0xfeedface;
        places.push_back({bank.base + offset, isUsed ? "used" : "free"});
    }
    for (MemoryHeapNode_s* node = bank.extList; node; node = node->next) {
        places.push_back({reinterpret_cast<char*>(node), "fallback"});
    }
    return places;
}

static int s_faults = 0;

static void complain(const std::string& field, const char* what)
{
    s_faults += 1;
    printf("FAULT: %s: %s\n", field.c_str(), what);
}

class State {
public:
    // isPlayed: the game goes on after each flip. That takes most of the time, so not all states are played.
    State(DamageMemory& memory, const watch::LinkTables& tables, const Blocks& blocks, bool isPlayed)
        : m_memory(memory), m_tables(tables), m_blocks(blocks), m_isPlayed(isPlayed),
          m_soundCode(memory.checkMemory(0, nullptr, false))
    {
    }

    bool isDamaged() const
    {
        bool isNamed = false;
        return walk("any", {s_region, ""}, &isNamed);
    }

    // Flips one bit of a header, looks, goes on with the game, and restores the bit.
    void flip(const Place& place, unsigned int bit, const std::string& field, Counts* counts) const
    {
        char& byte = place.header[bit / 8];
        const char before = byte;
        byte = static_cast<char>(byte ^ (1 << bit % 8));
        const bool isFoundByCheck = check(field);
        bool isNamed = false;
        const bool isFoundByWalk = walk(field, place, &isNamed);
        counts->flips += 1;
        counts->check += isFoundByCheck;
        counts->walk += isFoundByWalk;
        counts->clean += !isFoundByCheck && !isFoundByWalk;
        counts->named += isNamed;
        if (nodeAt(place.header)->magic != 0xfeedface) {
            refuseBlock(field, place.header + sizeof(MemoryHeapNode_s));
        }
        if (m_isPlayed) {
            const e_Ending ending = play(place.header);
            counts->played += 1;
            counts->outside += ending == LEFT_MEMORY;
            counts->circles += ending == IN_A_CIRCLE;
            counts->location += ending == AT_LOCATION;
        }
        byte = before;
    }

private:
    bool check(const std::string& field) const
    {
        int code = MEMERR_NONE;
        const e_Ending ending = run([&] { code = m_memory.checkMemory(0, nullptr, false); });
        if (ending != ENDED) {
            complain(field, ending == IN_A_CIRCLE ? "checkMemory does not end" : "checkMemory leaves the bank");
        }
        return code != m_soundCode;
    }

    bool walk(const std::string& field, const Place& place, bool* isNamed) const
    {
        watch::Snapshot snapshot;
        const RegionMemory memory(m_memory);
        std::string error;
        const e_Ending ending =
            run([&] { watch::takeBank(memory, m_tables, watch::addressOf(&m_memory), 0, &snapshot, &error); });
        if (ending != ENDED) {
            complain(field, ending == IN_A_CIRCLE ? "the walk does not end" : "the walk leaves the bank");
        }
        for (const watch::Damage& damage : snapshot.damages) {
            const bool isAtHeader = damage.offset == static_cast<size_t>(place.header - s_region);
            *isNamed |= isAtHeader || !damage.block.empty() || !damage.before.empty() || !damage.after.empty();
        }
        return !snapshot.damages.empty();
    }

    // The call changes nothing, also when it is wrong: a refused block is the only one here that has no mark.
    void refuseBlock(const std::string& field, void* block) const
    {
        int code = 0;
        if (run([&] { code = m_memory.free(0, block); }) != ENDED || code != MEMERR_BLOCK) {
            complain(field, "free does not refuse a block without its mark");
        }
    }

    // What a game does next, in a process of its own: a small block, the damaged one and its neighbours freed, a larger
    // block.
    e_Ending play(const char* header) const
    {
        const pid_t child = fork();
        if (child == 0) {
            s_isPlaying = true;
            startClock(); // a forked process has no clock
            s_ticks = 0;
            s_isInPart = true;
            const long near = static_cast<long>(s_size / 14);
            m_memory.alloc(0, 20, "next", 1);
            for (void* block : m_blocks) {
                const long distance = static_cast<char*>(block) - header;
                if (distance > -near && distance < near) {
                    m_memory.free(0, block);
                }
            }
            m_memory.alloc(0, s_size / 28, "next", 2);
            _exit(ENDED);
        }
        int status = 0;
        while (child > 0 && waitpid(child, &status, 0) < 0) {
        }
        if (child < 0 || !WIFEXITED(status)) {
            return LEFT_MEMORY; // aborted by the C library
        }
        return static_cast<e_Ending>(WEXITSTATUS(status));
    }

    DamageMemory& m_memory;
    const watch::LinkTables& m_tables;
    const Blocks& m_blocks;
    const bool m_isPlayed;
    const int m_soundCode; // of checkMemory before any damage: a bank that has made fallback blocks has overflowed
};

static void flipAll(const State& state, const std::vector<Place>& places, std::map<std::string, Counts>* counts)
{
    static const char* const sc_fields[] = {"magic", "size", "file", "line", "next", "prev"};
    for (const Place& place : places) {
        for (unsigned int bit = 0; bit < 8 * sizeof(MemoryHeapNode_s); ++bit) {
            const std::string field = std::string(place.state) + " " + sc_fields[bit / 32];
            state.flip(place, bit, field, &(*counts)[field]);
        }
    }
}

// Frees all blocks, for the next state.
static void empty(DamageMemory& memory, const Blocks& blocks)
{
    for (void* block : blocks) {
        memory.free(0, block);
    }
    s_arenaUsed = 0;
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: %s FIRST_SEED STATES SIZE\n", argv[0]);
        return 2;
    }
    const unsigned int first = static_cast<unsigned int>(atol(argv[1]));
    s_size = static_cast<unsigned int>(atol(argv[3]));
    reserveMemory();
    catchSignals();
    DamageMemory memory;
    memory.free(0, memory.alloc(0, 10, "state", 1)); // so that no table is empty
    memory.free(0, memory.alloc(0, s_size, "state", 1));
    const watch::OwnMemory own;
    const watch::LinkTables tables = watch::findLinkTables(own, watch::ownWritableMemory());
    if (sizeof(void*) == 8 && (tables.names == 0 || tables.links == 0)) {
        complain("file, next, prev", "the tables of source names and of links are not found");
    }
    std::map<std::string, Counts> counts;
    for (unsigned int seed = first; seed < first + static_cast<unsigned int>(atol(argv[2])); ++seed) {
        std::mt19937 random(seed);
        Blocks blocks;
        playRandomly(memory, random, &blocks);
        const State state(memory, tables, blocks, seed % 10 == 0);
        if (state.isDamaged()) {
            complain("any", "the walk finds damage in an undamaged bank");
        }
        flipAll(state, headersOf(memory.bank()), &counts);
        empty(memory, blocks);
    }
    for (const auto& [field, count] : counts) {
        printf("%s flips=%u clean=%u check=%u walk=%u named=%u played=%u outside=%u circles=%u location=%u\n",
               field.c_str(), count.flips, count.clean, count.check, count.walk, count.named, count.played,
               count.outside, count.circles, count.location);
    }
    fflush(stdout);
    _Exit(s_faults == 0 ? 0 : 1); // the region is not the manager's to free
}
