// The log: one call, one line on the standard error stream. A sibling library of the engine's; a game may
// bring its own.
//
//     owLogger::log(3, "^CFF0000Units:^c no unit is called \"^CFFFF00%s^c\" on line %d.\f", name, line);
//
// What is shown is the formatted message, but for three things:
// - a form feed ends it, whatever comes behind; without one it ends where its text does;
// - "^CRRGGBB", with the six hexadecimal digits of a colour, colours what follows up to "^c", to the next
//   colour or to the end. Colours show on a terminal, unless NO_COLOR is set or TERM is "dumb"; elsewhere the
//   marks are left out. Any other caret is text, and so is a "^c" that has no colour to end;
// - a control character can't play tricks on a terminal: all but newline and tab are written as "\x1B". So are
//   characters that turn the direction of text around, and control characters with a colour mark inside.
//
// A line is written whole, however long it is. Any thread may call. docs/logging.md has more.
#pragma once

#pragma GCC visibility push(default)

namespace owLogger {

// The library's levels: 3 for bad data and failures, 4 for preferences, 6 for a strings file that isn't
// there. A message whose level is above the threshold is dropped. format is printf's; null says nothing.
void log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The threshold from here on. At first it is 6, or the number that the environment variable CORE_LOG_LEVEL holds
// when one of these two is first called.
void setLevel(int threshold);

} // namespace owLogger

#pragma GCC visibility pop
