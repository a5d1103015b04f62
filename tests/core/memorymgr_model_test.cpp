// Three million random operations on the memory manager and on its model, which have to agree after each of them: on
// where a block lies, on the order of every list, on all counters, on what the locations are asked for.
//
// Each case ends in a hash of everything that happened. That it is the same on every host is what makes a budget that
// was tuned on one of them hold on another. With MODEL_ROUNDS=7 in the environment each case goes on with six other seeds,
// which makes 21 million operations; their hashes are printed. MODEL_SEED is the first of these seeds, 1 by default.
//
// With MODEL_FAULTLESS in the environment the game writes only the bytes that it asked for and frees no wrong address,
// so core-memory run --check must find no fault in it.
#include "memorymgr_model.h"
#include "tests/support/game_memory.h"
#include "tests/support/library_memory.h"

#include <optional>
#include <stdint.h>

namespace {

bool isFaultless()
{
    static const bool s_isFaultless = getenv("MODEL_FAULTLESS") != nullptr;
    return s_isFaultless;
}

// The same numbers on every host, which the standard's distributions don't promise.
class Random {
public:
    explicit Random(uint32_t seed) : m_state(seed) {}

    uint32_t below(uint32_t limit)
    {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state % limit;
    }

private:
    uint32_t m_state;
};

// Sizes of requests.
uint32_t anySize(Random& random)
{
    return 1 + random.below(400);
}
uint32_t smallSize(Random& random)
{
    return 1 + random.below(60);
}
uint32_t edgeSize(Random& random)
{
    return 32 * random.below(8) + 6 + random.below(4);
} // around a node's limit
uint32_t oddSize(Random& random)
{
    return random.below(12) ? 1 + random.below(90) : 1 + random.below(2500);
}
uint32_t equalSize(Random& random)
{
    static const uint32_t sc_sizes[] = {20, 40, 40, 100, 100, 100, 1000, 3000};
    return sc_sizes[random.below(8)];
}
uint32_t largeSize(Random& random)
{
    return 1 + random.below(100000);
}
uint32_t widelySpreadSize(Random& random) // as often below 64 as from 64 KiB on
{
    return 1 + random.below(16u << random.below(14));
}

struct BankCase {
    e_MemoryLocation location;
    e_MemoryBankType type;
    unsigned int size;
};

struct Case {
    const char* name;
    std::vector<BankCase> banks; // "bank0" and so on
    const char* file;            // the bank-size file of the first run
    unsigned int offset;         // of the locations' blocks
    uint32_t (*size)(Random& random);
    uint32_t hash;              // of everything that happens
    unsigned int mostLive = 40; // blocks in a heap bank
    bool hasIndexes = true;     // where a bank is large enough; else there is no memory for them
};

void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.name;
}

const char* sourceOf(unsigned int line)
{
    static const char* const sc_sources[] = {"game/level", "game/unit", "game/sound", "core/str", "core/stringtable"};
    return sc_sources[line % 5];
}

// What goes on from one run of the game to the next.
struct History {
    Random random{2463534242u};
    unsigned int operation = 0;
    uint32_t hash = 1;

    void mix(uint32_t word)
    {
        hash = (hash ^ word) * 0x9e3779b1u;
        hash ^= hash >> 15;
    }
};

// One run of the game, from the bank-size file it finds to the one it leaves.
class GameRun {
public:
    GameRun(const Case& c, const std::string& file, History* history);

    void operate();    // one random operation
    std::string end(); // the bank-size file

private:
    // A block in use, full of its stamp.
    struct Live {
        char* block;
        ModelPlace place;
        unsigned int size;    // of the block
        unsigned int written; // so many bytes of the block hold the stamp
        char stamp;
    };

    void useHeap(int bank);
    void useLinear(int bank);
    void useOther(int bank);

    void alloc(int bank);
    void allocNothing(int bank);
    void free(int bank, size_t i);
    void freeWhatIsNoBlock(int bank);
    void reset(int bank);
    void expectSize(int bank, const Live& live);
    void expectIntact(const Live& live);

    void compare(int bank);
    std::string difference(const ModelBank& expected, const MemoryBank_s& actual);
    bool isSame(const std::vector<ModelNode>& expected, const MemoryHeapNode_s* node, const char* base);
    void mix(const ModelBank& bank);

    MemoryBank_s& actual(int bank) { return bank == -1 ? m_memory->systemBank : m_memory->banks[bank]; }
    std::vector<Live>& live(int bank) { return m_live[bank == -1 ? 32 : bank]; }
    uint32_t below(uint32_t limit) { return m_history->random.below(limit); }

    const Case& m_case;
    History* m_history;
    std::optional<GameMemory> m_memory;
    Model m_model;
    std::vector<Live> m_live[33]; // by bank; the last is the system bank's
};

GameRun::GameRun(const Case& c, const std::string& file, History* history) : m_case(c), m_history(history)
{
    Source::startAnew();
    Source::offset = c.offset;
    m_memory.emplace();
    Source::serve(*m_memory, MEMLOC_DEFAULT);
    Source::serve(*m_memory, MEMLOC_CUSTOM);
    for (const BankCase& bank : c.banks) {
        const std::string name = "bank" + std::to_string(m_model.banks.size());
        m_memory->defineBank(bank.location, bank.type, name.c_str(), bank.size);
        m_model.defineBank(bank.location, bank.type, name, bank.size);
    }
    writeFile(m_memory->bankSizePath, file);
    LibraryMemory::isEmpty = !c.hasIndexes;
    LibraryMemory::isWatched = true;
    m_memory->initialize();
    LibraryMemory::isWatched = false;
    m_model.readBankSizes(file);
    m_model.initialize();
    for (int bank = -1; bank < m_memory->bankCount; ++bank) {
        compare(bank);
    }
}

std::string GameRun::end()
{
    const std::string path = m_memory->bankSizePath;
    // What the library takes beside the banks while they are made is their indexes. A bank whose index it gives back
    // before the end serves all the same, but slowly: the index was wrong.
    EXPECT_EQ(LibraryMemory::givenBack, 0);
    LibraryMemory::blockCount = 0;
    m_memory.reset();
    const std::string file = readFile(path);
    EXPECT_EQ(file, m_model.bankSizes());
    for (const char byte : file) {
        m_history->mix(static_cast<unsigned char>(byte));
    }
    return file;
}

void GameRun::operate()
{
    m_history->operation += 1;
    const uint32_t banks = static_cast<uint32_t>(m_memory->bankCount);
    const int bank = below(8) == 0 ? -1 : static_cast<int>(below(banks));
    switch (m_model.bank(bank).type) {
    case MEMBANK_HEAP:
        useHeap(bank);
        break;
    case MEMBANK_LINEAR:
        useLinear(bank);
        break;
    default:
        useOther(bank);
    }
    compare(bank);
}

void GameRun::useHeap(int bank)
{
    const bool isFilling = m_history->operation / 1024 % 2; // and then emptying, in turns
    const uint32_t what = below(100);
    if (what < 2) {
        allocNothing(bank);
    } else if (what < 4) {
        freeWhatIsNoBlock(bank);
    } else if (live(bank).empty() || (live(bank).size() < m_case.mostLive && what < (isFilling ? 70u : 45u))) {
        alloc(bank);
    } else if (what < 90) {
        free(bank, below(static_cast<uint32_t>(live(bank).size())));
    } else {
        expectSize(bank, live(bank)[below(static_cast<uint32_t>(live(bank).size()))]);
    }
}

void GameRun::useLinear(int bank)
{
    const uint32_t what = below(100);
    if (what < 2) {
        allocNothing(bank);
    } else if (what < 6) {
        reset(bank);
    } else {
        alloc(bank);
    }
}

void GameRun::useOther(int bank)
{
    if (live(bank).size() < 32) {
        alloc(bank);
    } else {
        EXPECT_EQ(m_memory->free(bank, live(bank)[below(32)].block), 0);
        expectSize(bank, live(bank)[below(32)]);
    }
}

void GameRun::alloc(int bank)
{
    const unsigned int size = m_case.size(m_history->random);
    const unsigned int line = m_history->operation;
    char* block = static_cast<char*>(m_memory->alloc(bank, size, sourceOf(line), line));
    const ModelPlace place = m_model.alloc(bank, size, line);
    const ModelBank& expected = m_model.bank(bank);

    const char* start = place.isOutside ? Source::block(static_cast<int>(place.at)) : actual(bank).base + place.at;
    ASSERT_EQ(block, start + (place.isBare ? 0 : 24));
    m_history->mix(place.at);

    unsigned int room = size;
    if (!place.isBare) {
        room = (place.isOutside ? expected.extList : expected.usedList).front().size - 24;
    }
    const unsigned int written = isFaultless() ? std::min(size, room) : room;
    live(bank).push_back({block, place, room, written, static_cast<char>(line)});
    memset(block, static_cast<char>(line), written);
}

void GameRun::allocNothing(int bank)
{
    EXPECT_EQ(m_memory->alloc(bank, 0, "nothing", 1), nullptr);
}

void GameRun::free(int bank, size_t i)
{
    const Live one = live(bank)[i];
    live(bank)[i] = live(bank).back();
    live(bank).pop_back();
    expectIntact(one);
    ASSERT_EQ(m_memory->free(bank, one.block), 0);
    m_model.free(bank, one.place);
    if (!one.place.isOutside && below(8) == 0 && !isFaultless()) {
        EXPECT_EQ(m_memory->free(bank, one.block), MEMERR_BLOCK);
    }
}

void GameRun::freeWhatIsNoBlock(int bank)
{
    EXPECT_EQ(m_memory->free(bank, nullptr), 0);
    if (!live(bank).empty() && live(bank)[0].size >= 24 && !isFaultless()) {
        EXPECT_EQ(m_memory->free(bank, live(bank)[0].block + 24), MEMERR_BLOCK);
    }
}

void GameRun::reset(int bank)
{
    for (const Live& one : live(bank)) {
        expectIntact(one);
    }
    live(bank).clear();
    EXPECT_EQ(m_memory->free(bank, nullptr), 0);
    m_model.reset(bank);
}

void GameRun::expectSize(int bank, const Live& one)
{
    const bool hasSizes = bank != -1 && m_model.bank(bank).type == MEMBANK_HEAP;
    EXPECT_EQ(m_memory->getSize(bank, one.block), hasSizes ? one.size : 0);
}

void GameRun::expectIntact(const Live& one)
{
    EXPECT_TRUE(std::all_of(one.block, one.block + one.written, [&one](char byte) { return byte == one.stamp; }));
}

// The bank and its model, and what was asked of the locations.
void GameRun::compare(int bank)
{
    const ModelBank& expected = m_model.bank(bank);
    ASSERT_EQ(difference(expected, actual(bank)), "") << "bank " << bank << ", operation " << m_history->operation;
    ASSERT_EQ(Source::takeLog(), m_model.takeLog()) << "bank " << bank << ", operation " << m_history->operation;
    if (bank != -1) {
        const bool expectEmpty = m_history->operation % 2;
        unsigned int largestExpected;
        unsigned int largestFree;
        const int code = m_model.checkMemory(bank, &largestExpected, expectEmpty);
        ASSERT_EQ(m_memory->checkMemory(bank, &largestFree, expectEmpty), code);
        ASSERT_EQ(largestFree, largestExpected);
        m_history->mix(static_cast<uint32_t>(code));
    }
    mix(expected);
}

std::string GameRun::difference(const ModelBank& expected, const MemoryBank_s& actual)
{
    const struct {
        const char* name;
        unsigned int expected;
        unsigned int actual;
    } counters[] = {
        {"size", expected.size, actual.size},
        {"allocCount", expected.allocCount, actual.allocCount},
        {"freeCount", expected.freeCount, actual.freeCount},
        {"usedNodeCount", expected.usedNodeCount, actual.usedNodeCount},
        {"freeNodeCount", expected.freeNodeCount, actual.freeNodeCount},
        {"extNodeCount", expected.extNodeCount, actual.extNodeCount},
        {"bytesInUse", expected.bytesInUse, actual.bytesInUse},
        {"peakBytes", expected.peakBytes, actual.peakBytes},
    };
    for (const auto& c : counters) {
        if (c.expected != c.actual) {
            return std::string(c.name) + " is " + std::to_string(c.actual) + " in place of " +
                   std::to_string(c.expected);
        }
    }
    const char* base = expected.block ? Source::block(expected.block) + expected.base : nullptr;
    return actual.base != base                                  ? "base"
           : actual.cursor != base + expected.cursor            ? "cursor"
           : !isSame(expected.freeList, actual.freeList, base)  ? "freeList"
           : !isSame(expected.usedList, actual.usedList, base)  ? "usedList"
           : !isSame(expected.extList, actual.extList, nullptr) ? "extList"
                                                                : "";
}

// base is null for fallback blocks.
bool GameRun::isSame(const std::vector<ModelNode>& expected, const MemoryHeapNode_s* node, const char* base)
{
    const MemoryHeapNode_s* before = nullptr;
    for (const ModelNode& one : expected) {
        const char* place = base ? base + one.at : Source::block(static_cast<int>(one.at));
        const bool isFree = one.line == 0;
        if (reinterpret_cast<const char*>(node) != place || node->prev != before ||
            node->magic != (isFree ? 0xdeadf00d : 0xfeedface) || node->size != (one.size | (base ? 0 : 0x80000000)) ||
            (!isFree && (node->line != one.line || node->file != sourceOf(one.line)))) {
            return false;
        }
        before = node;
        node = node->next;
    }
    return node == nullptr;
}

void GameRun::mix(const ModelBank& bank)
{
    for (const unsigned int word :
         {bank.size, bank.allocCount, bank.freeCount, bank.usedNodeCount, bank.freeNodeCount, bank.extNodeCount,
          bank.bytesInUse, bank.peakBytes, bank.cursor}) {
        m_history->mix(word);
    }
    for (const std::vector<ModelNode>* list : {&bank.freeList, &bank.usedList, &bank.extList}) {
        for (const ModelNode& node : *list) {
            m_history->mix(node.at);
            m_history->mix(node.size);
        }
    }
}

const int sc_allOperations = 16000; // of one run of the game

// Under the thread sanitizer all takes ten times as long, and there is but one thread: it sees the beginning of each run.
// With FEW_ROUNDS in the environment, valgrind sees the same beginning.
int operations()
{
#ifdef __SANITIZE_THREAD__
    return 1000;
#else
    return getenv("FEW_ROUNDS") ? 1000 : sc_allOperations;
#endif
}

class SideBySide : public testing::TestWithParam<Case> {
protected:
    // 128,000 operations, if operations() is sc_allOperations.
    void playSeveralRuns(History* history)
    {
        for (int i = 0; i < 4 && !HasFailure(); ++i) {
            std::string file = GetParam().file;
            for (int j = 0; j < 2; ++j) { // the second run goes on with the sizes that the first one leaves
                GameRun run(GetParam(), file, history);
                for (int left = operations(); left > 0 && !HasFailure(); --left) {
                    run.operate();
                }
                file = run.end();
            }
        }
    }
};

TEST_P(SideBySide, TheManagerAndTheModelAgreeAfterEachOperation)
{
    History history;
    playSeveralRuns(&history);
    if (operations() == sc_allOperations) {
        EXPECT_EQ(history.hash, GetParam().hash);
    }

    const char* more = getenv("MODEL_ROUNDS");
    const char* firstSeed = getenv("MODEL_SEED");
    const uint32_t before = firstSeed ? static_cast<uint32_t>(atoi(firstSeed)) - 1 : 0;
    for (uint32_t round = 1; more && round < static_cast<uint32_t>(atoi(more)) && !HasFailure(); ++round) {
        history.random = Random(before + round);
        playSeveralRuns(&history);
    }
    printf("%u operations, hash %08x\n", history.operation, history.hash);
}

const e_MemoryLocation D = MEMLOC_DEFAULT;
const e_MemoryLocation C = MEMLOC_CUSTOM;
const e_MemoryBankType HEAP = MEMBANK_HEAP;
const e_MemoryBankType LINEAR = MEMBANK_LINEAR;
const e_MemoryBankType OTHER = MEMBANK_OTHER;

const Case sc_cases[] = {
    {"OneHeap", {{D, HEAP, 2048}}, "", 0, anySize, 0xb4695f37},
    {"SmallRequests", {{D, HEAP, 1024}}, "", 0, smallSize, 0xbe37572b},
    {"RequestsAtTheEdges", {{D, HEAP, 2048}}, "", 0, edgeSize, 0xff98e5b0},
    {"OddRequests", {{D, HEAP, 4096}}, "", 0, oddSize, 0x7cbd3a1b},
    {"TwoHeapsInOneLocation", {{D, HEAP, 1024}, {D, HEAP, 2048}}, "", 0, anySize, 0x9b74311e},
    {"HeapsInBothLocations",
     {{D, HEAP, 992}, {C, HEAP, 1024}, {D, HEAP, 1056}, {C, HEAP, 64}},
     "",
     0,
     oddSize,
     0xe8632a0a},
    {"UnevenHeaps",
     {{D, HEAP, 32}, {D, HEAP, 32}, {D, HEAP, 32}},
     "bank0=1501\nbank1=99\nbank2=777\n",
     0,
     anySize,
     0x72bb28cc},
    {"UnevenHeapsAtTheEdges", {{C, HEAP, 32}, {C, HEAP, 32}}, "bank0=1047\nbank1=1049\n", 0, edgeSize, 0x16978448},
    {"HeapsTooSmallForAHeader",
     {{D, HEAP, 32}, {D, HEAP, 32}, {D, HEAP, 32}, {D, HEAP, 32}},
     "bank0=23\nbank1=1000\nbank2=24\nbank3=0\n",
     0,
     anySize,
     0x8a88aae6},
    {"OddAddresses", {{D, HEAP, 2048}, {D, LINEAR, 512}}, "", 1, anySize, 0x3f57eaa6},
    {"OddAddressesAndUnevenHeaps",
     {{C, HEAP, 32}, {C, HEAP, 32}},
     "bank0=1234\nbank1=567\n",
     3,
     smallSize,
     0xf1f78eef},
    {"GrowingLevels", {{D, LINEAR, 32}, {C, LINEAR, 1024}}, "bank1=1001\n", 0, anySize, 0x0ca3088b},
    {"LevelsFromNothing", {{D, LINEAR, 32}, {D, LINEAR, 32}}, "bank0=0\nbank1=1\n", 0, oddSize, 0xc9b9a452},
    {"LevelsBetweenHeaps",
     {{D, LINEAR, 256}, {D, HEAP, 1024}, {C, LINEAR, 96}, {C, HEAP, 512}},
     "",
     0,
     edgeSize,
     0xfa4508bf},
    {"BanksOfOtherTypes", {{D, OTHER, 256}, {D, HEAP, 1024}, {C, OTHER, 32}}, "", 0, smallSize, 0x0a69481e},
    {"EverythingAtOnce",
     {{D, HEAP, 1024},
      {C, LINEAR, 512},
      {C, HEAP, 1024},
      {D, OTHER, 64},
      {D, HEAP, 32},
      {D, LINEAR, 64},
      {C, HEAP, 32}},
     "bank0=1009\nbank2=501\nbank4=1031\nbank6=19\nbank1=333\n",
     5,
     oddSize,
     0xd91ac9df},
    {"LargeHeap", {{D, HEAP, 1 << 17}}, "", 0, anySize, 0x7877ba2b, 500},
    {"LargeHeapWithoutAnIndex", {{D, HEAP, 1 << 17}}, "", 0, anySize, 0x7877ba2b, 500, false},
    {"LargeHeapOfEqualNodes", {{D, HEAP, 1 << 18}}, "", 0, equalSize, 0xf8b1d4c2, 600},
    {"LargeUnevenHeaps",
     {{D, HEAP, 32}, {C, HEAP, 32}, {D, HEAP, 1024}},
     "bank0=100001\nbank1=123457\n",
     0,
     oddSize,
     0xf4f323fa,
     400},
    {"LargeUnevenHeapAtAnOddAddress",
     {{D, HEAP, 32}, {D, HEAP, 32}},
     "bank0=77\nbank1=131091\n",
     3,
     edgeSize,
     0x8d1297f3,
     800},
    {"LargeNodes", {{D, HEAP, 4 << 20}}, "", 0, largeSize, 0x31dedf9a, 60},
    {"NodesOfAllSizes", {{D, HEAP, 1 << 20}, {D, HEAP, 32}}, "bank1=2097179\n", 0, widelySpreadSize, 0x4154bc8c, 300},
    {"LargeHeapTooSmall", {{D, HEAP, 3 << 15}}, "", 0, anySize, 0x46b3d95e, 700},
};

INSTANTIATE_TEST_SUITE_P(Model, SideBySide, testing::ValuesIn(sc_cases),
                         [](const testing::TestParamInfo<Case>& one) { return std::string(one.param.name); });

} // namespace
