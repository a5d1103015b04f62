#include "tools/core-config/encoding.h"

#include <string.h>

namespace config {

static bool isUtf16(const std::string& bytes)
{
    if (bytes.compare(0, 2, "\xff\xfe") == 0 || bytes.compare(0, 2, "\xfe\xff") == 0) {
        return true;
    }
    if (bytes.size() < 4) {
        return false;
    }
    const bool little = bytes[0] && !bytes[1] && bytes[2] && !bytes[3];
    const bool big = !bytes[0] && bytes[1] && !bytes[2] && bytes[3];
    return little || big;
}

bool checkEncoding(const std::string& bytes, Faults* faults)
{
    if (isUtf16(bytes)) {
        faults->push_back({0,
                           1,
                           true,
                           "the file is UTF-16, and the game can read no line of it",
                           "save the file as UTF-8 without a byte-order mark",
                           "utf-16",
                           {}});
        return false;
    }
    if (bytes.compare(0, 3, "\xef\xbb\xbf") == 0) {
        faults->push_back(
            {0,
             3,
             true,
             "the file begins with a byte-order mark, which the game takes for a part of the first word",
             "save the file as UTF-8 without a byte-order mark",
             "byte-order-mark",
             {{0, 3, ""}}});
    }
    const size_t nul = strlen(bytes.c_str());
    if (nul < bytes.size()) {
        faults->push_back({nul,
                           1,
                           true,
                           "a byte 0 is in the file; it can hide the text after it from the game",
                           "remove the byte",
                           "nul",
                           {}});
    }
    return true;
}

} // namespace config
