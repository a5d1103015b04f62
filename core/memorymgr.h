// The memory manager: all memory of the game and of this library, in up to 32 named banks.
//
// A bank is a budget: a name and a size in bytes. A heap bank serves and frees blocks one by one, by best fit. A
// linear bank serves one block after the other and is emptied as a whole. When a bank has no room for a request, the
// manager gets a fallback block from the bank's location. The size of a bank in the next run follows from its use.
//
//     class GameMemory : public MemoryMgr {
//         void onOutOfMemory(int) override {}           // save a log here; the process ends after this call
//     };
//
//     GameMemory memory;
//     memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
//     int level = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "level", 4 << 20);
//     memory.initialize();
//     void* mesh = g_MemoryPtr->alloc(level, bytes, "game/mesh", __LINE__);
//     g_MemoryPtr->free(level, nullptr);                // the level is over: empty the bank
//
// The manager. A game has one manager: an object of the game's own class, which derives from MemoryMgr. The game owns
// the object; it may be static, automatic, or made with `new`. The manager must exist before the game uses other
// classes of this library. The calls of Platform that need no manager are listed in docs/architecture.md ("The
// layers").
//
// Bank 0. The first bank that the game defines is also the library's bank: the library allocates all its blocks
// there. Make it a heap bank. The library frees its blocks one by one, and in a linear bank each free empties the
// whole bank.
//
// Threads. alloc, free and getSize may be called from any thread. All other calls belong to the main thread. Each
// bank has a recursive lock; alloc, free and getSize hold it until they return, also while they call a callback of
// the location.
//
// Where the memory lies. A location is a source of memory. For its heap banks together, a location gives one piece of
// memory; each heap bank owns a part of it, the bank's region. For each linear bank and for each fallback block, the
// location gives a piece of its own.
//
//   one piece of location 0                         another piece               one piece each
//   +-------------------+---------------+           +-------------------+       +--------+-------+
//   | bank 0, heap      | bank 2, heap  |           | bank 1, linear    |       | header | block |
//   +-------------------+---------------+           +-------------------+       +--------+-------+
//   regions, back to back in the order              region                      fallback block
//   of definition
//
//   inside the region of a heap bank:               inside the region of a linear bank:
//   +--------+-------+--------+------+---           +-------+-------+-------+--------------+
//   | header | block | header | free | ...          | block | block | block | free         |
//   +--------+-------+--------+------+---           +-------+-------+-------+--------------+
//   |<--- node ----->|<--- node ---->|                                      ^ cursor
//
// How bank sizes are tuned. The manager records each bank's high-water mark, the most bytes that were in use at one
// moment. The destructor computes a new size for each bank, (s * s + p * p) / (s + p), where s is the bank's size and
// p its high-water mark, and writes it to the bank-size file. The next run reads these sizes in initialize and uses
// them instead of the sizes in the code. So a bank smaller than p grows with each run, a bank larger than p shrinks,
// and a bank without any use does not change. A bank that was too small never reaches p, so define each bank with
// its expected peak and some room; docs/surprises.md ("Memory") has measurements.
#pragma once

#include "core/allocator.h"
#include "core/memorymgr_refs.h"
#include "core/mutex.h"

class FreeList; // memorymgr_freelist.h

#pragma GCC visibility push(default)

enum e_MemoryLocation : int {
    MEMLOC_DEFAULT = 0, // ordinary memory of the process: malloc, realloc and free
    MEMLOC_CUSTOM = 1   // memory of the game's own source; the game defines its callbacks before initialize
};

// The kinds of banks. A bank of any other value has no region: each of its requests becomes a fallback block, and
// free does nothing in it. docs/surprises.md describes such a bank.
enum e_MemoryBankType : int {
    MEMBANK_HEAP = 0,  // best fit; a header of 24 bytes before each block
    MEMBANK_LINEAR = 1 // one block directly after the other, without headers; free empties the whole bank
};

// The results of calls that can fail.
enum e_MemoryError : int {
    MEMERR_NONE = 0,        // success; checkMemory: the bank is sound
    MEMERR_UNDEFINED = -1,  // the location does not exist; initialize: no bank is defined
    MEMERR_BANKS = -2,      // 32 banks are defined already
    MEMERR_LOCKED = -3,     // the field `locked` is not 0, so nothing can be defined
    MEMERR_BLOCK = -4,      // free: not a block in use; checkMemory: a used node lacks its mark, 0xfeedface
    MEMERR_FREE_NODE = -5,  // a free node lacks its mark, 0xdeadf00d
    MEMERR_SIZE = -6,       // the nodes do not add up to the bank's size, or the bank has to be empty and is not
    MEMERR_USED_COUNT = -7, // usedNodeCount is not the number of nodes on the used list
    MEMERR_FREE_COUNT = -8, // freeNodeCount is not the number of nodes on the free list
    MEMERR_OVERFLOW = -9    // the bank is sound, but has handed out a fallback block at least once
};

// ---- The records. Their layouts are frozen; see docs/architecture.md ("Record layouts and virtual tables").
// Addresses, lists and counters of a bank are used under its lock.

// The header: 24 bytes before each block of a heap bank, before each fallback block, and at the start of each free
// node.
//
//   0       4       8       12      16      20      24 bytes
//   +-------+-------+-------+-------+-------+-------+--------------------+
//   | magic | size  | file  | line  | next  | prev  | the block          |
//   +-------+-------+-------+-------+-------+-------+--------------------+
//   |<--------------- header ---------------------->|<--- size - 24 ---->|
//
// next and prev link the nodes of one list. In a free node, file and line have no meaning.
struct MemoryHeapNode_s {
    MemoryWord magic;   // 0xfeedface: in use; 0xdeadf00d: free
    MemoryWord size;    // bytes of the node, header included; the top bit, 0x80000000, is set in a fallback block
    MemoryNameRef file; // the source name: the caller's pointer, not a copy of the text
    MemoryWord line;    // the line that the caller gave
    MemoryNodeRef next;
    MemoryNodeRef prev;
};

struct MemoryBank_s {
    e_MemoryLocation location;
    e_MemoryBankType type;
    char name[32];              // at most 31 characters and a NUL
    unsigned int size;          // bytes; a multiple of 32, unless the size was tuned or the bank has grown
    unsigned int allocCount;    // requests served, fallback blocks included
    unsigned int freeCount;     // heap: blocks freed; linear: how often the bank was emptied
    unsigned int usedNodeCount; // nodes in use in the region
    unsigned int freeNodeCount; // free nodes in the region; 1 before initialize
    unsigned int extNodeCount;  // fallback blocks made so far; freeing a fallback block does not lower it
    unsigned int bytesInUse;    // heap: sizes of nodes; linear: requests rounded up to 32; plus fallback blocks
    unsigned int peakBytes;     // the high-water mark: the largest value of bytesInUse so far
    char* base;                 // the region; null when the bank has none
    char* cursor;               // linear: the first free byte of the region
    MemoryHeapNode_s* freeList; // the free nodes, from small to large
    MemoryHeapNode_s* usedList; // the nodes in use, newest first; null in a linear bank
    MemoryHeapNode_s* extList;  // the fallback blocks, newest first
};

// When alloc or free call a callback, they hold the lock of their bank. A callback may call the manager again. Two
// callbacks on two threads, each of which uses the bank of the other, can wait for each other forever.
struct MemoryLocation_s {
    void* (*allocCb)(unsigned long size);                // returns memory of size bytes; null when there is none
    void* (*reallocCb)(void* block, unsigned long size); // resizes a linear bank's region; null: it has none
    void (*freeCb)(void* block);
    void* block;            // the piece of memory that holds the regions of all heap banks of this location
    unsigned int blockSize; // bytes of that piece
    char* carveCursor;      // used by initialize: where the next heap bank's region begins
};

class MemoryMgr {
public:
    // ---- Start and end

    // Stores this object in g_MemoryPtr and calls Platform::GetAppDataDir("data"), which makes the folder of the
    // bank-size file. A game that has called GetAppDataDir before has to make the folder "data" itself; otherwise
    // the file cannot be written.
    //
    // From here on the system bank, bank -1, can be used. All other banks have to be defined first, and then
    // initialize has to be called.
    MemoryMgr();

    // Gives all regions back to their locations and writes the bank-size file. Fallback blocks that are still in use
    // stay allocated. g_MemoryPtr does not change. When the file can't be written, there is no message. When
    // another user's link is in the path (docs/surprises.md, "Memory"), the file is not written, and a message of
    // level 3 names the path.
    virtual ~MemoryMgr();

    MemoryMgr(const MemoryMgr&) = delete;
    MemoryMgr& operator=(const MemoryMgr&) = delete;

    // Plain `new` takes the manager's storage from malloc; returns null when malloc has none. `new (storage)`
    // constructs the manager in storage that the game owns. `delete` destroys the manager; its storage:
    //
    // | The storage comes from | `delete` |
    // |---|---|
    // | plain `new` | frees it with free of the C library |
    // | bank 0 of another living manager | frees it in that bank |
    // | any other place | does not free it; the owner does |
    //
    // An array of managers does not compile, because a game has one manager.
    static void* operator new(size_t size) noexcept;
    static void* operator new(size_t size, std::align_val_t alignment) noexcept;
    static void* operator new(size_t, void* storage) noexcept { return storage; }
    static void* operator new[](size_t) = delete;
    static void operator delete(void* manager);
    static void operator delete(void*, void*) {} // the compiler calls this one when a constructor throws

    // Reads the bank-size file and gets a region for each bank. Returns MEMERR_NONE; MEMERR_UNDEFINED when no bank is
    // defined. A missing file is no error. When another user's link is in the path, the file is not read.
    // When a location has no memory for a bank, the bank gets no region, and all its blocks are fallback blocks;
    // checkMemory returns MEMERR_SIZE for such a heap bank.
    //
    // A second call first gives all regions back. All blocks in them become invalid; fallback blocks stay valid.
    // The counters and high-water marks are not set back to 0.
    int initialize();

    // Reads one byte of every 4096 of the piece of memory that holds the heap banks of location 0. So the
    // operating system maps these pages now, and not when the game first uses them. Linear banks are not read.
    void touchMemory();

    // ---- Defining banks and locations: before initialize

    // Defines a bank of size bytes. A size that is not a multiple of 32 is rounded up to the next multiple; 0 becomes
    // 32. Returns the bank's index: 0 for the first bank, at most 31. Returns MEMERR_LOCKED when the manager is
    // locked, MEMERR_BANKS when 32 banks are defined, MEMERR_UNDEFINED when the location does not exist.
    //
    // The name identifies the bank in the bank-size file, so give each bank a name of its own, of 1 to 30 characters,
    // without '=' and line feeds. The name is copied. A longer name is truncated to 31 characters, and its size is
    // not tuned.
    int defineBank(e_MemoryLocation location, e_MemoryBankType type, const char* name, unsigned int size);

    // Replace one callback of a location. Location 0 begins with malloc, realloc and free, location 1 with none. Each
    // returns MEMERR_NONE, MEMERR_LOCKED when the manager is locked, or MEMERR_UNDEFINED when the location does not
    // exist. A null allocCb or reallocCb acts like a callback that returns null; a null freeCb frees nothing.
    int defineLocAllocCb(e_MemoryLocation location, void* (*callback)(unsigned long));
    int defineLocReallocCb(e_MemoryLocation location, void* (*callback)(void*, unsigned long));
    int defineLocFreeCb(e_MemoryLocation location, void (*callback)(void*));

    // ---- Allocating: from any thread. bank is the index of a defined bank, or -1 for the system bank.
    //
    // The system bank has no region. Each of its blocks is a fallback block of location 0. An index up to 31 without
    // a defined bank behaves in the same way.

    // Returns a block of at least size bytes, not cleared; null for a size of 0 and for a bank below -1 or above 31.
    // Without memory the game ends: an alert, onOutOfMemory, exit(-1). A size of 2 GiB and more also ends the game,
    // except in a linear bank whose region has room for it.
    //
    // file and line are the block's tag in reports of leaks. The manager keeps the pointer file, so pass a literal.
    // No alignment is promised, because the region of a tuned bank may begin at any address; AllocAlignedInBank
    // (core/allocator.h) returns aligned memory.
    void* alloc(int bank, unsigned long size, const char* file, unsigned int line);

    // Heap bank and system bank: frees the block and returns MEMERR_NONE; does nothing for null and returns
    // MEMERR_NONE. Returns MEMERR_BLOCK and does nothing when block is not a block in use, for example when it has
    // been freed already.
    //
    // Linear bank: empties the whole bank, for any pointer and for null, and returns MEMERR_NONE. If more bytes were
    // in use than the bank's size, its region also grows: to 1.5 times its size, or to the bytes that were in use if
    // these are more. The region may move.
    //
    // Returns MEMERR_BLOCK for a bank below -1 or above 31.
    int free(int bank, void* block);

    // Returns how many bytes the block of a heap bank can hold: at least as many as were requested. Returns 0 for
    // null, in the system bank and in banks that are no heap banks. block has to be a block in use.
    unsigned int getSize(int bank, void* block);

    // ---- Looking into a bank: from the main thread

    // Returns the bank's size in bytes: as defined, as read from the bank-size file, or as a linear bank has grown.
    // Returns 0 for a bank that is not defined and for the system bank.
    unsigned int getMemoryBankSize(int bank) const;

    // Compares the headers, lists and counters of a heap bank. Returns the first error in the order MEMERR_BLOCK,
    // MEMERR_FREE_NODE, MEMERR_SIZE, MEMERR_USED_COUNT, MEMERR_FREE_COUNT, MEMERR_OVERFLOW; MEMERR_NONE when there is
    // none, and always for a bank that is no heap bank. With expectEmpty, blocks in use inside the region count as
    // MEMERR_SIZE. A node that does not lie in the region lacks its mark; a list whose links form a circle counts as
    // MEMERR_SIZE. So a damaged header makes the check neither read other memory nor run for ever.
    //
    // Stores a number in *largestFree, which may be null. Heap bank: the size of the largest free node, header
    // included; after an error, of those that were checked before it. Linear bank: size - bytesInUse, which wraps
    // around when the bank has overflowed. Any other bank: 0.
    //
    // Takes no lock: no other thread may use the bank during the call.
    int checkMemory(int bank, unsigned int* largestFree, bool expectEmpty);

protected:
    // ---- For the game's own class

    // Called when a request cannot be served, after the alert and before exit(-1). reason is always 0. The lock of
    // the bank is held, so do not wait here for another thread that uses the bank.
    virtual void onOutOfMemory(int reason) = 0;

    int locked;    // set it to nonzero to refuse all further definitions; 0 at construction
    int bankCount; // banks defined, 0 to 32
    MemoryBank_s banks[32];
    MemoryBank_s systemBank; // bank -1
    MemoryLocation_s locations[2];
    char bankSizePath[1024]; // the bank-size file; a change before initialize moves the file elsewhere

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
