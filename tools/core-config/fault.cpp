#include "tools/core-config/fault.h"

#include <algorithm>
#include <string.h>

namespace config {

std::string repaired(const std::string& text, const Faults& faults)
{
    std::vector<Edit> edits;
    for (const Fault& fault : faults) {
        edits.insert(edits.end(), fault.edits.begin(), fault.edits.end());
    }
    std::stable_sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
    std::string result;
    size_t done = 0;
    for (const Edit& edit : edits) {
        if (edit.begin >= done) {
            result.append(text, done, edit.begin - done);
            result += edit.text;
            done = edit.end;
        }
    }
    return result.append(text, done, std::string::npos);
}

void sortFaults(Faults* faults)
{
    std::stable_sort(faults->begin(), faults->end(),
                     [](const Fault& a, const Fault& b) { return a.place < b.place; });
    const auto same = [](const Fault& a, const Fault& b) {
        return a.place == b.place && strcmp(a.check, b.check) == 0 && a.what == b.what;
    };
    faults->erase(std::unique(faults->begin(), faults->end(), same), faults->end());
}

std::string quoted(const std::string& text)
{
    static const size_t sc_longest = 40;
    size_t length = std::min(text.size(), sc_longest);
    while (length < text.size() && length > 0 && (text[length] & 0xc0) == 0x80) {
        --length; // do not end inside a UTF-8 character
    }
    std::string result = '"' + text.substr(0, length) + (length < text.size() ? "..." : "") + '"';
    for (char& letter : result) {
        const unsigned char byte = static_cast<unsigned char>(letter);
        letter = byte < ' ' || byte == 0x7f ? '?' : letter;
    }
    return result;
}

std::string counted(size_t count, const char* noun)
{
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace config
