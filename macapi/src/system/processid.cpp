// The number is stored in memory that the kernel fills with zeros in each child process.
#include "macapi/src/system/processid.h"

#include <atomic>
#include <sys/mman.h>
#include <unistd.h>

namespace macapi {

// Returns a word that is 0 in each new child process; null where the kernel cannot provide it. Some emulators accept
// every advice and follow none, so an advice that does not exist is tried first.
static std::atomic<pid_t>* makeWord()
{
    const size_t size = sizeof(std::atomic<pid_t>); // the kernel rounds it up to a page
    void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) {
        return nullptr;
    }
    if (madvise(page, size, -1) == 0 || madvise(page, size, MADV_WIPEONFORK) != 0) {
        munmap(page, size);
        return nullptr;
    }
    return static_cast<std::atomic<pid_t>*>(page);
}

pid_t processId()
{
    static std::atomic<pid_t>* const s_word = makeWord();
    if (!s_word) {
        return getpid();
    }
    pid_t id = s_word->load(std::memory_order_relaxed);
    if (id == 0) {
        id = getpid();
        s_word->store(id, std::memory_order_relaxed);
    }
    return id;
}

} // namespace macapi
