// The text form of a snapshot.
//
// 1. A line is a word and fields of the form key=value. A value is a number or a text in quotes.
// 2. The reader skips words and keys that it does not know, so that a later version can add some.
// 3. The first line names the version, the last line is "end". A file without the last line was cut short.
#include "watch/snapshot.h"

#include <algorithm>
#include <inttypes.h>
#include <limits.h>
#include <map>
#include <stdio.h>
#include <string.h>

namespace watch {

static const char sc_firstLine[] = "core-memory snapshot 1";
static const char sc_unnamed[] = "(no name)";

static const char* const sc_kinds[] = {"magic", "size", "link", "list", "name", "fallback", "counter", "bank"};
static const char* const sc_states[] = {"used", "free", "damaged", "fallback"};

const char* nameOf(DamageKind kind)
{
    return sc_kinds[kind];
}

Snapshot::Snapshot()
{
    addName("");
}

uint32_t Snapshot::addName(const std::string& name)
{
    const auto added = m_numbers.emplace(name, static_cast<uint32_t>(m_names.size()));
    if (added.second) {
        m_names.push_back(name);
    }
    return added.first->second;
}

std::string Snapshot::placeOf(const Block& block) const
{
    const std::string& name = m_names[block.name < m_names.size() ? block.name : 0];
    return (name.empty() ? sc_unnamed : name) + ":" + std::to_string(block.line);
}

const Bank* Snapshot::bankOf(int index) const
{
    const auto bank =
        std::find_if(banks.begin(), banks.end(), [&](const Bank& candidate) { return candidate.index == index; });
    return bank == banks.end() ? nullptr : &*bank;
}

// ---- Writing

// Returns the text in quotes. A quote, a backslash and each control character become \xHH, so a line stays a line.
static std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char character : text) {
        const unsigned char byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f || byte == '"' || byte == '\\') {
            char escape[8];
            snprintf(escape, sizeof(escape), "\\x%02x", static_cast<unsigned int>(byte));
            result += escape;
        } else {
            result += character;
        }
    }
    return result + '"';
}

class Line {
public:
    Line(std::string* out, const char* word) : m_out(out)
    {
        *m_out += word;
        _reserveEnd();
    }
    ~Line()
    {
        if (m_out->size() < m_out->capacity()) { // false only after an exception: there is no memory
            *m_out += '\n';
        }
    }

    Line& number(const char* key, int64_t value)
    {
        char digits[24];
        snprintf(digits, sizeof(digits), "%" PRId64, value);
        return _add(key, digits);
    }

    Line& known(const char* key, uint32_t value) { return value == sc_noNumber ? *this : number(key, value); }

    Line& text(const char* key, const std::string& value) { return value.empty() ? *this : _add(key, quoted(value)); }

private:
    Line& _add(const char* key, const std::string& value)
    {
        (((*m_out += ' ') += key) += '=') += value;
        _reserveEnd();
        return *this;
    }

    // The destructor may not throw, so there must be room for the line feed.
    void _reserveEnd() { m_out->reserve(m_out->size() + 1); }

    std::string* m_out;
};

static void writeBlock(std::string* out, const Snapshot& snapshot, int bank, const Block& block, uint32_t number)
{
    Line line(out, sc_states[block.state]);
    line.number("bank", bank).known("number", number).known("offset", block.offset).number("size", block.size);
    if (block.state == BLOCK_USED || block.state == BLOCK_FALLBACK) {
        line.text("place", snapshot.placeOf(block));
    }
    if (block.born >= 0) {
        line.number("born", block.born);
    }
}

static void writeBank(std::string* out, const Bank& bank)
{
    Line line(out, "bank");
    line.number("bank", bank.index).text("name", bank.name).number("type", bank.type);
    line.number("location", bank.location).number("region", bank.hasRegion ? 1 : 0).number("size", bank.size);
    if (bank.defined != 0) {
        line.number("defined", bank.defined);
    }
    line.number("in-use", bank.bytesInUse).number("peak", bank.peakBytes);
    line.number("allocs", bank.allocCount).number("frees", bank.freeCount);
    line.number("used-nodes", bank.usedNodeCount).number("free-nodes", bank.freeNodeCount);
    line.number("fallbacks-made", bank.extNodeCount);
    if (bank.type == BANK_LINEAR) {
        line.number("cursor", bank.cursor);
    }
}

// Used blocks stand in the order of their allocation. So the lines of two snapshots differ only where a block came or
// went. Blocks of unknown order follow, and then free nodes and damaged bytes, all by offset.
static void writeBlocks(std::string* out, const Snapshot& snapshot, const Bank& bank)
{
    std::vector<const Block*> blocks;
    for (const Block& block : bank.blocks) {
        blocks.push_back(&block);
    }
    std::stable_sort(blocks.begin(), blocks.end(), [](const Block* left, const Block* right) {
        return left->state != right->state ? left->state < right->state : left->order < right->order;
    });
    for (const Block* block : blocks) {
        writeBlock(out, snapshot, bank.index, *block, sc_noNumber);
    }
    for (size_t index = 0; index < bank.fallbacks.size(); ++index) {
        writeBlock(out, snapshot, bank.index, bank.fallbacks[index], static_cast<uint32_t>(index + 1));
    }
}

std::string writeSnapshot(const Snapshot& snapshot)
{
    std::string out = std::string(sc_firstLine) + "\n";
    Line(&out, "game").text("name", snapshot.game).text("time", snapshot.time).text("cause", snapshot.cause);
    for (const std::string& sentence : snapshot.torn) {
        Line(&out, "torn").text("what", sentence);
    }
    for (const Bank& bank : snapshot.banks) {
        writeBank(&out, bank);
    }
    for (const Damage& damage : snapshot.damages) {
        Line(&out, "damage")
            .number("bank", damage.bank)
            .text("kind", nameOf(damage.kind))
            .known("offset", damage.offset)
            .known("number", damage.fallback)
            .text("what", damage.what)
            .text("block", damage.block)
            .text("before", damage.before)
            .text("after", damage.after);
    }
    for (const Bank& bank : snapshot.banks) {
        writeBlocks(&out, snapshot, bank);
    }
    return out + "end\n";
}

// ---- Reading

struct Fields {
    std::string word;
    std::map<std::string, std::string> values; // by key, without quotes and escapes

    // Each returns false when the value is missing or out of range.
    bool number(const char* key, int64_t least, int64_t most, int64_t* out) const
    {
        const auto value = values.find(key);
        if (value == values.end() || value->second.empty() || value->second.size() > 20) {
            return false;
        }
        char* end = nullptr;
        const long long number = strtoll(value->second.c_str(), &end, 10);
        *out = number;
        return *end == '\0' && number >= least && number <= most;
    }
    bool word32(const char* key, uint32_t* out) const
    {
        int64_t value = 0;
        if (!number(key, 0, UINT32_MAX, &value)) {
            return false;
        }
        *out = static_cast<uint32_t>(value);
        return true;
    }
    std::string text(const char* key) const
    {
        const auto value = values.find(key);
        return value == values.end() ? std::string() : value->second;
    }
    bool has(const char* key) const { return values.count(key) != 0; }
};

static int digitOf(char character)
{
    const char* digits = "0123456789abcdef";
    const char* digit = character ? strchr(digits, character) : nullptr;
    return digit ? static_cast<int>(digit - digits) : -1;
}

// Reads the text after an opening quote, and moves `at` to the byte after the closing quote.
static bool readQuoted(const std::string& line, size_t* at, std::string* out)
{
    size_t place = *at;
    while (place < line.size() && line[place] != '"') {
        if (line[place] != '\\') {
            *out += line[place++];
            continue;
        }
        if (place + 3 >= line.size() || line[place + 1] != 'x' || digitOf(line[place + 2]) < 0 ||
            digitOf(line[place + 3]) < 0) {
            return false;
        }
        *out += static_cast<char>(digitOf(line[place + 2]) * 16 + digitOf(line[place + 3]));
        place += 4;
    }
    *at = place + 1;
    return place < line.size();
}

static bool readFields(const std::string& line, Fields* fields)
{
    size_t at = std::min(line.find(' '), line.size());
    fields->word = line.substr(0, at);
    fields->values.clear();
    while (at < line.size()) {
        const size_t equals = line.find('=', at);
        if (line[at] != ' ' || equals == std::string::npos) {
            return false;
        }
        std::string& value = fields->values[line.substr(at + 1, equals - at - 1)];
        value.clear();
        at = equals + 1;
        if (at < line.size() && line[at] == '"') {
            at += 1;
            if (!readQuoted(line, &at, &value)) {
                return false;
            }
        } else {
            const size_t end = std::min(line.find(' ', at), line.size());
            value = line.substr(at, end - at);
            at = end;
        }
    }
    return true;
}

// Reads the lines of a file into a snapshot. Each read function returns null, or what is wrong with the line.
class TextReader {
public:
    explicit TextReader(Snapshot* snapshot) : m_snapshot(snapshot) {}

    const char* read(const Fields& fields)
    {
        if (fields.word == "game") {
            m_snapshot->game = fields.text("name");
            m_snapshot->time = fields.text("time");
            m_snapshot->cause = fields.text("cause");
        } else if (fields.word == "torn") {
            m_snapshot->torn.push_back(fields.text("what"));
        } else if (fields.word == "bank") {
            return _readBank(fields);
        } else if (fields.word == "damage") {
            return _readDamage(fields);
        }
        for (size_t state = 0; state < 4; ++state) {
            if (fields.word == sc_states[state]) {
                return _readBlock(fields, static_cast<BlockState>(state));
            }
        }
        return nullptr;
    }

    // Gives the blocks the order of their lines, and sorts them by offset.
    void finish()
    {
        for (Bank& bank : m_snapshot->banks) {
            std::stable_sort(bank.blocks.begin(), bank.blocks.end(),
                             [](const Block& left, const Block& right) { return left.offset < right.offset; });
        }
    }

private:
    const char* _readBank(const Fields& fields)
    {
        Bank bank;
        int64_t index = 0;
        uint32_t region = 0;
        const bool isWhole =
            fields.number("bank", -1, 31, &index) && fields.word32("type", &bank.type) &&
            fields.word32("location", &bank.location) && fields.word32("region", &region) &&
            fields.word32("size", &bank.size) && fields.word32("in-use", &bank.bytesInUse) &&
            fields.word32("peak", &bank.peakBytes) && fields.word32("allocs", &bank.allocCount) &&
            fields.word32("frees", &bank.freeCount) && fields.word32("used-nodes", &bank.usedNodeCount) &&
            fields.word32("free-nodes", &bank.freeNodeCount) && fields.word32("fallbacks-made", &bank.extNodeCount);
        if (!isWhole) {
            return "a bank needs bank, type, location, region, size and its counters";
        }
        if (m_snapshot->bankOf(static_cast<int>(index))) {
            return "this bank is there already";
        }
        bank.index = static_cast<int>(index);
        bank.name = fields.text("name");
        bank.hasRegion = region != 0;
        fields.word32("cursor", &bank.cursor);
        fields.word32("defined", &bank.defined);
        m_snapshot->banks.push_back(bank);
        return nullptr;
    }

    Bank* _bankOf(const Fields& fields)
    {
        int64_t index = 0;
        return fields.number("bank", -1, 31, &index) ? const_cast<Bank*>(m_snapshot->bankOf(static_cast<int>(index)))
                                                     : nullptr;
    }

    const char* _readDamage(const Fields& fields)
    {
        Damage damage;
        int64_t index = 0;
        if (!fields.number("bank", -1, 31, &index)) {
            return "damage needs the number of a bank";
        }
        damage.bank = static_cast<int>(index);
        for (size_t kind = 0; kind < sizeof(sc_kinds) / sizeof(sc_kinds[0]); ++kind) {
            damage.kind = fields.text("kind") == sc_kinds[kind] ? static_cast<DamageKind>(kind) : damage.kind;
        }
        fields.word32("offset", &damage.offset);
        fields.word32("number", &damage.fallback);
        damage.what = fields.text("what");
        damage.block = fields.text("block");
        damage.before = fields.text("before");
        damage.after = fields.text("after");
        m_snapshot->damages.push_back(damage);
        return nullptr;
    }

    const char* _readBlock(const Fields& fields, BlockState state)
    {
        Bank* bank = _bankOf(fields);
        Block block;
        block.state = state;
        if (!bank || !fields.word32("size", &block.size)) {
            return "a block needs the number of a bank that the file has described, and a size";
        }
        if (state == BLOCK_FALLBACK) {
            block.order = static_cast<uint32_t>(bank->fallbacks.size());
        } else if (!fields.word32("offset", &block.offset)) {
            return "a block of a region needs an offset";
        } else if (state == BLOCK_USED) {
            block.order = static_cast<uint32_t>(bank->blocks.size());
        }
        _readPlace(fields.text("place"), &block);
        fields.number("born", 0, INT64_MAX, &block.born);
        (state == BLOCK_FALLBACK ? bank->fallbacks : bank->blocks).push_back(block);
        return nullptr;
    }

    void _readPlace(const std::string& place, Block* block)
    {
        const size_t colon = place.rfind(':');
        if (colon != std::string::npos) {
            const std::string name = place.substr(0, colon);
            block->name = m_snapshot->addName(name == sc_unnamed ? "" : name);
            block->line = static_cast<uint32_t>(strtoul(place.c_str() + colon + 1, nullptr, 10));
        }
    }

    Snapshot* m_snapshot;
};

static bool fail(std::string* error, size_t number, const std::string& what)
{
    *error = "line " + std::to_string(number) + ": " + what;
    return false;
}

bool readSnapshot(const std::string& text, Snapshot* snapshot, std::string* error)
{
    *snapshot = Snapshot();
    TextReader reader(snapshot);
    Fields fields;
    size_t number = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        at = end + 1;
        number += 1;
        if (number == 1) {
            if (line != sc_firstLine) {
                return fail(error, 1, std::string("a snapshot begins with \"") + sc_firstLine + "\"");
            }
            continue;
        }
        if (line == "end") {
            reader.finish();
            return true;
        }
        if (!readFields(line, &fields)) {
            return fail(error, number, "not of the form WORD KEY=VALUE KEY=VALUE");
        }
        if (const char* wrong = reader.read(fields)) {
            return fail(error, number, wrong);
        }
    }
    return fail(error, number, "the line \"end\" is missing, so the file is not whole");
}

} // namespace watch
