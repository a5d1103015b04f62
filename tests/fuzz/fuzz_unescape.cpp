// str::unescape over any bytes, in a block of exactly their size; then str::escape of the same bytes.
#include "core/str.h"

#include "tests/fuzz/observe.h"
#include "tests/fuzz/plain_memory.h"

#include <memory>

static const std::string s_letters = "abtnvfr\"'\\";
static const std::string s_bytes = "\a\b\t\n\v\f\r\"'\\";

// What unescape has to make of text.
static std::string decoded(const std::string& text, bool* valid)
{
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

// What escape has to make of text.
static std::string encoded(const std::string& text)
{
    std::string result;
    for (char byte : text) {
        const size_t place = s_bytes.find(byte);
        result += place == std::string::npos ? std::string(1, byte) : std::string("\\") + s_letters[place];
    }
    return result;
}

static void require(bool condition)
{
    if (!condition) {
        abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    makePlainMemory();
    std::unique_ptr<char[]> block(new char[size + 1]);
    if (size > 0) {
        memcpy(block.get(), data, size);
    }
    block[size] = '\0';

    char* escaped = nullptr;
    require(str::escape(&escaped, block.get()) && escaped == encoded(block.get()));
    observeText(escaped);
    require(str::unescape(escaped) && strcmp(escaped, block.get()) == 0);
    g_MemoryPtr->free(0, escaped);

    bool valid;
    const std::string expected = decoded(block.get(), &valid);
    require(str::unescape(block.get()) == valid && block.get() == expected);
    observeNumber(valid);
    observeText(block.get());
    return 0;
}
