#include "watch/sizefile.h"

#include <algorithm>
#include <stdlib.h>

namespace watch {

static const size_t sc_nameBytes = 32;  // bytes of a name that the manager reads; the last may be any byte
static const size_t sc_valueBytes = 64; // the same of a value

// Reads a field up to the separator, a line feed, the end of the text, or `capacity` bytes. Returns the byte that ended
// the field; 0 for the end and for the capacity.
static char readField(const std::string& text, size_t* at, size_t capacity, char separator, std::string* field)
{
    field->clear();
    char end = 0;
    while (field->size() < capacity && *at < text.size()) {
        const char byte = text[(*at)++];
        if (field->size() + 1 < capacity && (byte == '\n' || byte == separator)) {
            end = byte;
            break;
        }
        *field += byte;
    }
    field->resize(
        std::min(field->find('\0'), field->size())); // the manager reads the field as a text that ends there
    return end;
}

static bool isDefined(const Snapshot& snapshot, const std::string& name)
{
    return std::any_of(snapshot.banks.begin(), snapshot.banks.end(),
                       [&](const Bank& bank) { return bank.index != -1 && bank.name == name; });
}

static void readValue(const std::string& value, const Snapshot* snapshot, SizeLine* line)
{
    char* end = nullptr;
    const long long size = strtoll(value.c_str(), &end, 10);
    line->isRead = end != value.c_str();
    line->size = line->isRead ? static_cast<uint32_t>(size) : 0;
    // The manager looks at the value only when it knows the bank.
    if (snapshot && !isDefined(*snapshot, line->name)) {
        line->remark = line->name.size() >= sc_nameBytes - 1 ? "a name of 31 characters matches no bank"
                                                             : "the game defines no bank of this name";
    } else if (!line->isRead) {
        line->isWrong = true;
        line->remark = "no number: this line and all after it are ignored";
    } else if (*end != '\0' || size < 0 || size > INT32_MAX) {
        line->isWrong = true;
        line->remark = "not a number as the game writes it";
    }
}

std::vector<SizeLine> readSizeFile(const std::string& text, const Snapshot* snapshot)
{
    std::vector<SizeLine> lines;
    size_t at = 0;
    while (at < text.size()) {
        SizeLine line = {static_cast<uint32_t>(lines.size() + 1), "", 0, false, false, ""};
        std::string value;
        const char end = readField(text, &at, sc_nameBytes, '=', &line.name);
        const bool hasName = end != '\n' && !line.name.empty();
        if (hasName) {
            readField(text, &at, sc_valueBytes, '\n', &value);
        }
        if (!hasName || value.empty()) {
            line.isWrong = true;
            line.remark = "not of the form name=size: this line and all after it are ignored";
            lines.push_back(line);
            return lines;
        }
        readValue(value, snapshot, &line);
        for (SizeLine& earlier : lines) {
            if (earlier.name == line.name && earlier.isRead) {
                earlier.remark = "a later line of this bank replaces it";
            }
        }
        lines.push_back(line);
        if (line.isWrong && !line.isRead) {
            return lines;
        }
    }
    return lines;
}

} // namespace watch
