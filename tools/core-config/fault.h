// What the checks find in a text, with its place as a number of bytes from the start of the text.
#pragma once

#include <stddef.h>
#include <string>
#include <utility>
#include <vector>

namespace config {

// Replaces the bytes from begin to end, without end.
struct Edit {
    size_t begin;
    size_t end;
    std::string text;
};

struct Fault {
    size_t place;
    size_t length; // bytes; at least 1
    bool isError;  // false: a warning
    std::string what;
    std::string instead;     // what to write; empty when the fault does not say it
    const char* check;       // the name of the check, from docs/config-files.md
    std::vector<Edit> edits; // the repair; empty when more than one repair is possible
};

typedef std::vector<Fault> Faults;

// Returns the text with all edits made. Of edits that overlap, the first one is made.
std::string repaired(const std::string& text, const Faults& faults);

// Orders the faults by their place. Equal faults become one.
void sortFaults(Faults* faults);

// Returns a part of a file as a message can show it: between quotes, at most 40 bytes, control characters as "?".
std::string quoted(const std::string& text);

// Returns "1 line", "2 lines".
std::string counted(size_t count, const char* noun);

} // namespace config
