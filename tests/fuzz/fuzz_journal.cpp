// The journal that libcorewatch.so writes in the memory of a game, and in which the game can have written anything.
//
// An input is a byte of options, two bytes with a number N, and bytes. The journal has two chunks. The first N of the
// bytes stand at its beginning; the rest are the last bytes of a chunk. With option 1, the bytes come after a good head
// of the journal. Option 2 chooses the second chunk for the last bytes.
#include "tools/core-strings/playedgame.h"

#include "tests/fuzz/observe.h"

#include <algorithm>

static const size_t sc_chunk = watch::sc_journalChunk;

// The bytes of the journal. To fill two chunks with zeros for each input would take longer than to read them.
static std::string s_bytes(2 * sc_chunk, '\0');

static void writeHead()
{
    watch::JournalHead head = {};
    memcpy(head.mark, watch::sc_journalMark, sizeof(head.mark));
    head.version = watch::sc_journalVersion;
    memcpy(&s_bytes[0], &head, sizeof(head));
}

static void observe(const AskedTexts& texts)
{
    for (const LoadedFile& file : texts.files) {
        observeText(file.language);
        observeText(file.asked);
        observeText(file.path);
    }
    observeText(jsonOf(texts));
}

// Reads the journal. Its modules are left out: a module names a file, and an input would have it opened.
static void read()
{
    JournalContent content = readJournal(s_bytes);
    observeText(troubleOf(content));
    observeNumber(static_cast<int64_t>(content.torn));
    content.events.erase(
        std::remove_if(content.events.begin(), content.events.end(),
                       [](const JournalEvent& event) { return event.kind == watch::JOURNAL_MODULE; }),
        content.events.end());
    for (const JournalEvent& event : content.events) {
        observeNumber(event.kind);
        observeText(event.bytes);
    }
    AskedTexts texts;
    addJournal(content, PlayOptions(), &texts);
    observe(texts);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3) {
        return 0;
    }
    const size_t first = std::min<size_t>(data[1] + 256u * data[2], size - 3);
    const size_t last = size - 3 - first;
    const size_t begin = data[0] & 1 ? sizeof(watch::JournalHead) : 0;
    const size_t end = data[0] & 2 ? 2 * sc_chunk : sc_chunk;
    writeHead();
    s_bytes.replace(begin, first, reinterpret_cast<const char*>(data + 3), first);
    s_bytes.replace(end - last, last, reinterpret_cast<const char*>(data + 3 + first), last);
    read();
    s_bytes.replace(0, begin + first, begin + first, '\0');
    s_bytes.replace(end - last, last, last, '\0');
    return 0;
}
