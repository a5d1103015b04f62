// A game that ends in the way that its argument says; run_test.py starts it.
#include "core/memorymgr.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

class GameMemory : public MemoryMgr {
public:
    explicit GameMemory(unsigned int bankSize)
    {
        bankSizePath[0] = '\0';
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", bankSize);
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

// Prints what the game sees of its signals, its files and its bank: none of it may differ under the tool.
static void look(GameMemory& memory)
{
    struct sigaction action;
    sigaction(SIGSEGV, nullptr, &action);
    printf("SIGSEGV is %s\n", action.sa_handler == SIG_DFL ? "SIG_DFL" : "handled");
    printf("signal returns %s\n", signal(SIGTERM, ownHandler) == SIG_DFL ? "SIG_DFL" : "a handler");
    printf("then %s\n", signal(SIGTERM, SIG_DFL) == ownHandler ? "the game's handler" : "another handler");
    const bool isRefused = signal(SIGTERM, SIG_ERR) == SIG_ERR && errno == EINVAL;
    printf("SIG_ERR is %s\n", isRefused ? "refused" : "no action");
    printf("SIGCHLD was %s\n", signal(SIGCHLD, SIG_DFL) == SIG_DFL ? "SIG_DFL" : "handled");
    printf("the next file is %d\n", dup(0));
    memory.touchMemory();
    printf("checkMemory returns %d\n", memory.checkMemory(0, nullptr, false));
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

static long residentBytes()
{
    long pages = 0;
    FILE* file = fopen("/proc/self/statm", "r");
    if (!file || fscanf(file, "%*d %ld", &pages) != 1) {
        abort();
    }
    fclose(file);
    return pages * sysconf(_SC_PAGESIZE);
}

// Allocates many blocks. Prints how much more memory the process has at some counts, in bytes.
static void grow(MemoryMgr& memory)
{
    void* all = memory.alloc(0, 8000000, "game/level.cpp", 1);
    memset(all, 1, 8000000); // so that the bank has its memory already
    memory.free(0, all);
    const long before = residentBytes();
    for (int count = 1; count <= 66000; ++count) {
        memory.alloc(0, 8, "game/unit.cpp", 7);
        for (const int shown : {5000, 8200, 12400, 33000, 49300, 66000}) {
            if (count == shown) {
                printf("%d %ld\n", count, residentBytes() - before);
            }
        }
    }
}

int main(int, char** arguments)
{
    const std::string way = arguments[1];
    GameMemory memory(way == "grow" ? 8 << 20 : 32 * 1024);
    memory.alloc(0, 100, "game/mesh.cpp", 41);
    if (way == "exit") {
        exit(7);
    } else if (way == "_exit") {
        _exit(8);
    } else if (way == "_Exit") {
        _Exit(9);
    } else if (way == "abort") {
        abort();
    } else if (way == "look") {
        look(memory);
    } else if (way == "fork") {
        forkAChild();
    } else if (way == "grow") {
        grow(memory);
    } else if (way == "handler") {
        signal(SIGTERM, ownHandler);
        raise(SIGTERM);
    } else if (way == "wait") {
        printf("ready\n");
        fflush(stdout);
        getchar();
        memory.alloc(0, 100, "game/late.cpp", 8);
        printf("over\n");
    }
    return 0;
}
