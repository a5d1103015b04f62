// Escapes: control characters and quotes as a backslash and a letter, and back.
//
//     char* escaped;
//     if (str::escape(&escaped, "say \"hi\"\n")) {      // say \"hi\"\n, each backslash a byte of its own
//         fprintf(file, "\"%s\"\n", escaped);
//         g_MemoryPtr->free(0, escaped);
//     }
//
// Ten bytes have an escape, in both directions: \a \b \t \n \v \f \r \" \' and \\. All others stand for themselves, so
// UTF-8 passes through untouched; there are no octal or hexadecimal escapes.
#pragma once

#pragma GCC visibility push(default)

namespace str {

// Decodes text where it stands. False when a backslash began none of the ten: it stays, but the letter behind it is
// lost, and decoding goes on. A backslash that ends the text stays, too. False for null.
bool unescape(char* text);

// A copy of text with its escapes, in a block of bank 0 that is the caller's to free. False, and *out null, when
// there is no memory; false, and *out as it was, for a null text.
bool escape(char** out, const char* text);

} // namespace str

#pragma GCC visibility pop
