// 1. A node is read only inside the region of a bank, or where the real free reads as well.
// 2. A walk ends after as many nodes as the region can hold. Other threads may change the bank meanwhile; then a walk
//    ends early and the message says less.
#include "watch/preload/freefaults.h"

#include "watch/preload/lastfrees.h"

#include <dlfcn.h>

namespace watch {

static const int sc_noBank = -2;

// Returns the index of the bank whose region holds the address; sc_noBank when there is none.
static int bankOfRegion(ManagerView& manager, const void* address)
{
    for (int index = 0; index < manager.bankCount && index < 32; ++index) {
        if (isInRegion(manager.banks[index], address)) {
            return index;
        }
    }
    return sc_noBank;
}

namespace {

// The nodes of a heap bank's region around an address.
struct Place {
    const char* node = nullptr;   // the node that holds the address; null when a damaged header comes before it
    const char* before = nullptr; // the last node before `node`, or before the damaged header
    const char* damaged = nullptr;
};

} // namespace

static bool isNode(const MemoryBank_s& bank, const char* header)
{
    const unsigned int left = static_cast<unsigned int>(bank.base + bank.size - header);
    if (left < sc_headerBytes) {
        return false;
    }
    const unsigned int magic = headerWord(header, WORD_MAGIC);
    const unsigned int size = headerWord(header, WORD_SIZE);
    return (magic == sc_used || magic == sc_free) && size >= sc_headerBytes && size <= left;
}

static Place placeOf(const MemoryBank_s& bank, const char* address)
{
    Place place;
    const char* header = bank.base;
    while (header < bank.base + bank.size) {
        if (!isNode(bank, header)) {
            place.damaged = header;
            return place;
        }
        const unsigned int size = headerWord(header, WORD_SIZE);
        if (static_cast<uintptr_t>(address - header) < size) {
            place.node = header;
            return place;
        }
        place.before = header;
        header += size;
    }
    return place;
}

// True when the bank's used list leads to this header.
static bool isOnUsedList(const MemoryBank_s& bank, const char* header)
{
    const MemoryHeapNode_s* node = bank.usedList;
    for (unsigned int left = bank.size / sc_granule + 1; node && left > 0; --left) {
        const char* place = reinterpret_cast<const char*>(node);
        if (place == header) {
            return true;
        }
        if (!isInRegion(bank, place) || !isInRegion(bank, place + sc_headerBytes - 1)) {
            return false;
        }
        node = insideLink(node->next);
    }
    return false;
}

// ---- Fallback blocks

// True when the links of a fallback block have the form that they get when the block is made.
static bool hasFallbackLinks(const char* header)
{
#if UINTPTR_MAX == 0xffffffffu
    return header != nullptr; // plain pointers; the lists decide
#else
    const unsigned int next = headerWord(header, WORD_NEXT);
    return (next & 3) == 1 && headerWord(header, WORD_PREV) == next + 2;
#endif
}

// Returns the newest block of the list that the fallback block is on; null when it lies too deep in the list.
static const MemoryHeapNode_s* newestOfList(const char* header)
{
    const MemoryHeapNode_s* node = nodeAt(header);
    for (int left = 32; left > 0; --left) { // games free young blocks first; a longer search would cost too much
        const MemoryHeapNode_s* newer = node->prev;
        if (!newer) {
            return node;
        }
        if (!hasFallbackLinks(reinterpret_cast<const char*>(newer))) {
            return nullptr;
        }
        node = newer;
    }
    return nullptr;
}

static int bankOfFallback(ManagerView& manager, const MemoryHeapNode_s* newest)
{
    for (int index = -1; index < manager.bankCount && index < 32; ++index) {
        if (manager.bank(index)->extList == newest) {
            return index;
        }
    }
    return sc_noBank;
}

// ---- Wrong banks

static void tellWrongBank(ManagerView& manager, int owner, int bank, const Tag& tag, const void* caller)
{
    Fault("wrong-bank", owner, manager.bank(owner))
        .block(tag)
        .what("the block was freed into ")
        .addBank(bank, manager.bank(bank))
        .stackFrom("freed by:", caller)
        .tell();
}

static void examineFallback(ManagerView& manager, int bank, const char* header, const void* caller)
{
    const MemoryHeapNode_s* newest = hasFallbackLinks(header) ? newestOfList(header) : nullptr;
    if (newest && manager.bank(bank)->extList != newest) {
        const int owner = bankOfFallback(manager, newest);
        if (owner != sc_noBank) {
            tellWrongBank(manager, owner, bank, tagOf(header), caller);
        }
    }
}

void examineFree(ManagerView& manager, int bank, const void* block, const void* caller)
{
    const MemoryBank_s* record = manager.bank(bank);
    const char* header = static_cast<const char*>(block) - sc_headerBytes;
    const int owner = bankOfRegion(manager, block);
    if (owner != sc_noBank && owner != bank && manager.banks[owner].type == MEMBANK_HEAP) {
        const Place place = placeOf(manager.banks[owner], header);
        if (place.node == header && headerWord(header, WORD_MAGIC) == sc_used) {
            tellWrongBank(manager, owner, bank, tagOf(header), caller);
        }
        return;
    }
    const bool isFallback = owner == sc_noBank && record->type == MEMBANK_HEAP &&
                            headerWord(header, WORD_MAGIC) == sc_used &&
                            (headerWord(header, WORD_SIZE) & sc_fallback) != 0;
    if (isFallback) {
        examineFallback(manager, bank, header, caller);
    }
}

// ---- Refusals

void tellDoubleFree(ManagerView& manager, int bank, const void* block, const void* caller)
{
    LastFree first;
    const bool isKnown = g_lastFrees.find(block, &first);
    Fault fault("double-free", bank, manager.bank(bank));
    if (isKnown) {
        fault.block(first.tag);
    } else {
        fault.address(block);
    }
    fault.what("free was called for a block that is free already").stackFrom("second free:", caller);
    if (isKnown) {
        fault.add("  first free:\n    ").addCode(first.caller).add("\n");
    }
    fault.tell();
}

static void tellDamagedHeader(ManagerView& manager, int bank, const char* header, const Place& place,
                              const void* caller)
{
    Fault fault("damage", bank, manager.bank(bank));
    fault.block(tagOf(header)).what("the header of a block in use is overwritten, and free refuses the block");
    fault.detail().add("the bytes of the header:").addBytes(reinterpret_cast<const unsigned char*>(header), 16);
    if (place.damaged == header && place.before) {
        fault.detail().add("the block before it: ").addTag(tagOf(place.before));
    }
    fault.stackFrom("freed by:", caller).tell();
}

static void tellNoBlock(ManagerView& manager, int bank, const void* block, const void* caller)
{
    Fault fault("no-block", bank, manager.bank(bank));
    fault.address(block);
    const int owner = bankOfRegion(manager, block);
    if (owner == sc_noBank) {
        fault.what("free was called for memory of no bank");
    } else if (manager.banks[owner].type != MEMBANK_HEAP) {
        fault.what("free was called for memory of the linear ").addBank(owner, &manager.banks[owner]);
    } else {
        const char* address = static_cast<const char*>(block);
        const Place place = placeOf(manager.banks[owner], address);
        fault.what("free was called for an address inside ").addBank(owner, &manager.banks[owner]);
        if (place.node && address - place.node < static_cast<long>(sc_headerBytes)) {
            fault.add(", in the header of a node");
        } else if (place.node) {
            const bool isUsed = headerWord(place.node, WORD_MAGIC) == sc_used;
            fault.add(isUsed ? ", in a block, after its first " : ", in a free node, after its first ");
            fault.add(static_cast<unsigned int>(address - place.node - sc_headerBytes)).add(" bytes");
            if (isUsed) {
                fault.detail().add("the block: ").addTag(tagOf(place.node));
            }
        }
    }
    fault.stackFrom("freed by:", caller).tell();
}

bool isLibraryBuffer(const void* address)
{
    static void* const s_free = dlsym(RTLD_NEXT, "_ZN9MemoryMgr4freeEiPv");
    Dl_info library;
    Dl_info owner;
    return dladdr(s_free, &library) != 0 && dladdr(address, &owner) != 0 && owner.dli_fbase == library.dli_fbase;
}

void explainRefusal(ManagerView& manager, int bank, const void* block, const void* caller)
{
    if (isLibraryBuffer(block)) {
        return;
    }
    const MemoryBank_s* record = manager.bank(bank);
    if (!record) {
        Fault("no-block", bank, nullptr)
            .address(block)
            .what("there is no such bank")
            .stackFrom("freed by:", caller)
            .tell();
        return;
    }
    const char* header = static_cast<const char*>(block) - sc_headerBytes;
    const bool isInside = isInRegion(*record, header) && isInRegion(*record, block);
    if (isInside && isOnUsedList(*record, header)) {
        tellDamagedHeader(manager, bank, header, placeOf(*record, header), caller);
        return;
    }
    LastFree first;
    if ((isInside && headerWord(header, WORD_MAGIC) == sc_free) ||
        (g_lastFrees.find(block, &first) && first.bank == bank)) {
        tellDoubleFree(manager, bank, block, caller);
        return;
    }
    tellNoBlock(manager, bank, block, caller);
}

} // namespace watch
