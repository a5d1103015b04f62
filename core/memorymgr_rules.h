// RulesWatch: checks the rules at the top of memorymgr_heap.cpp and memorymgr_index.h before and after an operation
// of a heap bank. It does so in a checked build only (the CMake option CORE_CHECKED); in any other build this class
// is empty.
//
// If the bank meets the rules before the operation and not after it, the process ends with a message that names the
// broken rule. There is no check after the operation in three cases:
//
// - the bank breaks a rule before the operation: the game or a stray write has changed headers, lists or counters;
// - the operation frees an address that is not a live block;
// - the operation takes a fallback block: the callback of the location is the game's code and may change the bank.
//
// A check walks all nodes of the bank. In a bank with more than 64 nodes only some operations are checked, so that
// the checks walk about 64 nodes for each operation on average.
#pragma once

#include "core/memorymgr.h"

#ifdef CORE_CHECKED

class RulesWatch {
public:
    // number and bank: of the operation. node: the header of the block that the operation frees; null for alloc.
    RulesWatch(int number, const MemoryBank_s* bank, MemoryHeapNode_s* node);
    ~RulesWatch();

private:
    const char* _brokenRule() const;

    int m_number;
    const MemoryBank_s* m_bank;
    unsigned int m_fallbackCount; // before the operation
    bool m_isChecked;             // whether to check after the operation
};

#else

class RulesWatch {
public:
    RulesWatch(int, const MemoryBank_s*, MemoryHeapNode_s*) {}
};

#endif
