// What a text costs: the string table, with the system's gettext and a hash map of strings beside it.
//
// All sides hold the same 1000 texts and are asked for them in the same order, in one process. They don't do quite
// the same: the table finds "NEW GAME" for "New Game", the others don't; the map makes a std::string of each text it
// is asked for. The table and the map here keep a text they don't know, gettext doesn't.
//
//     stringtable_bench [--benchmark_filter=Known]
#include "core/memorymgr.h"
#include "core/stringtable.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <locale.h>
#include <random>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#if __has_include(<libintl.h>)
#include <libintl.h>
#else // a host without gettext: its rows say so
static const char* dgettext(const char*, const char* text)
{
    return text;
}
static void bindtextdomain(const char*, const char*)
{
}
static void bind_textdomain_codeset(const char*, const char*)
{
}
#endif

static const int sc_count = 1000;

class BenchMemory : public MemoryMgr {
public:
    BenchMemory()
    {
        bankSizePath[0] = '\0'; // sizes stay as they are
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 4 << 20);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};

// Texts as games have them: a few words, some with an escape, 10 to 60 bytes.
static std::string textNumber(int number)
{
    static const char* const sc_who[] = {"Footman", "The harbour master", "Catapult crew", "Your \"ally\"",
                                         "Peasant"};
    static const char* const sc_what[] = {"is under attack", "has arrived", "needs more gold",
                                          "was lost\nin the fog"};
    return std::string(sc_who[number % 5]) + " " + std::to_string(number * 37 % 1000) + " " + sc_what[number / 5 % 4];
}

static std::string translationOf(const std::string& text)
{
    return "\xC2\xAB " + text + " \xC2\xBB";
}

static std::string inQuotes(const std::string& text)
{
    std::string result = "\"";
    for (char letter : text) {
        result += letter == '\n' ? "\\n" : letter == '"' ? "\\\"" : std::string(1, letter);
    }
    return result + "\"";
}

static std::vector<std::string> s_texts; // in an order of no meaning
static std::string s_noGettext;          // why there is none

// Looks all texts up, over and over, and checks what is found.
template <typename Lookup>
static void lookUp(benchmark::State& state, Lookup lookup)
{
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(lookup(s_texts[next]));
        next = next + 1 < s_texts.size() ? next + 1 : 0;
    }
    for (const std::string& text : s_texts) {
        if (lookup(text) != translationOf(text)) {
            state.SkipWithError("it did not find a translation");
            return;
        }
    }
}

static void BM_Known_StringTable(benchmark::State& state)
{
    StringTable table;
    table.setLanguage("bench");
    lookUp(state, [&](const std::string& text) { return table.translate(text.c_str()); });
}
BENCHMARK(BM_Known_StringTable);

static void BM_Known_Dgettext(benchmark::State& state)
{
    if (!s_noGettext.empty()) {
        state.SkipWithError(s_noGettext.c_str());
        return;
    }
    lookUp(state, [](const std::string& text) { return dgettext("bench", text.c_str()); });
}
BENCHMARK(BM_Known_Dgettext);

typedef std::unordered_map<std::string, std::string> Map;

static void BM_Known_UnorderedMap(benchmark::State& state)
{
    Map map;
    for (const std::string& text : s_texts) {
        map[text] = translationOf(text);
    }
    lookUp(state, [&](const std::string& text) { return map.find(text.c_str())->second.c_str(); });
}
BENCHMARK(BM_Known_UnorderedMap);

// Time for one text that is not known, in a table that has none at first and 1000 in the end.
template <typename Side>
static void addAll(benchmark::State& state)
{
    std::vector<std::string> texts;
    for (const std::string& text : s_texts) {
        texts.push_back("New: " + text);
    }
    while (state.KeepRunningBatch(sc_count)) {
        state.PauseTiming();
        Side* side = new Side;
        state.ResumeTiming();
        for (const std::string& text : texts) {
            benchmark::DoNotOptimize(side->translate(text.c_str()));
        }
        state.PauseTiming();
        delete side;
        state.ResumeTiming();
    }
}

// A table that writes nothing in the end.
class LoadedTable : public StringTable {
public:
    LoadedTable()
    {
        s_setLocalePath("empty");
        setLanguage("bench");
        s_setLocalePath(".");
    }
};

static void BM_Unknown_StringTable(benchmark::State& state)
{
    addAll<LoadedTable>(state);
}
BENCHMARK(BM_Unknown_StringTable);

static void BM_Unknown_Dgettext(benchmark::State& state)
{
    struct Gettext {
        const char* translate(const char* text) { return dgettext("bench", text); }
    };
    if (!s_noGettext.empty()) {
        state.SkipWithError(s_noGettext.c_str());
        return;
    }
    addAll<Gettext>(state);
}
BENCHMARK(BM_Unknown_Dgettext);

static void BM_Unknown_UnorderedMap(benchmark::State& state)
{
    struct AddingMap {
        Map map;
        const char* translate(const char* text) { return map.emplace(text, text).first->second.c_str(); }
    };
    addAll<AddingMap>(state);
}
BENCHMARK(BM_Unknown_UnorderedMap);

// A new table, and the strings file with all texts read into it.
static void BM_Load_StringTable(benchmark::State& state)
{
    for (auto _ : state) {
        StringTable* table = new StringTable;
        table->setLanguage("bench");
        state.PauseTiming();
        delete table;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * sc_count);
}
BENCHMARK(BM_Load_StringTable)->Unit(benchmark::kMicrosecond);

// Writes the strings file and gettext's catalogue into the working folder.
static void writeTexts()
{
    std::ofstream strings("strings.utf8", std::ios::binary);
    std::ofstream catalogue("bench.po", std::ios::binary);
    catalogue << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (int number = 0; number < sc_count; ++number) {
        s_texts.push_back(textNumber(number));
        const std::string key = inQuotes(s_texts.back());
        const std::string translation = inQuotes(translationOf(s_texts.back()));
        strings << key << " = " << translation << "\n";
        catalogue << "msgid " << key << "\nmsgstr " << translation << "\n";
    }
    std::shuffle(s_texts.begin(), s_texts.end(), std::mt19937(1));
    std::filesystem::create_directory("empty");
    std::ofstream("empty/strings.utf8") << "// nothing\n";
}

static void prepareGettext()
{
    std::filesystem::create_directories("fr/LC_MESSAGES");
    if (system("msgfmt -o fr/LC_MESSAGES/bench.mo bench.po") != 0) {
        s_noGettext = "there is no msgfmt here (package gettext)";
        return;
    }
    setlocale(LC_ALL, "C.UTF-8");
    setenv("LANGUAGE", "fr", 1);
    bindtextdomain("bench", std::filesystem::current_path().c_str());
    bind_textdomain_codeset("bench", "UTF-8");
    if (dgettext("bench", s_texts[0].c_str()) == s_texts[0]) {
        s_noGettext = "gettext translates nothing here";
    }
}

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    char folder[] = "/tmp/core-bench-XXXXXX";
    if (!mkdtemp(folder) || chdir(folder) != 0) {
        return 1;
    }
    setenv("MACAPI_LIBRARY", folder, 1);
    writeTexts();
    prepareGettext();
    {
        BenchMemory memory;
        benchmark::RunSpecifiedBenchmarks();
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
}
