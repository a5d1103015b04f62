// The return addresses of a thread's stack, innermost first.
#pragma once

#include "watch/preload/message.h"

namespace watch {

class Stack {
public:
    static const unsigned int sc_most = 12;

    // Records at most `most` places of the stack of this thread, from the return address `caller` on. Allocates no
    // memory.
    void capture(const void* caller, unsigned int most = sc_most);

    unsigned int count() const { return m_count; }
    const void* at(unsigned int index) const { return m_places[index]; }

    // Where the return address would be stored, on a processor that stores it directly before the caller's frame.
    uintptr_t slotAt(unsigned int index) const { return m_frames[index] - sizeof(uintptr_t); }

    // Adds a line with the title, and a line for each place.
    void addTo(Message& message, const char* title) const;

private:
    const void* m_places[sc_most] = {};
    uintptr_t m_frames[sc_most] = {};
    unsigned int m_count = 0;
};

} // namespace watch
