// Strings: constants and strings that the program makes.
#include "macapi/src/objects/string.h"

#include "macapi/src/objects/encoding.h"

#include <exception>
#include <map>
#include <mutex>
#include <string.h>

using namespace macapi;

CFStringRef __CFStringMakeConstantString(const char* literal)
try {
    static std::mutex s_mutex;
    // Never destroyed: other threads may still use it when the process ends.
    static auto& s_constants = *new std::map<std::string, CFStringRef>;

    // A literal should be ASCII. Mac Roman has a character for every byte above 127, so decoding never fails.
    std::string text = decode(literal ? literal : "", kCFStringEncodingMacRoman).value();
    const std::lock_guard<std::mutex> lock(s_mutex);
    CFStringRef& constant = s_constants[text];
    if (!constant) {
        constant = immortal(make<__CFString>(text));
    }
    return constant;
} catch (const std::exception&) {
    return nullptr;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* bytes, CFStringEncoding encoding)
try {
    std::optional<std::string> text;
    if (bytes) {
        text = decode(bytes, encoding);
    }
    return text ? make<__CFString>(std::move(*text)).release() : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

CFIndex CFStringGetLength(CFStringRef reference)
{
    const __CFString* string = as<__CFString>(reference);
    CFIndex length = 0;
    for (size_t position = 0; string && position < string->text.size();) {
        length += nextCharacter(string->text, &position) > 0xffff ? 2 : 1;
    }
    return length;
}

Boolean CFStringGetCString(CFStringRef reference, char* buffer, CFIndex size, CFStringEncoding encoding)
try {
    const __CFString* string = as<__CFString>(reference);
    if (!string || !buffer || size <= 0) {
        return false;
    }
    const std::optional<std::string> bytes = encode(string->text, encoding);
    if (!bytes || bytes->size() >= static_cast<size_t>(size)) {
        return false;
    }
    memcpy(buffer, bytes->c_str(), bytes->size() + 1);
    return true;
} catch (const std::exception&) {
    return false;
}
