// URLs: checked when they are made, and kept as text.
#include "macapi/src/objects/url.h"

#include "macapi/src/objects/ascii.h"
#include "macapi/src/system/executable.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <string.h>
#include <strings.h>

using namespace macapi;

static int hexValue(char letter)
{
    if (isDigit(letter)) {
        return letter - '0';
    }
    const char small = letter | 0x20;
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

static bool isEscape(const std::string& text, size_t position)
{
    return text[position] == '%' && position + 2 < text.size() && hexValue(text[position + 1]) >= 0 &&
           hexValue(text[position + 2]) >= 0;
}

// Accepts letters, digits, escapes, the punctuation of RFC 2396, the brackets of RFC 2732, and one # before the
// fragment. Does not check how the parts of a URL follow each other.
static bool isURL(const std::string& text)
{
    bool fragment = false;
    for (size_t i = 0; i < text.size(); i++) {
        const char letter = text[i];
        if (letter == '#' && !fragment) {
            fragment = true;
        } else if (!isDigit(letter) && !isLetter(letter) && !strchr("-_.!~*'();/?:@&=+$,[]", letter) &&
                   !isEscape(text, i)) {
            return false;
        }
    }
    return !text.empty();
}

// Replaces each escape of a path by its byte. Returns nothing if an escape means NUL, which no path holds.
static std::optional<std::string> unescaped(const std::string& text)
{
    std::string bytes;
    for (size_t i = 0; i < text.size(); i++) {
        if (!isEscape(text, i)) {
            bytes += text[i];
            continue;
        }
        const int byte = hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]);
        if (byte == 0) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
        i += 2;
    }
    return bytes;
}

static std::string escaped(const std::string& path)
{
    static const char sc_hex[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char byte : path) {
        const char letter = static_cast<char>(byte);
        if (isDigit(letter) || isLetter(letter) || strchr("-_.~/", letter)) {
            text += letter;
        } else {
            text += {'%', sc_hex[byte >> 4], sc_hex[byte & 15]};
        }
    }
    return text;
}

// Returns the length of the scheme at the start, with its colon ("http:"); 0 if there is none.
static size_t schemeLength(const std::string& url)
{
    size_t length = 0;
    while (length < url.size() &&
           (isLetter(url[length]) || (length > 0 && (isDigit(url[length]) || strchr("+-.", url[length]))))) {
        length++;
    }
    return length > 0 && length < url.size() && url[length] == ':' ? length + 1 : 0;
}

// Returns the path of a file on this machine, still escaped. Returns nothing if the URL names anything else.
static std::optional<std::string> filePathOf(const std::string& url)
{
    const size_t scheme = schemeLength(url);
    if (scheme != 0 && strncasecmp(url.c_str(), "file:", scheme) != 0) {
        return std::nullopt;
    }
    std::string path = url.substr(scheme, url.find_first_of("?#") - scheme);
    if (path.compare(0, 2, "//") == 0) {
        const size_t hostEnd = std::min(path.find('/', 2), path.size());
        const std::string host = path.substr(2, hostEnd - 2);
        if (!host.empty() && strcasecmp(host.c_str(), "localhost") != 0) {
            return std::nullopt;
        }
        path.erase(0, hostEnd);
    }
    return path;
}

namespace macapi {

Ref<__CFURL> makeFileURL(const std::string& path, bool isFolder)
{
    return make<__CFURL>("file://" + escaped(path) + (isFolder && path.back() != '/' ? "/" : ""));
}

bool hasScheme(const std::string& url)
{
    return schemeLength(url) != 0;
}

} // namespace macapi

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef reference, CFURLRef base)
try {
    const __CFString* string = as<__CFString>(reference);
    if (!string || !isURL(string->text) || (base && !hasScheme(string->text))) {
        return nullptr;
    }
    return make<__CFURL>(string->text).release();
} catch (const std::exception&) {
    return nullptr;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* bytes, CFIndex length, Boolean isFolder)
try {
    if (!bytes || length <= 0 || memchr(bytes, 0, length)) {
        return nullptr;
    }
    std::string path = absolutePath(std::string(reinterpret_cast<const char*>(bytes), length));
    return path.empty() ? nullptr : makeFileURL(path, isFolder).release();
} catch (const std::exception&) {
    return nullptr;
}

CFStringRef CFURLGetString(CFURLRef reference)
{
    const __CFURL* url = as<__CFURL>(reference);
    return url ? url->string.get() : nullptr;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef reference, Boolean, UInt8* buffer, CFIndex size)
try {
    const __CFURL* url = as<__CFURL>(reference);
    const std::optional<std::string> escapedPath = url ? filePathOf(url->string->text) : std::nullopt;
    std::optional<std::string> path = escapedPath ? unescaped(*escapedPath) : std::nullopt;
    if (!path || path->empty() || !buffer || size <= 0) {
        return false;
    }
    path->erase(std::max<size_t>(path->find_last_not_of('/') + 1, 1)); // "/" itself stays
    if (path->size() >= static_cast<size_t>(size)) {
        return false;
    }
    const std::string& text = *path;
    memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
} catch (const std::exception&) {
    return false;
}
