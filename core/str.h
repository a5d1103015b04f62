// Escapes: converts control characters, quotes and backslashes to two characters, a backslash and a letter, and back.
//
//     char* escaped;
//     if (str::escape(&escaped, "say \"hi\"\n")) {      // escaped is: say \"hi\"\n
//         fprintf(file, "\"%s\"\n", escaped);
//         g_MemoryPtr->free(0, escaped);
//     }
//
// There are ten escapes: \a \b \t \n \v \f \r \" \' and \\. All other bytes are copied unchanged, so a UTF-8 text
// remains valid. There are no octal or hexadecimal escapes. Any thread may call; two threads must not use the same
// text at once.
#pragma once

#pragma GCC visibility push(default)

namespace str {

// Replaces each escape in text by the character that it stands for. The text never becomes longer.
//
// Returns true if each backslash begins one of the ten escapes, and for a text without backslashes. Otherwise, and
// for null, returns false. Deliberate: an unknown escape is replaced by its backslash alone, so \q becomes a
// backslash. A backslash at the end of the text is not changed.
bool unescape(char* text);

// Stores the address of an escaped copy of text in *out. The copy is a block of bank 0; the caller frees it with
// g_MemoryPtr->free(0, *out). Returns true.
//
// Returns false, and does not change *out, if text is null. Returns false, and sets *out to null, without a memory
// manager. The numbers in the block's tag, 66 and 232, are frozen: docs/architecture.md, "Numbers in block tags".
bool escape(char** out, const char* text);

} // namespace str

#pragma GCC visibility pop
