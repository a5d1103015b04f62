// What every object begins with: its class, its kind and its reference count. README.md has the rules of this folder.
//
// 1. A new object has one reference. It does not change, and it is destroyed when its last reference is dropped.
// 2. References to an immortal object are not counted. Constants are immortal. So are objects that callers get
//    without a reference and may release anyway, such as the values of Info.plist.
// 3. In a program with Objective-C, the first word of an object is its class. So objects have no virtual functions:
//    the pointer to the virtual table would take the first word.
// 4. An exported call checks its arguments and then calls what these headers declare. No code here calls an exported
//    function, because a program may define that function itself.
// 5. No exported call throws. Without memory for its work, a call fails with its documented error.
#pragma once

#include "macapi/src/appkit/bridge.h"
#include "macapi/src/objects/kinds.h"

#include <CoreFoundation/CoreFoundation.h>

#include <assert.h>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace macapi {

class Object {
public:
    explicit Object(Kind objectKind) : isa(classOf(objectKind)), kind(objectKind)
    {
        assert(static_cast<const void*>(&isa) == this && "objects 1: the first word of an object is its class");
    }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    void addReference() const;
    void dropReference() const;
    void makeImmortal() const; // also all objects inside it; call this before another thread sees the object
    unsigned int references() const { return m_references.load(std::memory_order_relaxed); } // 0: immortal

    mutable std::atomic<const void*> isa; // the Objective-C class; null: the object answers no messages
    const Kind kind;

protected:
    ~Object() = default; // only dropReference destroys an object

private:
    mutable std::atomic<unsigned int> m_references{1}; // 0: immortal
};

struct DropReference {
    void operator()(const Object* object) const { object->dropReference(); }
};

// Owns one reference. release() hands the reference to the caller of an exported Create or Copy call.
template <class T>
using Ref = std::unique_ptr<const T, DropReference>;

template <class T, class... Arguments>
Ref<T> make(Arguments&&... arguments)
{
    static_assert(!std::is_polymorphic_v<T>, "objects 1: an object has no virtual table");
    return Ref<T>(new T(std::forward<Arguments>(arguments)...));
}

// Adds a reference to an object that already has an owner. Returns null for null.
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

// A constant: an immortal object in static storage that is never destroyed. Code here uses the object itself, never
// the exported pointer to it, such as kCGDisplayWidth, because a program may define that pointer itself.
template <class T>
union Constant {
    template <class... Arguments>
    explicit Constant(Arguments&&... arguments)
    {
        // Not in an initialiser list: clang would then need the destructor of T, which is not public.
        ::new (&object) T(std::forward<Arguments>(arguments)...);
        object.makeImmortal();
    }
    ~Constant() {}

    T object;
};

// Returns the object that a caller's reference points to. Returns null for null, and for an object that is not of
// this library, such as one of AppKit's.
inline const Object* objectOf(CFTypeRef reference)
{
    const Object* object = static_cast<const Object*>(reference);
    if (!object || reinterpret_cast<uintptr_t>(object) % alignof(Object) != 0) {
        return nullptr;
    }
    const void* objectClass = object->isa.load(std::memory_order_relaxed);
    return !objectClass || isObjectClass(objectClass) ? object : nullptr;
}

// Like objectOf, but returns null also for an object of another kind.
template <class T>
const T* as(CFTypeRef reference)
{
    const Object* object = objectOf(reference);
    return object && object->kind == T::sc_kind ? static_cast<const T*>(object) : nullptr;
}

} // namespace macapi
