#include "demo/bankcheck.h"

static const unsigned int sc_usedMagic = 0xfeedface;

struct Blocks {
    unsigned int count = 0;
    unsigned int bytes = 0; // headers included
};

static int addUp(GameMemory& memory, int bank, MemoryHeapNode_s* list, Blocks* blocks)
{
    MemoryHeapNode_s* before = nullptr;
    for (MemoryHeapNode_s* node = list; node; node = node->next) {
        if (node->magic != sc_usedMagic) {
            return MEMERR_BLOCK;
        }
        if (node->prev != before) {
            return BANK_LINK_BROKEN;
        }
        blocks->count += 1;
        blocks->bytes += memory.getSize(bank, node + 1) + static_cast<unsigned int>(sizeof(MemoryHeapNode_s));
        before = node;
    }
    return BANK_SOUND;
}

static int checkHeap(GameMemory& memory, int index, bool expectEmpty)
{
    const MemoryBank_s& bank = memory.bank(index);
    unsigned int largestFree = 0;
    if (bank.base) { // null when the bank got no region: then all its blocks are fallback blocks
        const int code = memory.checkMemory(index, &largestFree, false);
        // checkMemory returns MEMERR_OVERFLOW only after all its other checks have passed.
        if (code != MEMERR_NONE && code != MEMERR_OVERFLOW) {
            return code;
        }
    }
    Blocks blocks;
    for (MemoryHeapNode_s* list : {bank.usedList, bank.extList}) {
        if (const int code = addUp(memory, index, list, &blocks)) {
            return code;
        }
    }
    if (blocks.count != bank.allocCount - bank.freeCount) {
        return BANK_BLOCK_LOST;
    }
    if (blocks.bytes != bank.bytesInUse) {
        return BANK_BYTES_LOST;
    }
    if (expectEmpty && blocks.count != 0) {
        return BANK_NOT_EMPTY;
    }
    if (expectEmpty && bank.base && largestFree != bank.size) {
        return BANK_NOT_JOINED;
    }
    return BANK_SOUND;
}

// Between two frames each linear bank must be empty.
static int checkLinear(const MemoryBank_s& bank)
{
    return bank.bytesInUse == 0 && bank.cursor == bank.base && !bank.extList ? BANK_SOUND : BANK_NOT_EMPTY;
}

int CheckBank(GameMemory& memory, int bank, bool expectEmpty)
{
    return memory.bank(bank).type == MEMBANK_LINEAR ? checkLinear(memory.bank(bank))
                                                    : checkHeap(memory, bank, expectEmpty);
}
