// Checks files against a schema.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"
#include "tools/core-config/ini.h"
#include "tools/core-config/schema.h"

#include <vector>

namespace config {

// Adds the faults of a config file. Stores in *typedLines, for each line, if the schema has an entry for it.
// tellsMissing: a name that is not required and that the file lacks is a fault, too.
void checkConfigWithSchema(const ConfigText& text, const FileSchema& schema, bool tellsMissing,
                           std::vector<bool>* typedLines, Faults* faults);

// Returns the block that is open at the end of a part of a config file; null if the schema does not have it.
const BlockSchema* blockAtEnd(const ConfigText& text, const FileSchema& schema);

// Adds the faults of a preferences file with these entries.
void checkIniWithSchema(const std::vector<IniEntry>& entries, const FileSchema& schema, bool tellsMissing,
                        Faults* faults);

} // namespace config
