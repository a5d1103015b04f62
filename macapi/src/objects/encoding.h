// Texts and their encodings. Inside, every text is UTF-8; these are the ways in and out.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>

namespace macapi {

// To and from UTF-8. Nothing when the text does not fit the encoding, or nobody knows the encoding.
std::optional<std::string> decode(std::string_view bytes, CFStringEncoding encoding);
std::optional<std::string> encode(std::string_view text, CFStringEncoding encoding);

const char32_t sc_noCharacter = 0xffffffff;

// The character at *position, which moves behind it; sc_noCharacter when the bytes there are no UTF-8: cut short,
// longer than need be, half a surrogate pair, or above U+10FFFF.
char32_t nextCharacter(std::string_view text, size_t* position);

void appendCharacter(std::string* text, char32_t character);

} // namespace macapi
