#include "tools/core-config/command.h"

#include "tools/shared/files.h"

#include <stdio.h>

int complain(int status, const std::string& message)
{
    fprintf(stderr, "core-config: %s\n", printable(message).c_str());
    return status;
}

int readSchemaFile(const std::string& path, config::Schema* schema)
{
    std::string text;
    std::string error;
    if (path.empty()) {
        return TOOL_FINE;
    }
    if (!readFile(path, &text, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    if (!config::readSchema(text, schema, &error)) {
        return complain(TOOL_NOT_UNDERSTOOD, path + ':' + error);
    }
    return TOOL_FINE;
}
