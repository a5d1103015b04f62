// PO files and strings files.
//
// 1. A strings file in the form of `core-strings format` becomes the same bytes again on its way through a PO file.
//    What would get lost is reported.
// 2. The header's fields that each PO file of this program has are not in the strings file.
#include "tools/core-strings/po.h"

#include "tools/core-strings/commands.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/texts.h"
#include "tools/shared/files.h"

#include <gettext-po.h>

#include <algorithm>
#include <set>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static const char* const sc_fixedFields[] = {"MIME-Version: 1.0", "Content-Type: text/plain; charset=UTF-8",
                                             "Content-Transfer-Encoding: 8bit"};

static const char sc_fieldMark[] = "//@ ";
static const char sc_extractedMark[] = "//.";
static const char sc_placeMark[] = "//:";
static const char sc_previousMark[] = "//|";

static bool startsWith(const std::string& text, const char* start)
{
    return text.compare(0, strlen(start), start) == 0;
}

static std::string joinLines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

// ---- The library

// The library never frees the texts that po_message_comments returns, and the caller may not free them. The leak
// checker asks here what it does not report.
extern "C" __attribute__((used)) const char* __lsan_default_suppressions()
{
    return "leak:libgettextpo_xmalloc";
}

static std::string s_name;    // of the PO file that is read, for messages
static std::string s_message; // the first error
static size_t s_line;         // its line

static void onError(int severity, po_message_t, const char*, size_t line, size_t, int, const char* text)
{
    if (severity != PO_SEVERITY_WARNING && s_message.empty()) {
        s_message = linesOf(text)[0];
        s_line = line;
    }
    if (severity == PO_SEVERITY_FATAL_ERROR) { // the library does not expect a return
        exit(complain(TOOL_NOT_UNDERSTOOD, s_name + ":" + std::to_string(s_line) + ": " + s_message));
    }
}

static void onError2(int severity, po_message_t message, const char* file, size_t line, size_t column, int isLong,
                     const char* text, po_message_t, const char*, size_t, size_t, int, const char*)
{
    onError(severity, message, file, line, column, isLong, text);
}

static const po_xerror_handler sc_handler = {onError, onError2};

namespace {
// A file without a name, for a library that reads and writes files by their paths.
class MemoryFile {
public:
    MemoryFile() : m_file(memfd_create("core-strings", 0)), m_path("/proc/self/fd/" + std::to_string(m_file)) {}
    ~MemoryFile() { close(m_file); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* path() const { return m_path.c_str(); }

    bool write(const std::string& bytes) const
    {
        size_t written = 0;
        ssize_t count = 0;
        while (written < bytes.size() && count >= 0) {
            count = ::write(m_file, bytes.data() + written, bytes.size() - written);
            written += count < 0 ? 0 : static_cast<size_t>(count);
        }
        return written == bytes.size();
    }

private:
    int m_file;
    std::string m_path;
};
} // namespace

// ---- Comments

// A strings file's line of a comment, as a comment of a PO file: an empty line becomes an empty comment.
static std::string commentToPo(const std::string& line)
{
    return startsWith(line, "// ") && line.compare(3, 2, "//") != 0 ? line.substr(3) : line;
}

// In a strings file, a line has no blanks at its end, and a carriage return at its end alone.
static std::string asLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\r', ' ');
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

static std::string commentFromPo(const std::string& comment)
{
    const std::string line = asLine(comment);
    return line.empty() || startsWith(line, "//") ? line : "// " + line;
}

// What follows a mark of three characters.
static std::string textAfterMark(const std::string& line)
{
    return line.size() > 4 ? line.substr(4) : "";
}

// Adds "src/menu.cpp:123" to the places of a message.
static void addPlace(po_message_t message, const std::string& place)
{
    const size_t colon = place.rfind(':');
    const bool hasLine = colon != std::string::npos && colon + 1 < place.size() &&
                         place.find_first_not_of("0123456789", colon + 1) == std::string::npos;
    const size_t none = static_cast<size_t>(-1);
    po_message_add_filepos(message, place.substr(0, hasLine ? colon : place.size()).c_str(),
                           hasLine ? strtoul(place.c_str() + colon + 1, nullptr, 10) : none);
}

static void addPlaces(po_message_t message, const std::string& line)
{
    const std::string places = textAfterMark(line);
    for (size_t begin = 0; (begin = places.find_first_not_of(" \t", begin)) != std::string::npos;) {
        const size_t end = std::min(places.find_first_of(" \t", begin), places.size());
        addPlace(message, places.substr(begin, end - begin));
        begin = end;
    }
}

// Returns the key of a line such as //| "key"; an empty text if it has none.
static std::string previousKey(const std::string& line)
{
    const std::string quoted = textAfterMark(line);
    std::string key;
    if (quoted.size() >= 2 && quoted.front() == '"' && quoted.back() == '"') {
        decodeEscapes(quoted.substr(1, quoted.size() - 2), &key);
    }
    return key;
}

// ---- From a strings file to PO

namespace {
class PoWriter {
public:
    PoWriter(const std::string& name, const Document& document, bool isTemplate, std::vector<Finding>* lost)
        : m_name(name), m_document(document), m_isTemplate(isTemplate), m_lost(lost)
    {
    }

    std::string run()
    {
        const MemoryFile output;
        m_file = po_file_create();
        m_place = po_message_iterator(m_file, nullptr);
        _addHeader();
        for (const Item& item : m_document.items) {
            _addItem(item);
        }
        for (const std::string& line : m_document.trailer) {
            _lose(0, "the comment after the last entry, " + line, "move it above the entry", "po-comment");
        }
        po_message_iterator_free(m_place);
        s_message.clear();
        po_file_write(m_file, output.path(), &sc_handler);
        po_file_free(m_file);
        std::string bytes;
        std::string error;
        if (!readFile(output.path(), &bytes, &error)) {
            exit(complain(TOOL_CANT_ACCESS, error));
        }
        return bytes;
    }

private:
    void _lose(size_t line, const std::string& what, const char* instead, const char* check)
    {
        m_lost->push_back(
            {m_name, std::max<size_t>(line, 1), 1, false, "a PO file cannot hold " + what, instead, check});
    }

    void _addHeader();
    void _addItem(const Item& item);
    void _addComments(po_message_t message, const Item& item);
    void _addTranslation(po_message_t message, const Item& item);

    const std::string m_name;
    const Document& m_document;
    const bool m_isTemplate;
    std::vector<Finding>* m_lost;
    po_file_t m_file = nullptr;
    po_message_iterator_t m_place = nullptr;
    std::set<std::string> m_keys;
};
} // namespace

static std::string nameOfField(const std::string& field)
{
    return field.substr(0, field.find(':'));
}

void PoWriter::_addHeader()
{
    std::vector<std::string> comments;
    std::vector<std::string> fields;
    for (const std::string& line : m_document.header) {
        if (startsWith(line, sc_fieldMark)) {
            fields.push_back(line.substr(strlen(sc_fieldMark)));
        } else {
            comments.push_back(line == "//" ? "" : commentToPo(line));
        }
    }
    for (const char* const fixed : sc_fixedFields) {
        const auto isSame = [&](const std::string& field) { return nameOfField(field) == nameOfField(fixed); };
        if (std::none_of(fields.begin(), fields.end(), isSame)) {
            fields.push_back(fixed);
        }
    }
    po_message_t message = po_message_create();
    po_message_set_msgid(message, "");
    po_message_set_msgstr(message, joinLines(fields).c_str());
    po_message_set_comments(message, joinLines(comments).c_str());
    po_message_insert(m_place, message);
}

void PoWriter::_addItem(const Item& item)
{
    if (m_isTemplate && item.kind == ITEM_OBSOLETE) {
        return;
    }
    if (item.key.empty()) {
        _lose(item.line, "an entry with an empty key", "remove it", "po-empty-key");
        return;
    }
    if (!m_keys.insert(item.key).second) {
        _lose(item.line, "the key \"" + encodeEscapes(item.key) + "\" twice", "keep the first one", "po-key-twice");
        return;
    }
    po_message_t message = po_message_create();
    po_message_set_msgid(message, item.key.c_str());
    po_message_set_msgstr(message, "");
    _addComments(message, item);
    if (!conversionsOf(item.key).types.empty()) {
        po_message_set_format(message, "c-format", 1);
    }
    if (!m_isTemplate) {
        _addTranslation(message, item);
    }
    po_message_insert(m_place, message);
}

void PoWriter::_addComments(po_message_t message, const Item& item)
{
    std::vector<std::string> comments;
    std::vector<std::string> extracted;
    for (const std::string& line : item.comments) {
        if (startsWith(line, sc_extractedMark)) {
            extracted.push_back(textAfterMark(line));
        } else if (startsWith(line, sc_placeMark)) {
            addPlaces(message, line);
        } else if (startsWith(line, sc_previousMark)) {
            if (!m_isTemplate) {
                po_message_set_prev_msgid(message, previousKey(line).c_str());
            }
        } else {
            comments.push_back(commentToPo(line));
            if (!line.empty() && !startsWith(line, "//")) {
                _lose(item.line, "a line that is no comment, " + line, "write // before it", "po-comment");
            }
        }
    }
    po_message_set_comments(message, joinLines(comments).c_str());
    if (!extracted.empty()) {
        po_message_set_extracted_comments(message, joinLines(extracted).c_str());
    }
}

void PoWriter::_addTranslation(po_message_t message, const Item& item)
{
    po_message_set_msgstr(message, item.translation.c_str());
    po_message_set_obsolete(message, item.kind == ITEM_OBSOLETE);
    po_message_set_fuzzy(message, item.kind == ITEM_PROPOSAL && !item.translation.empty());
    if (item.kind == ITEM_ENTRY && item.translation.empty()) {
        _lose(item.line, "an empty translation: it means that \"" + encodeEscapes(item.key) + "\" is not translated",
              "remove the line", "po-empty-translation");
    }
}

std::string poOf(const std::string& name, const Document& document, bool isTemplate, std::vector<Finding>* lost)
{
    return PoWriter(name, document, isTemplate, lost).run();
}

// ---- From PO to a strings file

namespace {
class PoReader {
public:
    PoReader(const std::string& name, Document* document, std::vector<Finding>* lost)
        : m_name(name), m_document(document), m_lost(lost)
    {
    }

    void add(po_message_t message)
    {
        if (*po_message_msgid(message) == '\0' && !po_message_msgctxt(message)) {
            _addHeader(message);
        } else {
            _addItem(message);
        }
    }

private:
    void _lose(const std::string& key, const std::string& what, const char* instead, const char* check)
    {
        m_lost->push_back({m_name, 1, 1, false,
                           "a strings file cannot hold " + what + " of \"" + encodeEscapes(key) + '"', instead,
                           check});
    }

    void _addHeader(po_message_t message);
    void _addItem(po_message_t message);
    void _addComments(po_message_t message, Item* item);
    bool _canHold(po_message_t message, const Item& item);

    const std::string m_name;
    Document* m_document;
    std::vector<Finding>* m_lost;
    std::set<std::string> m_keys;
};
} // namespace

// The escapes of a PO file, such as \377, stand for any byte.
static bool isUtf8(const std::string& text)
{
    return findInvalidUtf8(text) == std::string::npos;
}

void PoReader::_addHeader(po_message_t message)
{
    for (const std::string& comment : linesOf(po_message_comments(message))) {
        const std::string line = commentFromPo(comment);
        m_document->header.push_back(line.empty() ? "//" : line);
    }
    std::vector<std::string> fields = linesOf(po_message_msgstr(message));
    const size_t count = sizeof(sc_fixedFields) / sizeof(*sc_fixedFields);
    if (fields.size() >= count &&
        std::equal(std::begin(sc_fixedFields), std::end(sc_fixedFields), fields.end() - count)) {
        fields.resize(fields.size() - count);
    }
    for (const std::string& field : fields) {
        const std::string line = asLine(field);
        if (!isUtf8(line)) {
            _lose("", "bytes that are no UTF-8", "", "po-bytes");
        } else if (!line.empty()) {
            m_document->header.push_back(sc_fieldMark + line);
        }
    }
}

bool PoReader::_canHold(po_message_t message, const Item& item)
{
    if (po_message_msgctxt(message)) {
        _lose(item.key, "the context", "", "po-context");
    }
    if (po_message_msgid_plural(message)) {
        _lose(item.key, "the plural forms", "", "po-plural");
    }
    if (!m_keys.insert(item.key).second) {
        _lose(item.key, "a second translation", "", "po-key-twice");
        return false;
    }
    if (item.key.size() > 127) {
        _lose(item.key, "more than 127 bytes", "shorten the text in the game", "key-too-long");
    }
    if (!isUtf8(item.key) || !isUtf8(item.translation)) {
        _lose(isUtf8(item.key) ? item.key : "", "bytes that are no UTF-8", "", "po-bytes");
        return false;
    }
    const auto endsInBackslash = [](const std::string& text) { return !text.empty() && text.back() == '\\'; };
    if (endsInBackslash(item.key) || endsInBackslash(item.translation)) {
        _lose(item.key, "the backslash at the end", "write another character after it", "backslash-at-end");
        return false;
    }
    return true;
}

void PoReader::_addItem(po_message_t message)
{
    Item item;
    item.key = po_message_msgid(message);
    const char* const plural = po_message_msgid_plural(message) ? po_message_msgstr_plural(message, 0) : nullptr;
    item.translation = plural ? plural : po_message_msgstr(message);
    if (!_canHold(message, item)) {
        return;
    }
    item.kind = po_message_is_obsolete(message)                            ? ITEM_OBSOLETE
                : po_message_is_fuzzy(message) || item.translation.empty() ? ITEM_PROPOSAL
                                                                           : ITEM_ENTRY;
    _addComments(message, &item);
    m_document->items.push_back(std::move(item));
}

void PoReader::_addComments(po_message_t message, Item* item)
{
    for (const std::string& comment : linesOf(po_message_comments(message))) {
        item->comments.push_back(commentFromPo(comment));
    }
    for (const std::string& comment : linesOf(po_message_extracted_comments(message))) {
        item->comments.push_back(sc_extractedMark + (comment.empty() ? "" : " " + comment));
    }
    for (int number = 0; po_filepos_t place = po_message_filepos(message, number); ++number) {
        const size_t line = po_filepos_start_line(place);
        item->comments.push_back(std::string(sc_placeMark) + " " + po_filepos_file(place) +
                                 (line != static_cast<size_t>(-1) ? ":" + std::to_string(line) : ""));
    }
    const char* const previous = po_message_prev_msgid(message);
    if (previous && isUtf8(previous)) {
        item->comments.push_back(std::string(sc_previousMark) + " \"" + encodeEscapes(previous) + '"');
    }
}

bool readPo(const std::string& name, const std::string& bytes, Document* document, std::vector<Finding>* lost,
            std::string* error)
{
    if (findInvalidUtf8(bytes) != std::string::npos || bytes.find('\0') != std::string::npos) {
        *error = name + ": is no UTF-8; `msgconv -t UTF-8` converts it";
        return false;
    }
    const MemoryFile input;
    if (!input.write(bytes)) {
        *error = name + ": no memory for a copy";
        return false;
    }
    s_name = name;
    s_message.clear();
    po_file_t file = po_file_read(input.path(), &sc_handler);
    if (!file || !s_message.empty()) {
        *error = name + ":" + std::to_string(s_line) + ": " + (s_message.empty() ? "is no PO file" : s_message);
        return false;
    }
    PoReader reader(name, document, lost);
    po_message_iterator_t place = po_message_iterator(file, nullptr);
    while (po_message_t message = po_next_message(place)) {
        reader.add(message);
    }
    po_message_iterator_free(place);
    po_file_free(file);
    return true;
}
