// 1. The calls of a text are grouped by lines. The calls of a line say whether the game knows its first word, and of
//    which type its values are.
// 2. If the game compares a word with names and the word equals none of them, the word is not learnt: the game does
//    not know it.
// 3. A run is first learnt into a new schema. Then this schema is merged into the old one.
#include "tools/core-config/learn.h"

#include "tools/core-config/blocks.h"
#include "tools/core-config/check_value.h"
#include "tools/core-config/library.h"

#include <algorithm>
#include <sstream>
#include <stdlib.h>
#include <string.h>

namespace config {

// The limits of a schema.
static const size_t sc_deepestBlock = 50;
static const size_t sc_mostValues = 64;

// ---- Types

// The values that a reader reads from its line: their type and number.
struct Form {
    e_ValueType type;
    size_t fewest;
    size_t most;
};

static Form formOf(watch::e_Read what)
{
    switch (what) {
    case watch::READ_INT8:
        return {TYPE_INT8, 1, 1};
    case watch::READ_INT16:
        return {TYPE_INT16, 1, 1};
    case watch::READ_UINT32:
        return {TYPE_UINT32, 1, 1};
    case watch::READ_INT64:
        return {TYPE_INT64, 1, 1};
    case watch::READ_FLOAT32:
    case watch::READ_GET_FLOAT:
    case watch::READ_LINE_FLOAT:
        return {TYPE_FLOAT32, 1, 1};
    case watch::READ_BOOL:
    case watch::READ_GET_BOOL:
        return {TYPE_BOOL, 1, 1};
    case watch::READ_TEXTVALUE:
    case watch::READ_STRING:
        return {TYPE_STRING, 1, 1};
    case watch::READ_INT32_2:
    case watch::READ_GET_INT2:
    case watch::READ_LINE_INT2:
        return {TYPE_INT32, 2, 2};
    case watch::READ_GET_INT3:
    case watch::READ_LINE_INT3:
        return {TYPE_INT32, 3, 3};
    case watch::READ_INT32_2X:
    case watch::READ_LINE_INT2X:
        return {TYPE_INT32, 1, 2};
    case watch::READ_FLOAT32_2:
    case watch::READ_GET_FLOAT2:
    case watch::READ_LINE_FLOAT2:
        return {TYPE_FLOAT32, 2, 2};
    case watch::READ_FLOAT32_2X:
    case watch::READ_LINE_FLOAT2X:
        return {TYPE_FLOAT32, 1, 2};
    case watch::READ_INT32:
    case watch::READ_GET_INT:
    case watch::READ_LINE_INT:
        return {TYPE_INT32, 1, 1};
    default:
        return {TYPE_WORD, 1, 1};
    }
}

// Returns a type for values that two readers read: of two number types the wider one, of other types that differ a
// word.
static e_ValueType commonType(e_ValueType a, e_ValueType b)
{
    return a == b ? a : std::max(a, b) <= TYPE_FLOAT32 ? std::max(a, b) : TYPE_WORD;
}

// Sets the greatest length of a text to the size of the game's buffer without the NUL. Of several buffers, the
// smallest counts.
static void setRoom(size_t room, Range* range)
{
    const double most = static_cast<double>(room) - 1;
    if (room > 0 && most < range->greatest) {
        range->high = std::to_string(room - 1);
        range->greatest = most;
    }
}

static bool isNamed(watch::e_Read what)
{
    return what >= watch::READ_INT8 && what < watch::READ_GET_INT;
}

// ---- Blocks and names

static NameSchema* findName(BlockSchema* block, const std::string& name)
{
    const auto found = std::find_if(block->names.begin(), block->names.end(),
                                    [&](const NameSchema& other) { return isSameName(other.name, name); });
    return found == block->names.end() ? nullptr : &*found;
}

static BlockSchema* findBlock(BlockSchema* block, const std::string& name)
{
    const auto found = std::find_if(block->blocks.begin(), block->blocks.end(),
                                    [&](const BlockSchema& other) { return isSameName(other.name, name); });
    return found == block->blocks.end() ? nullptr : &*found;
}

static NameSchema* addName(BlockSchema* block, const NameSchema& name)
{
    block->names.push_back(name);
    block->order.push_back(block->names.size() - 1);
    return &block->names.back();
}

static BlockSchema* addBlock(BlockSchema* block, const std::string& name)
{
    BlockSchema inner;
    inner.name = name;
    inner.before.assign(block->order.empty() ? 0 : 1, ""); // an empty line between blocks
    block->blocks.push_back(inner);
    block->order.push_back(~(block->blocks.size() - 1));
    return &block->blocks.back();
}

static FileSchema* fileOf(Schema* schema, const std::string& path, bool isIni)
{
    const auto found = std::find_if(schema->files.begin(), schema->files.end(), [&](const FileSchema& file) {
        return file.isIni == isIni && isSameName(file.block.name, path);
    });
    if (found != schema->files.end()) {
        return &*found;
    }
    schema->files.emplace_back();
    FileSchema* file = &schema->files.back();
    file->isIni = isIni;
    file->block.name = path;
    file->block.before.assign(1, "");
    return file;
}

// Returns true if the block, or a block in it, has this name or a block of this name.
static bool hasAnywhere(BlockSchema* block, const std::string& name)
{
    return findName(block, name) || findBlock(block, name) ||
           std::any_of(block->blocks.begin(), block->blocks.end(),
                       [&](BlockSchema& inner) { return hasAnywhere(&inner, name); });
}

// ---- A text of a game

namespace {

class TextLearner {
public:
    TextLearner(const ReadText& text, BlockSchema* file)
        : m_text(text), m_lines(text.bytes), m_map(m_lines), m_file(file), m_known(m_map.blocks().size(), false)
    {
        m_known[0] = true;
    }

    void run();

private:
    struct Ask {
        std::vector<std::string> blocks; // the names of the blocks around it, the outermost first
        const ReadCall* call;
    };

    bool _canHave(size_t block) const;
    void _findKnownBlocks();
    size_t _lineOf(const ReadCall& call) const;
    void _endLine();
    void _noteAsks();
    void _learnHead();
    void _learnWords();
    void _learnParameter(const ReadCall& call);
    void _learnValueLine(const ReadCall& call);
    void _learn(const std::string& name, bool hasEquals, const Form& form, size_t first, size_t room = 0);
    void _addAsked();
    bool _isDefault(const ReadCall& call) const;
    const ReadCall* _find(bool (*isIt)(const ReadCall&)) const;
    size_t _wordAt(size_t place) const;
    std::vector<std::string> _blocksAround(size_t block) const;
    BlockSchema* _blockOf(const std::vector<std::string>& names) const;

    const ReadText& m_text;
    const ConfigText m_lines;
    const BlockMap m_map;
    BlockSchema* m_file;
    std::vector<bool> m_known; // the game knows the heads of these blocks
    std::vector<Ask> m_asks;
    std::vector<const ReadCall*> m_calls; // of the current line, without ParseLine
    size_t m_line = NO_READ_PLACE;
    std::vector<Word> m_words; // of the current line
};

} // namespace

void TextLearner::run()
{
    if (m_lines.lines().empty()) {
        return;
    }
    _findKnownBlocks();
    for (const ReadCall& call : m_text.calls) {
        if (call.what == watch::READ_LINE) {
            _endLine();
            m_line = _lineOf(call);
        } else if (call.what >= watch::READ_LINE_STRING) {
            _endLine();
            _learnValueLine(call);
        } else {
            m_calls.push_back(&call);
        }
    }
    _endLine();
    _addAsked();
}

// Returns the line that ParseLine took; NO_READ_PLACE at the end of the text, and for a line of blanks.
size_t TextLearner::_lineOf(const ReadCall& call) const
{
    return call.result && call.place < m_lines.size() ? m_lines.lineOf(call.place) : NO_READ_PLACE;
}

// Returns true if a schema can have the block: the block and all blocks around it have names, and are not nested too
// deep.
bool TextLearner::_canHave(size_t block) const
{
    size_t depth = 0;
    for (; block != 0 && !m_map.blocks()[block].name.empty() && depth < sc_deepestBlock; ++depth) {
        block = m_map.blocks()[block].outer;
    }
    return block == 0;
}

// Marks the blocks that the game knows: those in which it has found a name, even if it never looks at heads of
// blocks, and the blocks around them.
void TextLearner::_findKnownBlocks()
{
    size_t line = NO_READ_PLACE;
    for (const ReadCall& call : m_text.calls) {
        line = call.what == watch::READ_LINE ? _lineOf(call) : line;
        const bool isFound = call.result && (isNamed(call.what) || call.what == watch::READ_NAME);
        const size_t found = isFound && line != NO_READ_PLACE ? m_map.blockOf(line) : 0;
        for (size_t block = _canHave(found) ? found : 0; block != 0;) {
            m_known[block] = true;
            block = m_map.blocks()[block].outer;
        }
    }
}

std::vector<std::string> TextLearner::_blocksAround(size_t block) const
{
    std::vector<std::string> names;
    for (; block != 0; block = m_map.blocks()[block].outer) {
        names.insert(names.begin(), m_map.blocks()[block].name);
    }
    return names;
}

BlockSchema* TextLearner::_blockOf(const std::vector<std::string>& names) const
{
    BlockSchema* block = m_file;
    for (const std::string& name : names) {
        BlockSchema* inner = findBlock(block, name);
        block = inner ? inner : addBlock(block, name);
    }
    return block;
}

const ReadCall* TextLearner::_find(bool (*isIt)(const ReadCall&)) const
{
    const auto found =
        std::find_if(m_calls.begin(), m_calls.end(), [&](const ReadCall* call) { return isIt(*call); });
    return found == m_calls.end() ? nullptr : *found;
}

// Evaluates the calls of the current line.
void TextLearner::_endLine()
{
    if (m_line != NO_READ_PLACE && m_known[m_map.blockOf(m_line)]) {
        m_lines.wordsOf(m_line, &m_words);
        _noteAsks();
        const ReadCall* parameter = _find([](const ReadCall& call) { return isNamed(call.what) && call.result; });
        const bool isAsked =
            _find([](const ReadCall& call) { return call.what == watch::READ_ASK || isNamed(call.what); });
        const bool isName = _find([](const ReadCall& call) { return call.what == watch::READ_NAME; });
        if (parameter) {
            _learnParameter(*parameter);
        } else if (m_map.isHead(m_line) && (isName || !isAsked)) {
            _learnHead();
        } else if (!m_words.empty() && !m_map.isBrace(m_line) && !m_map.isHead(m_line) && (isName || !isAsked)) {
            _learnWords();
        }
    }
    m_calls.clear();
    m_line = NO_READ_PLACE;
}

// Notes the names with which the game has compared the first word of the line.
void TextLearner::_noteAsks()
{
    for (const ReadCall* call : m_calls) {
        if (!call->result && (call->what == watch::READ_ASK || isNamed(call->what))) {
            m_asks.push_back({_blocksAround(m_map.blockOf(m_line)), call});
        }
    }
}

// Marks the blocks that the current line opens as known.
void TextLearner::_learnHead()
{
    size_t line = m_line + 1; // the first line in the block, or its brace
    while (line < m_lines.lines().size() && m_map.blockOf(line) == m_map.blockOf(m_line) && !m_map.isHead(line)) {
        ++line;
    }
    const size_t block = line < m_lines.lines().size() ? m_map.blockOf(line) : 0;
    if (block == 0 || m_map.blocks()[block].outer != m_map.blockOf(m_line) || !_canHave(block)) {
        return;
    }
    m_known[block] = true;
    std::vector<std::string> names = _blocksAround(m_map.blockOf(m_line));
    names.push_back(m_lines.text(m_words[0]));
    _blockOf(names);
}

// Returns the index of the first word that begins at this place or after it.
size_t TextLearner::_wordAt(size_t place) const
{
    const auto found =
        std::find_if(m_words.begin(), m_words.end(), [&](const Word& word) { return word.begin >= place; });
    return static_cast<size_t>(found - m_words.begin());
}

// Learns a line whose name the game has compared itself, without a reader of named parameters. The words that the
// game has read give the types.
void TextLearner::_learnWords()
{
    const std::string name = m_lines.text(m_words[0]);
    const bool hasEquals = m_words.size() > 1 && m_lines.is(m_words[1], '=');
    const size_t first = hasEquals ? 2 : 1;
    Form form = {TYPE_WORD, 0, 0};
    for (const ReadCall* call : m_calls) {
        const bool isValue = call->what == watch::READ_TOKEN || call->what == watch::READ_STRING ||
                             (call->what >= watch::READ_GET_INT && call->what < watch::READ_LINE_STRING);
        const size_t index = _wordAt(call->what == watch::READ_STRING ? call->place - 1 : call->place);
        if (isValue && call->place != NO_READ_PLACE && index >= first && index < m_words.size()) {
            const Form part = formOf(call->what);
            form.type = form.most == 0 ? part.type : commonType(form.type, part.type);
            form.most = std::min(std::max(form.most, index + part.most - first), sc_mostValues);
            form.fewest = form.most;
        }
    }
    const bool isWordAlone = m_words.size() == 1;
    const bool isName = _find([](const ReadCall& call) { return call.what == watch::READ_NAME; });
    const bool isUsual = name[0] != '"' && name.find_first_of("=\t{}") == std::string::npos;
    if (isUsual && (form.most > 0 || isWordAlone || isName)) {
        form.most = std::max<size_t>(form.most, 1);
        _learn(name, hasEquals, form, first);
    }
}

void TextLearner::_learnParameter(const ReadCall& call)
{
    _learn(call.name, true, formOf(call.what), 2, call.room);
}

void TextLearner::_learnValueLine(const ReadCall& call)
{
    if (!call.result || call.place >= m_lines.size()) {
        return;
    }
    m_line = m_lines.lineOf(call.place);
    m_lines.wordsOf(m_line, &m_words);
    if (m_known[m_map.blockOf(m_line)]) {
        _learn("*", false, formOf(call.what), 0);
    }
    m_line = NO_READ_PLACE;
}

// Adds a name, and the values of the current line from the word `first` on. room: as in ReadCall.
void TextLearner::_learn(const std::string& text, bool hasEquals, const Form& form, size_t first, size_t room)
{
    if (text.empty()) {
        return;
    }
    BlockSchema* block = _blockOf(_blocksAround(m_map.blockOf(m_line)));
    NameSchema* name = findName(block, text);
    if (!name) {
        NameSchema added;
        added.name = text;
        added.hasEquals = hasEquals;
        added.type = form.type;
        added.fewest = form.fewest;
        added.most = form.most;
        name = addName(block, added);
    }
    name->type = commonType(name->type, form.type);
    name->fewest = std::min(name->fewest, form.fewest);
    name->most = std::max(name->most, form.most);
    setRoom(room, &name->range);
    for (size_t index = first; index < std::min(m_words.size(), first + form.most); ++index) {
        const Word& word = m_words[index];
        Faults faults;
        checkValue(*name, {word.begin, m_lines.text(word)}, &faults);
        if (faults.empty()) {
            addSeen(name, word.isString ? unescaped(m_lines.inside(word)) : m_lines.text(word));
        }
    }
}

// Returns the value of the game's variable, as a schema writes it.
static std::string shownDefault(const ReadCall& call)
{
    if (formOf(call.what).type != TYPE_FLOAT32) {
        return call.value;
    }
    std::string text;
    std::istringstream words(call.value);
    for (std::string word; words >> word;) {
        const uint32_t bits = static_cast<uint32_t>(strtoul(word.c_str(), nullptr, 16));
        float number;
        memcpy(&number, &bits, sizeof(number));
        text += (text.empty() ? "" : " ") + shown(number);
    }
    return text;
}

// Returns true if the value looks like the default that the game uses when the file lacks the name: it was the same
// at each ask, and it is not so large that it probably means "no value".
bool TextLearner::_isDefault(const ReadCall& call) const
{
    static const double sc_largest = 1e6; // games often use larger numbers for "no value"
    const e_ValueType type = formOf(call.what).type;
    const bool isNumber = type <= TYPE_FLOAT32;
    const double number = strtod(shownDefault(call).c_str(), nullptr);
    const bool isText = call.value.find_first_of("\r\n\t") == std::string::npos;
    return !call.value.empty() && (isNumber ? number >= -sc_largest && number <= sc_largest : isText) &&
           std::all_of(m_asks.begin(), m_asks.end(), [&](const Ask& ask) {
               return !isSameName(ask.call->name, call.name) || ask.call->value == call.value;
           });
}

// Adds the names that the game has asked for and that no line has. A game that does not look at blocks asks for all names
// in each block. So a name is added to one block only; blocks that have other names come first.
void TextLearner::_addAsked()
{
    const auto isElsewhere = [&](const Ask& ask) { return _blockOf(ask.blocks)->names.empty(); };
    std::stable_partition(m_asks.begin(), m_asks.end(), [&](const Ask& ask) { return !isElsewhere(ask); });
    for (const Ask& ask : m_asks) {
        if (ask.call->name.empty() || hasAnywhere(m_file, ask.call->name)) {
            continue;
        }
        const Form form = formOf(ask.call->what);
        NameSchema name;
        name.name = ask.call->name;
        name.type = form.type;
        name.fewest = form.fewest;
        name.most = form.most;
        setRoom(ask.call->room, &name.range);
        name.hasDefault = _isDefault(*ask.call);
        name.defaultText = name.hasDefault ? shownDefault(*ask.call) : "";
        name.lineComment =
            ask.call->what == watch::READ_ASK ? "the game asked for it, and the file did not have it" : "";
        addName(_blockOf(ask.blocks), name);
    }
}

// ---- Preferences files

static void learnPreference(const ReadPreference& preference, Schema* schema)
{
    BlockSchema* file = &fileOf(schema, preference.name, true)->block;
    BlockSchema* section = findBlock(file, preference.section);
    section = section ? section : addBlock(file, preference.section);
    NameSchema* name = findName(section, preference.key);
    if (!name) {
        NameSchema added;
        added.name = preference.key;
        added.type = preference.isNumber ? TYPE_INT : TYPE_TEXT;
        name = addName(section, added);
    }
    if (preference.hasDefault && !name->hasDefault) {
        name->hasDefault = true;
        name->defaultText = preference.defaultText;
    }
    if (preference.hasValue) {
        addSeen(name, preference.value);
    }
}

// ---- Merging

// isIni: an entry of a preferences file. Its default was an argument of the game's call, so it replaces the old
// default.
static void mergeName(const NameSchema& from, bool isIni, NameSchema* to)
{
    const bool isKnownType = from.type != TYPE_WORD && from.type != TYPE_TEXT; // else it can be of any type
    to->type = isKnownType ? from.type : to->type;
    to->fewest = std::min(to->fewest, from.fewest);
    to->most = std::max(to->most, from.most);
    const bool isFree = to->range.low.empty() && to->range.high.empty();
    to->range = isFree ? from.range : to->range;
    if (from.hasDefault && (isIni || !to->hasDefault)) {
        to->hasDefault = true;
        to->defaultText = from.defaultText;
    }
    for (const std::string& value : from.seen) {
        addSeen(to, value);
    }
    for (const std::string& number : {from.seenRange.low, from.seenRange.high}) {
        if (!number.empty()) {
            addSeen(to, number);
        }
    }
}

static void mergeBlock(const BlockSchema& from, bool isIni, BlockSchema* to, Learnt* learnt)
{
    for (const size_t entry : from.order) {
        if (entry >= from.names.size()) {
            const BlockSchema& inner = from.blocks[~entry];
            BlockSchema* same = findBlock(to, inner.name);
            mergeBlock(inner, isIni, same ? same : addBlock(to, inner.name), learnt);
            continue;
        }
        const NameSchema& name = from.names[entry];
        NameSchema* same = findName(to, name.name);
        ++learnt->names;
        if (same) {
            mergeName(name, isIni, same);
        } else {
            addName(to, name);
            ++learnt->newNames;
        }
    }
}

Learnt learn(const GameReads& reads, Schema* schema)
{
    Schema fresh;
    Learnt learnt;
    for (const ReadText& text : reads.texts()) {
        if (!text.name.empty() && !text.calls.empty()) {
            TextLearner(text, &fileOf(&fresh, text.name, false)->block).run();
        }
    }
    for (const ReadPreference& preference : reads.preferences()) {
        if (!preference.name.empty() && preference.name != "/" && !preference.section.empty() &&
            !preference.key.empty()) {
            learnPreference(preference, &fresh);
        }
    }
    for (const FileSchema& file : fresh.files) {
        const FileSchema* same = fileFor(*schema, file.block.name);
        if (same && same->isIni != file.isIni) {
            continue; // the game reads the file in both ways, and the schema describes one of them
        }
        FileSchema* to = same ? const_cast<FileSchema*>(same) : fileOf(schema, file.block.name, file.isIni);
        ++learnt.files;
        mergeBlock(file.block, file.isIni, &to->block, &learnt);
    }
    return learnt;
}

} // namespace config
