// core-strings format: one form for all entries.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <stdio.h>

// Sorts by key. An item's comments move with it. The empty lines between groups of entries have no meaning then.
static void sortItems(std::vector<Item>* items)
{
    for (Item& item : *items) {
        item.comments.erase(std::remove(item.comments.begin(), item.comments.end(), ""), item.comments.end());
    }
    std::stable_sort(items->begin(), items->end(),
                     [](const Item& left, const Item& right) { return foldCase(left.key) < foldCase(right.key); });
}

static int formatOne(const std::string& path, const FormatOptions& options)
{
    Document document;
    std::string bytes;
    if (const int status = loadDocument(path, &document, &bytes)) {
        return status;
    }
    document.hasSemicolons = options.isApple;
    if (options.isSorted) {
        sortItems(&document.items);
    }
    normalise(&document);
    const std::string formatted = writeDocument(document);
    const bool isChanged = bytes != formatted;
    if (options.onlyChecks) {
        fputs(isChanged ? (printable(path) + "\n").c_str() : "", stdout);
        return isChanged ? TOOL_FOUND : TOOL_FINE;
    }
    return isChanged || path == "-" ? saveFile(path, formatted) : TOOL_FINE;
}

int runFormat(const FormatOptions& options)
{
    int status = TOOL_FINE;
    for (const std::string& file : options.files) {
        status = std::max(status, formatOne(file, options));
    }
    return status;
}
