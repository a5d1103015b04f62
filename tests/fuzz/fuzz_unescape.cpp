// str::unescape over any bytes, in a block of exactly their size.
#include "core/str.h"

#include <memory>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string>

// What unescape has to make of text.
static std::string decoded(const std::string& text, bool* valid)
{
    static const std::string s_letters = "abtnvfr\"'\\";
    static const std::string s_bytes = "\a\b\t\n\v\f\r\"'\\";
    std::string result;
    *valid = true;
    for (size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        if (text[i] == '\\') {
            const size_t letter = ++i < text.size() ? s_letters.find(text[i]) : std::string::npos;
            if (letter == std::string::npos) {
                *valid = false;
            } else {
                result.back() = s_bytes[letter];
            }
        }
    }
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<char[]> block(new char[size + 1]);
    if (size > 0) {
        memcpy(block.get(), data, size);
    }
    block[size] = '\0';

    bool valid;
    const std::string expected = decoded(block.get(), &valid);
    if (str::unescape(block.get()) != valid || block.get() != expected) {
        abort();
    }
    return 0;
}
