// Reference counts. Any thread may change them.
#include "macapi/src/objects/object.h"

#include "macapi/src/objects/values.h"

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
        entryOf(kind).destroy(this);
    }
}

void Object::makeImmortal() const
{
    m_references.store(0, std::memory_order_relaxed);
    if (!isa) {
        assignClass(this);
    }
    if (const __CFArray* array = as<__CFArray>(this)) {
        for (const Ref<Object>& item : array->items) {
            item->makeImmortal();
        }
    }
    if (const __CFDictionary* dictionary = as<__CFDictionary>(this)) {
        for (const auto& [key, value] : dictionary->entries) {
            value->makeImmortal();
        }
    }
}

} // namespace macapi

using namespace macapi;

const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object)
{
    if (const Object* known = objectOf(object)) {
        known->addReference();
    }
    return object;
}

void CFRelease(CFTypeRef object)
{
    if (const Object* known = objectOf(object)) {
        known->dropReference();
    }
}
