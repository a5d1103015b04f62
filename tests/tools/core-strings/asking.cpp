// A game that asks for texts: asking WHAT FOLDER. FOLDER has the strings file.
#include "core/memorymgr.h"
#include "core/stringtable.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

// Debug information with places that are the same wherever this file lies.
#line 100 "/source/src/menu.cpp"
static void ask(const char* text)
{
    puts(g_stringTblPtr->translate(text)); // line 102
}

// The compiler puts this function into its callers, also without optimisation.
namespace {
struct Menu {
    __attribute__((always_inline)) static inline void passOn(const char* text) { ask(text); }
};
} // namespace

#line 150 "/source/src/menu.cpp"
static void showButtons()
{
    Menu::passOn("Button");                          // line 152
    Menu::passOn("Start"), ask("Start"), ask("Cup"); // line 153
}

namespace {
#line 199 "/source/src/menu.cpp"
template <int NUMBER>
const char* onlyHere()
{
    return g_stringTblPtr->translate("Only here"); // line 202
}
} // namespace

static void play()
{
    for (int frame = 0; frame < 5; ++frame) {
        ask("Start");
        ask("START");
    }
    puts(onlyHere<1>());
    ask("ends in \\");
    ask("\"A\ttext\" with\nescapes");
    ask(std::string(200, 'x').c_str());
    printf("next file %d\n", open("/dev/null", O_RDONLY));
}

// The table has the text already, so several threads may look it up.
static void askOften(int calls)
{
    for (int call = 0; call < calls; ++call) {
        g_stringTblPtr->translate("Start");
    }
}

static void askInThreadsAndChild()
{
    ask("Start");
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back(askOften, 50000);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const pid_t child = fork();
    if (child == 0) {
        askOften(500);
        ask("Child");
        fflush(stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}

#line 300 "/source/src/menu.cpp"
static void askForManyTexts(int count)
{
    for (int number = 0; number < count; ++number) {
        g_stringTblPtr->translate(("text " + std::to_string(number)).c_str());
    }
}

// The journal begins with 256 KiB; a text takes at most 16 KiB of it.
static void askAboveTheLimit()
{
    const rlimit limit = {300 * 1024, 300 * 1024};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (int number = 0; number < 50; ++number) {
        g_stringTblPtr->translate((std::to_string(number) + std::string(16000, 'y')).c_str());
    }
}

int main(int, char** words)
{
    const std::string what = words[1];
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "strings", 8 << 20);
    memory.initialize();
    StringTable::s_setLocalePath(words[2]);
    {
        StringTable first; // "Late" is asked for before the file is loaded
        ask("Late");
        first.setLanguage("german");
        ask("Late");
    }
    StringTable table;
    table.setLanguage("german");
    if (what == "buttons") {
        showButtons();
    } else if (what == "play") {
        play();
    } else if (what == "kill") {
        play();
        fflush(stdout);
        raise(SIGKILL);
    } else if (what == "threads") {
        askInThreadsAndChild();
    } else if (what == "many") {
        askForManyTexts(1100);
    } else if (what == "limit") {
        askAboveTheLimit();
    }
    return what == "play" ? 7 : 0;
}
