// The table of kinds.
#include "macapi/src/objects/kinds.h"

#include "macapi/src/appkit/messages.h"
#include "macapi/src/objects/url.h"
#include "macapi/src/objects/values.h"

#include <assert.h>
#include <iterator>

namespace macapi {

template <class T>
static void destroy(const Object* object)
{
    assert(object->references() == 0 && "object 1: it is destroyed when its last reference is dropped");
    delete static_cast<const T*>(object);
}

// The main bundle is the only object of its kind, and lives until the process ends.
static void keep(const Object*)
{
}

static void addNoMethods(Class)
{
}

// The order is that of the enumeration.
static constexpr KindEntry sc_kinds[] = {
    {Kind::Array, destroy<__CFArray>, "MacapiArray", "NSArray", addArrayMethods},
    {Kind::Boolean, destroy<__CFBoolean>, "MacapiBoolean", "NSNumber", addNumberMethods},
    {Kind::Bundle, keep, "MacapiBundle", "NSObject", addNoMethods},
    {Kind::Data, destroy<__CFData>, "MacapiData", "NSData", addDataMethods},
    {Kind::Date, destroy<__CFDate>, "MacapiDate", "NSObject", addNoMethods},
    {Kind::Dictionary, destroy<__CFDictionary>, "MacapiDictionary", "NSDictionary", addDictionaryMethods},
    {Kind::Number, destroy<__CFNumber>, "MacapiNumber", "NSNumber", addNumberMethods},
    {Kind::String, destroy<__CFString>, "MacapiString", "NSString", addStringMethods},
    {Kind::URL, destroy<__CFURL>, "MacapiURL", "NSObject", addNoMethods},
};

static constexpr bool isInOrder()
{
    for (int i = 0; i < sc_kindCount; i++) {
        if (sc_kinds[i].kind != static_cast<Kind>(i)) {
            return false;
        }
    }
    return true;
}

static_assert(std::size(sc_kinds) == sc_kindCount, "each kind has one row");
static_assert(isInOrder(), "row i describes the kind of number i");

const KindEntry& entryOf(Kind kind)
{
    return sc_kinds[static_cast<int>(kind)];
}

} // namespace macapi
