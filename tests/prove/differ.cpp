// Gives the library's results for requests, so that another program can compare them with results of its own.
//
//     prove_differ escape|unescape|random|strings|parser <requests >replies
//
// A request and a reply are each a length of 4 bytes, the highest byte first, and that many bytes.
//
// | Operation | Request | Reply |
// |---|---|---|
// | escape | texts, a NUL after each | the escaped texts, a NUL after each |
// | unescape | texts, a NUL after each | for each "1" if all its escapes are valid, else "0"; the decoded text; a NUL |
// | random | a seed of 4 bytes, and a number of 4 bytes | this number of random words, 4 bytes each |
// | strings | a strings file | for each entry the key, a NUL, the text, a NUL; the entries in the order of their bytes |
// | parser | the number of calls, a byte for each call, the text | what each call returns, then the bytes of the text |
//
// The six lower bits of a call's byte are the index of its row in tests/support/parser_readers.h. The two upper bits are
// the index of the size that ParamEqualsString gets: 0, 1, 4 or 64. Every named reader gets the last token, or "name"
// before the first token, and asks for the parameter "name". The reply for a call ends with a line feed. Its parts:
//
// - "1" if the call returns true or a text, else "0"
// - the text and a NUL, if the call returns a text
// - all outputs, a space after each. Before each call, a number is 77, a bool is true, and a text has 63 asterisks.
//   A float is its bits in hexadecimal, or "nan". A text is all its bytes up to the first NUL, and for ParamEqualsString
//   all 64 bytes.
// - the messages, each with its level
#include "core/memorymgr.h"
#include "core/platform.h"
#include "core/str.h"
#include "tests/support/parser_readers.h"
#include "tests/support/stringtable_access.h"
#include "tests/support/watched_log.h"

#include <algorithm>
#include <cmath>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

class DifferMemory : public MemoryMgr {
public:
    DifferMemory()
    {
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 64 << 20);
        initialize();
    }

protected:
    void onOutOfMemory(int) override { abort(); }
};

static std::string word(uint32_t number)
{
    const char bytes[] = {static_cast<char>(number >> 24), static_cast<char>(number >> 16),
                          static_cast<char>(number >> 8), static_cast<char>(number)};
    return std::string(bytes, sizeof(bytes));
}

static uint32_t wordAt(const std::string& bytes, size_t place)
{
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) {
        number = number << 8 | static_cast<unsigned char>(bytes.at(place + i));
    }
    return number;
}

// Calls the function for each text of a request, and returns what it returns, a NUL after each.
template <class Function>
static std::string forEachText(const std::string& request, const Function& function)
{
    std::string result;
    for (size_t place = 0; place < request.size(); place += strlen(&request[place]) + 1) {
        result += function(&request[place]) + '\0';
    }
    return result;
}

static std::string escape(const std::string& request)
{
    return forEachText(request, [](const char* text) {
        char* escaped = nullptr;
        if (!str::escape(&escaped, text)) {
            abort();
        }
        const std::string result = escaped;
        g_MemoryPtr->free(0, escaped);
        return result;
    });
}

static std::string unescape(const std::string& request)
{
    return forEachText(request, [](const char* escaped) {
        std::string text = std::string(escaped) + '\0';
        const bool valid = str::unescape(&text[0]);
        return (valid ? "1" : "0") + std::string(text.c_str());
    });
}

static std::string randomWords(const std::string& request)
{
    mt_srand(wordAt(request, 0));
    std::string result;
    for (uint32_t left = wordAt(request, 4); left > 0; --left) {
        result += word(mt_rand());
    }
    return result;
}

static std::string stringsFile(const std::string& request)
{
    FILE* file = fopen("strings.utf8", "wb");
    if (!file || fwrite(request.data(), 1, request.size(), file) != request.size() || fclose(file) != 0) {
        abort();
    }
    StringTable table;
    table.setLanguage("any");
    std::vector<std::string> sorted;
    HashTableIter_t<_StringTableNode_s> it;
    HashTable<_StringTableNode_s>& entries = *m_tableOf(table);
    const _StringTableNode_s* entry = entries.getFirstElement(it);
    for (; entry; entry = entries.getNextElement(it)) {
        sorted.push_back(std::string(it.key) + '\0' + entry->string + '\0');
    }
    std::sort(sorted.begin(), sorted.end());
    std::string result;
    for (const std::string& bytes : sorted) {
        result += bytes;
    }
    return result;
}

// ---- The parser

template <typename Number>
static std::string described(Number value)
{
    return std::to_string(value);
}

static std::string described(float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof(bits));
    char digits[9];
    snprintf(digits, sizeof(digits), "%08x", bits);
    return std::isnan(value) ? "nan" : digits;
}

// Makes a call whose outputs have this type, and describes the outputs.
template <typename Value>
static std::string callWith(const ParserReader& reader, ReaderCall* call, Value before, bool* result)
{
    Value values[] = {before, before, before};
    call->values = values;
    *result = reader.read(*call);
    std::string text;
    for (int i = 0; i < reader.count; ++i) {
        text += described(values[i]) + " ";
    }
    return text;
}

// As callWith, for an output that is a text.
static std::string callWithText(const ParserReader& reader, ReaderCall* call, size_t room, bool* result)
{
    std::string text(std::max<size_t>(room, 64), '\0');
    text.replace(0, 63, 63, '*');
    call->values = &text[0];
    *result = reader.read(*call);
    return (reader.group == READER_NAMED ? text.substr(0, 64) : std::string(text.c_str())) + " ";
}

static std::string callReader(const ParserReader& reader, ReaderCall* call, size_t room, bool* result)
{
    switch (reader.value) {
    case VALUE_INT8:
        return callWith<signed char>(reader, call, 77, result);
    case VALUE_INT16:
        return callWith<short>(reader, call, 77, result);
    case VALUE_INT32:
        return callWith<int>(reader, call, 77, result);
    case VALUE_UINT32:
        return callWith<unsigned int>(reader, call, 77, result);
    case VALUE_INT64:
        return callWith<long long>(reader, call, 77, result);
    case VALUE_FLOAT:
        return callWith<float>(reader, call, 77, result);
    case VALUE_BOOLEAN:
        return callWith<bool>(reader, call, true, result);
    case VALUE_TEXT:
    case VALUE_UTF8:
        return callWithText(reader, call, room, result);
    case VALUE_NONE:
        break;
    }
    *result = reader.read(*call);
    return std::string();
}

static std::string parse(const std::string& request)
{
    static const unsigned int sc_sizes[] = {0, 1, 4, 64};
    const size_t count = static_cast<unsigned char>(request.at(0));
    std::string text = request.substr(1 + count);
    const size_t size = text.size();
    text += '\0';
    Parser parser(&text[0]);
    const char* token = "name";
    std::string reply;
    for (size_t i = 1; i <= count; ++i) {
        const unsigned char byte = static_cast<unsigned char>(request.at(i));
        const ParserReader& reader = sc_parserReaders[byte % 64];
        ReaderCall call = {parser, reader.argument, token, "name", nullptr, sc_sizes[byte / 64], nullptr};
        bool result = false;
        const std::string outputs = callReader(reader, &call, size + 1, &result);
        reply += result ? '1' : '0';
        if (call.text) {
            reply += call.text + std::string(1, '\0');
            token = reader.group == READER_TOKEN ? call.text : token;
        }
        reply += outputs + takeMessages() + '\n';
    }
    return reply + text.substr(0, size);
}

// ---- Requests and replies

static bool readRequest(std::string* request)
{
    std::string length(4, '\0');
    if (fread(&length[0], 1, 4, stdin) != 4) {
        return false;
    }
    request->resize(wordAt(length, 0));
    return request->empty() || fread(&(*request)[0], 1, request->size(), stdin) == request->size();
}

int main(int argc, char** argv)
{
    static const struct {
        const char* name;
        std::string (*reply)(const std::string& request);
    } sc_operations[] = {{"escape", escape},
                         {"unescape", unescape},
                         {"random", randomWords},
                         {"strings", stringsFile},
                         {"parser", parse}};
    DifferMemory memory;
    for (const auto& operation : sc_operations) {
        if (argc == 2 && strcmp(argv[1], operation.name) == 0) {
            std::string request;
            while (readRequest(&request)) {
                const std::string reply = operation.reply(request);
                const std::string length = word(static_cast<uint32_t>(reply.size()));
                fwrite(length.data(), 1, 4, stdout);
                fwrite(reply.data(), 1, reply.size(), stdout);
            }
            return fflush(stdout) == 0 ? 0 : 1;
        }
    }
    fprintf(stderr, "usage: %s escape|unescape|random|strings|parser <requests >replies\n", argv[0]);
    return 2;
}
