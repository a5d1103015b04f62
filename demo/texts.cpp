// The translations are in ordinary memory, not in a bank: they are used after the table and the memory manager were
// destroyed.
#include "demo/texts.h"

#include "core/stringtable.h"

#include <map>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <vector>

DEMO_TEXT(sc_comma, ",");
DEMO_TEXT(sc_point, ".");

static std::map<std::string, std::string> s_texts; // the translation of each key
static size_t s_refused;

// The list is made on first use, because static variables of the sources have no fixed order of construction.
static std::vector<const char*>& allKeys()
{
    static std::vector<const char*> s_keys;
    return s_keys;
}

void TextEntry::add(const char* key)
{
    allKeys().push_back(key);
}

// Returns all conversions of a format, joined.
static std::string conversionsOf(const char* format)
{
    std::string conversions;
    while (const char* percent = strchr(format, '%')) {
        const char* letter = percent + 1 + strspn(percent + 1, " -+#'0123456789.*$hlLqjzt");
        format = *letter == '\0' ? letter : letter + 1; // a format may end inside a conversion
        if (strncmp(percent, "%%", 2) != 0) {
            conversions.append(percent, format);
        }
    }
    return conversions;
}

bool SameConversions(const char* left, const char* right)
{
    return conversionsOf(left) == conversionsOf(right);
}

const char* Text(const std::string& key)
{
    auto found = s_texts.find(key);
    if (found == s_texts.end()) {
        const char* text = g_stringTblPtr ? g_stringTblPtr->translate(key.c_str()) : key.c_str();
        const bool fits = SameConversions(key.c_str(), text);
        s_refused += !fits;
        found = s_texts.emplace(key, fits ? text : key).first;
    }
    return found->second.c_str();
}

void Say(const char* key, ...)
{
    va_list arguments;
    va_start(arguments, key);
    vprintf(Text(key), arguments);
    va_end(arguments);
}

void Complain(const char* key, ...)
{
    fflush(stdout); // so that earlier output appears before the message
    va_list arguments;
    va_start(arguments, key);
    vfprintf(stderr, Text(key), arguments);
    va_end(arguments);
}

bool AllIsSaid()
{
    const bool isFlushed = fflush(stdout) == 0;
    return isFlushed && ferror(stdout) == 0; // an earlier write may have failed, too
}

static int lengthOf(const char* format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    const int length = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    return length < 0 ? 0 : length;
}

std::string Compose(const char* key, ...)
{
    va_list arguments;
    va_start(arguments, key);
    std::string text(static_cast<size_t>(lengthOf(Text(key), arguments)), '\0');
    vsnprintf(&text[0], text.size() + 1, Text(key), arguments);
    va_end(arguments);
    return text;
}

void AskForAllTexts()
{
    for (const char* key : allKeys()) {
        Text(key);
    }
}

size_t TextsRefused()
{
    return s_refused;
}

bool TextsAreTheSame()
{
    for (const auto& text : s_texts) {
        if (text.second != g_stringTblPtr->translate(text.first.c_str())) {
            return false;
        }
    }
    return true;
}

std::string Grouped(unsigned long long number)
{
    std::string text = std::to_string(number);
    for (size_t end = text.size(); end > 3; end -= 3) {
        text.insert(end - 3, Text(sc_comma));
    }
    return text;
}

std::string WithTenths(double number)
{
    const unsigned long long tenths = static_cast<unsigned long long>(number * 10 + 0.5);
    return Grouped(tenths / 10) + Text(sc_point) + std::to_string(tenths % 10);
}

std::string InKiB(unsigned long long bytes)
{
    return Grouped((bytes + 1023) / 1024);
}
