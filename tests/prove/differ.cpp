// Gives the library's results for requests, so that another program can compare them with results of its own.
//
//     prove_differ escape|unescape|random|strings <requests >replies
//
// A request and a reply are each a length of 4 bytes, the highest byte first, and that many bytes.
//
// | Operation | Request | Reply |
// |---|---|---|
// | escape | a text | the escaped text |
// | unescape | a text | "1" if all its escapes are valid, else "0"; then the decoded text |
// | random | a seed of 4 bytes, and a number of 4 bytes | this number of random words, 4 bytes each |
// | strings | a strings file | for each entry the key, a NUL, the text, a NUL |
#include "core/memorymgr.h"
#include "core/platform.h"
#include "core/str.h"
#include "tests/support/stringtable_access.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

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

static std::string escape(const std::string& request)
{
    char* text = nullptr;
    if (!str::escape(&text, request.c_str())) {
        abort();
    }
    const std::string result = text;
    g_MemoryPtr->free(0, text);
    return result;
}

static std::string unescape(const std::string& request)
{
    std::string text = request + '\0';
    const bool valid = str::unescape(&text[0]);
    return (valid ? "1" : "0") + std::string(text.c_str());
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
    std::string result;
    HashTableIter_t<_StringTableNode_s> it;
    HashTable<_StringTableNode_s>& entries = *m_tableOf(table);
    const _StringTableNode_s* entry = entries.getFirstElement(it);
    for (; entry; entry = entries.getNextElement(it)) {
        result += std::string(it.key) + '\0' + entry->string + '\0';
    }
    return result;
}

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
    } sc_operations[] = {
        {"escape", escape}, {"unescape", unescape}, {"random", randomWords}, {"strings", stringsFile}};
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
    fprintf(stderr, "usage: %s escape|unescape|random|strings <requests >replies\n", argv[0]);
    return 2;
}
