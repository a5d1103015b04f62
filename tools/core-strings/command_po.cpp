// core-strings po: a strings file for programs of translators.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/po.h"

#include <stdio.h>

int runPo(const PoOptions& options)
{
    Document document;
    if (const int status = loadDocument(options.file, &document)) {
        return status;
    }
    std::vector<Finding> lost;
    const std::string bytes = poOf(options.file, document, options.isTemplate, &lost);
    fputs(formatFindings(lost, FINDINGS_TEXT).c_str(), stderr);
    const int status = saveFile(options.output, bytes);
    return status != TOOL_FINE ? status : statusOf(lost);
}
