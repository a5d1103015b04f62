#include "tools/core-strings/commands.h"

#include <stdio.h>

int complain(int status, const std::string& message)
{
    fprintf(stderr, "core-strings: %s\n", printable(message).c_str());
    return status;
}

int loadDocument(const std::string& path, Document* document, std::string* bytes)
{
    std::string error;
    std::string own;
    bytes = bytes ? bytes : &own;
    if (!readFile(path, bytes, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    std::vector<Finding> findings;
    if (!readDocument(path, *bytes, document, &findings)) {
        fputs(formatFindings(findings, FINDINGS_TEXT).c_str(), stderr);
        return complain(TOOL_FOUND, path + ": correct these lines first, else their texts would get lost");
    }
    return TOOL_FINE;
}

int saveFile(const std::string& path, const std::string& bytes)
{
    std::string error;
    return replaceFile(path, bytes, &error) ? TOOL_FINE : complain(TOOL_CANT_ACCESS, error);
}
