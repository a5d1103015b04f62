// core-strings stats: how far a translation is.
#include "tools/core-strings/commands.h"
#include "tools/shared/json.h"

#include <algorithm>
#include <stdio.h>

namespace {
struct Sums {
    std::string file;
    size_t translated = 0;   // entries with a text of their own
    size_t unchanged = 0;    // entries whose translation is the key
    size_t proposed = 0;     // proposals for a translator to look at
    size_t untranslated = 0; // proposals without text
    size_t obsolete = 0;
    size_t words = 0; // of the keys, without those that are obsolete

    size_t all() const { return translated + unchanged + proposed + untranslated; }
    double share() const
    {
        return all() ? 100.0 * static_cast<double>(translated + unchanged) / static_cast<double>(all()) : 100.0;
    }
};
} // namespace

static size_t countWords(const std::string& text)
{
    size_t words = 0;
    bool isInside = false;
    for (const char letter : text) {
        const bool isBlank = letter == ' ' || letter == '\n' || letter == '\t' || letter == '\r';
        words += !isBlank && !isInside;
        isInside = !isBlank;
    }
    return words;
}

static Sums sumsOf(const std::string& file, const Document& document)
{
    Sums sums;
    sums.file = file;
    for (const Item& item : document.items) {
        if (item.kind == ITEM_OBSOLETE) {
            sums.obsolete += 1;
            continue;
        }
        size_t& count = item.kind == ITEM_PROPOSAL     ? item.translation.empty() ? sums.untranslated : sums.proposed
                        : item.translation == item.key ? sums.unchanged
                                                       : sums.translated;
        count += 1;
        sums.words += countWords(item.key);
    }
    return sums;
}

static void printTable(const std::vector<Sums>& all)
{
    size_t width = 4;
    for (const Sums& sums : all) {
        width = std::max(width, sums.file.size());
    }
    const int columns = static_cast<int>(width);
    printf("%-*s  %7s  %10s  %9s  %8s  %12s  %8s  %6s\n", columns, "file", "entries", "translated", "unchanged",
           "proposed", "untranslated", "obsolete", "words");
    for (const Sums& sums : all) {
        printf("%-*s  %7zu  %10zu  %9zu  %8zu  %12zu  %8zu  %6zu  %5.1f %%\n", columns, printable(sums.file).c_str(),
               sums.all(), sums.translated, sums.unchanged, sums.proposed, sums.untranslated, sums.obsolete,
               sums.words, sums.share());
    }
}

static void printJson(const std::vector<Sums>& all)
{
    printf("[\n");
    for (size_t index = 0; index < all.size(); ++index) {
        const Sums& sums = all[index];
        printf("  {\"file\": %s, \"entries\": %zu, \"translated\": %zu, \"unchanged\": %zu, \"proposed\": %zu, "
               "\"untranslated\": %zu, \"obsolete\": %zu, \"words\": %zu}%s\n",
               quotedForJson(sums.file).c_str(), sums.all(), sums.translated, sums.unchanged, sums.proposed,
               sums.untranslated, sums.obsolete, sums.words, index + 1 < all.size() ? "," : "");
    }
    printf("]\n");
}

int runStats(const StatsOptions& options)
{
    std::vector<Sums> all;
    int status = TOOL_FINE;
    for (const std::string& file : options.files) {
        Document document;
        if (const int result = loadDocument(file, &document)) {
            status = std::max(status, result);
        } else {
            all.push_back(sumsOf(file, document));
        }
    }
    if (options.isJson) {
        printJson(all);
    } else if (!all.empty()) {
        printTable(all);
    }
    return status;
}
