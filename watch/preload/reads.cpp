// 1. One lock protects the block that is being filled. It is held while bytes are copied, never while a function of the
//    game or of the library runs.
// 2. Reads that a game repeats in each frame are noted only a few times.
// 3. The size of an event is stored last. So a tool that reads at the same time sees only complete events.
#include "watch/preload/reads.h"

#include "watch/preload/journal.h"
#include "watch/preload/message.h"
#include "watch/preload/settings.h"

#include <atomic>
#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

namespace watch {

static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_once_t s_once = PTHREAD_ONCE_INIT;
static char* s_next; // the place of the next event in the block; null: there is no block yet
static size_t s_left;
static std::atomic<uint32_t> s_lastFile{0}; // a hash of its paths

// A forked child begins a new block, because its parent continues to fill the old block.
static void beginChild()
{
    s_lock = PTHREAD_MUTEX_INITIALIZER;
    s_next = nullptr;
    s_left = 0;
    s_lastFile.store(0);
}

static void watchForks()
{
    pthread_atfork(nullptr, nullptr, beginChild);
}

bool isWatchingReads()
{
    if (settings().events != EVENTS_READS || !isJournalOpen()) {
        return false;
    }
    pthread_once(&s_once, watchForks);
    return true;
}

// Returns room for `size` bytes; null when the journal has no room.
static char* roomFor(size_t size)
{
    if (s_left < size) {
        s_next = addBlock(JOURNAL_READS, sc_readsBlock);
        s_left = s_next ? sc_readsBlock : 0;
    }
    char* room = s_next;
    if (room) {
        s_next += size;
        s_left -= size;
    }
    return room;
}

void noteRead(e_Read what, bool result, const void* text, uint32_t place, const void* name, size_t length)
{
    const size_t size = (sizeof(ReadEvent) + length + 7) & ~static_cast<size_t>(7);
    ReadEvent event = {0, what, result, place, reinterpret_cast<uintptr_t>(text)};
    pthread_mutex_lock(&s_lock);
    if (char* room = roomFor(size)) {
        memcpy(room, &event, sizeof(event));
        memcpy(room + sizeof(event), name ? name : "", length);
        std::atomic<uint16_t>* const total = reinterpret_cast<std::atomic<uint16_t>*>(room);
        total->store(static_cast<uint16_t>(size), std::memory_order_release);
    }
    pthread_mutex_unlock(&s_lock);
}

static uint64_t hashOf(const void* bytes, size_t length)
{
    uint64_t hash = length;
    for (size_t index = 0; index < length; ++index) {
        hash = (hash ^ static_cast<const unsigned char*>(bytes)[index]) * 0x100000001b3u;
    }
    return hash;
}

// Returns true if the text with this hash was added less than four times before. Several texts share a slot of the
// table: a different text replaces the older text, whose count is lost.
static bool isRare(uint64_t hash)
{
    static const unsigned int sc_often = 4;
    static struct {
        uint64_t hash;
        unsigned int count;
    } s_texts[1024];
    auto& slot = s_texts[(hash >> 20) % (sizeof(s_texts) / sizeof(s_texts[0]))];
    pthread_mutex_lock(&s_lock);
    slot.count = slot.hash == hash ? slot.count + 1 : 1;
    slot.hash = hash;
    const bool isFew = slot.count <= sc_often;
    pthread_mutex_unlock(&s_lock);
    return isFew;
}

bool noteText(const char* text)
{
    size_t left = strlen(text);
    if (!isRare(hashOf(text, left))) {
        return false;
    }
    const char* piece = text;
    bool isFirst = true;
    do {
        const size_t length = left < sc_readsPiece ? left : sc_readsPiece;
        noteRead(READ_TEXT, isFirst, text, static_cast<uint32_t>(length), piece, length);
        piece += length;
        left -= length;
        isFirst = false;
    } while (left > 0);
    return true;
}

void noteFile(const char* asked, int file)
{
    const int error = errno;
    char paths[sc_readsName + 1 + PATH_MAX];
    const size_t length = strnlen(asked, sc_readsName);
    memcpy(paths, asked, length);
    paths[length] = '\0';
    Message link;
    link.add("/proc/self/fd/").add(file);
    const ssize_t opened = readlink(link.text(), paths + length + 1, PATH_MAX);
    const size_t all = length + 1 + (opened > 0 ? static_cast<size_t>(opened) : 0);
    const uint32_t mark = static_cast<uint32_t>(hashOf(paths, all) >> 16);
    if (s_lastFile.exchange(mark, std::memory_order_relaxed) !=
        mark) { // each read of a preference opens the same file
        noteRead(READ_FILE, opened > 0, nullptr, static_cast<uint32_t>(all), paths, all);
    }
    errno = error;
}

// ---- Names

// A game compares the same names with the token of each line. Each name is noted once for each block of the text. So a
// run gives the same events each time, at whatever address the text is; only a block with a thousand names and more may
// note some of them again.
//
// The table holds one word for each ask: the high bits of its hash, and the number of its block. A slot with another
// block is free. Two asks of a block that have the same slot lie one after the other.
static const size_t sc_slots = 4096; // a power of two
static const size_t sc_probes = 32;  // slots that an ask may have
static const uint32_t sc_blocks = 4096;
static std::atomic<uint32_t> s_asks[sc_slots]; // 0: free
static std::atomic<uint32_t> s_block{0};

void forgetAsks()
{
    s_block.fetch_add(1, std::memory_order_relaxed);
}

bool isNewAsk(e_Read what, const void* text, const char* name)
{
    const uint32_t block = s_block.load(std::memory_order_relaxed);
    uint64_t hash = (reinterpret_cast<uintptr_t>(text) ^ what) * 0x9e3779b97f4a7c15u;
    hash = (hash ^ block) * 0x9e3779b97f4a7c15u;
    for (size_t index = 0; name[index] != '\0' && index < sc_readsName; ++index) {
        hash = (hash ^ static_cast<unsigned char>(name[index])) * 0x100000001b3u;
    }
    hash = (hash ^ hash >> 32) * 0x9e3779b97f4a7c15u; // the last letter changes the high bits, too
    const uint32_t number = block % (sc_blocks - 1) + 1;
    const uint32_t ask = static_cast<uint32_t>(hash >> 32) / sc_blocks * sc_blocks + number;
    const size_t first = (hash >> 20) % sc_slots;
    for (size_t probe = 0; probe < sc_probes; ++probe) {
        std::atomic<uint32_t>& slot = s_asks[(first + probe) % sc_slots];
        const uint32_t old = slot.load(std::memory_order_relaxed);
        if (old == ask) {
            return false;
        }
        if (old % sc_blocks != number) {
            slot.store(ask, std::memory_order_relaxed);
            return true;
        }
    }
    s_asks[first].store(ask, std::memory_order_relaxed);
    return true;
}

} // namespace watch
