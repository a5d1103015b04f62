// Any bytes as a property list.
//
// What parses can be written, in valid XML: without a character that it cannot hold. And what was written reads back as
// what would be written again, byte by byte.
#include "macapi/src/objects/plist.h"

#include "tests/fuzz/observe.h"

#include <stdlib.h>

using namespace macapi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Ref<Object> value = readPlist({reinterpret_cast<const char*>(data), size});
    std::string once;
    observeNumber(static_cast<bool>(value));
    if (!value) {
        return 0;
    }
    if (!writePlist(*value, &once)) {
        abort();
    }
    for (char letter : once) {
        if (static_cast<unsigned char>(letter) < ' ' && !strchr("\t\n", letter)) {
            abort();
        }
    }
    observeText(once);
    std::string twice;
    const Ref<Object> again = readPlist(once);
    if (!again || !writePlist(*again, &twice) || once != twice) {
        abort();
    }
    return 0;
}
