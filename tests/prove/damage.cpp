// Flips each bit of the headers of random heap states, and looks at what the library and the walk of core-memory make of
// the damage.
//
//     prove_damage FIRST_SEED STATES
//
// The bank's region lies in the middle of 8 GiB of address space that cannot be accessed, so each read and each write
// outside of the region ends in a signal: links and sizes reach at most 2 GiB. Prints a line for each field of a header:
//
//     used next flips=960 clean=0 check=960 walk=960 named=960 played=96 outside=30 circles=2 location=5
//
// | Word | Number of flips |
// |---|---|
// | clean | after which neither checkMemory nor the walk finds anything |
// | check, walk | that checkMemory finds; that the walk finds |
// | named | for which the walk names the damaged block, a neighbour of it, or its offset |
// | played | after which alloc and free are called; in each tenth state |
// | outside, circles | after which alloc or free access memory outside of the region, or do not end |
// | location | after which alloc goes to the location, although the bank had room |
//
// Prints FAULT and a reason when checkMemory or the walk leave the region or do not end, and when free does not refuse a
// block without its mark. Ends with 0 if there is no FAULT, else with 1.
#include "core/memorymgr.h"
#include "watch/ownmemory.h"
#include "watch/walk.h"

#include <map>
#include <random>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/mman.h>
#include <sys/time.h>
#include <utility>
#include <vector>

static const unsigned int sc_size =
    4096; // of the bank: a multiple of a page, so that the next byte is not accessible
static const size_t sc_space = size_t(8) << 30; // bytes of address space
static char* s_region;
static sigjmp_buf s_back;

enum e_Ending : int { ENDED, LEFT_REGION, IN_A_CIRCLE, AT_LOCATION };

static void* serveRegion(unsigned long)
{
    static bool s_isServed;
    if (s_isServed) {
        siglongjmp(s_back, AT_LOCATION); // no fallback block: the bank always has room
    }
    s_isServed = true;
    return s_region;
}

class DamageMemory : public MemoryMgr {
public:
    DamageMemory()
    {
        defineLocAllocCb(MEMLOC_CUSTOM, serveRegion);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "bank", sc_size);
        initialize();
    }

    const MemoryBank_s& bank() const { return banks[0]; }

protected:
    void onOutOfMemory(int) override { abort(); }
};

static void reserveRegion()
{
    void* memory = mmap(nullptr, sc_space, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    s_region = static_cast<char*>(memory) + sc_space / 2;
    if (memory == MAP_FAILED || mprotect(s_region, sc_size, PROT_READ | PROT_WRITE) != 0) {
        perror("mmap");
        exit(2);
    }
}

static volatile bool s_isInPart;
static volatile unsigned int s_ticks; // of the clock of 4 ms, in the current part

// Runs a part. Returns how it ended. A part that takes longer than three ticks of processor time is in a circle.
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

static void onTick(int)
{
    s_ticks = s_ticks + 1;
    if (s_isInPart && s_ticks > 3) {
        siglongjmp(s_back, IN_A_CIRCLE);
    }
}

static void catchSignals()
{
    struct sigaction action = {};
    action.sa_flags = SA_NODEFER; // siglongjmp does not unblock a signal here
    action.sa_handler = [](int) { siglongjmp(s_back, LEFT_REGION); };
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
    action.sa_handler = onTick;
    sigaction(SIGVTALRM, &action, nullptr);
    const itimerval ticks = {{0, 4000}, {0, 4000}};
    setitimer(ITIMER_VIRTUAL, &ticks, nullptr);
}

// Reads the region, the memory manager and the tables behind links. Refuses every other address in the 8 GiB around the
// region.
class RegionMemory : public watch::MemoryReader {
public:
    explicit RegionMemory(const MemoryMgr& manager)
        : MemoryReader(watch::ownLayout()), m_manager(reinterpret_cast<const char*>(&manager))
    {
    }

    bool read(uint64_t address, void* out, size_t size) const override
    {
        const char* const from = reinterpret_cast<const char*>(address);
        if (isPart(from, size, s_region, sc_size) || isPart(from, size, m_manager, sizeof(DamageMemory))) {
            memcpy(out, from, size);
            return true;
        }
        return !isPart(from, 1, s_region - sc_space / 2, sc_space) && m_own.read(address, out, size);
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

static void playRandomly(DamageMemory& memory, std::mt19937& random, Blocks* blocks)
{
    for (int i = 0; i < 60; ++i) {
        if (blocks->size() < 20 && random() % 3 != 0) {
            blocks->push_back(memory.alloc(0, 1 + random() % 90, "state", 1 + i));
        } else if (!blocks->empty()) {
            std::swap((*blocks)[random() % blocks->size()], blocks->back());
            memory.free(0, blocks->back());
            blocks->pop_back();
        }
    }
}

static std::vector<unsigned int> headersOf(const MemoryBank_s& bank)
{
    std::vector<unsigned int> offsets;
    for (unsigned int offset = 0; offset < bank.size;) {
        offsets.push_back(offset);
        offset += reinterpret_cast<const MemoryHeapNode_s*>(bank.base + offset)->size;
    }
    return offsets;
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
          m_region(s_region, s_region + sc_size),
          m_manager(reinterpret_cast<char*>(&memory), reinterpret_cast<char*>(&memory + 1))
    {
    }

    void restore() const
    {
        memcpy(s_region, m_region.data(), m_region.size());
        memcpy(static_cast<void*>(&m_memory), m_manager.data(), m_manager.size());
    }

    // Flips one bit of a header, looks, goes on with the game, and restores the state.
    void flip(unsigned int header, unsigned int bit, const std::string& field, Counts* counts) const
    {
        s_region[header + bit / 8] = static_cast<char>(s_region[header + bit / 8] ^ (1 << bit % 8));
        const bool isFoundByCheck = check(field);
        bool isNamed = false;
        const bool isFoundByWalk = walk(field, header, &isNamed);
        counts->flips += 1;
        counts->check += isFoundByCheck;
        counts->walk += isFoundByWalk;
        counts->clean += !isFoundByCheck && !isFoundByWalk;
        counts->named += isNamed;
        if (field == "used magic") {
            refuseBlock(field, s_region + header + sizeof(MemoryHeapNode_s));
        }
        const e_Ending ending = m_isPlayed ? play(header) : ENDED;
        counts->played += m_isPlayed;
        counts->outside += ending == LEFT_REGION;
        counts->circles += ending == IN_A_CIRCLE;
        counts->location += ending == AT_LOCATION;
        restore();
    }

private:
    bool check(const std::string& field) const
    {
        int code = MEMERR_NONE;
        const e_Ending ending = run([&] { code = m_memory.checkMemory(0, nullptr, false); });
        if (ending != ENDED) {
            complain(field, ending == IN_A_CIRCLE ? "checkMemory does not end" : "checkMemory leaves the region");
        }
        return code != MEMERR_NONE;
    }

    bool walk(const std::string& field, unsigned int header, bool* isNamed) const
    {
        watch::Snapshot snapshot;
        const RegionMemory memory(m_memory);
        std::string error;
        const e_Ending ending =
            run([&] { watch::takeBank(memory, m_tables, watch::addressOf(&m_memory), 0, &snapshot, &error); });
        if (ending != ENDED) {
            complain(field, ending == IN_A_CIRCLE ? "the walk does not end" : "the walk leaves the region");
        }
        for (const watch::Damage& damage : snapshot.damages) {
            *isNamed |=
                damage.offset == header || !damage.block.empty() || !damage.before.empty() || !damage.after.empty();
        }
        return !snapshot.damages.empty();
    }

    void refuseBlock(const std::string& field, void* block) const
    {
        int code = 0;
        if (run([&] { code = m_memory.free(0, block); }) != ENDED || code != MEMERR_BLOCK) {
            complain(field, "free does not refuse a block without its mark");
        }
    }

    // What a game does next: a small block, the damaged one and its neighbours freed, a larger block.
    e_Ending play(unsigned int header) const
    {
        return run([&] {
            m_memory.alloc(0, 20, "next", 1);
            for (void* block : m_blocks) {
                const long distance = static_cast<char*>(block) - (s_region + header);
                if (distance > -300 && distance < 300) {
                    m_memory.free(0, block);
                }
            }
            m_memory.alloc(0, 150, "next", 2);
        });
    }

    DamageMemory& m_memory;
    const watch::LinkTables& m_tables;
    const Blocks& m_blocks;
    const bool m_isPlayed;
    const std::vector<char> m_region;
    const std::vector<char> m_manager;
};

static void flipAll(const State& state, const std::vector<unsigned int>& headers,
                    std::map<std::string, Counts>* counts)
{
    static const char* const sc_fields[] = {"magic", "size", "file", "line", "next", "prev"};
    for (unsigned int header : headers) {
        const unsigned int magic = reinterpret_cast<const MemoryHeapNode_s*>(s_region + header)->magic;
        for (unsigned int bit = 0; bit < 8 * sizeof(MemoryHeapNode_s); ++bit) {
            const std::string field = std::string(magic == 0xfeedface ? "used " : "free ") + sc_fields[bit / 32];
            state.flip(header, bit, field, &(*counts)[field]);
        }
    }
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: %s FIRST_SEED STATES\n", argv[0]);
        return 2;
    }
    const unsigned int first = static_cast<unsigned int>(atol(argv[1]));
    reserveRegion();
    catchSignals();
    DamageMemory memory;
    memory.free(0, memory.alloc(0, 10, "state", 1)); // so that the table of names is not empty
    const watch::OwnMemory own;
    const watch::LinkTables tables = watch::findLinkTables(own, watch::ownWritableMemory());
    if (tables.names == 0) {
        complain("file", "the table of source names is not found");
    }
    const State empty(memory, tables, {}, false);
    std::map<std::string, Counts> counts;
    for (unsigned int seed = first; seed < first + static_cast<unsigned int>(atol(argv[2])); ++seed) {
        std::mt19937 random(seed);
        Blocks blocks;
        empty.restore();
        playRandomly(memory, random, &blocks);
        const State state(memory, tables, blocks, seed % 10 == 0);
        flipAll(state, headersOf(memory.bank()), &counts);
    }
    for (const auto& [field, count] : counts) {
        printf("%s flips=%u clean=%u check=%u walk=%u named=%u played=%u outside=%u circles=%u location=%u\n",
               field.c_str(), count.flips, count.clean, count.check, count.walk, count.named, count.played,
               count.outside, count.circles, count.location);
    }
    fflush(stdout);
    _Exit(s_faults == 0 ? 0 : 1); // the region is not the manager's to free
}
