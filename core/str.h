// Escapes: turns control characters and quotes into a backslash and a letter, and back.
//
//     char* escaped;
//     if (str::escape(&escaped, "say \"hi\"\n")) {      // escaped is: say \"hi\"\n
//         fprintf(file, "\"%s\"\n", escaped);
//         g_MemoryPtr->free(0, escaped);
//     }
//
// Ten bytes have an escape: \a \b \t \n \v \f \r \" \' and \\. All other bytes are copied unchanged, so UTF-8 passes
// through. There are no octal or hexadecimal escapes. One thread at a time changes a text; the functions keep no state.
#pragma once

#pragma GCC visibility push(default)

namespace str {

// Decodes the escapes of text in place. The text can only become shorter.
//
// Returns true when every backslash began one of the ten escapes, and for an empty text; false otherwise, and for null.
// An unknown escape leaves its backslash and loses its letter: \q becomes \. A backslash at the end of the text stays.
bool unescape(char* text);

// Stores an escaped copy of text in *out: a block of bank 0, which the caller gives back with g_MemoryPtr->free(0, *out).
//
// Returns true on success. Returns false for a null text, and leaves *out unchanged; returns false without a memory
// manager, and sets *out to null.
bool escape(char** out, const char* text);

} // namespace str

#pragma GCC visibility pop
