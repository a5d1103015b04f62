// Opens folders that a crash has left, and prints what it finds there.
//
//     prove_recovery preferences KEY   opens the preferences of store_writer: reads KEY, then writes the key "next"
//     prove_recovery files             starts a game, which reads its bank sizes and its strings file
//     prove_recovery write BYTES       starts a game, which uses BYTES of a bank, collects texts and shuts down
//
// "preferences" and "files" read paths of folders from the standard input, one on each line, and print a line for
// each. A forked child opens each folder, so it has no values of an earlier folder. If the child crashes or does not
// end, the line is "crashed". "write" works in the working folder.
#include "core/memorymgr.h"
#include "core/stringtable.h"

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

static const unsigned int sc_longestLook = 30; // seconds; longer than the store waits for a lock

// ---- Preferences

static const CFStringRef sc_application = CFSTR("store_writer");

static long long microseconds()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// Prints the microseconds of the read and of the write, 1 if the write took place, and the value that was read.
static void openPreferences(const char* folder, const char* key)
{
    setenv("MACAPI_USER_LIBRARY", folder, 1);
    const CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    const long long begin = microseconds();
    const CFTypeRef value = CFPreferencesCopyAppValue(name, sc_application);
    const long long read = microseconds();
    CFPreferencesSetAppValue(CFSTR("next"), CFSTR("1"), sc_application);
    const bool isWritten = CFPreferencesAppSynchronize(sc_application);
    const long long end = microseconds();
    char text[256] = "-";
    if (value) {
        CFStringGetCString(static_cast<CFStringRef>(value), text, sizeof(text), kCFStringEncodingUTF8);
        CFRelease(value);
    }
    CFRelease(name);
    printf("%lld %lld %d %s\n", read - begin, end - read, isWritten, text);
}

// ---- Files that are written in place

namespace {

class SmallMemory : public MemoryMgr {
public:
    SmallMemory()
    {
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 400000);
        m_level = defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "level", 77777);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "sound", 123456);
        strcpy(bankSizePath, "memory.dat");
        initialize();
    }

    int level() const { return m_level; }

    void printSizes() const
    {
        for (int bank = 0; bank < bankCount; ++bank) {
            printf(" %u", banks[bank].size);
        }
    }

protected:
    void onOutOfMemory(int) override { abort(); }

private:
    int m_level;
};

} // namespace

static std::string textOf(int number)
{
    return "Text \"" + std::to_string(number * number) + "\" of the game";
}

static const int sc_texts = 200;

// Prints 1 if the strings file was opened and 0 otherwise; how many texts the table returns unchanged and how many
// changed; the sizes of the banks.
static void openFiles(const char* folder)
{
    if (chdir(folder) != 0) {
        abort();
    }
    const SmallMemory memory;
    StringTable texts;
    const bool isLoaded = texts.setLanguage("german");
    int same = 0;
    for (int number = 0; number < sc_texts; ++number) {
        same += textOf(number) == texts.translate(textOf(number).c_str());
    }
    printf("%d %d %d", isLoaded, same, sc_texts - same);
    memory.printSizes();
    puts("");
    fflush(stdout);
    _exit(0); // nothing is written
}

static int writeFiles(unsigned int bytes)
{
    SmallMemory memory;
    g_MemoryPtr->alloc(memory.level(), bytes, "prove/recovery", 1);
    StringTable texts;
    for (int number = 0; number < sc_texts; ++number) {
        texts.translate(textOf(number).c_str());
    }
    return 0;
}

// ---- Looking

static int lookAtFolders(const std::function<void(const char*)>& look)
{
    for (std::string folder; std::getline(std::cin, folder);) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(sc_longestLook);
            look(folder.c_str());
            fflush(stdout);
            _exit(0);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
            puts("crashed");
            fflush(stdout);
        }
    }
    return 0;
}

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "preferences" && argc == 3) {
        return lookAtFolders([argv](const char* folder) { openPreferences(folder, argv[2]); });
    }
    if (command == "files") {
        return lookAtFolders(openFiles);
    }
    if (command == "write" && argc == 3) {
        return writeFiles(static_cast<unsigned int>(strtoul(argv[2], nullptr, 10)));
    }
    fprintf(stderr, "usage: prove_recovery preferences KEY | files | write BYTES\n");
    return 2;
}
