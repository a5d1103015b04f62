// Numbers, booleans and containers.
//
// A number can be read as any C type. If the type cannot hold the number, the caller gets false, and the nearest
// value that the type can hold.
#include "macapi/src/objects/values.h"

#include <cmath>
#include <exception>
#include <limits>
#include <string.h>

using namespace macapi;

static const Constant<__CFBoolean> s_true(true);
static const Constant<__CFBoolean> s_false(false);

const Object* __CFDictionary::find(const std::string& key) const
{
    const auto entry = entries.find(key);
    return entry == entries.end() ? nullptr : entry->second.get();
}

bool __CFDictionary::hasTexts() const
{
    for (const auto& [key, value] : entries) {
        if (!isText(key)) {
            return false;
        }
    }
    return true;
}

namespace macapi {

Ref<__CFNumber> makeInteger(int64_t value)
{
    const bool negative = value < 0;
    return make<__CFNumber>(negative ? -static_cast<uint64_t>(value) : static_cast<uint64_t>(value), negative);
}

Ref<__CFBoolean> makeBoolean(bool value)
{
    return Ref<__CFBoolean>(value ? &s_true.object : &s_false.object);
}

} // namespace macapi

// The C type for a CFNumberType.
enum class Storage { Unknown, Int8, Int16, Int32, Int64, Float, Double };

static Storage storageOf(CFNumberType type)
{
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return Storage::Int8;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return Storage::Int16;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return Storage::Int32;
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
        return Storage::Int64;
    case kCFNumberLongType:
    case kCFNumberCFIndexType:
        return sizeof(long) == 4 ? Storage::Int32 : Storage::Int64;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
        return Storage::Float;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        return Storage::Double;
    default:
        return Storage::Unknown;
    }
}

template <class T>
static T load(const void* value)
{
    T loaded;
    memcpy(&loaded, value, sizeof(loaded));
    return loaded;
}

// Copies the value to *out. Returns exact, so that callers can end with this call; exact is true if the value is the
// same number.
template <class T>
static bool store(T value, bool exact, void* out)
{
    memcpy(out, &value, sizeof(value));
    return exact;
}

template <class T>
static bool storeReal(const __CFNumber& number, void* out)
{
    if (number.isReal) {
        const T value = static_cast<T>(number.real);
        return store(value, std::isnan(number.real) || value == number.real, out);
    }
    // A magnitude near 2^64 may be rounded up to 2^64, which uint64_t cannot hold. So size is compared with 2^64
    // before it is converted back.
    const T size = static_cast<T>(number.magnitude);
    const bool exact = size < static_cast<T>(0x1p64) && static_cast<uint64_t>(size) == number.magnitude;
    return store(number.negative ? -size : size, exact, out);
}

template <class T>
static bool storeInteger(const __CFNumber& number, void* out)
{
    const T least = std::numeric_limits<T>::min();
    const T most = std::numeric_limits<T>::max();
    if (number.isReal) {
        const double real = number.real;
        if (std::isnan(real)) {
            return store<T>(0, false, out);
        }
        // -least is the largest integer + 1, a power of two: a double can hold it exactly. The largest integer itself
        // may have too many digits for a double.
        if (real < static_cast<double>(least) || real >= -static_cast<double>(least)) {
            return store(real < 0 ? least : most, false, out);
        }
        return store(static_cast<T>(real), real == std::trunc(real), out);
    }
    const uint64_t limit = static_cast<uint64_t>(most) + (number.negative ? 1 : 0);
    if (number.magnitude > limit) {
        return store(number.negative ? least : most, false, out);
    }
    // A negative number is computed as -(magnitude - 1) - 1: for the least number, T cannot hold the magnitude
    // itself.
    return store(static_cast<T>(number.negative ? -static_cast<T>(number.magnitude - 1) - 1
                                                : static_cast<T>(number.magnitude)),
                 true, out);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value)
try {
    if (!value) {
        return nullptr;
    }
    switch (storageOf(type)) {
    case Storage::Int8:
        return makeInteger(load<int8_t>(value)).release();
    case Storage::Int16:
        return makeInteger(load<int16_t>(value)).release();
    case Storage::Int32:
        return makeInteger(load<int32_t>(value)).release();
    case Storage::Int64:
        return makeInteger(load<int64_t>(value)).release();
    case Storage::Float:
        return make<__CFNumber>(static_cast<double>(load<float>(value))).release();
    case Storage::Double:
        return make<__CFNumber>(load<double>(value)).release();
    case Storage::Unknown:
        break;
    }
    return nullptr;
} catch (const std::exception&) {
    return nullptr;
}

bool macapi::readNumber(const __CFNumber& number, CFNumberType type, void* value)
{
    switch (storageOf(type)) {
    case Storage::Int8:
        return storeInteger<int8_t>(number, value);
    case Storage::Int16:
        return storeInteger<int16_t>(number, value);
    case Storage::Int32:
        return storeInteger<int32_t>(number, value);
    case Storage::Int64:
        return storeInteger<int64_t>(number, value);
    case Storage::Float:
        return storeReal<float>(number, value);
    case Storage::Double:
        return storeReal<double>(number, value);
    case Storage::Unknown:
        break;
    }
    return false;
}

Boolean CFNumberGetValue(CFNumberRef reference, CFNumberType type, void* value)
{
    const __CFNumber* number = as<__CFNumber>(reference);
    return number && value && readNumber(*number, type, value);
}

const CFBooleanRef kCFBooleanTrue = &s_true.object;
const CFBooleanRef kCFBooleanFalse = &s_false.object;

Boolean CFBooleanGetValue(CFBooleanRef reference)
{
    const __CFBoolean* boolean = as<__CFBoolean>(reference);
    return boolean && boolean->value;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef reference)
{
    const __CFDictionary* dictionary = as<__CFDictionary>(reference);
    return dictionary ? static_cast<CFIndex>(dictionary->entries.size()) : 0;
}

const void* CFDictionaryGetValue(CFDictionaryRef reference, const void* key)
try {
    const __CFDictionary* dictionary = as<__CFDictionary>(reference);
    const std::optional<std::string> name = textOf(key);
    return dictionary && name ? dictionary->find(*name) : nullptr;
} catch (const std::exception&) {
    return nullptr;
}
