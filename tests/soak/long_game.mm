// A game of many hours in minutes: its clock gains a 60th of a second with each frame. long_game.py starts it and
// compares what it uses at the beginning and at the end.
//
//     long_game FRAMES SAMPLE
//
// The game plays FRAMES frames in the current folder. After each SAMPLE frames it prints a line of names and numbers and
// waits for a line on the standard input. All that the game does has a period of sc_period frames, so that it holds the
// same blocks, texts and windows at each sample. Ends with 1 and a message if something that it did went wrong.
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/str.h"
#include "core/stringtable.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <atomic>
#include <malloc.h>
#include <pthread.h>
#include <random>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <vector>

static const int sc_period = 10000; // frames

static int s_frame;

static bool isEach(int frames) { return s_frame % frames == 0; }

static void expect(bool isRight, const char* what)
{
    if (!isRight) {
        printf("frame %d: %s\n", s_frame, what);
        exit(1);
    }
}

// ---- The clock: these two functions replace those of the C library in all libraries of the process.

static const long long sc_second = 1000000000; // nanoseconds
static std::atomic<long long> s_ahead;         // nanoseconds from the system's clock to the game's

static long long nanoseconds(const timespec& time) { return time.tv_sec * sc_second + time.tv_nsec; }

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        const long long now = nanoseconds(*time) + s_ahead;
        *time = {now / sc_second, now % sc_second};
    }
    return result;
}

// The game sleeps no time: its clock gains what is left to sleep.
extern "C" __attribute__((visibility("default"))) int clock_nanosleep(clockid_t clock, int flags,
                                                                      const timespec* time, timespec*)
{
    timespec now = {};
    if (flags == TIMER_ABSTIME) {
        clock_gettime(clock, &now);
    }
    s_ahead += std::max(0ll, nanoseconds(*time) - nanoseconds(now));
    return 0;
}

static void playTime()
{
    static unsigned int s_last = Platform::GetTime();
    s_ahead += sc_second / 60;
    const unsigned int now = Platform::GetTime();
    expect(now - s_last >= 16, "less than a frame's time has passed");
    if (isEach(100)) {
        Platform::Sleep(5);
        expect(Platform::GetTime() - now >= 5, "the sleep was too short");
    }
    s_last = now;
}

// ---- Banks

class GameMemory : public MemoryMgr {
public:
    GameMemory()
    {
        defineLocAllocCb(MEMLOC_CUSTOM, [](unsigned long size) { return malloc(size); });
        defineLocReallocCb(MEMLOC_CUSTOM, [](void* block, unsigned long size) { return ::realloc(block, size); });
        defineLocFreeCb(MEMLOC_CUSTOM, ::free);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 16 << 10); // too small at times
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "units", 256 << 10);
        defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "frame", 1 << 10); // grows
        initialize();
    }

    void printUse()
    {
        unsigned long inUse = systemBank.bytesInUse, sizes = 0, fallback = countFallback(systemBank.extList);
        for (int bank = 0; bank < bankCount; ++bank) {
            inUse += banks[bank].bytesInUse;
            sizes += getMemoryBankSize(bank);
            fallback += countFallback(banks[bank].extList);
        }
        printf(" bank-bytes %lu bank-sizes %lu fallback-blocks %lu", inUse, sizes, fallback);
    }

private:
    static unsigned long countFallback(const MemoryHeapNode_s* node)
    {
        unsigned long count = 0;
        for (; node; node = node->next) {
            ++count;
        }
        return count;
    }

    void onOutOfMemory(int) override { printf("out of memory\n"); }
};

enum Bank { BANK_SYSTEM = -1, BANK_LEVEL = 1, BANK_UNITS = 2, BANK_FRAME = 3 };

struct Block {
    int bank;
    void* bytes;
};

static void playMemory(GameMemory& memory)
{
    static std::vector<Block> s_blocks;
    static std::mt19937 s_random;
    if (isEach(1000)) { // a new level
        for (const Block& block : s_blocks) {
            expect(memory.free(block.bank, block.bytes) == 0, "a block could not be freed");
        }
        s_blocks.clear();
        s_random.seed(static_cast<unsigned int>(s_frame % sc_period));
    }
    memory.free(BANK_FRAME, nullptr);
    for (int i = 0; i < 10; ++i) {
        memset(memory.alloc(BANK_FRAME, 1 + s_random() % 500, "frame", 1), 1, 1);
    }
    const int banks[] = {BANK_SYSTEM, BANK_LEVEL, BANK_LEVEL, BANK_UNITS};
    for (int i = 0; i < 5; ++i) {
        if (s_blocks.size() < 100 && s_random() % 2) {
            const int bank = banks[s_random() % 4];
            s_blocks.push_back({bank, memory.alloc(bank, 1 + s_random() % 500, "block", 1)});
        } else if (!s_blocks.empty()) {
            std::swap(s_blocks[s_random() % s_blocks.size()], s_blocks.back());
            expect(memory.free(s_blocks.back().bank, s_blocks.back().bytes) == 0, "a block could not be freed");
            s_blocks.pop_back();
        }
    }
}

// ---- Texts

static void writeFile(const char* path, const std::string& text)
{
    FILE* file = fopen(path, "wb");
    expect(file && fwrite(text.data(), 1, text.size(), file) == text.size() && fclose(file) == 0, path);
}

static void writeStrings()
{
    mkdir("locale", 0700);
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "\"Text " + std::to_string(i) + "\" = \"Texte \\\"" + std::to_string(i) + "\\\"\"\r\n";
    }
    writeFile("locale/strings.utf8", text);
}

// Every 2,000 frames a new table reads the translations; in between a table without translations exports its texts.
static void playTexts()
{
    if (isEach(1000)) {
        delete g_stringTblPtr;
        const bool isTranslated = isEach(2000);
        StringTable::s_setLocalePath(isTranslated ? "locale" : ".");
        new StringTable;
        expect(!isTranslated || g_stringTblPtr->setLanguage("french"), "the strings file could not be read");
    }
    const std::string text = "Text " + std::to_string(s_frame % 100);
    const std::string expected = s_frame % 2000 < 1000 ? "Texte \"" + text.substr(5) + "\"" : text;
    expect(g_stringTblPtr->translate(text.c_str()) == expected, "the text has another translation");

    char line[] = "name = \"a \\\"footman\\\"\"\r\nhealth = 60\r\n";
    Parser parser(line);
    int health = 0;
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (token) {
            parser.ParamEqualsInt32(token, "health", &health);
        }
    }
    expect(health == 60, "the parser read another number");
    char* escaped = nullptr;
    expect(str::escape(&escaped, "a\n\"b\"") && str::unescape(escaped) && strcmp(escaped, "a\n\"b\"") == 0,
           "escapes");
    g_MemoryPtr->free(0, escaped);
}

// ---- Preferences, folders, threads

static void playPreferences()
{
    static int s_stored;
    if (isEach(1000)) {
        s_stored = 1000 + s_frame % sc_period;
        std::string player = "player " + std::to_string(s_stored);
        Platform::RegSetInt32("Game", "level", s_stored);
        Platform::RegSetString("Game", "player", &player[0]);
    }
    if (isEach(10)) {
        char player[1024];
        char none[] = "none";
        Platform::RegGetString("Game", "player", none, player);
        expect(Platform::RegGetInt32("Game", "level", 0) == s_stored, "the setting has another number");
        expect(player == "player " + std::to_string(s_stored), "the setting has another text");
    }
}

static void playFolders()
{
    if (isEach(500)) {
        char(*list)[260] = nullptr;
        expect(Platform::ScanDir("locale", &list, nullptr, nullptr) == 3, "the folder has other files");
        Platform::ScanDirFree(list);
    }
}

static int work(void*)
{
    for (unsigned long i = 1; i < 100; ++i) {
        g_MemoryPtr->free(BANK_UNITS, g_MemoryPtr->alloc(BANK_UNITS, i, "thread", 1));
    }
    return 0;
}

static void* begin(void* record)
{
    threadStarter(record);
    return nullptr;
}

static void playThreads()
{
    struct Record {
        int (*function)(void*);
        void* argument;
        void* thread;
    };
    if (isEach(1000)) {
        pthread_t thread;
        expect(pthread_create(&thread, nullptr, begin, new Record{work, nullptr, nullptr}) == 0, "no thread");
        pthread_join(thread, nullptr);
    }
}

// ---- The window

@interface GameView : NSView
@end

@implementation GameView

- (void)drawRect:(NSRect)dirty
{
    (void)dirty;
    [[NSColor colorWithCalibratedRed:0.2 green:(s_frame % 100) / 100.0 blue:0.2 alpha:1] set];
    NSRectFill([self bounds]);
    [@"A long game" drawAtPoint:NSMakePoint(20, 20) withAttributes:nil];
}

@end

static NSView* s_view;
static int s_switches; // to full screen and back, so far

static void openWindow()
{
    Platform::SystemCheck();
    Platform::SetApp(1);
    Platform::SetWindow(
        Platform::InitWindow(0, nullptr, "A long game", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr));
    expect(Platform::GetWindow() != nullptr, "no window");
    s_view = [[GameView alloc] init];
    [static_cast<NSWindow*>(Platform::GetWindow()) setContentView:s_view];
    Platform::SetWindowPos();
}

// Full screen for the second half of each period.
static void switchWindow()
{
    int width = 320, height = 200, bits = 0;
    const bool isFull = !isEach(sc_period);
    if (isFull) {
        Platform::GetDesktopInfo(width, height, bits);
    }
    Platform::SetFullscreenWindow(Platform::GetWindow(), isFull, width, height);
    ++s_switches;
    expect(Platform::GetWindow() != nullptr, "no window after a switch");
    [static_cast<NSWindow*>(Platform::GetWindow()) setContentView:s_view];
}

static void handleEvents()
{
    while (NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                               untilDate:[NSDate distantPast]
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES]) {
        [NSApp sendEvent:event];
    }
}

static void playWindow()
{
    if (isEach(sc_period / 2)) {
        switchWindow();
    }
    if (isEach(10)) {
        handleEvents();
    }
    if (isEach(50)) {
        [s_view display];
        [[s_view window] flushWindow];
    }
    if (isEach(100)) {
        Platform::SetCursorPos(s_frame / 100 % 300, 100);
        Platform::ShowCursor(isEach(200));
        Platform::CaptureMouse(isEach(200));
    }
}

// Without a pool of its own, AppKit's list of windows would hold them all.
static void sample(GameMemory& memory)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    printf("frame %d hours %.2f switches %d", s_frame, static_cast<double>(s_ahead) / sc_second / 3600, s_switches);
    memory.printUse();
    printf(" malloc-bytes %zu windows %lu\n", mallinfo2().uordblks,
           static_cast<unsigned long>([[NSApp windows] count]));
    [pool release];
    fflush(stdout);
    expect(getchar() == '\n', "the soak has ended");
}

int main(int argc, char** argv)
{
    expect(argc == 3, "usage: long_game FRAMES SAMPLE");
    setvbuf(stdin, nullptr, _IONBF, 0); // the buffer would be made after the first sample
    const int frames = atoi(argv[1]);
    const int sampled = atoi(argv[2]);
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    writeStrings();
    GameMemory memory;
    openWindow();
    for (s_frame = 0; s_frame <= frames; ++s_frame) {
        NSAutoreleasePool* drained = [[NSAutoreleasePool alloc] init];
        playTime();
        playMemory(memory);
        playTexts();
        playPreferences();
        playFolders();
        playThreads();
        playWindow();
        [drained release];
        if (s_frame > 0 && isEach(sampled)) {
            sample(memory);
        }
    }
    delete g_stringTblPtr;
    Platform::DestructWindow(Platform::GetWindow());
    [pool release];
    return 0;
}
