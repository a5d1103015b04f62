// The memory manager: every byte of the game, in up to 32 named banks.
//
// A bank is a best-fit heap, or a linear region that is emptied all at once. Bank sizes are tuned from run to run: at
// shutdown the manager writes down a new size for each bank, between its size s and its peak use p, and the next run
// starts from that: (s * s + p * p) / (s + p). A heap bank that has overflowed comes nearer to its peak with each
// run, by about half of the distance in the end, and never reaches it. A bank that is too large loses its room in the
// same way. So define a bank with its expected peak and some room.
//
//     class GameMemory : public MemoryMgr {
//         void onOutOfMemory(int) override {}           // last words, before the process ends
//     };
//
//     GameMemory memory;
//     memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
//     int level = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "level", 4 << 20);
//     memory.initialize();
//     void* mesh = g_MemoryPtr->alloc(level, bytes, "game/mesh", __LINE__);
//     g_MemoryPtr->free(level, nullptr);                // the level is over: forget everything in it
//
// There is one manager, the game's own class derived from this one: a static or an automatic object, or made with `new`, or
// in storage of the game's with `new (storage)`. Bank 0, the one that is defined first, is the library's own: whatever core
// allocates comes from there, so it has to exist before anything but the platform's identity calls is used. It is a
// heap: core frees its blocks one by one, and the first that goes back to a linear bank empties it.
//
// alloc, free and getSize may be called from any thread; all else belongs to the main thread. Each bank has a
// recursive lock of its own, held while the callbacks of its location run.
#pragma once

#include "core/allocator.h"
#include "core/memorymgr_refs.h"
#include "core/mutex.h"

class FreeList; // memorymgr_freelist.h

#pragma GCC visibility push(default)

enum e_MemoryLocation : int {
    MEMLOC_DEFAULT = 0, // ordinary process memory: malloc, realloc and free
    MEMLOC_CUSTOM = 1   // the game's own source; its callbacks have to be defined first
};

// The results of calls that can fail. defineBank returns an index where it succeeds.
enum e_MemoryError : int {
    MEMERR_NONE = 0,        // success; a sound bank
    MEMERR_UNDEFINED = -1,  // no such location; initialize: no bank is defined
    MEMERR_BANKS = -2,      // all 32 banks are taken
    MEMERR_LOCKED = -3,     // the manager is locked against definitions
    MEMERR_BLOCK = -4,      // free: not a live block; checkMemory: a block in use lacks its mark, 0xfeedface
    MEMERR_FREE_NODE = -5,  // a free node lacks its mark, 0xdeadf00d
    MEMERR_SIZE = -6,       // the nodes don't add up to the bank, or blocks are in use in one that should be empty
    MEMERR_USED_COUNT = -7, // usedNodeCount differs from the nodes in use
    MEMERR_FREE_COUNT = -8, // freeNodeCount differs from the free nodes
    MEMERR_OVERFLOW = -9    // the bank is sound, but has used a fallback block at least once
};

// Any other value makes a bank that owns nothing: each of its requests goes to its location as it stands.
enum e_MemoryBankType : int {
    MEMBANK_HEAP = 0,  // best fit, 24 bytes in front of each block
    MEMBANK_LINEAR = 1 // one block after the other, emptied as a whole
};

// In front of each block of a heap bank and each fallback block: the block starts 24 bytes behind the header. Lists
// run through next and prev; a free header has no meaning in file and line.
struct MemoryHeapNode_s {
    MemoryWord magic;   // 0xfeedface in use, 0xdeadf00d free
    MemoryWord size;    // bytes, these 24 included; the top bit is set when the block lies outside its bank
    MemoryNameRef file; // who asked for it: the caller's pointer, not a copy
    MemoryWord line;
    MemoryNodeRef next;
    MemoryNodeRef prev;
};

struct MemoryBank_s {
    e_MemoryLocation location;
    e_MemoryBankType type;
    char name[32];              // as in the bank-size file: 31 characters and a NUL
    unsigned int size;          // bytes; a multiple of 32 until the file says otherwise
    unsigned int allocCount;    // requests served, fallback blocks included
    unsigned int freeCount;     // blocks freed (heap), or resets (linear)
    unsigned int usedNodeCount; // nodes in use inside the bank
    unsigned int freeNodeCount;
    unsigned int extNodeCount;  // fallback blocks ever made; never goes down
    unsigned int bytesInUse;    // node sizes, headers included (heap); rounded requests (linear)
    unsigned int peakBytes;     // the most bytesInUse has been
    char* base;                 // null when the bank has no memory of its own
    char* cursor;               // linear: the next free byte
    MemoryHeapNode_s* freeList; // smallest first
    MemoryHeapNode_s* usedList; // newest first
    MemoryHeapNode_s* extList;  // fallback blocks, newest first
};

struct MemoryLocation_s {
    void* (*allocCb)(unsigned long size); // null when it has nothing left
    void* (*reallocCb)(void* block, unsigned long size);
    void (*freeCb)(void* block);
    void* block;            // holds all heap banks of the location, back to back
    unsigned int blockSize; // bytes
    char* carveCursor;      // where the next heap bank begins, while initialize deals them out
};

class MemoryMgr {
public:
    // Makes the game's data folder, and this object the one in g_MemoryPtr. Bank -1 works from here on.
    MemoryMgr();

    // Gives all memory back but for the fallback blocks that are still in use, and writes the bank-size file; not through
    // another user's symbolic link, which a message then names.
    // g_MemoryPtr stays as it is.
    virtual ~MemoryMgr();

    MemoryMgr(const MemoryMgr&) = delete;
    MemoryMgr& operator=(const MemoryMgr&) = delete;

    // All four: MEMERR_LOCKED when the manager is locked, MEMERR_UNDEFINED when there is no such location.
    int defineLocAllocCb(e_MemoryLocation location, void* (*callback)(unsigned long));
    int defineLocReallocCb(e_MemoryLocation location, void* (*callback)(void*, unsigned long));
    int defineLocFreeCb(e_MemoryLocation location, void (*callback)(void*));

    // The new bank's index, counted from 0; MEMERR_BANKS when all 32 are taken. A size that is no multiple of 32 is rounded up
    // to the next, and 0 becomes 32. A name of 31 characters or more is cut to 31, and cannot be found in the
    // bank-size file again.
    int defineBank(e_MemoryLocation location, e_MemoryBankType type, const char* name, unsigned int size);

    // Reads the bank-size file and takes the memory of all banks; MEMERR_UNDEFINED when none is defined. Called again, it gives
    // back all memory first and keeps the statistics.
    int initialize();

    // Bytes, as they were tuned or have grown; 0 for a bank that nobody defined, and for bank -1.
    unsigned int getMemoryBankSize(int bank) const;

    // Null only for a size of 0, and for a bank that cannot be (below -1, or 32 and above): a game out of memory ends
    // here, after an alert and onOutOfMemory. file is kept as a pointer: pass a literal. -1 is the system bank, which
    // draws each block from location 0. No alignment is promised: banks whose sizes were tuned begin anywhere.
    // AllocAlignedInBank (allocator.h) gives memory at a multiple of a power of two.
    void* alloc(int bank, unsigned long size, const char* file, unsigned int line);

    // MEMERR_NONE, also for null; MEMERR_BLOCK when block is not a live block of a heap bank, which is also the answer to
    // freeing it twice, and for a bank that cannot be. A linear bank forgets all its blocks, whatever block is; one that has
    // overflowed grows.
    int free(int bank, void* block);

    // The bytes a block of a heap bank can hold, at least those asked for. 0 in any other bank, and in bank -1.
    unsigned int getSize(int bank, void* block);

    // MEMERR_NONE when the bank's headers, lists and counters agree with each other, and always for a bank that is no heap;
    // else the first of MEMERR_BLOCK to MEMERR_OVERFLOW that holds. largestFree becomes the largest block left, header
    // included; it may be null. Takes no lock.
    int checkMemory(int bank, unsigned int* largestFree, bool expectEmpty);

    // Reads a byte of each page, 4096 bytes, of location 0's block, so that the pages are there when the game needs
    // them.
    void touchMemory();

    // Plain new takes the manager's storage from malloc; null without memory. delete gives that storage back to malloc, and
    // storage that lies in bank 0 of another living manager to that bank; all other storage stays the caller's. There is
    // one manager, so there are no arrays of them.
    static void* operator new(size_t size) noexcept;
    static void* operator new(size_t size, std::align_val_t alignment) noexcept;
    static void* operator new(size_t, void* storage) noexcept { return storage; }
    static void* operator new[](size_t) = delete;
    static void operator delete(void* manager);
    static void operator delete(void*, void*) {} // called when a constructor throws

protected:
    // The last thing that happens before a game that is out of memory ends; reason is 0.
    virtual void onOutOfMemory(int reason) = 0;

    int locked;    // nonzero refuses all definitions; for the game's manager to set
    int bankCount; // banks defined, 0 to 32
    MemoryBank_s banks[32];
    MemoryBank_s systemBank; // bank -1
    MemoryLocation_s locations[2];
    char bankSizePath[1024];

private:
    bool _holdsInBank0(const void* storage) const;
    MemoryBank_s* _bank(int bank);
    const MemoryBank_s* _bank(int bank) const;
    MemoryBank_s* _bankNamed(const char* name);
    unsigned int _calcMemorySize(e_MemoryLocation location) const;
    void _createMemoryBanks();
    void _freeAllMemory();
    void _readBankSizes();
    void _writeBankSizes() const;

    FreeList _freeListOf(MemoryBank_s* bank) const;
    void* _heapBestFit(MemoryBank_s* bank, unsigned long& size, const char* file, unsigned int line);
    MemoryHeapNode_s* _heapFindBestFit(MemoryBank_s* bank, unsigned long size);
    void _heapAddFreeNode(MemoryBank_s* bank, MemoryHeapNode_s* node);
    int _heapFree(MemoryBank_s* bank, void* block, unsigned long* sizeOut);
    int _compactHeapNode(MemoryBank_s* bank, MemoryHeapNode_s* node);
    void* _allocExtNode(MemoryBank_s* bank, unsigned long size, const char* file, unsigned int line);
    int _heapExtFree(MemoryBank_s* bank, MemoryHeapNode_s* node, unsigned long* sizeOut);
    void* _linearAlloc(MemoryBank_s* bank, unsigned long size);
    void _linearReset(MemoryBank_s* bank);
    void _linearGrow(MemoryBank_s* bank, unsigned int size);
    [[noreturn]] void _endOutOfMemory();
};

extern MemoryMgr* g_MemoryPtr; // the manager; null until one is made

#pragma GCC visibility pop
