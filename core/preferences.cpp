// Preferences: reading the store, then the INI file; writing the store.
//
// 1. read empties sPrefBuffer before it looks in the INI file. From then on, a section, key or default that lies in
//    sPrefBuffer is an empty text. So a game must not pass a text that read returned.
// 2. Each read of the INI file begins at the start of the file. fgets reads at most 1023 bytes; the rest of a
//    longer line is the next line.
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

// The buffer of all reads, and before it 24 zero bytes. The memory manager reads these bytes as a block's header when
// freeBuffer gives it the buffer. Without them it would read unrelated memory.
static struct {
    MemoryHeapNode_s header;
    Text text;
} s_prefBlock;
static Text& sPrefBuffer = s_prefBlock.text;

static_assert(sizeof(MemoryHeapNode_s) == 24, "the buffer follows the header without a gap");

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

// Writes text at end, which lies in out, and returns the new end. A text that is too long is truncated. Each read
// makes a key, and snprintf would take three times as long.
static char* append(char* end, Text& out, const char* text)
{
    const size_t length = std::min(strlen(text), static_cast<size_t>(out + sizeof(out) - 1 - end));
    memcpy(end, text, length);
    end[length] = '\0';
    return end + length;
}

CFStringRef CreateKey(const char* section, const char* key)
{
    if (!section || !key) {
        return nullptr;
    }
    Text name;
    char* end = append(name, name, section);
    end = append(end, name, "/");
    append(end, name, key);
    return CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingMacRoman);
}

// Reads the store. Copies the text to sPrefBuffer and returns true; returns false if there is no value, and if its
// text has more than 1023 bytes or characters that Mac Roman does not have.
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

// Returns what atoi returns where int and long have 32 bits: out of range the nearest int.
static int toInt(const char* text)
{
    return static_cast<int>(std::clamp<long long>(strtoll(text, nullptr, 10), INT_MIN, INT_MAX));
}

// Gives sPrefBuffer to free of bank 0, although bank 0 did not allocate it. Deliberate and frozen: programs that
// watch free see this call for each number that is read. A heap bank refuses the block because its header is all 0.
//
// free of any address empties a linear bank, so the call is made for heap banks only. getSize tells the two kinds
// apart: in a heap bank it returns the size in the header minus 24, here 0 - 24, which is not 0. In other banks it
// returns 0.
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

// line begins with "[". Returns true if the line opens the wanted section. A name is truncated to 255 bytes.
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

// Returns the text after the first "=", if the text before it is key; null for any other line. Writes a NUL over
// the "=".
static const char* entryValue(char* line, const char* key)
{
    char* equals = strchr(line, '=');
    if (!equals) {
        return nullptr;
    }
    *equals = '\0';
    return stricmp(line, key) == 0 ? equals + 1 : nullptr;
}

// Copies value without its last character, and without a carriage return before that. Deliberate: the last
// character is removed without a check. It is the line feed, except in a last line of the file that has none.
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
