// A module for the tests of symbols to load.
extern "C" {

__attribute__((visibility("default"))) int ModuleFunction()
{
    return 42;
}

// The program has one of this name, too.
__attribute__((visibility("default"))) int ProgramFunction()
{
    return -1;
}

__attribute__((visibility("default"))) int ModuleVariable = 43;

__attribute__((visibility("hidden"))) int ModuleSecret()
{
    return 44;
}
}

// A symbol that is defined, as 0.
__asm__(".globl ModuleNothing\n.set ModuleNothing, 0\n");
