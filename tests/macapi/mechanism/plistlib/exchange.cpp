// Property lists to and from another reader: check.py, which starts this.
//
//     exchange make SEED COUNT    makes lists and writes each with its description
//     exchange rewrite            reads lists, and writes each again with its description
//
// Whatever passes is a line with its length in bytes, then the bytes. A description is a text that says all of a value
// and nothing of its file:
//
//     s61 i-640 r4059...f t f d8950 D2003-10-24T18:00:00Z [a,b] {61:v,62:v}
//
// with texts, data and the bits of reals in hexadecimal, and keys in the order of their bytes.
#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist.h"
#include "macapi/src/objects/values.h"

#include <cmath>
#include <random>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

using namespace macapi;

static std::string hexOf(const std::string& bytes)
{
    std::string digits;
    for (unsigned char byte : bytes) {
        char two[3];
        snprintf(two, sizeof(two), "%02x", byte);
        digits += two;
    }
    return digits;
}

static std::string describeNumber(const __CFNumber& number)
{
    if (!number.isReal) {
        return (number.negative ? "i-" : "i") + std::to_string(number.magnitude);
    }
    if (std::isnan(number.real)) {
        return "rnan";
    }
    uint64_t bits;
    memcpy(&bits, &number.real, sizeof(bits));
    char digits[18];
    snprintf(digits, sizeof(digits), "r%016llx", static_cast<unsigned long long>(bits));
    return digits;
}

static std::string describe(const Object& value)
{
    std::string text;
    switch (value.kind) {
    case Kind::String:
        return "s" + hexOf(static_cast<const __CFString&>(value).text);
    case Kind::Number:
        return describeNumber(static_cast<const __CFNumber&>(value));
    case Kind::Boolean:
        return static_cast<const __CFBoolean&>(value).value ? "t" : "f";
    case Kind::Data:
        return "d" + hexOf(static_cast<const __CFData&>(value).bytes);
    case Kind::Date:
        return "D" + static_cast<const __CFDate&>(value).text;
    case Kind::Array:
        for (const Ref<Object>& item : static_cast<const __CFArray&>(value).items) {
            text += (text.empty() ? "" : ",") + describe(*item);
        }
        return "[" + text + "]";
    case Kind::Dictionary:
        for (const auto& [key, entry] : static_cast<const __CFDictionary&>(value).entries) {
            text += (text.empty() ? "" : ",") + hexOf(key) + ":" + describe(*entry);
        }
        return "{" + text + "}";
    default:
        abort();
    }
}

static std::mt19937_64 s_random;

static unsigned int below(unsigned int limit)
{
    return static_cast<unsigned int>(s_random() % limit);
}

static char32_t makeCharacter()
{
    switch (below(8)) {
    case 0:
        return 1 + below(31); // control characters
    case 1:
        return below(2) ? '\\' : 0x2400 + below(34); // what their form in a file is made of
    case 2:
        return 0xfffc + below(4);
    case 3:
        return U" \t\n\r<>&'\"]"[below(10)];
    case 4:
        return 0x10000 * (1 + below(16)) + below(0x10000);
    case 5: {
        const char32_t character = 1 + below(0xffff);
        return character >= 0xd800 && character < 0xe000 ? 'x' : character; // no half of a pair
    }
    default:
        return ' ' + below(95);
    }
}

static std::string makeText()
{
    std::string text;
    for (unsigned int length = below(12); length > 0; length--) {
        appendCharacter(&text, makeCharacter());
    }
    return text;
}

static Ref<Object> makeReal()
{
    static const double sc_edges[] = {0.0,      -0.0,      0.1, 1e300, 5e-324, 1.7976931348623157e308,
                                      INFINITY, -INFINITY, NAN};
    if (below(3) == 0) {
        return make<__CFNumber>(sc_edges[below(9)]);
    }
    const uint64_t bits = s_random();
    double real;
    memcpy(&real, &bits, sizeof(real));
    return make<__CFNumber>(real);
}

static Ref<Object> makeWhole()
{
    return make<__CFNumber>(s_random() >> below(64), below(2) == 0);
}

static Ref<Object> makeDate()
{
    char text[32];
    snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", 1 + below(9999), 1 + below(12), 1 + below(28),
             below(24), below(60), below(60));
    return make<__CFDate>(text);
}

static Ref<Object> makeValue(int depth)
{
    switch (depth == 0 ? 7 + below(2) : below(depth < 5 ? 9 : 7)) {
    case 0:
    case 1:
        return make<__CFString>(makeText());
    case 2:
        return makeWhole();
    case 3:
        return makeReal();
    case 4:
        return makeBoolean(below(2) == 0);
    case 5:
        return makeDate();
    case 6: {
        std::string bytes(below(80), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(s_random());
        }
        return make<__CFData>(bytes);
    }
    case 7: {
        __CFArray::Items items;
        for (unsigned int count = below(depth == 0 ? 12 : 6); count > 0; count--) {
            items.push_back(makeValue(depth + 1));
        }
        return make<__CFArray>(std::move(items));
    }
    default: {
        __CFDictionary::Entries entries;
        for (unsigned int count = below(depth == 0 ? 12 : 6); count > 0; count--) {
            entries[makeText()] = makeValue(depth + 1);
        }
        return make<__CFDictionary>(std::move(entries));
    }
    }
}

static void put(const std::string& bytes)
{
    printf("%zu\n", bytes.size());
    fwrite(bytes.data(), 1, bytes.size(), stdout);
}

static void putValue(const Object& value)
{
    std::string text;
    put(describe(value));
    put(writePlist(value, &text) ? text : "cannot be written");
}

static bool get(std::string* bytes)
{
    size_t size = 0;
    if (scanf("%zu", &size) != 1 || getchar() != '\n') {
        return false;
    }
    bytes->resize(size);
    return fread(&(*bytes)[0], 1, size, stdin) == size;
}

int main(int argc, char** argv)
{
    if (argc == 4 && strcmp(argv[1], "make") == 0) {
        s_random.seed(strtoul(argv[2], nullptr, 10));
        for (unsigned long count = strtoul(argv[3], nullptr, 10); count > 0; count--) {
            putValue(*makeValue(0));
        }
    } else if (argc == 2 && strcmp(argv[1], "rewrite") == 0) {
        for (std::string text; get(&text);) {
            const Ref<Object> value = readPlist(text);
            putValue(value ? *value : *make<__CFString>("does not parse"));
        }
    } else {
        return 2;
    }
    return 0;
}
