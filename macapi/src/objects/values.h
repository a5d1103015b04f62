// The values of a property list other than strings.
#pragma once

#include "macapi/src/objects/object.h"
#include "macapi/src/objects/string.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Either a whole number from -(2^64 - 1) to 2^64 - 1, which is the range of property lists, or a double.
struct __CFNumber final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Number;

    explicit __CFNumber(double number) : Object(sc_kind), isReal(true), real(number), magnitude(0), negative(false) {}
    __CFNumber(uint64_t size, bool below0)
        : Object(sc_kind), isReal(false), real(0), magnitude(size), negative(below0 && size != 0)
    {
    }

    const bool isReal;
    const double real;
    const uint64_t magnitude;
    const bool negative;
};

struct __CFBoolean final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Boolean;

    explicit __CFBoolean(bool truth) : Object(sc_kind), value(truth) {}

    const bool value;
};

struct __CFData final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Data;

    explicit __CFData(std::string contents) : Object(sc_kind), bytes(std::move(contents)) {}

    const std::string bytes;
};

// A date is only read from a file and written back. So it is kept as its text.
struct __CFDate final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Date;

    explicit __CFDate(std::string contents) : Object(sc_kind), text(std::move(contents)) {}

    const std::string text; // such as 2003-10-24T18:00:00Z; always a day that exists
};

struct __CFArray final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Array;
    using Items = std::vector<macapi::Ref<Object>>;

    explicit __CFArray(Items objects) : Object(sc_kind), items(std::move(objects)) {}

    const Items items;
};

struct __CFDictionary final : macapi::Object {
    static const macapi::Kind sc_kind = macapi::Kind::Dictionary;
    using Entries = std::map<std::string, macapi::Ref<Object>>; // keys are UTF-8, like the text of __CFString

    explicit __CFDictionary(Entries pairs) : Object(sc_kind), entries(std::move(pairs))
    {
        assert(hasTexts() && "objects 3: every text is well-formed UTF-8 without a NUL");
    }

    const Object* find(const std::string& key) const; // lent; null if there is no such key

    const Entries entries;

private:
    bool hasTexts() const; // true if all keys are texts
};

namespace macapi {

Ref<__CFNumber> makeInteger(int64_t value);

// Does the work of CFNumberGetValue.
bool readNumber(const __CFNumber& number, CFNumberType type, void* value);

Ref<__CFBoolean> makeBoolean(bool value); // returns one of two constants

} // namespace macapi
