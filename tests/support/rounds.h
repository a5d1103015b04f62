// How often a model test plays.
#pragma once

// Returns count; an eighth of it under the thread sanitizer. That sanitizer makes a program ten times as slow and looks for
// faults between threads, while the models have one thread. All other builds play every round.
inline int rounds(int count)
{
#ifdef __SANITIZE_THREAD__
    return count / 8;
#else
    return count;
#endif
}
