// Writes what the library writes and reads into files of the working folder, so that two builds can be compared:
//
// | File | Content |
// |---|---|
// | snapshot | the banks after a random session, as core-memory writes them |
// | sizes | the bank-size file, "data/memory.dat", after that session |
// | strings.utf8 | the strings file that a string table exports |
// | ini | texts and numbers that Preferences reads from an INI file |
// | values | values that Parser reads from lines, floating-point numbers bit by bit |
//
// The session is the same in every build: its random numbers are those of mt_rand.
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/preferences.h"
#include "core/stringtable.h"
#include "watch/ownmemory.h"
#include "watch/walk.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

class OutputsMemory : public MemoryMgr {
public:
    OutputsMemory()
    {
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 18);
        defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 3000);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "small", 900);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 77777);
        initialize();
    }

    std::string sizesPath() const { return bankSizePath; }

protected:
    void onOutOfMemory(int) override { abort(); }
};

static void write(const char* path, const std::string& content)
{
    FILE* file = fopen(path, "wb");
    if (!file || fwrite(content.data(), 1, content.size(), file) != content.size() || fclose(file) != 0) {
        perror(path);
        exit(1);
    }
}

static void playSession()
{
    static const char* const sc_names[] = {"game/mesh", "game/map", "game/sound"};
    std::vector<std::pair<int, void*>> blocks;
    mt_srand(5489);
    for (unsigned int i = 0; i < 6000; ++i) {
        const int bank = static_cast<int>(mt_rand() % 4);
        const unsigned int size = 1 + mt_rand() % (bank == 3 ? 3000 : 200);
        if (blocks.size() < 60 || mt_rand() % 2 == 0) {
            void* block = g_MemoryPtr->alloc(bank, size, sc_names[i % 3], i);
            if (bank != 1) {
                blocks.emplace_back(bank, block);
            }
        } else {
            std::swap(blocks[mt_rand() % blocks.size()], blocks.back());
            g_MemoryPtr->free(blocks.back().first, blocks.back().second);
            blocks.pop_back();
        }
        if (i % 100 == 99) {
            g_MemoryPtr->free(1, nullptr);
        }
    }
}

static void writeOwnSnapshot(const OutputsMemory& manager)
{
    const watch::OwnMemory memory;
    watch::Snapshot snapshot;
    std::string error;
    const watch::LinkTables tables = watch::findLinkTables(memory, watch::ownWritableMemory());
    if (!watch::takeSnapshot(memory, tables, watch::addressOf(&manager), &snapshot, &error)) {
        fprintf(stderr, "%s\n", error.c_str());
        exit(1);
    }
    write("snapshot", watch::writeSnapshot(snapshot));
}

static void exportStrings()
{
    StringTable table;
    for (int i = 0; i < 300; ++i) {
        const std::string text = "Text \"" + std::to_string(i * i) + "\"\t\xc3\xa4\xff\n";
        table.translate(text.c_str());
    }
}

static void readIni()
{
    static const char* const sc_values[] = {"640", "-7", "99999999999", "0x10", " 5", "", "3.7", "text with blanks "};
    std::string ini = "; a comment\n";
    for (int section = 0; section < 3; ++section) {
        ini += "[Section" + std::to_string(section) + "]\n";
        for (int key = 0; key < 8; ++key) {
            ini += "key" + std::to_string(key) + "=" + sc_values[(key + section) % 8] + "\n";
        }
    }
    write("prove.ini", ini);
    Preferences preferences;
    preferences.init("prove.ini");
    std::string found;
    for (int number = 0; number < 36; ++number) {
        const std::string section = "SECTION" + std::to_string(number / 9);
        const std::string key = "Key" + std::to_string(number % 9);
        found += preferences.read(section.c_str(), key.c_str(), "none");
        found += "|" + std::to_string(preferences.read(section.c_str(), key.c_str(), 1)) + "\n";
    }
    write("ini", found);
}

static void readValues()
{
    std::string text;
    mt_srand(1);
    for (int i = 0; i < 500; ++i) {
        const unsigned int whole = mt_rand() % 100000;
        const unsigned int digits = mt_rand();
        text += "value = " + std::to_string(whole) + "." + std::to_string(digits) + "e" +
                std::to_string(i % 40 - 20) + "\n";
    }
    std::vector<char> buffer(text.c_str(), text.c_str() + text.size() + 1);
    Parser parser(buffer.data());
    std::string found;
    while (parser.ParseLine()) {
        float number = 0;
        const bool isRead = parser.ParamEqualsFloat32(parser.GetToken(" "), "value", &number);
        uint32_t bits = 0;
        memcpy(&bits, &number, sizeof(bits));
        char line[32];
        snprintf(line, sizeof(line), "%d %08x\n", isRead, static_cast<unsigned int>(bits));
        found += line;
    }
    write("values", found);
}

int main()
{
    std::string path;
    {
        OutputsMemory memory; // the library's own records have pointers, so they are not among the sizes
        playSession();
        writeOwnSnapshot(memory);
        path = memory.sizesPath();
    }
    if (rename(path.c_str(), "sizes") != 0) {
        perror("sizes");
        return 1;
    }
    OutputsMemory memory;
    exportStrings();
    readIni();
    readValues();
    return 0;
}
