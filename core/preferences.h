// Preferences: settings by section and key, kept from run to run in the user's preferences for this game. What was
// never written there comes from an INI file that ships with the game, and else from the caller.
//
//     Preferences preferences;
//     preferences.init("data\\game.ini");
//     int width = preferences.read("Video", "width", 640);
//     preferences.write("Video", "width", 800);         // on the disk when it returns; the INI file stays as it is
//
// The INI file, read afresh at each question:
//
//     ; a comment
//     [Video]
//     width=640
//
// Names stand for themselves, blanks included: "width = 640" names "width ". Upper and lower case are one. The first
// entry that fits is taken, also in a section that is opened again further down. A line holds 1023 bytes, and what is
// behind them is the next line. Every line needs its line feed: an entry without one loses its last character.
//
// All preferences share one path and one buffer: a text that was read lasts until the next read, of a number as well.
// Texts are Mac Roman. All calls belong to the main thread.
#pragma once

#include "core/allocator.h"

#include <CoreFoundation/CoreFoundation.h>

#pragma GCC visibility push(default)

class Preferences : public Allocator<0> {
public:
    Preferences() = default;
    virtual ~Preferences(); // forgets the INI file, for all others, too

    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;

    // Which INI file; always true. The path is copied. A second call leaves the first copy behind.
    bool init(const char* iniPath);

    // In our buffer, until the next read; never null. Without a default it is empty where nothing is known. Values
    // of more than 1023 bytes, and those that are no text, count as not stored. A section, a key or a default that is
    // the result of an earlier read has to be copied first: the buffer is emptied before the INI file is read.
    const char* read(const char* section, const char* key, const char* defaultText);

    // As atoi reads the text, so "12abc" is 12 and "abc" is 0; what is out of range is the nearest int there is. An
    // empty text is the default.
    int read(const char* section, const char* key, int defaultValue);

    void write(const char* section, const char* key, const char* value); // null writes an empty text
    void write(const char* section, const char* key, int value);         // as a text
};

// The name in the system's store, "section/key", cut to 1023 bytes; the caller's to release. Null without either.
CFStringRef CreateKey(const char* section, const char* key);

// The value of the INI file's entry, at most 1023 bytes and a NUL. False, and out as it was, when there is none.
bool ReadKey(const char* section, const char* key, char* out);

#pragma GCC visibility pop
