// Random strings files: no finding in a correct one, and none is changed by its way through a PO file.
#include "tools/core-strings/askedtexts.h"
#include "tools/core-strings/check.h"
#include "tools/core-strings/po.h"
#include "tools/core-strings/pseudo.h"
#include "tools/core-strings/texts.h"
#include "tools/shared/journal.h"

#include "tests/support/rounds.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdlib.h>
#include <string.h>

static int roundsToPlay()
{
    const char* number = getenv("STRINGS_ROUNDS");
    return number ? atoi(number) : rounds(300);
}

static size_t below(std::mt19937& dice, size_t end)
{
    return dice() % end;
}

static std::string oneOf(std::mt19937& dice, const std::vector<std::string>& texts)
{
    return texts[below(dice, texts.size())];
}

static std::string randomWords(std::mt19937& dice)
{
    static const std::vector<std::string> sc_words = {
        "game",     "Über", "façade", "Игра", "\xe6\xbc\xa2", "\xf0\x9f\x98\x80",
        "x",        "=",    "//",     ";",    "\\\\",         "\\x",
        "\"",       "'",    "\n",     "\t",   "\a",           "\v",
        "\f",       "\b",   "\x01",   "\x1f", "\x7f",         "\xe2\x80\x9cyes\xe2\x80\x9d",
        "\xc2\xab", "#",    "/*",     "%%",   "C:\\games\\x", "msgid",
        "\" = \"",  "{",    "a/b"};
    std::string text;
    for (size_t count = 1 + below(dice, 5); count > 0; --count) {
        text += (text.empty() ? "" : oneOf(dice, {" ", ""})) + oneOf(dice, sc_words);
    }
    return text;
}

// Texts that a key and its translation must have in common, in any order.
struct Common {
    std::vector<std::string> marks; // conversions with numbers, and colours
    std::string begin;
    std::string end;
};

static std::string withCommon(std::mt19937& dice, Common common)
{
    std::string text = common.begin + "a" + randomWords(dice);
    std::shuffle(common.marks.begin(), common.marks.end(), dice);
    for (const std::string& mark : common.marks) {
        text += " " + mark + " " + randomWords(dice);
    }
    return text + "z" + common.end;
}

static Item randomItem(std::mt19937& dice, std::set<std::string>* keys)
{
    static const std::vector<std::string> sc_types = {"d", "s", "5.2f", "lu", "c", "-8x"};
    Common common;
    common.begin = oneOf(dice, {"", "", " ", "\n", "\t "});
    common.end = oneOf(dice, {"", "", " ", "\n", "\n\n"});
    for (size_t number = 1; number <= below(dice, 4); ++number) {
        common.marks.push_back("%" + std::to_string(number) + "$" + oneOf(dice, sc_types));
    }
    for (size_t count = below(dice, 3); count > 0; --count) {
        common.marks.push_back(oneOf(dice, {"^c", "^CFF0000", "^C00ff00"}));
    }
    Item item;
    item.key = withCommon(dice, common);
    if (item.key.size() > 127 || !conversionsOf(item.key).isValid || !keys->insert(foldCase(item.key)).second) {
        return randomItem(dice, keys);
    }
    item.kind = below(dice, 4) ? ITEM_ENTRY : below(dice, 2) ? ITEM_PROPOSAL : ITEM_OBSOLETE;
    item.translation = item.kind == ITEM_PROPOSAL && below(dice, 2) ? "" : withCommon(dice, common);
    return item;
}

static std::string randomComment(std::mt19937& dice)
{
    return oneOf(dice,
                 {"// a comment", "//", "// // x", "//x", "//  two blanks", "// Über", "", "// msgid \"x\"", "///"});
}

static Document readBack(const std::string& bytes)
{
    Document document;
    std::vector<Finding> findings;
    EXPECT_TRUE(readDocument("a.utf8", bytes, &document, &findings))
        << bytes << formatFindings(findings, FINDINGS_TEXT);
    return document;
}

static Document randomDocument(std::mt19937& dice)
{
    Document document;
    std::set<std::string> keys;
    for (size_t count = below(dice, 3); count > 0; --count) {
        document.header.push_back(oneOf(dice, {"// The texts", "//", "// Über", "//x", "//@ Language: de",
                                               "//@ Project-Id-Version: demo 1.0", "//@ X: y: z"}));
    }
    for (size_t count = 1 + below(dice, 12); count > 0; --count) {
        Item item = randomItem(dice, &keys);
        for (size_t comments = below(dice, 3); comments > 0; --comments) {
            item.comments.push_back(randomComment(dice));
        }
        for (size_t comments = below(dice, 3); comments > 0; --comments) {
            item.comments.push_back(
                oneOf(dice, {"//. from the game", "//: src/menu.cpp:12", "//: menu.cpp", "//| \"old \\n\""}));
        }
        document.items.push_back(item);
    }
    document.hasSemicolons = below(dice, 2);
    document.form.hasByteOrderMark = below(dice, 2);
    document.form.hasCarriageReturns = below(dice, 2);
    normalise(&document);
    return readBack(writeDocument(document)); // without empty lines that are not written
}

// A previous key stands once above an item.
static void removeSecondPrevious(Document* document)
{
    for (Item& item : document->items) {
        bool has = false;
        std::vector<std::string> comments;
        for (const std::string& comment : item.comments) {
            const bool isPrevious = comment.compare(0, 3, "//|") == 0;
            if (!isPrevious || !has) {
                comments.push_back(comment);
            }
            has = has || isPrevious;
        }
        item.comments = comments;
    }
}

TEST(RandomStrings, ACorrectFileHasNoFinding)
{
    std::mt19937 dice(1);
    for (int round = 0; round < roundsToPlay(); ++round) {
        const std::string bytes = writeDocument(randomDocument(dice));
        const std::vector<Finding> findings = checkStrings("a.utf8", bytes, CheckRules());
        ASSERT_EQ(formatFindings(findings, FINDINGS_TEXT), "") << bytes;
    }
}

TEST(RandomStrings, WhatAGameCollectsHasNoFinding)
{
    std::mt19937 dice(2);
    for (int round = 0; round < roundsToPlay(); ++round) {
        std::set<std::string> keys;
        std::string bytes;
        for (size_t count = below(dice, 20); count > 0; --count) {
            const std::string key =
                oneOf(dice, {"", " "}) + randomWords(dice) + oneOf(dice, {"", "%d", "100%", "%", "."});
            const bool isWritable = key.size() <= 127 && key.back() != '\\';
            if (isWritable && keys.insert(foldCase(key)).second) {
                bytes +=
                    '"' + encodeEscapes(key) + "\" = \"" + encodeEscapes(key) + "\"\n"; // as the export writes it
            }
        }
        const std::vector<Finding> findings = checkStrings("a.utf8", bytes, CheckRules());
        ASSERT_EQ(formatFindings(findings, FINDINGS_TEXT), "") << bytes;
    }
}

TEST(RandomStrings, AFileIsTheSameWhenItIsReadAndWritten)
{
    std::mt19937 dice(3);
    for (int round = 0; round < roundsToPlay(); ++round) {
        const std::string bytes = writeDocument(randomDocument(dice));
        Document document = readBack(bytes);
        normalise(&document);
        ASSERT_EQ(writeDocument(document), bytes);
    }
}

TEST(RandomStrings, AFileIsTheSameAfterItsWayThroughPoAndSoIsThePoFile)
{
    std::mt19937 dice(4);
    for (int round = 0; round < roundsToPlay(); ++round) {
        Document document = randomDocument(dice);
        removeSecondPrevious(&document);
        const std::string bytes = writeDocument(document);
        std::vector<Finding> lost;
        const std::string po = poOf("a.utf8", document, false, &lost);
        Document back;
        std::string error;
        ASSERT_TRUE(readPo("a.po", po, &back, &lost, &error)) << error << "\n" << bytes << "\n" << po;
        ASSERT_EQ(formatFindings(lost, FINDINGS_TEXT), "");
        back.hasSemicolons = document.hasSemicolons;
        back.form = document.form;
        ASSERT_EQ(writeDocument(back), bytes) << po;
        ASSERT_EQ(poOf("a.utf8", back, false, &lost), po);
    }
}

TEST(RandomStrings, APseudoTranslationHasNoFinding)
{
    std::mt19937 dice(5);
    for (int round = 0; round < roundsToPlay(); ++round) {
        Document document = randomDocument(dice);
        for (Item& item : document.items) {
            item.translation = pseudoTranslation(item.key);
        }
        const std::vector<Finding> findings = checkStrings("a.utf8", writeDocument(document), CheckRules());
        ASSERT_EQ(formatFindings(findings, FINDINGS_TEXT), "") << writeDocument(document);
    }
}

TEST(RandomStrings, AnyBytesHaveFindingsOrAreAFileThatCanBeWritten)
{
    std::mt19937 dice(6);
    const std::vector<std::string> parts = {
        "\"",        "\"", "\n",   "\n\n", "\n\n\n\n",           "=",    " = ", "a",
        "\\",        "//", "\r\n", "\r",   std::string(1, '\0'), "\xc3", "\t",  "\"a\" = \"b\"\n",
        "\"b\" =\n", " ",  ";",    "%d"};
    for (int round = 0; round < 4 * roundsToPlay(); ++round) {
        std::string bytes;
        for (size_t count = below(dice, 30); count > 0; --count) {
            bytes += oneOf(dice, parts);
        }
        const std::vector<Finding> all = checkStrings("a.utf8", bytes, CheckRules());
        Document document;
        std::vector<Finding> findings;
        if (readDocument("a.utf8", bytes, &document, &findings)) {
            normalise(&document);
            const GamesView before = readAsGame(bytes);
            const GamesView after = readAsGame(writeDocument(document));
            std::set<std::string> found;
            std::set<std::string> written;
            for (const TakenLine& line : before.lines) {
                line.isFound ? (void)found.insert(line.key.text + "=" + line.value.text) : (void)0;
            }
            for (const TakenLine& line : after.lines) {
                line.isFound ? (void)written.insert(line.key.text + "=" + line.value.text) : (void)0;
            }
            ASSERT_EQ(found, written) << bytes;
        } else {
            ASSERT_FALSE(all.empty());
        }
    }
}

// ---- Records and journals

TEST(RandomStrings, CountsInARecordAddUpAndNothingElseChanges)
{
    std::mt19937 dice(7);
    for (int round = 0; round < roundsToPlay() / 3; ++round) {
        AskedTexts texts;
        uint64_t calls = 0;
        for (size_t number = below(dice, 20); number > 0; --number) {
            const uint64_t count = 1 + below(dice, 1000);
            AskedText& text = texts[randomWords(dice)];
            text.add(oneOf(dice, {"", "german", "a \"b\" \\ c", "x: translated"}),
                     static_cast<e_Asked>(below(dice, 5)), count);
            text.addPlace(oneOf(dice, {"a.cpp:1", "b/c.cpp:22", "f+0x1"}), count);
        }
        Document record;
        std::vector<Finding> lost;
        addToRecord(texts, false, "a", &record, &lost);
        for (const Item& item : record.items) {
            calls += 2 * texts.find(item.key)->count();
        }
        EXPECT_EQ(record.items.size() + lost.size(), texts.texts().size());
        Document read;
        ASSERT_TRUE(readDocument("a", writeDocument(record), &read, &lost));
        addToRecord(texts, false, "a", &read, &lost);
        AskedTexts sum;
        addRecord(read, &sum);
        for (const AskedText& text : sum.texts()) {
            calls -= text.count();
        }
        EXPECT_EQ(calls, 0u);
        removeCounts(&read);
        removeCounts(&record);
        EXPECT_EQ(writeDocument(read), writeDocument(record));
    }
}

TEST(RandomStrings, AJournalThatAGameHasDamagedIsReadWithoutHarm)
{
    std::mt19937 dice(8);
    watch::JournalHead head = {};
    memcpy(head.mark, watch::sc_journalMark, sizeof(head.mark));
    head.version = watch::sc_journalVersion;
    std::string good(watch::sc_journalChunk, '\0');
    memcpy(&good[0], &head, sizeof(head));
    size_t place = sizeof(head);
    for (uint32_t number = 0; number < 100; ++number) {
        const watch::JournalRecord record = {16 + 8 * (number % 5), 1 + number % 5, number % 3, 7};
        memcpy(&good[place], &record, sizeof(record));
        place += record.size;
    }
    EXPECT_FALSE(readJournal(good).isDamaged);
    for (int round = 0; round < roundsToPlay(); ++round) {
        std::string bytes = good;
        for (size_t count = 1 + below(dice, 20); count > 0; --count) {
            bytes[below(dice, place)] = static_cast<char>(dice());
        }
        bytes.resize(below(dice, 4) == 0 ? below(dice, bytes.size()) : bytes.size());
        size_t size = 0;
        for (const JournalEvent& event : readJournal(bytes).events) {
            size += event.bytes.size();
        }
        EXPECT_LE(size, bytes.size());
    }
}
