// The alert: a panel, or without a display a text on the standard error stream.
//
// 1. A text is truncated after 4094 bytes. The standard error stream gets all of these bytes, then a line feed. For
//    the panel, the bytes of an incomplete character at the end are removed as well.
// 2. A terminal receives control characters as visible text. A file or a pipe receives the bytes unchanged.
#include "core/macosx_bkwindow.h"
#include "core/platform.h"
#include "logger/printable.h"

#include <CoreFoundation/CoreFoundation.h>

#include <assert.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

typedef char Message[4096];
static const int sc_limit = sizeof(Message) - 1; // 4095: bytes that the formatter may write, with the NUL

static const char* orEmpty(const char* text)
{
    return text ? text : "";
}

// Returns the number of bytes of the UTF-8 character that begins with this byte; 0 if no character begins with it.
static size_t characterLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    return first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
}

// Returns true if text is UTF-8 after count bytes of this value are appended to it. text is no longer than a Message;
// count is 1 to 3.
static bool isUtf8With(const char* text, size_t count, char value)
{
    char whole[sizeof(Message) + 3];
    const size_t length = strlen(text);
    memcpy(whole, text, length);
    memset(whole + length, value, count);
    whole[length + count] = '\0';
    const CFStringRef string = CFStringCreateWithCString(nullptr, whole, kCFStringEncodingUTF8);
    if (string) {
        CFRelease(string);
    }
    return string != nullptr;
}

// Returns the offset of an incomplete UTF-8 character at the end of text. Returns the length of text if its last
// character is complete, or if text is not UTF-8.
static size_t findBrokenCharacter(const char* text)
{
    const size_t length = strlen(text);
    size_t begin = length;
    do {
        if (begin == 0) {
            return length;
        }
        --begin;
    } while ((text[begin] & 0xc0) == 0x80); // a byte that continues a character
    const size_t kept = length - begin;
    const size_t whole = characterLength(static_cast<unsigned char>(text[begin]));
    if (whole <= kept) {
        return length;
    }
    // The bytes 0x80 to 0xbf continue a character. After some first bytes, the second byte has a smaller range. Each
    // of these ranges includes 0x80 or 0xbf, so one of the two bytes completes any incomplete character.
    const bool isBroken = isUtf8With(text, whole - kept, '\x80') || isUtf8With(text, whole - kept, '\xbf');
    return isBroken ? begin : length;
}

// Writes the text of an alert to the standard error stream, according to rule 2.
static void printAlert(const Message& message)
{
    char shown[4 * sizeof(message)];
    size_t size = 0;
    const auto append = [&shown, &size](const char* bytes, size_t count) {
        memcpy(shown + size, bytes, count);
        size += count;
    };
    if (isatty(STDERR_FILENO)) {
        writePrintable(message, strlen(message), Lines::Keep, append);
    } else {
        append(message, strlen(message));
    }
    fprintf(stderr, "%.*s\n", static_cast<int>(size), shown);
}

int Platform::MessageBox(const char*, const char* format, ...)
{
    Message message = "";
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(message, sc_limit, orEmpty(format), arguments);
    va_end(arguments);
    assert(strlen(message) < sc_limit && "1: a text is truncated after 4094 bytes");
    if (!BKMakeApplication()) {
        printAlert(message);
        return 1;
    }
    if (length >= sc_limit) {
        // The text was truncated. With an incomplete character at its end it would not be UTF-8, and the panel would
        // show all of it as Mac Roman.
        message[findBrokenCharacter(message)] = '\0';
        assert(message[findBrokenCharacter(message)] == '\0' &&
               "1: the bytes of an incomplete character are removed");
    }
    return BKRunAlert("Alert", message, "OK");
}
