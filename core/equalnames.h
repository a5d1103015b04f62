// Compares two names as stricmp does. The library uses this header internally; games do not include it.
#pragma once

#include "file/file.h"

// The address of the file library's own stricmp (file/file.cpp). Weak: a game's own file library does not have this
// pointer, and its address is then null.
#pragma GCC visibility push(default)
namespace fileLibrary {
extern int (*const _stricmp)(const char*, const char*) __attribute__((weak));
}
#pragma GCC visibility pop

// True if the stricmp of the process is the file library's own. A constructor sets it; until then it is false, and
// stricmp is called. The dynamic linker sets fileLibrary::_stricmp before any constructor runs.
static const bool s_isOwnStricmp = &fileLibrary::_stricmp && fileLibrary::_stricmp == &stricmp;

static const int sc_lowerBit = 'a' ^ 'A'; // this bit is 1 in 'a' to 'z', and 0 in 'A' to 'Z'

// Returns true if one letter is in upper case and the other is the same letter in lower case.
inline bool differInCase(char left, char right)
{
    const char lower = static_cast<char>(left | sc_lowerBit);
    return (left ^ right) == sc_lowerBit && lower >= 'a' && lower <= 'z';
}

// letter is the first letter of a name. Returns true if it differs from the first letter of the other name, and stricmp is
// the file library's own: then stricmp would not return 0. Returns false if EqualNames has to compare the names. Most
// calls have different first letters. The hints make the compiler place the code of this case without a jump.
//
// A game may define stricmp itself. Then its function is called for each comparison, and no letter is compared here.
inline bool AreDifferent(char letter, const char* other)
{
    const bool letters = ((letter ^ *other) & ~sc_lowerBit) != 0;
    return __builtin_expect(letters, 1) && __builtin_expect(s_isOwnStricmp, 1);
}

// Returns true if stricmp(left, right) is 0. Compares letter by letter, not with strcmp: the parser has just written the
// NUL of one name, and a processor waits when it loads several bytes of which one was just stored.
inline bool EqualNames(const char* left, const char* right)
{
    if (__builtin_expect(!s_isOwnStricmp, 0)) {
        return stricmp(left, right) == 0;
    }
    do {
        const bool same = *left == *right;
        if (__builtin_expect(!same, 0) && !differInCase(*left, *right)) {
            return false;
        }
        ++right;
    } while (*left++ != '\0');
    return true;
}
