#include "tools/core-strings/askedtexts.h"

#include "tools/core-strings/check_report.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/texts.h"
#include "tools/shared/json.h"

#include <algorithm>
#include <iterator>
#include <string.h>

static const char sc_askedMark[] = "//. asked for ";
static const char sc_placeMark[] = "//: ";
static const char* const sc_results[] = {"translated", "unchanged", "not translated", "too long for the string table",
                                         "no room in the string table"}; // e_Asked

void AskedText::add(const std::string& language, e_Asked result, uint64_t count)
{
    for (AskedCount& known : counts) {
        if (known.language == language && known.result == result) {
            known.count += count;
            return;
        }
    }
    counts.push_back({language, result, count});
}

void AskedText::addPlace(const std::string& place, uint64_t count)
{
    for (auto& known : places) {
        if (known.first == place) {
            known.second += count;
            return;
        }
    }
    places.emplace_back(place, count);
}

void AskedText::add(const AskedText& other)
{
    for (const AskedCount& asked : other.counts) {
        add(asked.language, asked.result, asked.count);
    }
    for (const auto& place : other.places) {
        addPlace(place.first, place.second);
    }
}

uint64_t AskedText::count() const
{
    uint64_t sum = 0;
    for (const AskedCount& known : counts) {
        sum += known.count;
    }
    return sum;
}

bool AskedText::has(e_Asked result) const
{
    return std::any_of(counts.begin(), counts.end(),
                       [result](const AskedCount& known) { return known.result == result; });
}

AskedText& AskedTexts::operator[](const std::string& key)
{
    const auto place = m_index.emplace(foldCase(key), m_texts.size());
    if (place.second) {
        m_texts.emplace_back();
        m_texts.back().key = key;
    }
    return m_texts[place.first->second];
}

const AskedText* AskedTexts::find(const std::string& key) const
{
    const auto place = m_index.find(foldCase(key));
    return place == m_index.end() ? nullptr : &m_texts[place->second];
}

void AskedTexts::add(const AskedText& other)
{
    (*this)[other.key].add(other);
}

void AskedTexts::add(const AskedTexts& others)
{
    for (const AskedText& other : others.texts()) {
        add(other);
    }
}

// ---- The comments of a record

std::string describe(const AskedCount& asked)
{
    return "asked for " + std::to_string(asked.count) + (asked.count == 1 ? " time" : " times") +
           (asked.language.empty() ? "" : " in \"" + encodeEscapes(asked.language) + '"') + ": " +
           sc_results[asked.result];
}

// Reads a comment with a count. Returns false for any other comment.
static bool readComment(const std::string& comment, AskedCount* asked)
{
    const size_t begin = strlen(sc_askedMark);
    const size_t digits = comment.find_first_not_of("0123456789", begin);
    if (!startsWith(comment, 0, sc_askedMark) || digits == begin || digits == std::string::npos ||
        digits > begin + 18) {
        return false;
    }
    asked->count = strtoull(comment.c_str() + begin, nullptr, 10);
    for (size_t result = 0; result < std::size(sc_results); ++result) {
        const std::string end = std::string(": ") + sc_results[result];
        if (comment.size() < begin + end.size() ||
            comment.compare(comment.size() - end.size(), end.size(), end) != 0) {
            continue;
        }
        asked->result = static_cast<e_Asked>(result);
        asked->language.clear();
        const std::string middle = comment.substr(digits, comment.size() - end.size() - digits);
        const size_t quote = middle.find('"');
        if (middle == " time" || middle == " times") {
            return true;
        }
        return quote != std::string::npos && middle.size() > quote + 1 && middle.back() == '"' &&
               decodeEscapes(middle.substr(quote + 1, middle.size() - quote - 2), &asked->language);
    }
    return false;
}

// Takes the counts and the places out of an item.
static AskedText takeAsked(Item* item)
{
    AskedText text;
    std::vector<std::string> others;
    text.key = item->key;
    for (const std::string& comment : item->comments) {
        AskedCount asked;
        if (readComment(comment, &asked)) {
            text.add(asked.language, asked.result, asked.count);
        } else if (startsWith(comment, 0, sc_placeMark)) {
            text.addPlace(comment.substr(strlen(sc_placeMark)), 0);
        } else {
            others.push_back(comment);
        }
    }
    item->comments.swap(others);
    return text;
}

void addRecord(const Document& record, AskedTexts* texts)
{
    for (Item item : record.items) {
        const AskedText asked = takeAsked(&item);
        if (!asked.counts.empty()) {
            texts->add(asked);
        }
    }
}

void removeCounts(Document* document)
{
    AskedCount asked;
    for (Item& item : document->items) {
        std::vector<std::string>& comments = item.comments;
        comments.erase(std::remove_if(comments.begin(), comments.end(),
                                      [&](const std::string& comment) { return readComment(comment, &asked); }),
                       comments.end());
    }
}

// Returns why a record cannot hold a text; an empty text if it can.
static std::string whyNot(const std::string& key)
{
    Item item;
    std::string readKey;
    std::string readTranslation;
    item.key = item.translation = key;
    if (findInvalidUtf8(key) != std::string::npos) {
        return "is not UTF-8";
    }
    if (key.empty()) {
        return "is empty";
    }
    const bool isRead = readEntry(lineOf(item, false), &readKey, &readTranslation);
    return isRead && readKey == key ? "" : "ends in a backslash";
}

static void addItem(const AskedText& text, bool isPo, Item* item)
{
    AskedText all = takeAsked(item);
    all.add(text);
    for (const AskedCount& known : all.counts) {
        item->comments.push_back("//. " + describe(known));
    }
    for (const auto& place : all.places) {
        item->comments.push_back(sc_placeMark + place.first);
    }
    if (item->kind == ITEM_COMMENT) { // it is new
        item->key = text.key;
        item->kind = isPo ? ITEM_PROPOSAL : ITEM_ENTRY;
        item->translation = isPo ? "" : text.key;
    }
}

void addToRecord(const AskedTexts& texts, bool isPo, const std::string& name, Document* record,
                 std::vector<Finding>* lost)
{
    std::map<std::string, size_t> index;
    for (size_t place = 0; place < record->items.size(); ++place) {
        index.emplace(foldCase(record->items[place].key), place);
    }
    for (const AskedText& text : texts.texts()) {
        const std::string why = whyNot(text.key);
        if (!why.empty()) {
            lost->push_back({name, 1, 1, false, "the record has no entry for " + shown(text.key) + ", which " + why,
                             "change the text in the game", "not-recorded"});
            continue;
        }
        const auto place = index.emplace(foldCase(text.key), record->items.size());
        if (place.second) {
            record->items.emplace_back();
        }
        addItem(text, isPo, &record->items[place.first->second]);
    }
    normalise(record);
}

// ---- JSON

static std::string jsonOf(const AskedText& text)
{
    std::string json = "    {\"text\": " + quotedForJson(text.key) + ", \"asked\": [";
    const char* separator = "";
    for (const AskedCount& asked : text.counts) {
        json += separator + ("{\"language\": " + quotedForJson(asked.language)) + ", \"result\": \"" +
                sc_results[asked.result] + "\", \"count\": " + std::to_string(asked.count) + '}';
        separator = ", ";
    }
    json += "], \"places\": [";
    separator = "";
    for (const auto& place : text.places) {
        json += separator + ("{\"place\": " + quotedForJson(place.first)) +
                ", \"count\": " + std::to_string(place.second) + '}';
        separator = ", ";
    }
    return json + "]}";
}

std::string jsonOf(const AskedTexts& texts)
{
    std::string json = "{\n  \"texts\": [\n";
    for (const AskedText& text : texts.texts()) {
        json += jsonOf(text) + (&text == &texts.texts().back() ? "\n" : ",\n");
    }
    json += "  ],\n  \"files\": [\n";
    for (const LoadedFile& file : texts.files) {
        json += "    {\"language\": " + quotedForJson(file.language) + ", \"asked\": " + quotedForJson(file.asked) +
                ", \"path\": " + quotedForJson(file.path) + (&file == &texts.files.back() ? "}\n" : "},\n");
    }
    return json + "  ]\n}\n";
}
