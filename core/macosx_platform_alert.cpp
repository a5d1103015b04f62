// The alert: the text of its panel, or of the standard error stream where there is no display.
//
// 1. A text is cut after 4094 bytes. On the standard error stream it ends at that byte. The panel shows whole characters.
// 2. A terminal never receives control characters. A file or a pipe receives the bytes as they are.
#include "core/macosx_bkwindow.h"
#include "core/platform.h"
#include "logger/printable.h"

#include <CoreFoundation/CoreFoundation.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

typedef char Message[4096];
static const int sc_limit = sizeof(Message) - 1; // bytes that the formatter may write, its NUL included

static const char* orEmpty(const char* text)
{
    return text ? text : "";
}

// The length of the character that begins with this byte in UTF-8; 0 for a byte that begins none.
static size_t characterLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    return first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
}

// Whether text, as long as a message at most, is UTF-8 with count bytes of that value behind it; count is 3 at most.
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

// Where the last character begins, when text is UTF-8 but for the missing end of that character; else its length.
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
    // Of the lowest and the highest byte that continue a character at least one completes it.
    const bool isBroken = isUtf8With(text, whole - kept, '\x80') || isUtf8With(text, whole - kept, '\xbf');
    return isBroken ? begin : length;
}

// An alert without a window server: a terminal gets no control characters, a file or a pipe the bytes as they are.
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
    if (length == -1) {
        message[sc_limit] = '\0';
    }
    if (!BKMakeApplication()) {
        printAlert(message);
        return 1;
    }
    if (length >= sc_limit) { // otherwise AppKit takes the whole text for Mac Roman
        message[findBrokenCharacter(message)] = '\0';
    }
    return BKRunAlert("Alert", message, "OK");
}
