// What every object begins with: its class, its kind and its reference count.
//
// 1. An object starts with one reference, does not change once it is made, and goes with its last reference.
// 2. An immortal object takes no notice of references. Constants are immortal, and so is what the system lends to
//    callers that are known to release it.
// 3. In a program with Objective-C an object answers its messages: its first word is its class, as there. So there are
//    no virtual functions, whose table would be in that place.
// 4. The exported calls are thin: they look at their arguments, and ask what is declared in these headers. Nothing in
//    here calls an exported function, since a program may have put its own in front of it.
// 5. No exported call throws. Where there is no memory for its work it fails, as its callers know it to.
#pragma once

#include "macapi/src/appkit/bridge.h"
#include "macapi/src/objects/kinds.h"

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace macapi {

class Object {
public:
    explicit Object(Kind objectKind) : isa(classOf(objectKind)), kind(objectKind) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    void addReference() const;
    void dropReference() const;
    void makeImmortal() const; // with all it holds; before another thread sees it
    unsigned int references() const { return m_references.load(std::memory_order_relaxed); } // 0: immortal

    mutable std::atomic<const void*> isa; // null: no messages
    const Kind kind;

protected:
    ~Object() = default; // by dropReference

private:
    mutable std::atomic<unsigned int> m_references{1}; // 0: immortal
};

struct DropReference {
    void operator()(const Object* object) const { object->dropReference(); }
};

// One reference. release() hands it to the caller of an exported Create or Copy.
template <class T>
using Ref = std::unique_ptr<const T, DropReference>;

template <class T, class... Arguments>
Ref<T> make(Arguments&&... arguments)
{
    return Ref<T>(new T(std::forward<Arguments>(arguments)...));
}

// One reference more to an object that somebody has already; null stays null.
template <class T>
Ref<T> share(const T* object)
{
    if (object) {
        object->addReference();
    }
    return Ref<T>(object);
}

template <class T>
const T* immortal(Ref<T> object)
{
    object->makeImmortal();
    return object.release();
}

// A constant: immortal, in static storage, and never destroyed. Its address is known before any code runs, so that a
// program's own definition of the exported pointer to it is none of our business.
template <class T>
union Constant {
    template <class... Arguments>
    explicit Constant(Arguments&&... arguments)
    {
        // Made here and not in a list of initialisers: clang would ask for its destructor there, and not define it.
        ::new (&object) T(std::forward<Arguments>(arguments)...);
        object.makeImmortal();
    }
    ~Constant() {}

    T object;
};

// The object behind a reference from outside; null when there is none, or it is none of ours but, say, AppKit's.
inline const Object* objectOf(CFTypeRef reference)
{
    const Object* object = static_cast<const Object*>(reference);
    if (!object || reinterpret_cast<uintptr_t>(object) % alignof(Object) != 0) {
        return nullptr;
    }
    const void* objectClass = object->isa.load(std::memory_order_relaxed);
    return !objectClass || isObjectClass(objectClass) ? object : nullptr;
}

// The same; null also when it is of another kind.
template <class T>
const T* as(CFTypeRef reference)
{
    const Object* object = objectOf(reference);
    return object && object->kind == T::sc_kind ? static_cast<const T*>(object) : nullptr;
}

} // namespace macapi
