#include "tools/core-strings/document.h"

#include "tools/core-strings/check.h"
#include "tools/core-strings/game.h"

#include <algorithm>

const char sc_charsetLine[] = "\"\"=\"Content-Type: text/plain; charset=UTF-8\\n\";";

static const char sc_proposal[] = "//? ";
static const char sc_obsolete[] = "//~ ";

static std::string trimmed(const std::string& line)
{
    const size_t first = line.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

static Item itemOf(const std::string& line, bool* hasSemicolon)
{
    Item item;
    item.comment = trimmed(line);
    const std::string mark = item.comment.substr(0, 4);
    const bool isMarked = mark == sc_proposal || mark == sc_obsolete;
    if (readEntry(isMarked ? item.comment.substr(4) : item.comment, &item.key, &item.translation)) {
        item.kind = !isMarked ? ITEM_ENTRY : mark == sc_proposal ? ITEM_PROPOSAL : ITEM_OBSOLETE;
        *hasSemicolon = item.comment.back() == ';';
    }
    return item;
}

static std::vector<Item> itemsOf(const std::string& text, bool* hasSemicolons)
{
    std::vector<Item> items;
    size_t entries = 0;
    size_t semicolons = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        bool hasSemicolon = false;
        items.push_back(itemOf(text.substr(begin, end - begin), &hasSemicolon));
        entries += items.back().kind != ITEM_COMMENT;
        items.back().line = items.size();
        semicolons += hasSemicolon;
        begin = end + 1;
    }
    *hasSemicolons = 2 * semicolons > entries;
    return items;
}

// The comments at the begin, up to the first empty line; none if an entry comes before an empty line.
static size_t headerSize(const std::vector<Item>& items)
{
    for (size_t size = 0; size < items.size() && items[size].kind == ITEM_COMMENT; ++size) {
        if (items[size].comment.empty()) {
            return size;
        }
    }
    return 0;
}

// Adds a line to a list of comments: no empty line after another one.
static void addComment(std::vector<std::string>* comments, const std::string& line, bool isFirst)
{
    const bool isSecond = comments->empty() ? isFirst : comments->back().empty();
    if (!line.empty() || !isSecond) {
        comments->push_back(line);
    }
}

bool readDocument(const std::string& name, const std::string& bytes, Document* document,
                  std::vector<Finding>* findings)
{
    *findings = findUnreadable(name, bytes);
    if (!findings->empty()) {
        return false;
    }
    std::vector<Item> items = itemsOf(takeForm(bytes, &document->form), &document->hasSemicolons);
    const auto isEmpty = [](const Item& item) { return item.kind == ITEM_COMMENT && item.comment.empty(); };
    const auto isCharset = [](const Item& item) { return item.comment == sc_charsetLine; };
    items.erase(std::remove_if(items.begin(), items.end(), isCharset), items.end());
    items.erase(items.begin(), std::find_if_not(items.begin(), items.end(), isEmpty));
    const size_t begin = headerSize(items);
    for (size_t index = 0; index < begin; ++index) {
        document->header.push_back(items[index].comment);
    }
    std::vector<std::string> comments;
    for (size_t index = begin; index < items.size(); ++index) {
        Item& item = items[index];
        if (item.kind == ITEM_COMMENT) {
            addComment(&comments, item.comment, document->items.empty());
            continue;
        }
        item.comments.swap(comments);
        comments.clear();
        document->items.push_back(std::move(item));
    }
    while (!comments.empty() && comments.back().empty()) {
        comments.pop_back();
    }
    document->trailer = comments;
    return true;
}

std::string lineOf(const Item& item, bool hasSemicolons)
{
    const char* const mark = item.kind == ITEM_PROPOSAL ? sc_proposal : item.kind == ITEM_OBSOLETE ? sc_obsolete : "";
    return mark + ('"' + encodeEscapes(item.key)) + "\" = \"" + encodeEscapes(item.translation) + '"' +
           (hasSemicolons ? ";" : "");
}

// Adds lines to a text; an empty line only after one that is not empty.
static void addLines(std::string* text, const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        const bool isAfterEmpty =
            text->empty() || (text->size() > 1 && text->compare(text->size() - 2, 2, "\n\n") == 0);
        if (!line.empty() || !isAfterEmpty) {
            *text += line + "\n";
        }
    }
}

std::string writeDocument(const Document& document)
{
    std::string text;
    addLines(&text, document.header);
    addLines(&text, {""});
    for (const Item& item : document.items) {
        addLines(&text, item.comments);
        addLines(&text, {lineOf(item, document.hasSemicolons)});
    }
    addLines(&text, document.trailer);
    const auto isOther = [](char letter) { return static_cast<unsigned char>(letter) >= 0x80; };
    TextForm form = document.form;
    if (document.hasSemicolons && std::any_of(text.begin(), text.end(), isOther)) {
        form.hasByteOrderMark = true;
        text = std::string(sc_charsetLine) + "\n" + text;
    }
    return giveForm(text, form);
}

static int rankOf(const std::string& comment)
{
    const std::string mark = comment.substr(0, 3);
    return mark == "//." ? 1 : mark == "//:" ? 2 : mark == "//|" ? 3 : 0;
}

// Writes each place on a line of its own, and once.
static std::vector<std::string> splitPlaces(const std::vector<std::string>& comments)
{
    std::vector<std::string> result;
    for (const std::string& comment : comments) {
        if (rankOf(comment) != 2) {
            result.push_back(comment);
            continue;
        }
        for (size_t begin = 3; (begin = comment.find_first_not_of(" \t", begin)) != std::string::npos;) {
            const size_t end = std::min(comment.find_first_of(" \t", begin), comment.size());
            const std::string place = "//: " + comment.substr(begin, end - begin);
            if (std::find(result.begin(), result.end(), place) == result.end()) {
                result.push_back(place);
            }
            begin = end;
        }
    }
    return result;
}

void normalise(Document* document)
{
    const auto isNoField = [](const std::string& line) { return line.compare(0, 4, "//@ ") != 0; };
    std::stable_partition(document->header.begin(), document->header.end(), isNoField);
    for (Item& item : document->items) {
        item.comments = splitPlaces(item.comments);
        std::stable_sort(
            item.comments.begin(), item.comments.end(),
            [](const std::string& left, const std::string& right) { return rankOf(left) < rankOf(right); });
    }
    std::stable_partition(document->items.begin(), document->items.end(),
                          [](const Item& item) { return item.kind != ITEM_OBSOLETE; });
}
