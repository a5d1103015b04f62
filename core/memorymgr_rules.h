// The rules at the top of memorymgr_heap.cpp and memorymgr_index.h, checked around each operation of a heap bank. Only a
// checked build (the CMake option CORE_CHECKED) does so; in any other one this class is empty.
//
// A bank that keeps the rules before an operation has to keep them after it, else the process ends with the rule that
// was broken. A bank that does not keep them before, because the game or a stray write has changed its headers, lists or
// counters, is left alone: then the documented answers apply. So is an operation that frees what was no block,
// and one that takes a fallback block: its location, the game's, may have written anywhere.
//
// A check walks all nodes of the bank. With more than 64 nodes it takes place in some operations only, so that checks
// take about 64 steps for each operation.
#pragma once

#include "core/memorymgr.h"

#ifdef CORE_CHECKED

class RulesWatch {
public:
    // number and bank are those of the operation, node the header of what it is about to free; null for other operations.
    RulesWatch(int number, const MemoryBank_s* bank, MemoryHeapNode_s* node);
    ~RulesWatch();

private:
    const char* _brokenRule() const;

    int m_number;
    const MemoryBank_s* m_bank;
    unsigned int m_fallbackCount; // at the beginning of the operation
    bool m_isChecked;             // at the end of it
};

#else

class RulesWatch {
public:
    RulesWatch(int, const MemoryBank_s*, MemoryHeapNode_s*) {}
};

#endif
