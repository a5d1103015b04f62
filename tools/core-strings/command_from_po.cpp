// core-strings from-po: a strings file for the game.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/po.h"

#include <stdio.h>

// A strings file that is replaced keeps its form: semicolons, ends of lines and byte-order mark.
static void keepForm(const std::string& path, Document* document)
{
    std::string bytes;
    std::string error;
    Document old;
    std::vector<Finding> findings;
    if (path != "-" && readFile(path, &bytes, &error) && readDocument(path, bytes, &old, &findings)) {
        document->form = old.form;
        document->hasSemicolons = old.hasSemicolons;
    }
}

int runFromPo(const FromPoOptions& options)
{
    std::string bytes;
    std::string error;
    if (!readFile(options.file, &bytes, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    Document document;
    std::vector<Finding> lost;
    if (!readPo(options.file, bytes, &document, &lost, &error)) {
        return complain(TOOL_NOT_UNDERSTOOD, error);
    }
    fputs(formatFindings(lost, FINDINGS_TEXT).c_str(), stderr);
    keepForm(options.output, &document);
    const int status = saveFile(options.output, writeDocument(document));
    return status != TOOL_FINE ? status : statusOf(lost);
}
