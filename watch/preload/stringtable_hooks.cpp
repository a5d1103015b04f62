// 1. Without a journal, each hook only calls the real function.
// 2. Nothing is written into the game's memory. Whether translate has added an entry shows in the free list of the
//    table's pool: each entry takes one node from it.
#include "core/hashtable.h"
#include "core/stringtable.h"
#include "watch/preload/file_hooks.h"
#include "watch/preload/journal.h"
#include "watch/preload/realfunction.h"
#include "watch/preload/settings.h"

#include <string.h>

// The fields of a StringTable, which are frozen.
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

WATCH_FUNCTION("_ZN11StringTable9translateEPKc", const char*, translate, (StringTable * table, const char* text))
{
    if (!text || !isWatching()) {
        return s_translate.real()(table, text);
    }
    const void* caller = __builtin_return_address(0);
    const StringTableView& view = StringTableView::of(table);
    const void* before = view.freeNode();
    const char* result = s_translate.real()(table, text);

    const size_t length = strlen(text);
    const watch::e_TextAnswer answer = result == text              ? watch::TEXT_REFUSED
                                       : view.freeNode() != before ? watch::TEXT_ADDED
                                       : strcmp(result, text) == 0 ? watch::TEXT_SAME
                                                                   : watch::TEXT_TRANSLATED;
    const watch::JournalText event = {reinterpret_cast<uintptr_t>(caller), answer, static_cast<uint32_t>(length)};
    const size_t recorded = length < watch::sc_journalText ? length : watch::sc_journalText;
    if (watch::countEvent(
            watch::JOURNAL_TEXT,
            {{&event, sizeof(event)}, {view.language, view.languageLength()}, {"", 1}, {text, recorded}})) {
        watch::countModule(caller);
    }
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
