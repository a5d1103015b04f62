// The standard library's generator behind the same kind of call as mt_rand's: a function of a shared library.
#pragma once

#pragma GCC visibility push(default)

void std_srand(unsigned int seed);
unsigned int std_rand();

#pragma GCC visibility pop
