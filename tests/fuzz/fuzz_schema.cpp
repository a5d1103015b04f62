// core-config's reader of schemas, and its checks with a schema.
//
// An input is a schema, a NUL, and a file that is checked with it. A schema that was read and written is read again
// as the same schema.
#include "tools/core-config/check.h"
#include "tools/core-config/schema.h"

#include "tests/fuzz/observe.h"

#include <algorithm>
#include <stdlib.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str();
    const std::string file = input.substr(std::min(text.size() + 1, input.size()));

    config::Schema schema;
    std::string error;
    if (!config::readSchema(text, &schema, &error)) {
        observeText(error);
        return error.empty() ? abort(), 0 : 0;
    }
    const std::string written = config::writeSchema(schema);
    observeText(written);
    config::Schema again;
    if (!config::readSchema(written, &again, &error) || config::writeSchema(again) != written) {
        abort();
    }
    for (const config::FileSchema& one : again.files) {
        config::CheckOptions options;
        options.schema = &one;
        options.isIni = one.isIni;
        options.tellsMissing = true;
        for (const config::Fault& fault : config::checkText(file, options)) {
            observeNumber(static_cast<int64_t>(fault.place));
            observeText(fault.what);
            if (fault.place > file.size()) {
                abort();
            }
        }
    }
    return 0;
}
