// The messages that our objects answer in a program with AppKit.
//
// Each function here is one method. Foundation's abstract classes implement all other methods by calling these.
#include "macapi/src/appkit/messages.h"

#include "macapi/src/appkit/bridge.h"
#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/values.h"

#include <initializer_list>
#include <new>
#include <string.h>

namespace macapi {

// The runtime describes the types of a method by letters: for the result, self, the selector and each argument. These
// are the compiler's letters for a signed and an unsigned integer as wide as a pointer.
#ifdef __LP64__
#define WORD "q"
#define UNSIGNED_WORD "Q"
#else
#define WORD "i"
#define UNSIGNED_WORD "I"
#endif

struct MethodEntry {
    const char* name;
    const char* types;
    Function function;
};

// Converts a function to the type that the runtime takes.
template <class F>
static Function method(F* function)
{
    return reinterpret_cast<Function>(function);
}

// Returns the receiver of a message as an object of type T. The runtime calls a method only for objects of its class.
template <class T>
static const T& self(ID receiver)
{
    return *static_cast<const T*>(static_cast<const Object*>(receiver));
}

static ID asID(const Object* object)
{
    return const_cast<Object*>(object);
}

// Returns an object that lives until the caller's autorelease pool is emptied.
static ID autoreleased(Ref<Object> object)
{
    return send<ID>(asID(object.release()), "autorelease");
}

static ID retain(ID receiver, Selector)
{
    self<Object>(receiver).addReference();
    return receiver;
}

static void release(ID receiver, Selector)
{
    self<Object>(receiver).dropReference();
}

static unsigned long retainCount(ID receiver, Selector)
{
    const unsigned int references = self<Object>(receiver).references();
    return references ? references : ~0ul >> 1; // the object is immortal: the largest count
}

static ID copyWithZone(ID receiver, Selector, void*)
{
    return retain(receiver, nullptr); // an object that cannot change is its own copy
}

static unsigned long countOfArray(ID array, Selector)
{
    return self<__CFArray>(array).items.size();
}

static ID objectAtIndex(ID array, Selector, unsigned long index)
{
    const __CFArray::Items& items = self<__CFArray>(array).items;
    return index < items.size() ? asID(items[index].get()) : nullptr;
}

static unsigned long countOfDictionary(ID dictionary, Selector)
{
    return self<__CFDictionary>(dictionary).entries.size();
}

// Without memory, the dictionary acts as an empty one. An exception may not pass through AppKit.
static ID objectForKey(ID dictionary, Selector, ID key)
try {
    const std::optional<std::string> text = textOf(key);
    return text ? asID(self<__CFDictionary>(dictionary).find(*text)) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

static ID keyEnumerator(ID dictionary, Selector)
try {
    __CFArray::Items keys;
    for (const auto& [key, value] : self<__CFDictionary>(dictionary).entries) {
        keys.push_back(make<__CFString>(key));
    }
    return send<ID>(autoreleased(make<__CFArray>(std::move(keys))), "objectEnumerator");
} catch (const std::bad_alloc&) {
    return nullptr;
}

static const void* bytes(ID data, Selector)
{
    return self<__CFData>(data).bytes.data();
}

static unsigned long lengthOfData(ID data, Selector)
{
    return self<__CFData>(data).bytes.size();
}

// NSString counts in UTF-16 units: a character above U+FFFF has two.
static unsigned long unitsIn(char32_t character)
{
    return character > 0xffff ? 2 : 1;
}

static char16_t unitOf(char32_t character, unsigned long number)
{
    if (unitsIn(character) == 1) {
        return static_cast<char16_t>(character);
    }
    return static_cast<char16_t>(number == 0 ? 0xd7c0 + (character >> 10) : 0xdc00 + (character & 0x3ff));
}

static unsigned long lengthOfString(ID string, Selector)
{
    const std::string& text = self<__CFString>(string).text;
    unsigned long count = 0;
    for (size_t position = 0; position < text.size();) {
        count += unitsIn(nextCharacter(text, &position));
    }
    return count;
}

static unsigned short characterAtIndex(ID string, Selector, unsigned long index)
{
    const std::string& text = self<__CFString>(string).text;
    unsigned long count = 0;
    for (size_t position = 0; position < text.size();) {
        const char32_t character = nextCharacter(text, &position);
        if (index < count + unitsIn(character)) {
            return unitOf(character, index - count);
        }
        count += unitsIn(character);
    }
    return 0;
}

// Returns the number of a receiver; for a boolean 1 or 0.
static const __CFNumber& numberOf(ID receiver)
{
    const Object& object = self<Object>(receiver);
    const __CFBoolean* boolean = as<__CFBoolean>(&object);
    if (!boolean) {
        return self<__CFNumber>(receiver);
    }
    static const __CFNumber& s_true = *immortal(makeInteger(1));
    static const __CFNumber& s_false = *immortal(makeInteger(0));
    return boolean->value ? s_true : s_false;
}

template <class T>
static T integerValue(ID receiver, Selector)
{
    const __CFNumber& number = numberOf(receiver);
    if (number.isReal) {
        int64_t nearest;
        readNumber(number, kCFNumberSInt64Type, &nearest);
        return static_cast<T>(nearest);
    }
    return static_cast<T>(number.negative ? 0 - number.magnitude : number.magnitude);
}

template <class T>
static T realValue(ID receiver, Selector)
{
    double nearest;
    readNumber(numberOf(receiver), kCFNumberDoubleType, &nearest);
    return static_cast<T>(nearest);
}

static unsigned char boolValue(ID receiver, Selector)
{
    return realValue<double>(receiver, nullptr) != 0;
}

static const char* objCType(ID receiver, Selector)
{
    const __CFNumber& number = numberOf(receiver);
    return number.isReal ? "d" : !number.negative && number.magnitude > INT64_MAX ? "Q" : "q";
}

static void getValue(ID receiver, Selector, void* value)
{
    const __CFNumber& number = numberOf(receiver);
    if (number.isReal) {
        memcpy(value, &number.real, sizeof(number.real));
    } else {
        const uint64_t bits = integerValue<uint64_t>(receiver, nullptr);
        memcpy(value, &bits, sizeof(bits));
    }
}

// Returns Foundation's own number of the same value.
static ID foundationNumber(ID receiver)
{
    const __CFNumber& number = numberOf(receiver);
    const Class ofNumbers = objc_lookUpClass("NSNumber");
    if (number.isReal) {
        return send<ID>(ofNumbers, "numberWithDouble:", number.real);
    }
    return !number.negative && number.magnitude > INT64_MAX
               ? send<ID>(ofNumbers,
                          "numberWithUnsignedLongLong:", integerValue<unsigned long long>(receiver, nullptr))
               : send<ID>(ofNumbers, "numberWithLongLong:", integerValue<long long>(receiver, nullptr));
}

static ID descriptionWithLocale(ID receiver, Selector, ID locale)
{
    return send<ID>(foundationNumber(receiver), "descriptionWithLocale:", locale);
}

static long compare(ID receiver, Selector, ID other)
{
    return send<long>(foundationNumber(receiver), "compare:", other);
}

static void addMethods(Class to, std::initializer_list<MethodEntry> methods)
{
    for (const MethodEntry& one : methods) {
        class_addMethod(to, sel_registerName(one.name), one.function, one.types);
    }
}

void addObjectMethods(Class to)
{
    addMethods(to, {{"retain", "@@:", method(retain)},
                    {"release", "v@:", method(release)},
                    {"retainCount", UNSIGNED_WORD "@:", method(retainCount)},
                    {"copyWithZone:", "@@:^v", method(copyWithZone)}});
}

void addArrayMethods(Class to)
{
    addMethods(to, {{"count", UNSIGNED_WORD "@:", method(countOfArray)},
                    {"objectAtIndex:", "@@:" UNSIGNED_WORD, method(objectAtIndex)}});
}

void addDataMethods(Class to)
{
    addMethods(to, {{"bytes", "r^v@:", method(bytes)}, {"length", UNSIGNED_WORD "@:", method(lengthOfData)}});
}

void addDictionaryMethods(Class to)
{
    addMethods(to, {{"count", UNSIGNED_WORD "@:", method(countOfDictionary)},
                    {"objectForKey:", "@@:@", method(objectForKey)},
                    {"keyEnumerator", "@@:", method(keyEnumerator)}});
}

void addNumberMethods(Class to)
{
    addMethods(to, {{"charValue", "c@:", method(integerValue<signed char>)},
                    {"unsignedCharValue", "C@:", method(integerValue<unsigned char>)},
                    {"shortValue", "s@:", method(integerValue<short>)},
                    {"unsignedShortValue", "S@:", method(integerValue<unsigned short>)},
                    {"intValue", "i@:", method(integerValue<int>)},
                    {"unsignedIntValue", "I@:", method(integerValue<unsigned int>)},
                    {"longValue", WORD "@:", method(integerValue<long>)},
                    {"unsignedLongValue", UNSIGNED_WORD "@:", method(integerValue<unsigned long>)},
                    {"integerValue", WORD "@:", method(integerValue<long>)},
                    {"unsignedIntegerValue", UNSIGNED_WORD "@:", method(integerValue<unsigned long>)},
                    {"longLongValue", "q@:", method(integerValue<long long>)},
                    {"unsignedLongLongValue", "Q@:", method(integerValue<unsigned long long>)},
                    {"floatValue", "f@:", method(realValue<float>)},
                    {"doubleValue", "d@:", method(realValue<double>)},
                    {"boolValue", "C@:", method(boolValue)},
                    {"objCType", "r*@:", method(objCType)},
                    {"getValue:", "v@:^v", method(getValue)},
                    {"descriptionWithLocale:", "@@:@", method(descriptionWithLocale)},
                    {"compare:", WORD "@:@", method(compare)}});
}

void addStringMethods(Class to)
{
    addMethods(to, {{"length", UNSIGNED_WORD "@:", method(lengthOfString)},
                    {"characterAtIndex:", "S@:" UNSIGNED_WORD, method(characterAtIndex)}});
}

} // namespace macapi
