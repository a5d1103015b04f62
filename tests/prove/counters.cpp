// Linked into each program and library of a coverage build: _exit and raise write the counts of lines and branches as well.
// By itself, gcov writes them only when a process returns from main or calls exit. Tests end many forked processes by _exit,
// and a handler of signals ends its process by raise.
//
// Each program and library has a gcov and counts of its own. The program has the list of them.
#include <dlfcn.h>
#include <stdlib.h>

// gcov's, for the counts of this program or library.
extern "C" void __gcov_dump();  // writes them; another call does nothing until __gcov_reset
extern "C" void __gcov_reset(); // counts from 0 again, after which they can be written again

namespace {

struct Counters {
    void (*write)();
    Counters* next;
};

// The process may go on after raise, so the counts after this call are written as well.
void writeOwn()
{
    __gcov_dump();
    __gcov_reset();
}

Counters s_own = {writeOwn, nullptr};

} // namespace

extern "C" {
__attribute__((visibility("default"))) void* g_firstCounters; // the program's is used
}

static Counters** first()
{
    return static_cast<Counters**>(dlsym(RTLD_DEFAULT, "g_firstCounters"));
}

__attribute__((constructor)) static void enter()
{
    if (Counters** list = first()) { // null in a program of another project
        s_own.next = *list;
        *list = &s_own;
    }
}

// When the library is closed or the process ends by exit. Then gcov writes the counts.
__attribute__((destructor)) static void leave()
{
    for (Counters** link = first(); link && *link; link = &(*link)->next) {
        if (*link == &s_own) {
            *link = s_own.next;
            return;
        }
    }
}

static void writeAll()
{
    Counters** list = first();
    for (Counters* counters = list ? *list : nullptr; counters; counters = counters->next) {
        counters->write();
    }
}

// A test may have a raise of its own.
extern "C" __attribute__((weak)) int raise(int number) noexcept
{
    writeAll();
    void* next = dlsym(RTLD_NEXT, "raise");
    return next ? reinterpret_cast<int (*)(int)>(next)(number) : -1;
}

// Weak: the library that core-memory loads into a game has an _exit of its own, which is called next.
extern "C" [[noreturn]] __attribute__((weak)) void _exit(int status)
{
    writeAll();
    if (void* next = dlsym(RTLD_NEXT, "_exit")) {
        reinterpret_cast<void (*)(int)>(next)(status);
    }
    abort();
}
