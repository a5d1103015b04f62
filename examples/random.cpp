// What you learn: random numbers that are the same on every machine.
//
// A game that stores the seed with a recorded battle can play the battle again, on a PowerPC Mac as on a PC. The
// numbers are 32 bits without a sign; the process has one generator, which takes no lock.
#include "core/platform.h"

#include <stdio.h>

// Returns a number from 1 to sides.
static unsigned int throwDice(unsigned int sides)
{
    return mt_rand() % sides + 1;
}

// Returns a number from 0 to 1, with the 24 bits that a float holds.
static float chance()
{
    return static_cast<float>(mt_rand() >> 8) / static_cast<float>(1 << 24);
}

static void playBattle(unsigned int seed)
{
    mt_srand(seed);
    printf("seed %u: dice", seed);
    for (int i = 0; i < 8; ++i) {
        printf(" %u", throwDice(6));
    }
    printf(", the wind is %.3f\n", static_cast<double>(chance()));
}

int main()
{
    playBattle(7);
    playBattle(8);
    playBattle(7);                                 // the same battle again
    const unsigned int seed = Platform::GetTime(); // for a battle that nobody has seen
    mt_srand(seed);
    return 0;
}
