// 1. A line of a schema is empty, a comment, a brace, or an entry. A comment at the end of a line belongs to the
//    entry of that line.
// 2. Words are read one by one; each attribute takes the words that belong to it.
// 3. The writer puts quotes around a word that the reader would take for something else.
#include "tools/core-config/schema.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

namespace config {

static const char sc_head[] = "core-config schema 1";
static const char* const sc_types[TYPE_COUNT] = {"int8", "int16",  "int32", "uint32", "int64", "float32",
                                                 "bool", "string", "word",  "int",    "text"};
static const char* const sc_keywords[] = {"required", "once", "default", "one-of", "seen", "open"};
static const size_t sc_deepest = 60; // blocks in blocks; core-config learn writes fewer

bool isSameName(const std::string& a, const std::string& b)
{
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// ---- Words

struct SchemaWord {
    std::string text;
    bool isQuoted;
};

// Splits a line into words and the comment at its end. Returns false when a quote is not closed.
static bool splitLine(const std::string& line, std::vector<SchemaWord>* words, std::string* comment)
{
    for (size_t at = 0; at < line.size();) {
        if (line[at] == ' ' || line[at] == '\t') {
            ++at;
        } else if (line.compare(at, 2, "//") == 0) {
            const size_t begin = line.find_first_not_of(" \t", at + 2);
            *comment = begin == std::string::npos ? "" : line.substr(begin);
            return true;
        } else if (line[at] == '"') {
            std::string text;
            for (++at; at < line.size() && line[at] != '"'; ++at) {
                const bool isEscape = line[at] == '\\' && at + 1 < line.size();
                at += isEscape;
                text += isEscape && line[at] == 'n' ? '\n' : isEscape && line[at] == 'r' ? '\r' : line[at];
            }
            if (at == line.size()) {
                return false;
            }
            ++at;
            words->push_back({text, true});
        } else {
            const size_t end = std::min(line.find_first_of(" \t", at), line.size());
            words->push_back({line.substr(at, end - at), false});
            at = end;
        }
    }
    return true;
}

static bool isKeyword(const std::string& text)
{
    return std::any_of(std::begin(sc_keywords), std::end(sc_keywords),
                       [&](const char* word) { return text == word; });
}

static std::string quotedWord(const std::string& text)
{
    std::string result = "\"";
    for (const char letter : text) {
        const char escape = letter == '\n'                    ? 'n'
                            : letter == '\r'                  ? 'r'
                            : letter == '"' || letter == '\\' ? letter
                                                              : '\0';
        result += escape ? std::string("\\") + escape : std::string(1, letter);
    }
    return result + '"';
}

// A word as the reader takes it back. A value is also quoted if it could be an attribute.
static std::string writtenWord(const std::string& text, bool isName)
{
    const bool isPlain = !text.empty() && text.find_first_of(" \t\r\n\"\\[]{}") == std::string::npos &&
                         text.compare(0, 2, "//") != 0 && text != "=" && text != "block" && text != "section";
    const bool isAttribute = isKeyword(text) || text.find("..") != std::string::npos;
    return isPlain && (isName || !isAttribute) ? text : quotedWord(text);
}

// ---- Reading

class SchemaReader {
public:
    SchemaReader(const std::string& text, Schema* schema, std::string* error)
        : m_text(text), m_schema(schema), m_error(error)
    {
    }

    bool read();

private:
    bool _fail(const std::string& what);
    bool _nextLine();
    bool _readFile();
    bool _readHead(BlockSchema* block, size_t first, bool* isOpened);
    bool _readBody(BlockSchema* block, bool isOpened, bool isIni, size_t depth);
    bool _readInner(BlockSchema* block, bool isIni, size_t depth);
    bool _readName(BlockSchema* block, bool isIni);
    bool _readTypes(size_t* at, NameSchema* name);
    bool _readAttributes(size_t at, NameSchema* name);
    bool _readRange(const std::string& word, Range* range);
    std::vector<std::string> _values(size_t* at) const;
    bool _isRange(size_t at) const
    {
        return at < m_words.size() && !m_words[at].isQuoted && m_words[at].text.find("..") != std::string::npos;
    }
    bool _is(size_t at, const char* text) const
    {
        return at < m_words.size() && !m_words[at].isQuoted && m_words[at].text == text;
    }

    const std::string& m_text;
    Schema* m_schema;
    std::string* m_error;
    size_t m_place = 0;
    size_t m_number = 0; // of the line
    std::vector<SchemaWord> m_words;
    std::string m_comment;
    std::vector<std::string> m_before; // comments and empty lines since the last entry
};

bool SchemaReader::_fail(const std::string& what)
{
    *m_error = std::to_string(m_number) + ": " + what;
    return false;
}

// Reads the next line with words. Returns false at the end of the text, with an empty *m_error, and on failure.
bool SchemaReader::_nextLine()
{
    while (m_place < m_text.size()) {
        const size_t end = std::min(m_text.find('\n', m_place), m_text.size());
        std::string line = m_text.substr(m_place, end - m_place);
        m_place = end + 1;
        ++m_number;
        line.erase(line.find_last_not_of(" \t\r") + 1);
        m_words.clear();
        m_comment.clear();
        if (line.find('\0') != std::string::npos) {
            return _fail("a byte 0 is in this line");
        }
        if (!splitLine(line, &m_words, &m_comment)) {
            return _fail("a quote is not closed");
        }
        if (!m_words.empty()) {
            return true;
        }
        m_before.push_back(line.substr(std::min(line.find_first_not_of(" \t"), line.size())));
    }
    return false;
}

bool SchemaReader::read()
{
    if (m_text.compare(0, 3, "\xef\xbb\xbf") == 0) {
        m_place = 3;
    }
    const bool isHead =
        _nextLine() && m_words.size() == 3 && m_before.empty() && _is(0, "core-config") && _is(1, "schema");
    if (!isHead) {
        m_number = 1;
        return _fail(std::string("a schema begins with the line \"") + sc_head + '"');
    }
    if (!_is(2, "1")) {
        return _fail("this program reads schemas of version 1");
    }
    while (_nextLine()) {
        if (!_readFile()) {
            return false;
        }
    }
    m_schema->after.swap(m_before);
    return m_error->empty();
}

bool SchemaReader::_readFile()
{
    FileSchema file;
    file.isIni = _is(0, "ini");
    if ((!file.isIni && !_is(0, "config")) || m_words.size() < 2) {
        return _fail("expected: config \"PATH\" or ini \"PATH\"");
    }
    bool isOpened = false;
    if (!_readHead(&file.block, 1, &isOpened) || !_readBody(&file.block, isOpened, file.isIni, 0)) {
        return false;
    }
    m_schema->files.push_back(std::move(file));
    return true;
}

// Reads the name and the attributes of a block, from the word `first` on.
bool SchemaReader::_readHead(BlockSchema* block, size_t first, bool* isOpened)
{
    if (first >= m_words.size() || m_words[first].text.empty()) {
        return _fail("the name is missing");
    }
    block->name = m_words[first].text;
    block->before.swap(m_before);
    block->lineComment = m_comment;
    for (size_t at = first + 1; at < m_words.size(); ++at) {
        if (_is(at, "required")) {
            block->isRequired = true;
        } else if (_is(at, "once")) {
            block->isOnce = true;
        } else if (_is(at, "open")) {
            block->isOpen = true;
        } else if (_is(at, "{") && at + 1 == m_words.size()) {
            *isOpened = true;
        } else {
            return _fail("unknown word \"" + m_words[at].text + "\"; a block can be required, once and open");
        }
    }
    return true;
}

bool SchemaReader::_readBody(BlockSchema* block, bool isOpened, bool isIni, size_t depth)
{
    if (!isOpened && (!_nextLine() || !_is(0, "{") || m_words.size() != 1)) {
        return m_error->empty() ? _fail("expected: {") : false;
    }
    while (_nextLine()) {
        if (_is(0, "}")) {
            block->after.swap(m_before);
            m_before.clear();
            return m_words.size() == 1 || _fail("expected: } alone");
        }
        const bool isEntry = _is(1, "=");
        const bool isInner = !isEntry && _is(0, isIni ? "section" : "block");
        if (isInner ? !_readInner(block, isIni, depth) : !_readName(block, isIni)) {
            return false;
        }
    }
    return m_error->empty() ? _fail("the block \"" + block->name + "\" is not closed") : false;
}

bool SchemaReader::_readInner(BlockSchema* block, bool isIni, size_t depth)
{
    BlockSchema inner;
    bool isOpened = false;
    if (depth >= (isIni ? 1 : sc_deepest)) {
        return _fail("too many blocks in blocks");
    }
    if (!_readHead(&inner, 1, &isOpened) || !_readBody(&inner, isOpened, isIni, depth + 1)) {
        return false;
    }
    block->blocks.push_back(std::move(inner));
    block->order.push_back(~(block->blocks.size() - 1));
    return true;
}

bool SchemaReader::_readName(BlockSchema* block, bool isIni)
{
    NameSchema name;
    name.name = m_words[0].text;
    name.hasEquals = _is(1, "=");
    name.before.swap(m_before);
    name.lineComment = m_comment;
    size_t at = 1 + name.hasEquals;
    if (name.name.empty() || !_readTypes(&at, &name)) {
        return m_error->empty() ? _fail("expected: NAME = TYPE") : false;
    }
    if (isIni != (name.type == TYPE_INT || name.type == TYPE_TEXT)) {
        return _fail(isIni ? "a name of a preferences file is int or text"
                           : "int and text are types of preferences files");
    }
    if (!_readAttributes(at, &name)) {
        return false;
    }
    block->names.push_back(std::move(name));
    block->order.push_back(block->names.size() - 1);
    return true;
}

static e_ValueType typeOf(const std::string& text)
{
    int type = 0;
    while (type < TYPE_COUNT && text != sc_types[type]) {
        ++type;
    }
    return static_cast<e_ValueType>(type);
}

// Reads "int32", "int32 int32" or "int32 [int32]".
bool SchemaReader::_readTypes(size_t* at, NameSchema* name)
{
    static const size_t sc_mostValues = 64;
    name->most = 0;
    name->fewest = 0;
    for (; *at < m_words.size() && !m_words[*at].isQuoted; ++*at) {
        std::string text = m_words[*at].text;
        const bool isOptional = text.size() > 2 && text.front() == '[' && text.back() == ']';
        const e_ValueType type = typeOf(isOptional ? text.substr(1, text.size() - 2) : text);
        if (type == TYPE_COUNT) {
            break;
        }
        if (name->most > 0 && (type != name->type || (!isOptional && name->fewest < name->most))) {
            return _fail("the values of a name have one type, and those between brackets come last");
        }
        name->type = type;
        name->most += 1;
        name->fewest += !isOptional;
    }
    if (name->most == 0 || name->most > sc_mostValues) {
        return _fail(
            "expected a type: int8, int16, int32, uint32, int64, float32, bool, string, word; int or text in a "
            "preferences file");
    }
    return true;
}

static bool isLimit(const std::string& text)
{
    char* end = nullptr;
    strtod(text.c_str(), &end);
    return text.empty() || (*end == '\0' && text.find_first_not_of("+-.0123456789eE") == std::string::npos);
}

static Range rangeOf(const std::string& low, const std::string& high)
{
    Range range = {low, high};
    range.least = low.empty() ? range.least : strtod(low.c_str(), nullptr);
    range.greatest = high.empty() ? range.greatest : strtod(high.c_str(), nullptr);
    return range;
}

bool SchemaReader::_readRange(const std::string& word, Range* range)
{
    const size_t dots = word.find("..");
    *range = rangeOf(word.substr(0, dots), word.substr(dots + 2));
    return (isLimit(range->low) && isLimit(range->high)) ||
           _fail("a range is LOW..HIGH, with two numbers or one: \"" + word + '"');
}

// Returns the words up to the next attribute.
std::vector<std::string> SchemaReader::_values(size_t* at) const
{
    std::vector<std::string> values;
    for (; *at < m_words.size() && (m_words[*at].isQuoted || (!isKeyword(m_words[*at].text) &&
                                                              m_words[*at].text.find("..") == std::string::npos));
         ++*at) {
        values.push_back(m_words[*at].text);
    }
    return values;
}

bool SchemaReader::_readAttributes(size_t at, NameSchema* name)
{
    while (at < m_words.size()) {
        const std::string& word = m_words[at].text;
        const bool isQuoted = m_words[at].isQuoted;
        const size_t before = ++at;
        if (isQuoted) {
            return _fail("unknown word \"" + word + '"');
        }
        if (word == "required") {
            name->isRequired = true;
        } else if (word == "once") {
            name->isOnce = true;
        } else if (word == "default" && at < m_words.size()) {
            name->hasDefault = true;
            name->defaultText = m_words[at++].text;
        } else if (word == "one-of") {
            name->choices = _values(&at);
        } else if (word == "seen" && _isRange(at)) {
            if (!_readRange(m_words[at++].text, &name->seenRange)) {
                return false;
            }
        } else if (word == "seen") {
            name->seen = _values(&at);
        } else if (word.find("..") != std::string::npos) {
            if (!_readRange(word, &name->range)) {
                return false;
            }
        } else {
            return _fail(
                "unknown word \"" + word +
                "\"; a name can have LOW..HIGH, required, once, default VALUE, one-of VALUES and seen VALUES");
        }
        if ((word == "one-of" || word == "seen") && at == before) {
            return _fail("a value is missing after \"" + word + '"');
        }
    }
    return true;
}

bool readSchema(const std::string& text, Schema* schema, std::string* error)
{
    *schema = Schema();
    error->clear();
    return SchemaReader(text, schema, error).read();
}

// ---- Writing

static void writeLines(const std::vector<std::string>& lines, const std::string& indentation, std::string* text)
{
    for (const std::string& line : lines) {
        *text += (line.empty() ? "" : indentation + line) + '\n';
    }
}

static std::string writtenComment(const std::string& comment)
{
    return comment.empty() ? "\n" : " // " + comment + '\n';
}

static std::string typesOf(const NameSchema& name)
{
    std::string text;
    for (size_t value = 0; value < name.most; ++value) {
        const std::string type = sc_types[name.type];
        text += (value == 0 ? "" : " ") + (value < name.fewest ? type : '[' + type + ']');
    }
    return text;
}

static bool isSet(const Range& range)
{
    return !range.low.empty() || !range.high.empty();
}

// One number is written as a list of one.
static std::string writtenSeen(const Range& range)
{
    return range.low == range.high ? range.low : range.low + ".." + range.high;
}

std::string formOf(const NameSchema& name)
{
    return typesOf(name) + (isSet(name.range) ? ' ' + name.range.low + ".." + name.range.high : "");
}

static std::string writtenName(const NameSchema& name)
{
    std::string text = writtenWord(name.name, true) + (name.hasEquals ? " = " : " ") + formOf(name);
    text += name.isRequired ? " required" : "";
    text += name.isOnce ? " once" : "";
    text += name.hasDefault ? " default " + writtenWord(name.defaultText, false) : "";
    const auto add = [&](const char* keyword, const std::vector<std::string>& values) {
        text += values.empty() ? "" : std::string(" ") + keyword;
        for (const std::string& value : values) {
            text += ' ' + writtenWord(value, false);
        }
    };
    add("one-of", name.choices);
    add("seen", name.seen);
    text += isSet(name.seenRange) ? " seen " + writtenSeen(name.seenRange) : "";
    return text + writtenComment(name.lineComment);
}

static void writeBlock(const BlockSchema& block, const std::string& keyword, const std::string& indentation,
                       bool isIni, std::string* text)
{
    const bool isFile = indentation.empty();
    writeLines(block.before, indentation, text);
    *text += indentation + keyword + ' ' + (isFile ? quotedWord(block.name) : writtenWord(block.name, true));
    *text += block.isRequired ? " required" : "";
    *text += block.isOnce ? " once" : "";
    *text += (block.isOpen ? " open" : "") + writtenComment(block.lineComment) + indentation + "{\n";
    const std::string inner = indentation + "    ";
    for (const size_t entry : block.order) {
        const bool isName = entry < block.names.size();
        if (isName) {
            writeLines(block.names[entry].before, inner, text);
            *text += inner + writtenName(block.names[entry]);
        } else {
            writeBlock(block.blocks[~entry], isIni ? "section" : "block", inner, isIni, text);
        }
    }
    writeLines(block.after, inner, text);
    *text += indentation + "}\n";
}

std::string writeSchema(const Schema& schema)
{
    std::string text = std::string(sc_head) + '\n';
    for (const FileSchema& file : schema.files) {
        writeBlock(file.block, file.isIni ? "ini" : "config", "", file.isIni, &text);
    }
    writeLines(schema.after, "", &text);
    return text;
}

// ---- Values that were read

static bool isNumberType(e_ValueType type)
{
    return type <= TYPE_FLOAT32 || type == TYPE_INT;
}

static void addSeenText(NameSchema* name, const std::string& text)
{
    static const size_t sc_mostTexts = 8;
    static const size_t sc_mostBytes = 100; // of all of them
    size_t bytes = text.size();
    for (const std::string& other : name->seen) {
        bytes += other.size();
    }
    const bool isNew = std::count(name->seen.begin(), name->seen.end(), text) == 0;
    if (isNew && name->seen.size() < sc_mostTexts && bytes <= sc_mostBytes) {
        name->seen.push_back(text);
    }
}

void addSeen(NameSchema* name, const std::string& value)
{
    if (!isNumberType(name->type)) {
        addSeenText(name, value);
        return;
    }
    std::vector<std::string> numbers = name->seen; // a list becomes a range
    numbers.push_back(value);
    for (std::string& text : numbers) {
        Range& range = name->seenRange;
        text.erase(text.find_last_not_of('.') + 1); // "9." before ".." could not be read again
        const double number = strtod(text.c_str(), nullptr);
        if (!text.empty() && isLimit(text)) {
            range = rangeOf(isSet(range) && range.least <= number ? range.low : text,
                            isSet(range) && range.greatest >= number ? range.high : text);
        }
    }
    name->seen.clear();
}

// ---- Questions

static std::string withSlashes(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

const FileSchema* fileFor(const Schema& schema, const std::string& path)
{
    const std::string whole = '/' + withSlashes(path);
    for (const FileSchema& file : schema.files) {
        const std::string end = '/' + withSlashes(file.block.name);
        if (whole.size() >= end.size() && isSameName(whole.substr(whole.size() - end.size()), end)) {
            return &file;
        }
    }
    return nullptr;
}

std::string commentOf(const std::vector<std::string>& before, const std::string& lineComment)
{
    std::string text;
    size_t first = before.size();
    while (first > 0 && !before[first - 1].empty()) {
        --first;
    }
    for (; first < before.size(); ++first) {
        const size_t begin = before[first].find_first_not_of("/ \t");
        text += begin == std::string::npos ? "" : (text.empty() ? "" : " ") + before[first].substr(begin);
    }
    return text + (text.empty() || lineComment.empty() ? "" : " ") + lineComment;
}

} // namespace config
