// The memory manager: every byte of the game, in up to 32 named banks.
//
// A bank is a best-fit heap, or a linear region that is emptied all at once. Banks size themselves: at shutdown each
// writes down what it would have liked to be, and the next run starts from there.
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
// There is one manager, the game's own class derived from this one; it is a static or an automatic object, or made
// with `::new` in storage of the game's. Bank 0, the one that is defined first, is the library's own: whatever core
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

    // Gives all memory back but for the fallback blocks that are still in use, and writes the bank-size file.
    // g_MemoryPtr stays as it is.
    virtual ~MemoryMgr();

    MemoryMgr(const MemoryMgr&) = delete;
    MemoryMgr& operator=(const MemoryMgr&) = delete;

    // All four: -3 when the manager is locked, -1 when there is no such location.
    int defineLocAllocCb(e_MemoryLocation location, void* (*callback)(unsigned long));
    int defineLocReallocCb(e_MemoryLocation location, void* (*callback)(void*, unsigned long));
    int defineLocFreeCb(e_MemoryLocation location, void (*callback)(void*));

    // The new bank's index, counted from 0; -2 when all 32 are taken. A size that is no multiple of 32 is rounded up
    // to the next, and 0 becomes 32. A name of 31 characters or more is cut to 31, and cannot be found in the
    // bank-size file again.
    int defineBank(e_MemoryLocation location, e_MemoryBankType type, const char* name, unsigned int size);

    // Reads the bank-size file and takes the memory of all banks; -1 when none is defined. Called again, it gives
    // back all memory first and keeps the statistics.
    int initialize();

    // Bytes, as they were tuned or have grown; 0 for a bank that nobody defined, and for bank -1.
    unsigned int getMemoryBankSize(int bank) const;

    // Null only for a size of 0, and for a bank that cannot be (below -1, or 32 and above): a game out of memory ends
    // here, after an alert and onOutOfMemory. file is kept as a pointer: pass a literal. -1 is the system bank, which
    // draws each block from location 0. No alignment is promised: banks whose sizes were tuned begin anywhere.
    void* alloc(int bank, unsigned long size, const char* file, unsigned int line);

    // 0, also for null; in a heap bank -4 when block is not a live block, which is also the answer to freeing it
    // twice, and for a bank that cannot be. A linear bank forgets all its blocks, whatever block is; one that has
    // overflowed grows.
    int free(int bank, void* block);

    // The bytes a block of a heap bank can hold, at least those asked for. 0 in any other bank, and in bank -1.
    unsigned int getSize(int bank, void* block);

    // 0 when the bank's headers, lists and counters agree with each other, and what is wrong with it otherwise: -4 a
    // block in use lacks its mark, -5 a free one does, -6 the sizes don't add up to the bank's, or something is in
    // use when expectEmpty says nothing is, -7 and -8 the counts of used and of free nodes are off, -9 the bank has
    // overflowed at least once. largestFree becomes the largest block left, header included; it may be null. Takes
    // no lock.
    int checkMemory(int bank, unsigned int* largestFree, bool expectEmpty);

    // Reads a byte of each page, 4096 bytes, of location 0's block, so that the pages are there when the game needs
    // them.
    void touchMemory();

    // Storage goes back to bank 0 of the manager in g_MemoryPtr, where that is not the one that has just ended.
    static void operator delete(void* manager);
    static void* operator new(size_t) = delete;

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
    void _linearGrow(MemoryBank_s* bank);
    [[noreturn]] void _endOutOfMemory();
};

extern MemoryMgr* g_MemoryPtr; // the manager; null until one is made

#pragma GCC visibility pop
