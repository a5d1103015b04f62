// Counting references, from any thread.
#include "macapi/src/object.h"

namespace macapi {

void Object::addReference() const
{
    if (m_references.load(std::memory_order_relaxed) != 0) {
        m_references.fetch_add(1, std::memory_order_relaxed);
    }
}

void Object::dropReference() const
{
    if (m_references.load(std::memory_order_relaxed) != 0 &&
        m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

void Object::makeImmortal() const
{
    m_references.store(0, std::memory_order_relaxed);
}

} // namespace macapi

using namespace macapi;

const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object)
{
    if (object) {
        static_cast<const Object*>(object)->addReference();
    }
    return object;
}

void CFRelease(CFTypeRef object)
{
    if (object) {
        static_cast<const Object*>(object)->dropReference();
    }
}
