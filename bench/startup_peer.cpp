// A program that takes memory with malloc and ends: the peer of a program that makes a bank.
#include <stdlib.h>

int main()
{
    static void* volatile s_block; // volatile: otherwise the compiler would remove the call
    s_block = malloc(1 << 20);
    return s_block ? 0 : 1;
}
