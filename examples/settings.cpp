// What you learn: single settings without sections and without a memory manager, and a marker that all users share.
//
// Settings are for what the game has to know before it has memory: the size of its window, the language. The section
// is ignored, so give each setting a key of its own.
#include "core/platform.h"

#include <stdio.h>

int main()
{
    printf("run %d\n", Platform::RegGetInt32("Game", "runs", 0) + 1);
    Platform::RegSetInt32("Game", "runs", Platform::RegGetInt32("Game", "runs", 0) + 1);

    char language[] = "fr";
    char standard[] = "en";
    char out[1024]; // at least 1024 bytes
    Platform::RegGetString("Game", "language", standard, out);
    printf("language %s\n", out);
    Platform::RegSetString("Game", "language", language);
    Platform::RegGetString("Game", "language", standard, out);
    printf("language %s, also in the next run\n", out);

    // The setters always return true. A game that must know reads the value back.
    printf("the number of runs is %s\n", Platform::RegGetInt32("Game", "runs", 0) > 0 ? "stored" : "not stored");

    // A marker: an empty value that all users of the computer share, such as "the game was registered".
    bool created = false;
    const bool exists = Platform::RegInitSecureKey("registered", created);
    printf("the marker %s, %s\n", exists ? "exists" : "does not exist", created ? "made just now" : "made before");
    return 0;
}
