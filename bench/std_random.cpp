#include "bench/std_random.h"

#include <random>

static std::mt19937 s_generator;

void std_srand(unsigned int seed)
{
    s_generator.seed(seed);
}

unsigned int std_rand()
{
    return static_cast<unsigned int>(s_generator());
}
