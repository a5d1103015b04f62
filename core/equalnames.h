// Comparing two names as stricmp does. Not for games.
#pragma once

#include "file/file.h"

// The address of the file library's own stricmp (file/file.cpp). Weak: a game's own file library does not have this
// pointer, and its address is then null.
#pragma GCC visibility push(default)
namespace fileLibrary {
extern int (*const _stricmp)(const char*, const char*) __attribute__((weak));
}
#pragma GCC visibility pop

typedef int (*NameComparison)(const char*, const char*);

// Null if the own stricmp is not known. The linker sets fileLibrary::_stricmp before the constructors of any library
// run, and it does not change.
static const NameComparison s_ownStricmp = &fileLibrary::_stricmp ? fileLibrary::_stricmp : nullptr;

static const int sc_lowerBit = 'a' ^ 'A'; // the bit that a letter of 'a' to 'z' has and one of 'A' to 'Z' has not

// Returns true if one letter is in upper case and the other is the same letter in lower case.
inline bool differInCase(char left, char right)
{
    const char lower = static_cast<char>(left | sc_lowerBit);
    return (left ^ right) == sc_lowerBit && lower >= 'a' && lower <= 'z';
}

// Returns true if stricmp certainly tells the two names apart. This is the test for the usual case, two names with
// different first letters, and calls no function. The hints let the processor run through it without a jump.
//
// A game may define stricmp itself, and its function is called for each comparison. So the letters are compared here
// only if the function that would be called is the file library's own.
inline bool AreDifferent(const char* left, const char* right)
{
    const bool letters = ((*left ^ *right) & ~sc_lowerBit) != 0;
    return __builtin_expect(letters, 1) && __builtin_expect(&stricmp == s_ownStricmp, 1);
}

// Returns true if stricmp(left, right) is 0. Compares single letters: the names are short, and the parser has just
// written the NUL of one of them. A processor waits when it loads a vector with a byte that was just stored.
inline bool EqualNames(const char* left, const char* right)
{
    if (__builtin_expect(&stricmp != s_ownStricmp, 0)) {
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
