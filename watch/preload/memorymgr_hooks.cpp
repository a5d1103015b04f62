// 1. Without a tool, each hook only calls the real function.
// 2. Without an option, a hook allocates no memory, takes no lock and writes nothing into the game's memory.
#include "watch/preload/memorymgr_hooks.h"

#include "watch/preload/announce.h"
#include "watch/preload/ending.h"
#include "watch/preload/fault.h"
#include "watch/preload/freefaults.h"
#include "watch/preload/lastfrees.h"
#include "watch/preload/managerview.h"
#include "watch/preload/realfunction.h"
#include "watch/preload/recordedbank.h"
#include "watch/preload/settings.h"

#include <limits.h>

using watch::ManagerView;

// The last request of this thread. The game may end during the request.
struct Request {
    int bank;
    unsigned long size;
    const char* file;
    unsigned int line;
    const void* caller;
};

static thread_local Request s_request __attribute__((tls_model("initial-exec")));

WATCH_FUNCTION("_ZN9MemoryMgrC2Ev", void, construct, (MemoryMgr * manager))
{
    s_construct.real()(manager);
    watch::managerBegins(manager);
    watch::recordManager(manager);
}

WATCH_FUNCTION("_ZN9MemoryMgrD2Ev", void, destroy, (MemoryMgr * manager))
{
    watch::managerEnds(manager, "the manager's end");
    if (watch::hasRecords(manager)) {
        watch::regionsEnd(manager);
    }
    watch::Quiet quiet;
    s_destroy.real()(manager);
}

WATCH_FUNCTION("_ZN9MemoryMgr10initializeEv", int, initialize, (MemoryMgr * manager))
{
    if (!watch::hasRecords(manager)) {
        return s_initialize.real()(manager);
    }
    watch::Quiet quiet;
    watch::regionsEnd(manager);
    const int result = s_initialize.real()(manager);
    watch::regionsBegin(manager);
    return result;
}

// ---- Calls that read headers: memcheck would report them as reads outside of blocks

WATCH_FUNCTION("_ZN9MemoryMgr11checkMemoryEiPjb", int, checkMemory,
               (MemoryMgr * manager, int bank, unsigned int* largestFree, bool expectEmpty))
{
    watch::Quiet quiet;
    return s_checkMemory.real()(manager, bank, largestFree, expectEmpty);
}

WATCH_FUNCTION("_ZN9MemoryMgr11touchMemoryEv", void, touchMemory, (MemoryMgr * manager))
{
    watch::Quiet quiet;
    s_touchMemory.real()(manager);
}

WATCH_FUNCTION("_ZN9MemoryMgrdlEPv", void, operatorDelete, (void* storage))
{
    watch::Quiet quiet;
    s_operatorDelete.real()(storage);
}

// ---- Blocks

WATCH_FUNCTION("_ZN9MemoryMgr10defineBankE16e_MemoryLocation16e_MemoryBankTypePKcj", int, defineBank,
               (MemoryMgr * manager, e_MemoryLocation location, e_MemoryBankType type, const char* name,
                unsigned int size))
{
    const int bank = s_defineBank.real()(manager, location, type, name, size);
    if (bank >= 0) {
        watch::bankIsDefined(bank, ManagerView::of(manager).banks[bank].size);
    }
    return bank;
}

WATCH_FUNCTION("_ZN9MemoryMgr5allocEimPKcj", void*, alloc,
               (MemoryMgr * manager, int bank, unsigned long size, const char* file, unsigned int line))
{
    s_request = {bank, size, file, line, __builtin_return_address(0)};
    if (watch::hasRecords(manager) && bank >= -1 && bank < 32) {
        watch::Quiet quiet;
        return watch::recordedAlloc({manager, bank, s_request.caller, __builtin_frame_address(0)}, size, file, line,
                                    s_alloc.real());
    }
    return s_alloc.real()(manager, bank, size, file, line);
}

WATCH_FUNCTION("_ZN9MemoryMgr7getSizeEiPv", unsigned int, getSize, (MemoryMgr * manager, int bank, void* block))
{
    watch::Quiet quiet;
    const unsigned int size = s_getSize.real()(manager, bank, block);
    if (watch::hasRecords(manager) && size != 0) {
        watch::recordGetSize({manager, bank, __builtin_return_address(0)}, block, size);
    }
    return size;
}

// Frees a block of a heap bank.
static int freeBlock(MemoryMgr* manager, int bank, const MemoryBank_s& record, void* block, const void* caller);

WATCH_FUNCTION("_ZN9MemoryMgr4freeEiPv", int, free, (MemoryMgr * manager, int bank, void* block))
{
    const void* caller = __builtin_return_address(0);
    ManagerView& view = ManagerView::of(manager);
    const MemoryBank_s* record = view.bank(bank);
    if (watch::hasRecords(manager) && record) {
        watch::Quiet quiet;
        return watch::recordedFree({manager, bank, caller}, block, s_free.real());
    }
    if (!watch::settings().socket || !block) {
        return s_free.real()(manager, bank, block);
    }
    if (record && record->type == MEMBANK_HEAP) {
        return freeBlock(manager, bank, *record, block, caller);
    }
    if (record) {
        watch::examineFree(view, bank, block, caller);
    } else {
        watch::explainRefusal(view, bank, block, caller);
    }
    return s_free.real()(manager, bank, block);
}

static int freeBlock(MemoryMgr* manager, int bank, const MemoryBank_s& record, void* block, const void* caller)
{
    const char* header = static_cast<const char*>(block) - watch::sc_headerBytes;
    if (!watch::isInRegion(record, header)) {
        watch::examineFree(ManagerView::of(manager), bank, block, caller);
    }
    const watch::LastFree last = {bank, watch::tagOf(header), caller};
    const int result = s_free.real()(manager, bank, block);
    if (result == MEMERR_NONE) {
        watch::g_lastFrees.note(block, last);
    } else {
        watch::explainRefusal(ManagerView::of(manager), bank, block, caller);
    }
    return result;
}

WATCH_FUNCTION("_ZN9MemoryMgr15_endOutOfMemoryEv", void, endOutOfMemory, (MemoryMgr * manager))
{
    const Request& request = s_request;
    const unsigned int size = request.size > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(request.size);
    watch::Fault("out-of-memory", request.bank, ManagerView::of(manager).bank(request.bank))
        .block(size, request.file, request.line)
        .what("the game ends, because neither the bank nor its location has this much memory")
        .stackFrom("allocated by:", request.caller)
        .tell();
    watch::managerEnds(manager, "out of memory");
    s_endOutOfMemory.real()(manager);
    __builtin_unreachable();
}

void watch::checkAllBanks(MemoryMgr* manager)
{
    if (hasRecords(manager)) {
        checkRecords(manager, s_free.real());
    }
}

void watch::sendRecords(MemoryMgr* manager, Channel& channel)
{
    if (hasRecords(manager)) {
        sendBlocks(manager, channel);
    }
}
