// The standard library's generator in a shared library: a call costs the same as a call of mt_rand in core.
#pragma once

#pragma GCC visibility push(default)

void std_srand(unsigned int seed);
unsigned int std_rand();

#pragma GCC visibility pop
