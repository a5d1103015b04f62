// The version of the library, when the game is compiled and when it runs.
//
// A version has three numbers, as in 1.2.3. A release that fixes errors raises the third. A release that adds calls raises
// the second, and games that were compiled before still run. A release that breaks such games raises the first.
//
//     if (!CoreVersionMatches()) { // the game has found another library than the one that it was built for
//         Platform::MessageBox("Game", "core %s is installed, %s is needed", CoreVersion(), CORE_VERSION);
//     }
//
// The macros are those of the headers; the functions are those of the library that the game has loaded. All functions may
// be called from any thread, and need no memory manager.
#pragma once

#define CORE_VERSION_MAJOR 1
#define CORE_VERSION_MINOR 0
#define CORE_VERSION_PATCH 0
#define CORE_VERSION "1.0.0"

#pragma GCC visibility push(default)

// Returns the version of the library as a text, such as "1.0.0". The text is static.
const char* CoreVersion();

// Returns true if the library can serve a game that was compiled with the headers of version major.minor: the first number
// is the same, and the second number of the library is not smaller than minor.
bool CoreVersionServes(int major, int minor);

#pragma GCC visibility pop

// Returns true if the library can serve a game with these headers. Each source has a function of its own: two parts of a
// program may have been compiled with different headers.
static inline bool CoreVersionMatches()
{
    return CoreVersionServes(CORE_VERSION_MAJOR, CORE_VERSION_MINOR);
}
