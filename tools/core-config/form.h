// The form of a config file: what can be wrong in it whatever the game asks for.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"

#include <vector>

namespace config {

struct FormOptions {
    // A repair changes a file of bare line feeds to carriage returns and line feeds.
    bool wantsCarriageReturns = false;

    // For each line true if its values are checked by a schema. Null: no line is.
    const std::vector<bool>* typedLines = nullptr;
};

// Adds the faults of the text's form, in no order.
void checkForm(const ConfigText& text, const FormOptions& options, Faults* faults);

} // namespace config
