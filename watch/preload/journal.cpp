// 1. A writer claims a record with one atomic step, which replaces the size 0 by the record's size. So threads and
//    processes never claim the same bytes. The size is valid even if the writer is stopped, so readers find the next
//    record.
// 2. Chunks are never unmapped, and records never move.
// 3. Each process has its own hash table of its records. Equal events of two processes have two records.
#include "watch/preload/journal.h"

#include "watch/preload/settings.h"

#include <atomic>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace watch {

static const uint32_t sc_slots = 1u << 17;
static const uint32_t sc_mostEvents = sc_slots / 4 * 3;

typedef std::initializer_list<JournalPart> Parts;

static std::atomic<char*> s_chunks[sc_journalChunks];
static std::atomic<JournalRecord*>* s_slots; // pages that are not used take no memory
static std::atomic<uint32_t> s_events{0};    // slots in use
static std::atomic<uint32_t> s_next{0};      // where a record begins; the search for a free place starts here
static std::atomic<bool> s_isOpen{false};
static uint32_t s_process;
static pthread_once_t s_once = PTHREAD_ONCE_INIT;

namespace {

class KeptError {
public:
    KeptError() : m_error(errno) {}
    ~KeptError() { errno = m_error; }
    KeptError(const KeptError&) = delete;
    KeptError& operator=(const KeptError&) = delete;

private:
    int m_error;
};

} // namespace

// ---- The file

static std::atomic<uint32_t>& atomicOf(uint32_t& word)
{
    static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "a word in shared memory");
    return *reinterpret_cast<std::atomic<uint32_t>*>(&word);
}

// Makes sure that the file has at least `bytes` bytes. The system allocates the memory now, so a later write cannot
// fail. Returns 0 or an errno value. Checks the process's limit for file sizes first, because the system sends
// SIGXFSZ to a process that exceeds it.
static int growTo(int file, off_t bytes)
{
    struct stat status;
    rlimit limit;
    if (fstat(file, &status) != 0) {
        return errno;
    }
    if (status.st_size >= bytes) {
        return 0;
    }
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur < static_cast<rlim_t>(bytes)) {
        return EFBIG;
    }
    return fallocate(file, 0, 0, bytes) == 0 ? 0 : errno;
}

static char* mapChunk(uint32_t number, int* error)
{
    const int file = open(settings().journal, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        *error = errno;
        return nullptr;
    }
    const off_t begin = static_cast<off_t>(number) * sc_journalChunk;
    void* pages = MAP_FAILED;
    *error = growTo(file, begin + sc_journalChunk);
    if (*error == 0) {
        pages = mmap(nullptr, sc_journalChunk, PROT_READ | PROT_WRITE, MAP_SHARED, file, begin);
        *error = pages == MAP_FAILED ? errno : 0;
    }
    close(file);
    return pages == MAP_FAILED ? nullptr : static_cast<char*>(pages);
}

static JournalHead& head()
{
    return *reinterpret_cast<JournalHead*>(s_chunks[0].load(std::memory_order_relaxed));
}

static void lose(int error)
{
    atomicOf(head().lost).fetch_add(1, std::memory_order_relaxed);
    atomicOf(head().error).store(static_cast<uint32_t>(error), std::memory_order_relaxed);
}

// Returns the address of the chunk. When it can't be mapped, returns null and stores an errno value in error.
static char* chunkAt(uint32_t number, int* error)
{
    char* pages = number < sc_journalChunks ? s_chunks[number].load(std::memory_order_acquire) : nullptr;
    if (pages) {
        return pages;
    }
    *error = EFBIG;
    pages = number < sc_journalChunks ? mapChunk(number, error) : nullptr;
    char* expected = nullptr;
    if (pages && !s_chunks[number].compare_exchange_strong(expected, pages)) {
        munmap(pages, sc_journalChunk); // another thread was faster
        return expected;
    }
    return pages;
}

static void openJournal()
{
    int error = 0;
    if (!settings().journal) {
        return;
    }
    void* slots = mmap(nullptr, sc_slots * sizeof(*s_slots), PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    char* first = slots != MAP_FAILED ? mapChunk(0, &error) : nullptr;
    const JournalHead* start = reinterpret_cast<const JournalHead*>(first);
    if (first && memcmp(start->mark, sc_journalMark, sizeof(sc_journalMark)) == 0 &&
        start->version == sc_journalVersion) {
        s_process = static_cast<uint32_t>(getpid());
        s_next.store(sizeof(JournalHead));
        s_chunks[0].store(first);
        s_slots = static_cast<std::atomic<JournalRecord*>*>(slots);
        s_isOpen.store(true, std::memory_order_release);
    }
}

bool isJournalOpen()
{
    if (s_isOpen.load(std::memory_order_acquire)) {
        return true;
    }
    if (!settings().journal) {
        return false;
    }
    const KeptError kept;
    pthread_once(&s_once, openJournal);
    return s_isOpen.load(std::memory_order_acquire);
}

// ---- Records

// Claims a record of `size` bytes, a multiple of the alignment and at most a chunk. Returns null when the file can't
// grow.
static JournalRecord* claim(uint32_t size)
{
    int error = 0;
    for (uint32_t place = s_next.load(std::memory_order_relaxed);;) {
        const uint32_t left = sc_journalChunk - place % sc_journalChunk;
        char* chunk = chunkAt(place / sc_journalChunk, &error);
        if (!chunk) {
            lose(error);
            return nullptr;
        }
        JournalRecord* record = reinterpret_cast<JournalRecord*>(chunk + place % sc_journalChunk);
        uint32_t found = 0;
        const bool hasRoom = size <= left;
        if (!atomicOf(record->size).compare_exchange_strong(found, hasRoom ? size : left)) {
            place += found;
            continue;
        }
        place += hasRoom ? size : left;
        s_next.store(place, std::memory_order_relaxed);
        if (hasRoom) {
            return record;
        }
        atomicOf(record->kind).store(JOURNAL_SPACE, std::memory_order_release);
    }
}

static JournalRecord* addRecord(e_JournalKind kind, Parts parts)
{
    size_t size = sizeof(JournalRecord);
    for (const JournalPart& part : parts) {
        size += part.size;
    }
    const size_t rounded = (size + sc_journalAlignment - 1) & ~static_cast<size_t>(sc_journalAlignment - 1);
    if (rounded > sc_journalChunk - sizeof(JournalHead)) {
        lose(EMSGSIZE);
        return nullptr;
    }
    JournalRecord* record = claim(static_cast<uint32_t>(rounded));
    if (!record) {
        return nullptr;
    }
    char* bytes = reinterpret_cast<char*>(record + 1);
    for (const JournalPart& part : parts) {
        memcpy(bytes, part.bytes, part.size);
        bytes += part.size;
    }
    record->process = s_process;
    atomicOf(record->kind).store(kind, std::memory_order_release);
    return record;
}

char* addBlock(e_JournalKind kind, uint32_t size)
{
    const KeptError kept;
    JournalRecord* record = claim(static_cast<uint32_t>(sizeof(JournalRecord)) + size);
    if (!record) {
        return nullptr;
    }
    record->process = s_process;
    record->count = 1;
    atomicOf(record->kind).store(kind, std::memory_order_release);
    return reinterpret_cast<char*>(record + 1);
}

static uint64_t mixed(uint64_t hash, const char* bytes, size_t count)
{
    uint64_t word = 0;
    memcpy(&word, bytes, count);
    hash = (hash ^ word) * 0x9e3779b97f4a7c15u;
    return hash ^ hash >> 29;
}

static uint32_t hashOf(e_JournalKind kind, Parts parts)
{
    uint64_t hash = kind;
    for (const JournalPart& part : parts) {
        const char* bytes = static_cast<const char*>(part.bytes);
        size_t left = part.size;
        for (; left >= sizeof(hash); left -= sizeof(hash), bytes += sizeof(hash)) {
            hash = mixed(hash, bytes, sizeof(hash));
        }
        hash = mixed(hash, bytes, left);
    }
    return static_cast<uint32_t>(hash >> 32) % sc_slots;
}

static bool isEvent(const JournalRecord* record, e_JournalKind kind, Parts parts)
{
    const char* bytes = reinterpret_cast<const char*>(record + 1);
    const char* end = reinterpret_cast<const char*>(record) + record->size;
    if (record->kind != kind) {
        return false;
    }
    for (const JournalPart& part : parts) {
        if (part.size > static_cast<size_t>(end - bytes) || memcmp(bytes, part.bytes, part.size) != 0) {
            return false;
        }
        bytes += part.size;
    }
    return end - bytes < static_cast<ptrdiff_t>(sc_journalAlignment); // else the record has more bytes
}

bool countEvent(e_JournalKind kind, Parts parts)
{
    const KeptError kept;
    JournalRecord* own = nullptr;
    for (uint32_t slot = hashOf(kind, parts);; slot = (slot + 1) % sc_slots) {
        JournalRecord* record = s_slots[slot].load(std::memory_order_acquire);
        if (!record) {
            if (!own && s_events.load(std::memory_order_relaxed) >= sc_mostEvents) {
                lose(ENOBUFS);
                return false;
            }
            own = own ? own : addRecord(kind, parts);
            if (!own) {
                return false;
            }
            if (s_slots[slot].compare_exchange_strong(record, own)) {
                s_events.fetch_add(1, std::memory_order_relaxed);
                atomicOf(own->count).fetch_add(1, std::memory_order_relaxed);
                return true;
            }
        }
        if (isEvent(record, kind, parts)) {
            atomicOf(record->count).fetch_add(1, std::memory_order_relaxed);
            return false;
        }
    }
}

// ---- Modules

// Returns the path of the running program, or of a library. Links in the path are resolved if possible.
static const char* pathOf(const link_map& module, char* buffer, size_t size)
{
    if (module.l_name[0] != '\0') {
        return realpath(module.l_name, buffer) ? buffer : module.l_name;
    }
    const ssize_t length = readlink("/proc/self/exe", buffer, size - 1);
    buffer[length > 0 ? length : 0] = '\0';
    return buffer;
}

void countModule(const void* place)
{
    static_assert(sizeof(char[PATH_MAX]) <= 4096, "the path is on the stack of the game");
    const KeptError kept;
    Dl_info info;
    link_map* module = nullptr;
    char buffer[PATH_MAX];
    if (dladdr1(place, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) != 0 && module) {
        const JournalModule event = {reinterpret_cast<uintptr_t>(info.dli_fbase)};
        const char* path = pathOf(*module, buffer, sizeof(buffer));
        countEvent(JOURNAL_MODULE, {{&event, sizeof(event)}, {path, strlen(path)}});
    }
}

} // namespace watch
