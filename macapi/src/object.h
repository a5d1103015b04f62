// What every object begins with: its kind and its reference count.
//
// 1. An object starts with one reference, does not change once it is made, and goes with its last reference.
// 2. An immortal object takes no notice of references. Constants are immortal, and so is what the system lends to
//    callers that are known to release it.
// 3. The exported calls are thin: they look at their arguments, and ask what is declared in these headers. Nothing in
//    here calls an exported function, since a program may have put its own in front of it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <memory>
#include <utility>

namespace macapi {

enum class Kind { Array, Boolean, Bundle, Data, Date, Dictionary, Number, String, URL };

class Object {
public:
    explicit Object(Kind its) : kind(its) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    void addReference() const;
    void dropReference() const;
    virtual void makeImmortal() const; // with all it holds; before another thread sees it

    const Kind kind;

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
    explicit Constant(Arguments&&... arguments) : object(std::forward<Arguments>(arguments)...)
    {
        object.makeImmortal();
    }
    ~Constant() {}

    const T object;
};

// The object behind a reference from outside; null when there is none or it is of another kind.
template <class T>
const T* as(CFTypeRef reference)
{
    const Object* object = static_cast<const Object*>(reference);
    return object && object->kind == T::sc_kind ? static_cast<const T*>(object) : nullptr;
}

} // namespace macapi
