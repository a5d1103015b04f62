// Preferences: settings that are kept from run to run, each with a section and a key.
//
// A read looks in the system's preferences for this game and user, then in an INI file that ships with the game, then
// returns the caller's default. A write changes the system's preferences only.
//
//     Preferences preferences;
//     preferences.init("data\\game.ini");
//     int width = preferences.read("Video", "width", 640);
//     preferences.write("Video", "width", 800);         // a durable write; the INI file does not change
//
// The INI file is read from its start at each call:
//
//     ; a comment
//     [Video]
//     width=640
//
// - Names of sections and entries are not trimmed: "width = 640" has the name "width ". Upper and lower case are equal.
// - The first entry that fits wins. A section may be opened again further down.
// - A line has at most 1023 bytes; the bytes behind them count as the next line.
// - Every line needs its line feed. The last entry of a file that does not end with one loses its last character.
//
// All Preferences objects share one path and one buffer. A text that read returns is valid until the next read, also
// until the next read of a number. Texts are Mac Roman. Call all of this on the main thread.
#pragma once

#include "core/allocator.h"

#include <CoreFoundation/CoreFoundation.h>

#pragma GCC visibility push(default)

class Preferences : public Allocator<0> {
public:
    Preferences() = default;
    virtual ~Preferences(); // forgets the path of the INI file, which all objects share

    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;

    // Sets the path of the INI file, of which it keeps a copy. Always returns true. A second call leaks the first copy.
    bool init(const char* iniPath);

    // Returns the value, in the library's buffer; never null. With a null default it returns "" when no value exists.
    // A stored value counts as missing when it is longer than 1023 bytes or not a text.
    // section, key and defaultText must not lie in that buffer: read empties it before it looks into the INI file.
    const char* read(const char* section, const char* key, const char* defaultText);

    // Returns the value as atoi reads it: "12abc" is 12, "abc" is 0. A number out of range becomes INT_MIN or INT_MAX.
    // Returns the default when there is no value or an empty one.
    int read(const char* section, const char* key, int defaultValue);

    // Durable writes. A failure is not reported. A null value stores an empty text; a number is stored as a text.
    void write(const char* section, const char* key, const char* value);
    void write(const char* section, const char* key, int value);
};

// Returns the key in the system's preferences: "section/key", cut to 1023 bytes. The caller releases it. Null when section
// or key is null.
CFStringRef CreateKey(const char* section, const char* key);

// Copies the value of an INI file's entry to out, at most 1023 bytes and a NUL. Returns false and leaves out unchanged
// when there is no such entry. Logs a message at level 4 when the file cannot be opened.
bool ReadKey(const char* section, const char* key, char* out);

#pragma GCC visibility pop
