// Checks files against a schema.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"
#include "tools/core-config/ini.h"
#include "tools/core-config/schema.h"

#include <vector>

namespace config {

// Where the checker was: for the commands of an editor.
struct SchemaPlace {
    size_t line;              // the index of the line
    const BlockSchema* block; // the block that the line belongs to; null for an unknown block
    const NameSchema* name;   // the entry of the line; null if it has none
};

// Adds the faults of a config file. Stores in *typedLines, for each line, if the schema has an entry for it.
// tellsMissing: a name that is not required and that the file lacks is a fault, too. places may be null.
void checkConfigWithSchema(const ConfigText& text, const FileSchema& schema, bool tellsMissing,
                           std::vector<bool>* typedLines, Faults* faults, std::vector<SchemaPlace>* places = nullptr);

// Adds the faults of a preferences file with these entries.
void checkIniWithSchema(const std::vector<IniEntry>& entries, const FileSchema& schema, bool tellsMissing,
                        Faults* faults);

} // namespace config
