// The log: one call writes one line to the standard error stream. core calls log through the dynamic linker, so a
// game can define its own log in its place.
//
//     owLogger::log(3, "^CFF0000Units:^c no unit is called \"^CFFFF00%s^c\" on line %d.\f", name, line);
//
// The log formats the message like printf. These parts of the formatted message have a meaning:
//
// | Part | Meaning |
// |---|---|
// | form feed, \f | The message ends here. A message without a form feed ends at its NUL. |
// | ^CRRGGBB | A colour begins: red, green and blue, two hexadecimal digits each. |
// | ^c | The colour ends. The next colour and the end of the message end it as well. |
// | control characters other than line feed and tab | They become visible text: the escape character becomes \x1B. |
// | characters that change the direction of text | They become visible text. |
//
// Every other caret is text, also ^c when no colour has begun. Colours appear only on a terminal, and not if
// NO_COLOR is set to a text or TERM is "dumb"; elsewhere the colour marks are left out. A control character
// is made visible even if a colour mark stands between its bytes, because it could steer a terminal.
//
// Lines of several threads do not mix, and a line of any length is complete. Any thread may call. docs/logging.md
// describes levels, colours and a game's own log.
#pragma once

#pragma GCC visibility push(default)

namespace owLogger {

// Writes a message, unless its level is greater than the threshold. The library uses level 3 for bad data and
// failures, 4 for a missing INI file of Preferences, and 6 for a strings file that cannot be opened. format is as
// for printf; null writes nothing. errno does not change.
void log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Sets the threshold for the following messages. Before the first call it is the number in the environment variable
// CORE_LOG_LEVEL; 6 if that variable is not set or is not a whole number.
void setLevel(int threshold);

} // namespace owLogger

#pragma GCC visibility pop
