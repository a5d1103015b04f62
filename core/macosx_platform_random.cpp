// The random numbers of MT19937. core/platform.h names the paper that defines its constants.
//
// 1. mt is the state of the generator. renew() replaces all 624 words of mt and computes 624 random numbers from
//    them. mt_rand only returns numbers[mti] and increments mti.
// 2. The new word i is computed from the words i, i + 1 and i + 397, modulo 624. renew() has a separate loop for
//    each range of i in which no modulo is needed, so that the compiler can compute several words at a time.
#include "core/platform.h"

#include <assert.h>

static const int sc_words = 624;
static const int sc_middle = 397;
static const unsigned int sc_upperMask = 0x80000000;
static const unsigned int sc_lowerMask = 0x7fffffff;

static unsigned int mt[sc_words];
static unsigned int numbers[sc_words];
static int mti = sc_words + 1; // sc_words + 1: no seed yet; sc_words: all numbers are used

void mt_srand(unsigned int seed)
{
    mt[0] = seed;
    for (int i = 1; i < sc_words; ++i) {
        mt[i] = 1812433253u * (mt[i - 1] ^ (mt[i - 1] >> 30)) + static_cast<unsigned int>(i);
    }
    mti = sc_words;
}

static unsigned int twist(unsigned int word, unsigned int neighbour, unsigned int middle)
{
    static const unsigned int mag01[2] = {0, 0x9908b0df};
    const unsigned int joined = (word & sc_upperMask) | (neighbour & sc_lowerMask);
    return middle ^ (joined >> 1) ^ mag01[joined & 1];
}

static unsigned int temper(unsigned int word)
{
    word ^= word >> 11;
    word ^= (word << 7) & 0x9d2c5680;
    word ^= (word << 15) & 0xefc60000;
    return word ^ (word >> 18);
}

static void renew()
{
    if (mti > sc_words) {
        mt_srand(5489);
    }
    for (int i = 0; i < sc_words - sc_middle; ++i) {
        mt[i] = twist(mt[i], mt[i + 1], mt[i + sc_middle]);
    }
    for (int i = sc_words - sc_middle; i < sc_words - 1; ++i) {
        mt[i] = twist(mt[i], mt[i + 1], mt[i + sc_middle - sc_words]);
    }
    mt[sc_words - 1] = twist(mt[sc_words - 1], mt[0], mt[sc_middle - 1]);
    for (int i = 0; i < sc_words; ++i) {
        numbers[i] = temper(mt[i]);
    }
    mti = 0;
}

unsigned int mt_rand()
{
    if (mti >= sc_words) {
        renew();
    }
    assert(mti < sc_words && numbers[mti] == temper(mt[mti]) && "1: mt_rand only returns numbers[mti]");
    return numbers[mti++];
}
