// core-strings record: the texts that a game asks for while it is played.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/playedgame.h"
#include "tools/core-strings/po.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

static bool endsIn(const std::string& text, const char* ending)
{
    const std::string end = ending;
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isPoPath(const std::string& path)
{
    return endsIn(path, ".po") || endsIn(path, ".pot");
}

int loadRecord(const std::string& path, Document* record)
{
    if (!isPoPath(path)) {
        return loadDocument(path, record);
    }
    std::string bytes;
    std::string error;
    if (!readFile(path, &bytes, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    std::vector<Finding> lost;
    return readPo(path, bytes, record, &lost, &error) ? TOOL_FINE : complain(TOOL_NOT_UNDERSTOOD, error);
}

static int saveRecord(const std::string& path, const AskedTexts& texts, Document* record)
{
    std::vector<Finding> lost;
    const bool isPo = isPoPath(path);
    addToRecord(texts, isPo, path, record, &lost);
    fputs(formatFindings(lost, FINDINGS_TEXT).c_str(), stderr);
    lost.clear();
    const int status = saveFile(path, isPo ? poOf(path, *record, false, &lost) : writeDocument(*record));
    fputs(formatFindings(lost, FINDINGS_TEXT).c_str(), stderr);
    return status;
}

static void printSummary(const std::string& path, const AskedTexts& texts)
{
    size_t untranslated = 0;
    for (const AskedText& text : texts.texts()) {
        untranslated += !text.isTranslated();
    }
    fprintf(stderr, "core-strings: %s: %zu texts, %zu of them not translated\n", printable(path).c_str(),
            texts.texts().size(), untranslated);
}

int runRecord(const RecordOptions& options)
{
    Document record;
    const bool isOurs = options.output == "-";
    const bool addsUp = !isOurs && !options.isJson && access(options.output.c_str(), F_OK) == 0;
    if (const int status = addsUp ? loadRecord(options.output, &record) : TOOL_FINE) {
        return status; // a damaged record is reported before the game starts
    }
    AskedTexts texts;
    StartedGame game;
    if (const int status = playGame({options.command, options.root, options.through, isOurs}, &texts, &game)) {
        return status;
    }
    const int status =
        options.isJson ? saveFile(options.output, jsonOf(texts)) : saveRecord(options.output, texts, &record);
    if (status != TOOL_FINE) {
        return status;
    }
    printSummary(options.output, texts);
    fflush(stdout); // a signal may end this process
    return game.endAsTheGame();
}
