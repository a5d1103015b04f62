// How often a model test plays.
#pragma once

#include <stdlib.h>

// Returns count; an eighth of it under the thread sanitizer, which makes a program ten times as slow and looks for
// faults between threads, while the models have one thread; a quarter of it on PowerPC, where an emulator makes it six
// times as slow, and where the rounds are the same as in the other builds. The variable ALL_ROUNDS in the environment
// asks for all rounds there. All other builds play every round, or an eighth of it with the variable FEW_ROUNDS, which
// valgrind needs.
inline int rounds(int count)
{
#ifdef __SANITIZE_THREAD__
    return count / 8;
#elif defined(__powerpc__)
    return getenv("ALL_ROUNDS") ? count : count / 4;
#else
    return getenv("FEW_ROUNDS") ? count / 8 : count;
#endif
}
