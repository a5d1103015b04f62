// Preferences over the system's store, and the INI file behind it.
//
// 1. sPrefBuffer is empty while the INI file is read. A section, a key or a default that lies in it, from the read before,
//    is empty from then on, too: games must not pass one.
// 2. An INI file is read line by line, from its beginning each time; a piece of a line that is too long for the buffer
//    is a line.
#include "core/preferences.h"

#include "core/memorymgr.h"
#include "file/file.h"
#include "logger/logger.h"

#include <algorithm>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef char Text[1024];

static char* iniPath;

// The buffer of all reads, and in front of it what the memory manager takes for a block's header: no live one, all 0.
static struct {
    MemoryHeapNode_s header;
    Text text;
} s_prefBlock;
static Text& sPrefBuffer = s_prefBlock.text;

static_assert(sizeof(MemoryHeapNode_s) == 24, "the header stands right in front of the buffer");

Preferences::~Preferences()
{
    free(iniPath);
    iniPath = nullptr;
}

bool Preferences::init(const char* path)
{
    const size_t size = path ? strlen(path) + 1 : 0;
    iniPath = path ? static_cast<char*>(malloc(size)) : nullptr;
    if (iniPath) {
        memcpy(iniPath, path, size);
    }
    return true;
}

CFStringRef CreateKey(const char* section, const char* key)
{
    if (!section || !key) {
        return nullptr;
    }
    Text name;
    snprintf(name, sizeof(name), "%s/%s", section, key);
    return CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingMacRoman);
}

// Replaces the buffer's text by what the store has under that name, if it has a text that fits.
static bool readStore(const char* section, const char* key)
{
    const CFStringRef name = CreateKey(section, key);
    if (!name) {
        return false;
    }
    const CFPropertyListRef value = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    CFRelease(name);
    if (!value) {
        return false;
    }
    const CFStringRef text = static_cast<CFStringRef>(value);
    const CFIndex room = std::min<CFIndex>(CFStringGetLength(text) + 1, sizeof(sPrefBuffer));
    const bool fits = CFStringGetCString(text, sPrefBuffer, room, kCFStringEncodingMacRoman);
    CFRelease(value);
    return fits;
}

const char* Preferences::read(const char* section, const char* key, const char* defaultText)
{
    if (readStore(section, key)) {
        return sPrefBuffer;
    }
    sPrefBuffer[0] = '\0';
    if (ReadKey(section, key, sPrefBuffer)) {
        return sPrefBuffer;
    }
    const size_t length = defaultText ? std::min(strlen(defaultText), sizeof(sPrefBuffer) - 1) : 0;
    memmove(sPrefBuffer, defaultText ? defaultText : "", length);
    sPrefBuffer[length] = '\0';
    return sPrefBuffer;
}

// atoi, where int and long are 32 bits wide: out of range it stops at the end.
static int toInt(const char* text)
{
    return static_cast<int>(std::clamp<long long>(strtoll(text, nullptr, 10), INT_MIN, INT_MAX));
}

// The buffer goes back to bank 0, where it never came from: meant, and a heap refuses it for its header. A linear
// bank would be emptied, whatever it is given, so it isn't given this. The size of the block tells the two apart: to
// a heap it is the header's 0 less 24, which is not 0; to any other bank it is 0.
static void freeBuffer()
{
    if (g_MemoryPtr && g_MemoryPtr->getSize(0, sPrefBuffer) != 0) {
        g_MemoryPtr->free(0, sPrefBuffer);
    }
}

int Preferences::read(const char* section, const char* key, int defaultValue)
{
    const char* text = read(section, key, nullptr);
    if (*text == '\0') {
        return defaultValue;
    }
    const int value = toInt(text);
    freeBuffer();
    return value;
}

void Preferences::write(const char* section, const char* key, const char* value)
{
    const CFStringRef name = CreateKey(section, key);
    if (!name) {
        return;
    }
    const CFStringRef text =
        CFStringCreateWithCString(kCFAllocatorDefault, value ? value : "", kCFStringEncodingMacRoman);
    if (!text) {
        CFRelease(name);
        return;
    }
    CFPreferencesSetAppValue(name, text, kCFPreferencesCurrentApplication);
    CFRelease(text);
    CFRelease(name);
    CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
}

void Preferences::write(const char* section, const char* key, int value)
{
    char text[16];
    snprintf(text, sizeof(text), "%d", value);
    write(section, key, text);
}

// Whether the line opens the wanted section, when line begins with "[".
static bool opensSection(const char* line, const char* section)
{
    const char* end = strchr(line, ']');
    if (!end) {
        return false;
    }
    char name[256];
    snprintf(name, sizeof(name), "%.*s", static_cast<int>(end - line - 1), line + 1);
    return stricmp(name, section) == 0;
}

// The value of an entry of that name, up to the line's end; null for any other line. Cuts the line.
static const char* entryValue(char* line, const char* key)
{
    char* equals = strchr(line, '=');
    if (!equals) {
        return nullptr;
    }
    *equals = '\0';
    return stricmp(line, key) == 0 ? equals + 1 : nullptr;
}

// The last character goes, whatever it is: in every line but a last one without it, the line feed. With it goes a
// carriage return in front.
static void copyValue(char* out, const char* value)
{
    size_t length = strlen(value);
    length -= length > 0;
    if (length > 0 && value[length - 1] == '\r') {
        --length;
    }
    memcpy(out, value, length);
    out[length] = '\0';
}

bool ReadKey(const char* section, const char* key, char* out)
{
    if (!section || !key || !out) {
        return false;
    }
    FILE* file = iniPath ? fopen_mac(iniPath, "rt") : nullptr;
    if (!file) {
        owLogger::log(4, "Preferences File Missing: %s\f", iniPath ? iniPath : "");
        return false;
    }
    bool found = false;
    bool inSection = false;
    Text line;
    while (!found && fgets(line, sizeof(line), file)) {
        if (line[0] == '[') {
            inSection = opensSection(line, section);
        } else if (line[0] != ';' && inSection) {
            const char* value = entryValue(line, key);
            if (value) {
                copyValue(out, value);
                found = true;
            }
        }
    }
    fclose(file);
    return found;
}
