// core-strings missing: finds texts that a game asks for and its strings file lacks, and entries that no game asks
// for.
//
// 1. The library's own reader decides if a strings file has a text.
// 2. A text counts as asked for when this run or one of the records asks for it, with any language setting.
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/commands.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/playedgame.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <set>
#include <stdio.h>
#include <sys/wait.h>

// Returns "12 times at src/menu.cpp:123".
static std::string askedAt(const AskedText& text)
{
    std::string result = plural(text.count(), "time");
    for (const auto& place : text.places) {
        result += (&place == &text.places.front() ? " at " : ", ") + place.first;
        if (&place - &text.places.front() == 2 && text.places.size() > 3) {
            return result + " and " + plural(text.places.size() - 3, "other place");
        }
    }
    return result;
}

// Finds the texts that a file lacks. The findings are at its last line, after which the user can add the texts.
static void findUntranslated(const std::string& name, const GamesView& view, const AskedTexts& texts,
                             std::vector<Finding>* findings)
{
    std::set<std::string> keys;
    for (const TakenLine& line : view.lines) {
        if (line.value.isPresent) {
            keys.insert(foldCase(line.key.text));
        }
    }
    const size_t last = Lines(view.text).lineOf(view.text.empty() ? 0 : view.text.size() - 1);
    for (const AskedText& text : texts.texts()) {
        const bool hasEntry = keys.count(foldCase(text.key)) > 0;
        if (text.has(ASKED_TOO_LONG)) {
            continue; // an entry would not help: the string table cannot find the key
        }
        if (!hasEntry) {
            findings->push_back({name, last, 1, false,
                                 "no entry for " + shown(text.key) + ", asked for " + askedAt(text),
                                 "add a line with this key", "not-translated"});
        }
    }
}

// Finds the entries that the game cannot show, because it asked for the text before it loaded the file.
static void findTooEarly(const std::string& name, const GamesView& view, const AskedTexts& run,
                         std::vector<Finding>* findings)
{
    const Lines lines(view.text);
    for (const TakenLine& line : view.lines) {
        const AskedText* text = line.value.isPresent && line.isFound ? run.find(line.key.text) : nullptr;
        if (text && !text->isTranslated() && text->has(ASKED_UNTRANSLATED)) {
            findings->push_back(
                {name, lines.lineOf(line.key.begin - 1), lines.columnOf(line.key.begin - 1), false,
                 "the game asked for " + shown(text->key) + " before it loaded this file, and shows its own text",
                 "call setLanguage before translate", "asked-too-early"});
        }
    }
}

// Finds the entries of a file that no run has asked for.
static void findUnused(const std::string& name, const GamesView& view, const AskedTexts& texts,
                       std::vector<Finding>* findings)
{
    const Lines lines(view.text);
    for (const TakenLine& line : view.lines) {
        if (line.value.isPresent && line.isFound && !texts.find(line.key.text)) {
            findings->push_back({name, lines.lineOf(line.key.begin - 1), lines.columnOf(line.key.begin - 1), false,
                                 "no run has asked for " + shown(line.key.text),
                                 "visit the part of the game that shows it, or remove the entry", "not-asked-for"});
        }
    }
}

// Finds the texts that the string table could not add.
static void findRefused(const std::string& name, const AskedTexts& texts, std::vector<Finding>* findings)
{
    for (const AskedText& text : texts.texts()) {
        if (text.has(ASKED_TOO_LONG)) {
            findings->push_back({name, 1, 1, true,
                                 "the text " + shown(text.key) + " has " + std::to_string(text.key.size()) +
                                     " bytes, asked for " + askedAt(text) + ": the string table finds at most 127",
                                 "shorten the text in the game", "key-too-long"});
        }
        if (text.has(ASKED_NO_ROOM)) {
            findings->push_back({name, 1, 1, true,
                                 "the string table had no room for " + shown(text.key) + ", asked for " +
                                     askedAt(text) + ": it holds 1024 entries",
                                 "ask for texts with numbers and names in their unfilled form (%d, %s)",
                                 "too-many-entries"});
        }
    }
}

// Returns the paths of the strings files to look at: those of the command line, else those that the game opened.
static std::vector<std::string> filesOf(const MissingOptions& options, const AskedTexts& texts)
{
    std::vector<std::string> files = options.files;
    for (const LoadedFile& file : texts.files) {
        const bool isNew = std::find(files.begin(), files.end(), file.path) == files.end();
        if (options.files.empty() && !file.path.empty() && isNew) {
            files.push_back(file.path);
        }
    }
    return files;
}

static Finding noFile(const AskedTexts& texts)
{
    const LoadedFile* last = texts.files.empty() ? nullptr : &texts.files.back();
    const std::string path = last ? last->asked : "strings.utf8";
    return {path,
            1,
            1,
            true,
            last ? "the game found no such strings file" : "the game has loaded no strings file",
            last ? "make the file, or set the locale folder to its folder"
                 : "call setLanguage, or name one with --file",
            "no-strings-file"};
}

static int loadRecords(const std::vector<std::string>& paths, AskedTexts* texts)
{
    for (const std::string& path : paths) {
        Document record;
        if (const int status = loadRecord(path, &record)) {
            return status;
        }
        addRecord(record, texts);
    }
    return TOOL_FINE;
}

namespace {
struct Runs {
    AskedTexts run; // this one; empty without a game
    AskedTexts all; // this one and those of the records
};
} // namespace

// Adds the findings of one file. Returns TOOL_FINE, or prints why not and returns another status.
static int judge(const std::string& path, const Runs& runs, const std::string& name, std::vector<Finding>* findings)
{
    std::string bytes;
    std::string error;
    if (!readFile(path, &bytes, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    const GamesView view = readAsGame(bytes);
    std::vector<Finding> found;
    findUnused(name, view, runs.all, &found);
    findTooEarly(name, view, runs.run, &found);
    findUntranslated(name, view, runs.all, &found);
    sortFindings(&found);
    findings->insert(findings->end(), found.begin(), found.end());
    return TOOL_FINE;
}

// If a signal ended the game or its exit status is not 0, prints this and returns TOOL_FOUND; else returns TOOL_FINE.
static int judgeEnd(const StartedGame& game)
{
    const int status = game.waitStatus();
    if (WIFSIGNALED(status)) {
        return complain(TOOL_FOUND, "signal " + std::to_string(WTERMSIG(status)) + " has ended the game");
    }
    return WEXITSTATUS(status) == 0
               ? TOOL_FINE
               : complain(TOOL_FOUND, "the game has ended with status " + std::to_string(WEXITSTATUS(status)));
}

int runMissing(const MissingOptions& options)
{
    Runs runs;
    StartedGame game;
    int status = TOOL_FINE;
    if (const int refused = loadRecords(options.records, &runs.all)) {
        return refused;
    }
    if (options.command.empty() && (options.records.empty() || options.files.empty())) {
        return complain(TOOL_NOT_UNDERSTOOD, "name a game after --, or a record and a file; "
                                             "core-strings missing --help explains it");
    }
    if (!options.command.empty()) {
        if (const int refused = playGame({options.command, options.root, options.through, true}, &runs.run, &game)) {
            return refused;
        }
        runs.all.add(runs.run);
        status = judgeEnd(game);
    }
    std::vector<Finding> findings;
    const std::vector<std::string> files = filesOf(options, runs.run);
    for (const std::string& path : files) {
        status = std::max(status, judge(path, runs, pathFrom(options.root, path), &findings));
    }
    if (files.empty()) {
        findings.push_back(noFile(runs.run));
    }
    findRefused(files.empty() ? findings.back().file : pathFrom(options.root, files.front()), runs.all, &findings);
    const e_FindingForm form = options.isJson ? FINDINGS_JSON : options.isGithub ? FINDINGS_GITHUB : FINDINGS_TEXT;
    fputs(formatFindings(findings, form).c_str(), stdout);
    return std::max(status, statusOf(findings));
}
