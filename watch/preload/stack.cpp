#include "watch/preload/stack.h"

#include <unwind.h>

namespace watch {

namespace {

struct Capture {
    const void* caller;
    const void** places;
    uintptr_t* frames;
    unsigned int count;
    unsigned int most;
    unsigned int left; // frames that may still be looked at
};

} // namespace

static _Unwind_Reason_Code addPlace(_Unwind_Context* context, void* capture)
{
    Capture& wanted = *static_cast<Capture*>(capture);
    const void* place = reinterpret_cast<const void*>(_Unwind_GetIP(context));
    if (wanted.count > 0 || place == wanted.caller) {
        wanted.frames[wanted.count] = _Unwind_GetCFA(context);
        wanted.places[wanted.count++] = place;
    }
    const bool isEnough = wanted.count == wanted.most || --wanted.left == 0 || !place;
    return isEnough ? _URC_END_OF_STACK : _URC_NO_REASON;
}

void Stack::capture(const void* caller, unsigned int most)
{
    Capture wanted = {caller, m_places, m_frames, 0, most, 32};
    _Unwind_Backtrace(addPlace, &wanted);
    m_count = wanted.count;
    if (m_count == 0) {
        m_places[m_count++] = caller; // the unwinder knows nothing of the game's code
    }
}

void Stack::addTo(Message& message, const char* title) const
{
    message.add("  ").add(title).add("\n");
    for (unsigned int index = 0; index < m_count; ++index) {
        message.add("    ").addCode(m_places[index]).add("\n");
    }
}

} // namespace watch
