// All checks of one file.
#pragma once

#include "tools/core-config/check_schema.h"
#include "tools/core-config/fault.h"
#include "tools/shared/findings.h"

#include <string>
#include <vector>

namespace config {

struct CheckOptions {
    bool isIni = false;                // a preferences file, else a config file
    bool wantsCarriageReturns = false; // a repair ends each line of a config file with carriage return and line feed
    const FileSchema* schema = nullptr;
    bool tellsMissing = false; // a name of the schema that the file lacks is a fault, also if it is not required
};

// Returns the faults in the order of their places.
Faults checkText(const std::string& bytes, const CheckOptions& options);

// Returns the text with all repairs, also of the faults that appear only after other repairs.
std::string repairText(const std::string& bytes, const CheckOptions& options);

// Returns the faults with the number of their line and of their first byte in the line.
std::vector<Finding> findingsOf(const std::string& file, const std::string& bytes, const Faults& faults);

} // namespace config
