// A Mutex is the pointer to its virtual table, a pthread_mutex_t and an attribute. The library has an array of 32 for
// the banks and a single one for the system bank. They are private to the library, so they are found by that pointer.
#include "tools/core-memory/locks.h"

static const uint64_t sc_mutexSize64 = 56; // bytes of a Mutex on Linux: 8 + 40 + 4, aligned to 8
static const uint64_t sc_mutexSize32 = 32; // 4 + 24 + 4
static const size_t sc_bankCount = 32;
static const uint64_t sc_ownerOffset = 8; // in a pthread_mutex_t; its first word is 0 while it is free

// Returns the addresses of all Mutex objects among the library's variables.
static std::vector<uint64_t> findMutexes(const watch::MemoryReader& memory, const GameSymbols& symbols)
{
    const uint64_t word = symbols.layout.wordSize;
    const uint64_t wanted = symbols.mutexTable + 2 * word; // objects point after the table's two first words
    std::vector<uint64_t> mutexes;
    std::vector<unsigned char> bytes;
    for (const watch::MemoryRange& range : symbols.writable) {
        bytes.resize(static_cast<size_t>(std::min<uint64_t>(range.end - range.begin, 64u << 20)));
        if (!memory.read(range.begin, bytes.data(), bytes.size())) {
            continue;
        }
        for (size_t place = (word - range.begin % word) % word; place + word <= bytes.size(); place += word) {
            if (memory.pointerAt(bytes.data() + place) == wanted) {
                mutexes.push_back(range.begin + place);
            }
        }
    }
    return mutexes;
}

// Returns how many addresses from a place on lie one Mutex apart.
static size_t runFrom(const std::vector<uint64_t>& mutexes, size_t first, uint64_t size)
{
    size_t count = 1;
    while (first + count < mutexes.size() && mutexes[first + count] == mutexes[first] + count * size) {
        count += 1;
    }
    return count;
}

// The locks of the banks among all Mutex objects.
struct BankLocks {
    size_t first; // of bank 0
    bool isSure;  // the place of bank 0 is sure; else it may be one Mutex later
};

// Finds 32 objects that lie one Mutex apart. Returns false when there are none. When the system bank's lock lies
// directly before or after them, only the symbol of the array tells where it begins.
static bool findBankLocks(const std::vector<uint64_t>& mutexes, const GameSymbols& symbols, BankLocks* locks)
{
    const uint64_t size = symbols.layout.wordSize == 8 ? sc_mutexSize64 : sc_mutexSize32;
    for (size_t first = 0; first + sc_bankCount <= mutexes.size(); ++first) {
        const size_t count = runFrom(mutexes, first, size);
        if (count < sc_bankCount) {
            continue;
        }
        *locks = {first, count == sc_bankCount};
        for (const uint64_t array : symbols.lockArrays) {
            const uint64_t later = (array - mutexes[first]) / size;
            if (later + sc_bankCount <= count && mutexes[first + later] == array) {
                *locks = {first + later, true};
            }
        }
        return true;
    }
    return false;
}

static void addHeld(const watch::MemoryReader& memory, uint64_t mutex, const std::string& bank,
                    std::vector<std::string>* held)
{
    const uint64_t lock = mutex + memory.layout().wordSize;
    uint32_t state = 0;
    uint32_t owner = 0;
    if (memory.readWord(lock, &state) && state != 0 && memory.readWord(lock + sc_ownerOffset, &owner)) {
        held->push_back("the lock of " + bank + " is held by thread " + std::to_string(owner));
    }
}

std::vector<std::string> heldLocks(const watch::MemoryReader& memory, const GameSymbols& symbols)
{
    std::vector<std::string> held;
    if (symbols.mutexTable == 0) {
        return held;
    }
    const std::vector<uint64_t> mutexes = findMutexes(memory, symbols);
    BankLocks locks = {0, false};
    if (!findBankLocks(mutexes, symbols, &locks)) {
        return held;
    }
    for (size_t bank = 0; bank < sc_bankCount; ++bank) {
        const std::string name = locks.isSure ? "bank " + std::to_string(bank) : "a bank";
        addHeld(memory, mutexes[locks.first + bank], name, &held);
    }
    // The library's only other Mutex belongs to the system bank. A static program can have more, of its own.
    if (mutexes.size() == sc_bankCount + 1) {
        const uint64_t other = locks.first == 0 ? mutexes.back() : mutexes.front();
        addHeld(memory, other, locks.isSure ? "the system bank" : "a bank", &held);
    }
    return held;
}
