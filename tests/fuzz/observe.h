// What a fuzzer observes: the answers of the code under test.
//
// The replay prints a hash of the observed answers for each input. The hash is the same on every host, so the tests
// compare it with the hashes in corpus/NAME.observed. In libFuzzer's programs these functions do nothing.
//
//     observeNumber(parser.ParseLine());
//     observeText(parser.GetString());
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <string>

#ifdef FUZZ_REPLAY
void observeBytes(const void* bytes, size_t size);
#else
inline void observeBytes(const void*, size_t)
{
}
#endif

inline void observeNumber(int64_t number)
{
    unsigned char bytes[8]; // the lowest first, on every host
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(number);
        number >>= 8;
    }
    observeBytes(bytes, sizeof(bytes));
}

inline void observeText(const std::string& text)
{
    observeNumber(static_cast<int64_t>(text.size()));
    observeBytes(text.data(), text.size());
}

// A null is an answer of its own.
inline void observeText(const char* text)
{
    observeNumber(text ? static_cast<int64_t>(strlen(text)) : -1);
    observeBytes(text, text ? strlen(text) : 0);
}
