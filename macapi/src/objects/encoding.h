// Texts and their encodings. Inside the library every text is UTF-8; these calls convert at its border.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>

namespace macapi {

// decode converts to UTF-8, encode from UTF-8. They return nothing if the bytes are no text of the encoding, if the
// encoding cannot hold the text, or if the encoding is unknown.
std::optional<std::string> decode(std::string_view bytes, CFStringEncoding encoding);
std::optional<std::string> encode(std::string_view text, CFStringEncoding encoding);

// Returns true for well-formed UTF-8 without a NUL: the texts inside the library.
bool isText(std::string_view bytes);

const char32_t sc_noCharacter = 0xffffffff;

// Returns the character at *position and moves *position to the next character. Returns sc_noCharacter, and does not
// move, if the bytes there are not valid UTF-8: truncated, longer than necessary, half a surrogate pair, or above
// U+10FFFF.
char32_t nextCharacter(std::string_view text, size_t* position);

void appendCharacter(std::string* text, char32_t character);

} // namespace macapi
