// A game that ends in the way that its argument says; run_test.py starts it.
#include "core/memorymgr.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

class GameMemory : public MemoryMgr {
public:
    GameMemory()
    {
        bankSizePath[0] = '\0';
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 32 * 1024);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};

static void ownHandler(int)
{
    static const char sc_text[] = "the game's own handler\n";
    (void)!write(1, sc_text, sizeof(sc_text) - 1);
    signal(SIGTERM, SIG_DFL);
    raise(SIGTERM);
}

// Prints what the game sees of its signals and its files: none of it may differ under the tool.
static void look()
{
    struct sigaction action;
    sigaction(SIGSEGV, nullptr, &action);
    printf("SIGSEGV is %s\n", action.sa_handler == SIG_DFL ? "SIG_DFL" : "handled");
    printf("signal returns %s\n", signal(SIGTERM, ownHandler) == SIG_DFL ? "SIG_DFL" : "a handler");
    printf("then %s\n", signal(SIGTERM, SIG_DFL) == ownHandler ? "the game's handler" : "another handler");
    printf("the next file is %d\n", dup(0));
}

static void forkAChild()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(3);
    }
    int status = 0;
    waitpid(child, &status, 0);
    printf("the child has ended with %d\n", WEXITSTATUS(status));
}

int main(int, char** arguments)
{
    const std::string way = arguments[1];
    GameMemory memory;
    memory.alloc(0, 100, "game/mesh.cpp", 41);
    if (way == "exit") {
        exit(7);
    } else if (way == "_exit") {
        _exit(8);
    } else if (way == "abort") {
        abort();
    } else if (way == "look") {
        look();
    } else if (way == "fork") {
        forkAChild();
    } else if (way == "handler") {
        signal(SIGTERM, ownHandler);
        raise(SIGTERM);
    } else if (way == "wait") {
        printf("ready\n");
        fflush(stdout);
        getchar();
        printf("over\n");
    }
    return 0;
}
