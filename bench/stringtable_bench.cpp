// The time to translate, load and write the texts of a game: core's string table beside gettext and hash maps.
//
// All sides have the same 1000 texts and translate them in the same order. The sides differ in three points:
//
//  | Side                             | ignores case | makes a std::string for a lookup | adds an unknown text |
//  |----------------------------------|--------------|----------------------------------|----------------------|
//  | core                             | yes          | no                               | yes                  |
//  | dgettext                         | no           | no                               | no                   |
//  | std::unordered_map, folding case | yes          | yes                              | yes                  |
//  | other maps                       | no           | yes                              | yes                  |
//
//     stringtable_bench [PART OF A SUBJECT]
#include "core/stringtable.h"

#include "peers.h"
#include "scratch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <locale.h>
#include <memory>
#include <random>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef PEER_ABSL
#include <absl/container/flat_hash_map.h>
#endif
#if __has_include(<libintl.h>)
#include <libintl.h>
#endif

static const int sc_count = 1000;

// Returns a text like those of games: a few words, 10 to 60 bytes; some need an escape.
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

// ---- Hash maps with std::string keys

static char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
}

struct FoldedHash {
    size_t operator()(const std::string& text) const
    {
        size_t hash = 14695981039346656037u;
        for (char letter : text) {
            hash = (hash ^ static_cast<unsigned char>(lower(letter))) * 1099511628211u;
        }
        return hash;
    }
};

struct FoldedEqual {
    bool operator()(const std::string& left, const std::string& right) const
    {
        return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                         [](char a, char b) { return lower(a) == lower(b); });
    }
};

typedef std::unordered_map<std::string, std::string> Map;
typedef std::unordered_map<std::string, std::string, FoldedHash, FoldedEqual> FoldedMap;

// Decodes the text from *at, the byte after the opening quote, to the closing quote. Moves *at to the closing quote.
static std::string readQuoted(const std::string& line, size_t* at)
{
    static const char sc_letters[] = "abtnvfr\"'\\";
    static const char sc_bytes[] = "\a\b\t\n\v\f\r\"'\\";
    std::string text;
    for (; *at < line.size() && line[*at] != '"'; ++*at) {
        const char* place = line[*at] == '\\' && *at + 1 < line.size() ? strchr(sc_letters, line[++*at]) : nullptr;
        text += place ? sc_bytes[place - sc_letters] : line[*at];
    }
    return text;
}

// Reads a strings file into a map, line by line.
template <typename AnyMap>
static void load(AnyMap& map, const char* path)
{
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        size_t at = line.find('"');
        if (at == std::string::npos || line.compare(0, 2, "//") == 0) {
            continue;
        }
        std::string key = readQuoted(line, &++at);
        at = line.find('"', line.find('=', at));
        if (at != std::string::npos) {
            map.emplace(std::move(key), readQuoted(line, &++at));
        }
    }
}

static std::string decoded(std::string_view text)
{
    size_t at = 0;
    return text.find('\\') == text.npos ? std::string(text) : readQuoted(std::string(text), &at);
}

// As load, with fgets, for files in which each line is an entry.
static void loadWithFgets(Map& map, const char* path)
{
    FILE* file = fopen(path, "rb");
    char line[1024];
    while (file && fgets(line, sizeof(line), file)) {
        const std::string_view text(line);
        const size_t keyEnd = text.find("\" = \"");
        if (keyEnd != text.npos) {
            const size_t begin = keyEnd + strlen("\" = \"");
            map.emplace(decoded(text.substr(1, keyEnd - 1)), decoded(text.substr(begin, text.rfind('"') - begin)));
        }
    }
    if (file) {
        fclose(file);
    }
}

// As loadWithFgets, but keeps the escapes of a text as they are in the file: the least work of all sides.
static void loadWithoutEscapes(Map& map, const char* path)
{
    FILE* file = fopen(path, "rb");
    char line[1024];
    while (file && fgets(line, sizeof(line), file)) {
        char* keyEnd = strstr(line, "\" = \"");
        char* end = strrchr(line, '"');
        if (keyEnd && end) {
            *keyEnd = *end = '\0';
            map.emplace(line + 1, keyEnd + strlen("\" = \""));
        }
    }
    if (file) {
        fclose(file);
    }
}

template <typename AnyMap>
static void write(const AnyMap& map, const char* path)
{
    std::ofstream file(path, std::ios::binary);
    for (const auto& entry : map) {
        file << inQuotes(entry.first) << " = " << inQuotes(entry.second) << "\n";
    }
}

// ---- The texts

static std::vector<std::string> s_texts; // in random order
static std::vector<std::string> s_newTexts;

// Writes the strings file and gettext's catalogue into the working folder.
static void writeTexts()
{
    std::ofstream strings("strings.utf8", std::ios::binary);
    std::ofstream catalogue("bench.po", std::ios::binary);
    catalogue << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (int number = 0; number < sc_count; ++number) {
        s_texts.push_back(textNumber(number));
        s_newTexts.push_back("New: " + s_texts.back());
        const std::string key = inQuotes(s_texts.back());
        const std::string translation = inQuotes(translationOf(s_texts.back()));
        strings << key << " = " << translation << "\n";
        catalogue << "msgid " << key << "\nmsgstr " << translation << "\n";
    }
    std::shuffle(s_texts.begin(), s_texts.end(), std::mt19937(1));
    std::filesystem::create_directory("empty");
    std::ofstream("empty/strings.utf8") << "// nothing\n";
}

// Returns a checksum of the translations: one byte of each.
template <typename Translate>
static unsigned long long translateAll(const std::vector<std::string>& texts, Translate translate)
{
    unsigned long long sum = 0;
    for (const std::string& text : texts) {
        const char* answer = translate(text.c_str());
        sum = sum * 31 + static_cast<unsigned char>(answer[3]);
    }
    return sum;
}

template <typename AnyMap>
static Side lookUpIn(const char* name, const AnyMap& map)
{
    return {name, [&map] {
                return translateAll(s_texts, [&map](const char* text) { return map.find(text)->second.c_str(); });
            }};
}

#if __has_include(<libintl.h>)
// Makes gettext's catalogue. Returns false when that fails, for example because msgfmt is not installed.
static bool prepareGettext()
{
    std::filesystem::create_directories("fr/LC_MESSAGES");
    if (system("msgfmt -o fr/LC_MESSAGES/bench.mo bench.po") != 0) {
        return false;
    }
    setlocale(LC_ALL, "C.UTF-8");
    setenv("LANGUAGE", "fr", 1);
    bindtextdomain("bench", std::filesystem::current_path().c_str());
    bind_textdomain_codeset("bench", "UTF-8");
    return dgettext("bench", s_texts[0].c_str()) != s_texts[0];
}
#endif

// ---- The subjects

static void benchKnown(Bench& bench)
{
    StringTable table;
    table.setLanguage("bench");
    Map map;
    load(map, "strings.utf8");
    FoldedMap foldedMap;
    load(foldedMap, "strings.utf8");
    std::vector<Side> sides = {
        {"core", [&] { return translateAll(s_texts, [&](const char* text) { return table.translate(text); }); }}};
#if __has_include(<libintl.h>)
    if (prepareGettext()) {
        sides.push_back({"dgettext", [] {
                             return translateAll(s_texts, [](const char* text) { return dgettext("bench", text); });
                         }});
    }
#endif
    sides.push_back(lookUpIn("std::unordered_map, folding case", foldedMap));
    sides.push_back(lookUpIn("std::unordered_map", map));
#ifdef PEER_ABSL
    absl::flat_hash_map<std::string, std::string> flatMap(map.begin(), map.end());
    sides.push_back(lookUpIn("absl::flat_hash_map", flatMap));
#endif
    bench.compare("translate, known texts", "text", sc_count, sides);
}

// Returns a table without entries. It has read an empty strings file, so its destructor writes no file.
static std::unique_ptr<StringTable> emptyTable()
{
    std::unique_ptr<StringTable> table(new StringTable);
    StringTable::s_setLocalePath("empty");
    table->setLanguage("bench");
    StringTable::s_setLocalePath(".");
    return table;
}

static void benchNew(Bench& bench)
{
    std::unique_ptr<StringTable> table;
    FoldedMap map;
    bench.compare(
        "translate, new texts", "text", sc_count,
        {{"core", [&] { return translateAll(s_newTexts, [&](const char* text) { return table->translate(text); }); },
          [&] {
              table.reset();
              table = emptyTable();
          }},
         {"std::unordered_map, folding case",
          [&] {
              return translateAll(s_newTexts,
                                  [&](const char* text) { return map.emplace(text, text).first->second.c_str(); });
          },
          [&] { map.clear(); }}});
}

static void benchLoad(Bench& bench)
{
    std::unique_ptr<StringTable> table;
    std::unique_ptr<Map> map;
    bench.compare("strings file of 1000 texts, loaded", "text", sc_count,
                  {{"core",
                    [&] {
                        table.reset(new StringTable);
                        table->setLanguage("bench");
                        return 0;
                    },
                    [&] { table.reset(); }},
                   {"std::getline, std::unordered_map",
                    [&] {
                        map.reset(new Map);
                        load(*map, "strings.utf8");
                        return 0;
                    },
                    [&] { map.reset(); }},
                   {"fgets, std::unordered_map",
                    [&] {
                        map.reset(new Map);
                        loadWithFgets(*map, "strings.utf8");
                        return 0;
                    },
                    [&] { map.reset(); }},
                   {"fgets, std::unordered_map, no escapes",
                    [&] {
                        map.reset(new Map);
                        loadWithoutEscapes(*map, "strings.utf8");
                        return 0;
                    },
                    [&] { map.reset(); }}});
}

static void benchWrite(Bench& bench)
{
    std::unique_ptr<StringTable> table;
    Map map;
    for (const std::string& text : s_newTexts) {
        map.emplace(text, text);
    }
    StringTable::s_setLocalePath("written");
    std::filesystem::create_directory("written");
    bench.compare("strings file of 1000 texts, written", "text", sc_count,
                  {{"core",
                    [&] {
                        table.reset();
                        return std::filesystem::file_size("written/strings.utf8");
                    },
                    [&] {
                        table.reset(new StringTable);
                        for (const std::string& text : s_newTexts) {
                            table->translate(text.c_str());
                        }
                    }},
                   {"std::ofstream, std::unordered_map", [&] {
                        write(map, "written/strings.utf8");
                        return std::filesystem::file_size("written/strings.utf8");
                    }}});
    StringTable::s_setLocalePath(".");
}

int main(int argc, char** argv)
{
    const ScratchFolder folder;
    const ScratchMemory memory;
    writeTexts();
    Bench bench(argc, argv);
    benchKnown(bench);
    benchNew(bench);
    benchLoad(bench);
    benchWrite(bench);
    return bench.result();
}
