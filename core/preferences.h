// Preferences: settings that are kept from run to run, each with a section and a key.
//
// A read looks in the store: the system's preferences for this game and user. If the store has no value, the read
// looks in an INI file that ships with the game. If the INI file has no value either, it returns the caller's
// default. A write changes the store only.
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
// - Names of sections and entries are not trimmed: "width = 640" has the name "width ". Upper and lower case are
//   equal here; in the store they differ.
// - The value is the text between the first "=" and the end of the line, without the line feed and without a carriage
//   return before it.
// - The first entry with the wanted section and name is read. A section may begin again later in the file.
// - A line has at most 1023 bytes. The bytes after the 1023rd are read as the next line.
// - Each line must end with a line feed. If the last line of the file does not, its entry loses its last character.
// - A line that begins with "[" and has no "]" ends the section: no entry matches until the next section begins.
//
// All Preferences objects share one path and one buffer. The text that a read returns is valid until the next read
// of a text or a number. Texts are Mac Roman. Call all of this on the main thread. The file format and the store's
// keys are frozen: docs/architecture.md, "File formats".
#pragma once

#include "core/allocator.h"

#include <CoreFoundation/CoreFoundation.h>

#pragma GCC visibility push(default)

class Preferences : public Allocator<0> {
public:
    Preferences() = default;
    virtual ~Preferences(); // frees the shared path: no object has an INI file until the next init

    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;

    // Copies the path of the INI file. Null stands for no file; a read that looks for one then logs that the file ""
    // is missing. Always returns true. A second call does not free the first copy.
    bool init(const char* iniPath);

    // Returns the value, in the library's buffer; never null. Without a value it returns a copy of defaultText,
    // truncated to 1023 bytes; "" for a null defaultText. A value in the store counts as missing if it is longer
    // than 1023 bytes, is not a text, or has characters that Mac Roman does not have.
    //
    // Do not pass a text that read returned as section, key or defaultText: read empties its buffer before it looks
    // in the INI file.
    const char* read(const char* section, const char* key, const char* defaultText);

    // Returns the value as atoi reads it: "12abc" is 12, "abc" is 0. Returns INT_MIN or INT_MAX, the nearest one,
    // for a number out of range. Returns defaultValue if there is no value, and if the value is an empty text.
    int read(const char* section, const char* key, int defaultValue);

    // When these functions return, the value is on the disk. They report no failure. A null value is stored as an
    // empty text, a number as its decimal text. A null section or key stores nothing.
    void write(const char* section, const char* key, const char* value);
    void write(const char* section, const char* key, int value);
};

// Returns the key in the store: "section/key", truncated to 1023 bytes. The caller releases it with CFRelease.
// Returns null if section or key is null.
CFStringRef CreateKey(const char* section, const char* key);

// Copies the value of an entry of the INI file to out, at most 1023 bytes and a NUL, and returns true. Returns
// false, and does not change out, if there is no such entry or an argument is null. If the file cannot be opened,
// also logs a message at level 4 (the levels are in logger/logger.h).
bool ReadKey(const char* section, const char* key, char* out);

#pragma GCC visibility pop
