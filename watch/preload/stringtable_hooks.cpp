// 1. Without a journal, each hook only calls the real function.
// 2. Nothing is written into the game's memory. The hook of translate compares the first free node of the table's
//    pool before and after the call: each new entry takes one node from the free list.
#include "core/hashtable.h"
#include "core/stringtable.h"
#include "watch/preload/file_hooks.h"
#include "watch/preload/journal.h"
#include "watch/preload/realfunction.h"
#include "watch/preload/settings.h"
#include "watch/preload/stack.h"

#include <atomic>
#include <string.h>

// The fields of a StringTable. Their layout never changes.
struct StringTableView {
    void* functions;
    int loaded;
    char spare[128];
    char language[128];
    const HashTable<_StringTableNode_s>* table;

    static const StringTableView& of(const StringTable* table)
    {
        return *reinterpret_cast<const StringTableView*>(table);
    }

    size_t languageLength() const { return strnlen(language, sizeof(language)); }

    // Returns the first free node; null without a table, or when the table is full.
    const void* freeNode() const { return table && table->m_pool ? table->m_pool->m_freeList : nullptr; }
};
static_assert(sizeof(StringTableView) == sizeof(StringTable), "the same fields");

static bool isWatching()
{
    return watch::settings().events == watch::EVENTS_STRINGS && watch::isJournalOpen();
}

// ---- Numbers of tables: a new table may have the same address as a destroyed table

static const uint32_t sc_tables = 16; // tables with known numbers; a game has one or two tables at a time

static std::atomic<const StringTable*> s_tables[sc_tables]; // the table with the number n is at n % sc_tables
static std::atomic<uint32_t> s_lastTable{0};

static void numberTable(const StringTable* table)
{
    const uint32_t number = s_lastTable.fetch_add(1) + 1;
    s_tables[number % sc_tables].store(table);
}

// Returns the number of a table, from 1 on; 0 when it is not known.
static uint32_t numberOf(const StringTable* table)
{
    const uint32_t last = s_lastTable.load(std::memory_order_relaxed);
    for (uint32_t number = last; number > 0 && last - number < sc_tables; --number) {
        if (s_tables[number % sc_tables].load(std::memory_order_relaxed) == table) {
            return number;
        }
    }
    return 0;
}

WATCH_FUNCTION("_ZN11StringTableC1Ev", void, construct, (StringTable * table))
{
    s_construct.real()(table);
    numberTable(table);
}

WATCH_FUNCTION("_ZN11StringTableC2Ev", void, constructBase, (StringTable * table))
{
    s_constructBase.real()(table);
    numberTable(table);
}

// ---- Calls

// Stores the callers of a hook from its return address on.
static void storeCallers(const void* caller, watch::JournalText* event)
{
    const unsigned int wanted = watch::settings().callers;
    event->callers[0] = reinterpret_cast<uintptr_t>(caller);
    if (wanted < 2) {
        return; // the stack need not be unwound
    }
    watch::Stack stack;
    stack.capture(caller, wanted < watch::sc_journalCallers ? wanted : watch::sc_journalCallers);
    for (unsigned int index = 0; index < stack.count(); ++index) {
        event->callers[index] = reinterpret_cast<uintptr_t>(stack.at(index));
    }
}

static void countText(const StringTable* table, const char* text, watch::e_TextAnswer answer, const void* caller)
{
    const StringTableView& view = StringTableView::of(table);
    const size_t length = strlen(text);
    const size_t recorded = length < watch::sc_journalText ? length : watch::sc_journalText;
    watch::JournalText event = {{}, answer, static_cast<uint32_t>(length), numberOf(table), 0};
    storeCallers(caller, &event);
    const bool isNew = watch::countEvent(
        watch::JOURNAL_TEXT,
        {{&event, sizeof(event)}, {view.language, view.languageLength()}, {"", 1}, {text, recorded}});
    for (const uint64_t place : event.callers) {
        if (isNew && place != 0) {
            watch::countModule(reinterpret_cast<const void*>(static_cast<uintptr_t>(place)));
        }
    }
}

WATCH_FUNCTION("_ZN11StringTable9translateEPKc", const char*, translate, (StringTable * table, const char* text))
{
    if (!text || !isWatching()) {
        return s_translate.real()(table, text);
    }
    const StringTableView& view = StringTableView::of(table);
    const void* before = view.freeNode();
    const char* result = s_translate.real()(table, text);
    const watch::e_TextAnswer answer = result == text              ? watch::TEXT_REFUSED
                                       : view.freeNode() != before ? watch::TEXT_ADDED
                                       : strcmp(result, text) == 0 ? watch::TEXT_SAME
                                                                   : watch::TEXT_TRANSLATED;
    countText(table, text, answer, __builtin_return_address(0));
    return result;
}

WATCH_FUNCTION("_ZN11StringTable11setLanguageEPKc", bool, setLanguage, (StringTable * table, const char* language))
{
    if (!isWatching()) {
        return s_setLanguage.real()(table, language);
    }
    watch::WatchedOpen open;
    const bool result = s_setLanguage.real()(table, language);
    const StringTableView& view = StringTableView::of(table);
    watch::countEvent(watch::JOURNAL_STRINGS_FILE, {{view.language, view.languageLength()},
                                                    {"", 1},
                                                    {open.asked(), strlen(open.asked())},
                                                    {"", 1},
                                                    {open.opened(), strlen(open.opened())}});
    return result;
}
