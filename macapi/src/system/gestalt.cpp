// Properties of the processor.
#include <Carbon/Carbon.h>

#include <sys/auxv.h>

#ifdef __powerpc__
// Answers one selector, the processor's features, and reports one feature, the vector unit. The kernel tells whether
// the processor has a vector unit.
static bool answerFor(OSType selector, SInt32* response)
{
    static const unsigned long sc_hasAltiVec = 0x10000000; // in AT_HWCAP
    if (selector != gestaltPowerPCProcessorFeatures) {
        return false;
    }
    *response = getauxval(AT_HWCAP) & sc_hasAltiVec ? 1 << gestaltPowerPCHasVectorInstructions : 0;
    return true;
}
#else
static bool answerFor(OSType, SInt32*)
{
    return false;
}
#endif

OSErr Gestalt(OSType selector, SInt32* response)
{
    if (!response) {
        return paramErr;
    }
    if (!answerFor(selector, response)) {
        return gestaltUndefSelectorErr;
    }
    return noErr;
}
