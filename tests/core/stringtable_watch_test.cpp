// The calls of the string table to the file library, to the memory manager and to str, in their order, and what
// happens when they fail.
#include "core/parser.h"
#include "core/str.h"
#include "file/file.h"

#include "tests/support/stringtable_access.h"
#include "tests/support/watched_log.h"
#include "tests/support/watched_memory.h"

// ---- The file library: one file, in memory. Calls go to the log of the memory manager's.

static const long long sc_asItIs = LLONG_MIN;

static struct {
    std::string bytes = "\"a\" = \"Alpha\"\n";
    std::string path;
    bool opens = true;
    long long length = sc_asItIs; // what getLength says
    long long items = sc_asItIs;  // what read says
    std::string written;
    unsigned int behindText = 0; // the byte after the block, at the last read
    StringTable* liveAtOpen = nullptr;
} s_file;

static _BkzFileType_s s_handle;
static char* s_memory;
static size_t s_memorySize;

_BkzFileType_s* File::open(const char* name, const char* mode)
{
    WatchedMemory::note(std::string("open ") + mode);
    s_file.path = name;
    s_file.liveAtOpen = g_stringTblPtr;
    if (!s_file.opens) {
        return nullptr;
    }
    s_handle.stream = mode[0] == 'w' ? open_memstream(&s_memory, &s_memorySize) : nullptr;
    return &s_handle;
}

unsigned long File::getLength(_BkzFileType_s* file)
{
    EXPECT_EQ(file, &s_handle);
    WatchedMemory::note("length");
    return s_file.length == sc_asItIs ? s_file.bytes.size() : static_cast<unsigned long>(s_file.length);
}

unsigned long File::read(void* buffer, unsigned long size, unsigned long count, _BkzFileType_s* file)
{
    EXPECT_EQ(file, &s_handle);
    WatchedMemory::note("read " + std::to_string(size) + " " + std::to_string(count));
    const char* text = static_cast<char*>(buffer);
    EXPECT_EQ(std::string(text, size + 1), std::string(size + 1, '\0')) << "the block is cleared first";
    s_file.behindText = static_cast<unsigned char>(text[size + 1]);
    memcpy(buffer, s_file.bytes.data(), std::min<size_t>(size, s_file.bytes.size()));
    return s_file.items == sc_asItIs ? size > 0 : static_cast<unsigned long>(s_file.items);
}

int File::close(_BkzFileType_s* file)
{
    EXPECT_EQ(file, &s_handle);
    WatchedMemory::note("close");
    if (file->stream) {
        fclose(file->stream);
        s_file.written.assign(s_memory, s_memorySize);
        free(s_memory);
    }
    return 0;
}

// ---- The escapes, which can fail a number of times

static int s_escapesToFail = 0;
static int s_escapesBeforeFailure = 0;

bool str::escape(char** out, const char* text)
{
    typedef bool Escape(char**, const char*);
    static Escape* const next = reinterpret_cast<Escape*>(dlsym(RTLD_NEXT, "_ZN3str6escapeEPPcPKc"));
    if (s_escapesBeforeFailure > 0) {
        --s_escapesBeforeFailure;
    } else if (s_escapesToFail > 0) {
        --s_escapesToFail;
        WatchedMemory::note(std::string("no escape for ") + text);
        *out = nullptr;
        return false;
    }
    return next(out, text);
}

// ---- What is asked of the memory manager

static std::string alloc(unsigned long size, const char* source, unsigned int line, int number)
{
    return "alloc " + std::to_string(size) + " " + source + ":" + std::to_string(line) + " = #" +
           std::to_string(number);
}

static std::string table(unsigned long size, unsigned int line, int number)
{
    return alloc(size, "core/stringtable", line, number);
}

static const unsigned long sc_record = sizeof(_StringTableNode_s);

TEST(StringTableWatch, BuildsAHashTableOf1021BucketsAnd1024Nodes)
{
    WatchedMemory memory;
    StringTable strings;
    EXPECT_EQ(memory.takeLog(), table(sizeof(HashTable<_StringTableNode_s>), 56, 1) + ", " +
                                    alloc(1021 * sizeof(void*), "core/hashtable", 289, 2) + ", " +
                                    alloc(sizeof(HashPool<_StringTableNode_s>), "core/hashtable", 296, 3) + ", " +
                                    alloc(1024 * sizeof(HashData<_StringTableNode_s>), "core/hashtable", 161, 4));
}

TEST(StringTableWatch, LoadsTheWholeFileWithOneReadAndKeepsTheEntriesAlone)
{
    WatchedMemory memory;
    s_file.bytes = "\"a\" = \"Alpha\"\nno entry\n\"b\" = \"\"\n"; // 14, 9 and 9 bytes
    StringTable strings;
    memory.takeLog();
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(memory.takeLog(), "open rb, length, " + table(33, 146, 5) + ", read 32 1, close, " +
                                    table(sizeof(Parser), 169, 6) + ", " + table(sc_record, 221, 7) + ", " +
                                    table(6, 226, 8) + ", " + table(sc_record, 221, 9) + ", " + table(1, 226, 10) +
                                    ", free #6, free #5");
    EXPECT_EQ(takeMessages(), "");
}

TEST(StringTableWatch, LooksUpWithoutAskingForMemory)
{
    WatchedMemory memory;
    StringTable strings;
    strings.setLanguage("french");
    memory.takeLog();
    EXPECT_STREQ(strings.translate("A"), "Alpha");
    EXPECT_EQ(memory.takeLog(), "");

    strings.translate("Missing");
    EXPECT_EQ(memory.takeLog(), table(sc_record, 221, 9) + ", " + table(8, 226, 10));
    strings.translate("missing");
    EXPECT_EQ(memory.takeLog(), "");
}

TEST(StringTableWatch, WritesItsFileAndFreesItsPartsInOrder)
{
    WatchedMemory memory;
    StringTable* strings = new ("test", 1) StringTable;
    strings->translate("b"); // bucket 98
    strings->translate("a"); // bucket 97
    EXPECT_NE(memory.takeLog().find("alloc " + std::to_string(sizeof(StringTable)) + " test:1 = #1"),
              std::string::npos);
    delete strings;

    std::string expected = "open w";
    for (int number = 10; number < 14; number += 2) { // key and text of each entry
        expected += ", " + alloc(2, "core/str", 66, number) + ", " + alloc(2, "core/str", 66, number + 1);
        expected += ", free #" + std::to_string(number + 1) + ", free #" + std::to_string(number);
    }
    expected += ", close";
    expected += ", free #9, free #7";                   // the texts, in the order of the walk
    expected += ", free #8, free #6";                   // the records
    expected += ", free #3, free #5, free #4, free #2"; // buckets, nodes, pool and hash table
    expected += ", free #1";
    EXPECT_EQ(memory.takeLog(), expected);
    EXPECT_EQ(s_file.written, "\"a\" = \"a\"\n\"b\" = \"b\"\n");
    EXPECT_EQ(s_file.liveAtOpen, nullptr); // no longer the live table when it writes
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(StringTableWatch, EndsWithoutWritingOnceAFileWasOpened)
{
    WatchedMemory memory;
    StringTable* strings = new ("test", 1) StringTable;
    strings->setLanguage("french");
    memory.takeLog();
    delete strings;
    EXPECT_EQ(memory.takeLog(), "free #9, free #8, free #3, free #5, free #4, free #2, free #1");
}

TEST(StringTableWatch, ARecordWithoutATextEndsSafely)
{
    WatchedMemory memory;
    StringTable* strings = new ("test", 1) StringTable;
    strings->setLanguage("french");
    auto* record = static_cast<_StringTableNode_s*>(memory.alloc(0, sizeof(_StringTableNode_s), "test", 2));
    record->string = nullptr;
    m_tableOf(*strings)->insert("no text", record);
    memory.takeLog();
    delete strings;
    EXPECT_EQ(memory.takeLog(), "free #9, free #8, free #10, free #3, free #5, free #4, free #2, free #1");
}

TEST(StringTableWatch, EscapesAnEntryAgainUntilThereIsMemory)
{
    for (int before = 0; before < 4; ++before) { // key and text of the first entry, then of the second
        WatchedMemory memory;
        s_escapesBeforeFailure = before;
        s_escapesToFail = 3;
        {
            StringTable strings;
            strings.translate("a");
            strings.translate("b");
            memory.takeLog();
        }
        const std::string log = memory.takeLog();
        const std::string failing = before < 2 ? "no escape for a" : "no escape for b";
        size_t failures = 0;
        for (size_t at = log.find(failing); at != std::string::npos; at = log.find(failing, at + 1)) {
            ++failures;
        }
        EXPECT_EQ(failures, 3u) << log;
        EXPECT_EQ(s_file.written, "\"a\" = \"a\"\n\"b\" = \"b\"\n");
        EXPECT_EQ(memory.check(0, true), 0); // the copies of the failed tries are given back as well
    }
}

TEST(StringTableWatch, LeavesAFileOpenThatCannotBeRead)
{
    WatchedMemory memory;
    s_file.items = 0;
    {
        StringTable strings;
        memory.takeLog();
        EXPECT_TRUE(strings.setLanguage("french"));
        EXPECT_EQ(memory.takeLog(), "open rb, length, " + table(15, 146, 5) + ", read 14 1, free #5");
        EXPECT_EQ(takeMessages(), "3 ^CFF0000StringTable::setLanguage:^c ^CFF0000File I/O Error:^c strings.utf8\f");
        EXPECT_EQ(m_loadedOf(strings), 1);
        EXPECT_STREQ(strings.translate("a"), "a");
        memory.takeLog();
    }
    EXPECT_EQ(memory.takeLog().find("open"), std::string::npos); // and nothing is written over it
}

TEST(StringTableWatch, AnyReadCountButOneIsAFailedRead)
{
    for (long long items : {0LL, 2LL, 14LL}) {
        WatchedMemory memory;
        s_file.items = items;
        StringTable strings;
        EXPECT_TRUE(strings.setLanguage("french"));
        EXPECT_NE(takeMessages().find("File I/O Error"), std::string::npos) << items;
    }
}

TEST(StringTableWatch, TakesAnEmptyFileForOneThatCannotBeRead)
{
    WatchedMemory memory;
    s_file.bytes = "";
    StringTable strings;
    memory.takeLog();
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(memory.takeLog(), "open rb, length, " + table(1, 146, 5) + ", read 0 1, free #5");
    EXPECT_EQ(takeMessages(), "3 ^CFF0000StringTable::setLanguage:^c ^CFF0000File I/O Error:^c strings.utf8\f");

    s_file.items = 1; // unless the game's file library sees it otherwise
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(takeMessages(), "");
    EXPECT_NE(memory.takeLog().find("close"), std::string::npos);
}

TEST(StringTableWatch, LeavesAFileOpenThatThereIsNoMemoryFor)
{
    WatchedMemory memory;
    memory.refusedLine = 146;
    {
        StringTable strings;
        memory.takeLog();
        EXPECT_TRUE(strings.setLanguage("french"));
        EXPECT_EQ(memory.takeLog(), "open rb, length, alloc 15 core/stringtable:146 = null");
        EXPECT_EQ(takeMessages(),
                  "3 ^CFF0000StringTable::setLanguage:^c ^CFF0000Memory Allocation Error^c strings.utf8\f");
        EXPECT_EQ(m_loadedOf(strings), 1);
    }
    EXPECT_EQ(memory.takeLog().find("open"), std::string::npos);
}

TEST(StringTableWatch, DoesNotEndTheGameOverAFileOfAbsurdLength)
{
    // A folder's length, an error's, and more than a bank can ever hold; the largest on 32-bit and 64-bit hosts.
    for (long long length : {-1LL, 0x7fffffffffffffffLL, 0x7fffffffLL, 0xffffffffLL, 0x7fffff01LL}) {
        WatchedMemory memory;
        s_file.length = length;
        StringTable strings;
        memory.takeLog();
        EXPECT_TRUE(strings.setLanguage("french"));
        EXPECT_EQ(memory.takeLog(), "open rb, length") << length;
        EXPECT_EQ(takeMessages(),
                  "3 ^CFF0000StringTable::setLanguage:^c ^CFF0000Memory Allocation Error^c strings.utf8\f");
        EXPECT_EQ(m_loadedOf(strings), 1);
    }
}

TEST(StringTableWatch, AsksForABlockForTheLongestFile)
{
    WatchedMemory memory;
    memory.refusedLine = 146;
    s_file.length = 0x7fffff00;
    StringTable strings;
    memory.takeLog();
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(memory.takeLog(), "open rb, length, alloc 2147483393 core/stringtable:146 = null");
}

TEST(StringTableWatch, ClearsTheBlockOfAFileAndNoByteAfterIt)
{
    WatchedMemory memory;
    StringTable strings;
    void* block = memory.alloc(0, 1000, "test", 1);
    memset(block, 0xaa, 1000);
    memory.free(0, block);
    s_file.length = 20; // a block of 21 bytes, in a node with room for 40
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(s_file.behindText, 0xaau);
}

TEST(StringTableWatch, ReadsTheLengthThatTheFileReportedFirst)
{
    WatchedMemory memory;
    s_file.bytes = "\"a\" = \"Alpha\"\n\"b\" = \"Beta\"\n";
    s_file.length = 20; // it has grown since
    StringTable strings;
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_STREQ(strings.translate("a"), "Alpha");
    EXPECT_STREQ(strings.translate("b"), "b");
    EXPECT_EQ(takeMessages(), "");
}

TEST(StringTableWatch, HasNoEntriesWithoutAParser)
{
    WatchedMemory memory;
    memory.refusedLine = 169;
    StringTable strings;
    memory.takeLog();
    EXPECT_TRUE(strings.setLanguage("french"));
    EXPECT_EQ(memory.takeLog(), "open rb, length, " + table(15, 146, 5) + ", read 14 1, close, alloc " +
                                    std::to_string(sizeof(Parser)) + " core/stringtable:169 = null, free #5");
    EXPECT_EQ(takeMessages(), "");
}

TEST(StringTableWatch, PassesOverAnEntryThatThereIsNoMemoryFor)
{
    for (unsigned int line : {221u, 226u}) {
        WatchedMemory memory;
        memory.refusedLine = line;
        {
            StringTable strings;
            EXPECT_TRUE(strings.setLanguage("french"));
            EXPECT_EQ(takeMessages(), "");
            const char text[] = "a";
            EXPECT_EQ(strings.translate(text), text);
            EXPECT_EQ(takeMessages().compare(0, 38, "3 Failed to insert translated string: "), 0);
            memory.refusedLine = 0;
            EXPECT_STREQ(strings.translate("a"), "a");
            EXPECT_EQ(takeMessages(), "");
        }
        EXPECT_EQ(memory.check(0, true), 0); // the record without a text went back
    }
}

TEST(StringTableWatch, IsSafeWithoutAHashTable)
{
    WatchedMemory memory;
    memory.refusedLine = 56;
    {
        StringTable strings;
        EXPECT_EQ(m_tableOf(strings), nullptr);
        const char text[] = "a";
        EXPECT_EQ(strings.translate(text), text);
        memory.takeLog();
    }
    EXPECT_EQ(memory.takeLog(), ""); // in particular, no file is emptied
    {
        StringTable strings;
        EXPECT_TRUE(strings.setLanguage("french"));
        EXPECT_STREQ(strings.translate("a"), "a");
    }
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(StringTableWatch, IsSafeWithAHashTableThatHoldsNothing)
{
    for (unsigned int line : {289u, 296u, 161u}) {
        WatchedMemory memory;
        memory.refusedLine = line;
        StringTable strings;
        EXPECT_TRUE(strings.setLanguage("french"));
        const char text[] = "a";
        EXPECT_EQ(strings.translate(text), text) << line;
        takeMessages();
    }
}

TEST(StringTableWatch, LeavesNoHashTableBehindWhenTheGamesMemoryThrows)
{
    WatchedMemory memory;
    memory.throwingLine = 289;
    EXPECT_THROW(new ("test", 1) StringTable, std::bad_alloc);
    EXPECT_EQ(memory.takeLog(), alloc(sizeof(StringTable), "test", 1, 1) + ", " +
                                    table(sizeof(HashTable<_StringTableNode_s>), 56, 2) + ", free #2, free #1");
    EXPECT_EQ(g_stringTblPtr, nullptr);
}

TEST(StringTableWatch, TruncatesThePathOfItsFileTo127Bytes)
{
    WatchedMemory memory;
    s_file.opens = false;
    for (size_t length : {114u, /* a slash, and 12 for the name */ 115u, 126u, 127u, 128u, 1023u}) {
        const std::string path = std::string(length, 'p') + "/strings.utf8";
        StringTable::s_setLocalePath(std::string(length, 'p').c_str());
        {
            StringTable strings;
            EXPECT_FALSE(strings.setLanguage("french"));
            EXPECT_EQ(s_file.path, path.substr(0, 127)) << length;
            EXPECT_EQ(takeMessages(), "6 ^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00" +
                                          path.substr(0, 127) + "^c\"\f");
            s_file.path = "";
        }
        EXPECT_EQ(s_file.path, path.substr(0, 127)); // for the export as well
        takeMessages();
    }
}

TEST(StringTableWatch, WritesNothingWhenItsFileCannotBeOpened)
{
    WatchedMemory memory;
    s_file.opens = false;
    {
        StringTable strings;
        strings.translate("a");
        memory.takeLog();
    }
    EXPECT_EQ(memory.takeLog(), "open w, free #6, free #5, free #2, free #4, free #3, free #1");
    EXPECT_EQ(takeMessages(), "6 ^CFF0000StringTable::_exportStringTable:^c Failed to open file for writing: "
                              "\"^CFFFF00strings.utf8^c\"\f");
}

TEST(StringTableWatch, WritesNoByteOrderMark)
{
    WatchedMemory memory;
    {
        StringTable strings;
        strings.translate("\xC3\x84");
    }
    EXPECT_EQ(s_file.written, "\"\xC3\x84\" = \"\xC3\x84\"\n");
}
