// The time of a durable write of a setting, and of a read.
//
// The program writes to a temporary folder inside the working folder, so the working folder chooses the disk. A write
// waits for the disk, so writes are measured in elapsed time. The limit is a file that is written, flushed to the
// disk and renamed: without a lock, without reading the values of other programs, and without a format for settings.
// core's reads see values that another program has just written; reads from the hash table and with getenv do not.
//
//     preferences_bench [PART OF A SUBJECT]
#include "core/platform.h"
#include "core/preferences.h"

#include "peers.h"
#include "scratch.h"

#ifdef PEER_SQLITE
#include <sqlite3.h>
#endif
#ifdef PEER_INIH
#include <ini.h>
#endif
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <unordered_map>
#include <vector>

static const int sc_reads = 1000; // per work; each reads the next setting

// Setting number n has the value n.
static std::string nameOf(int number)
{
    return "setting " + std::to_string(number);
}

static std::string keyOf(int number)
{
    return "Video/" + nameOf(number);
}

// Writes settings 0 to count - 1 to the store: as numbers for the Reg calls, as texts for Preferences.
static void fill(int count, bool asTexts)
{
    for (int i = 0; i < count; ++i) {
        const CFStringRef key = CreateKey("Video", nameOf(i).c_str());
        const std::string text = std::to_string(i);
        const CFTypeRef value =
            asTexts ? static_cast<CFTypeRef>(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingASCII))
                    : CFNumberCreate(nullptr, kCFNumberSInt32Type, &i);
        CFPreferencesSetAppValue(key, value, kCFPreferencesCurrentApplication);
        CFRelease(value);
        CFRelease(key);
    }
    CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
    usleep(50000); // macapi reads a file again at each read while its last change is this recent
}

#ifdef PEER_SQLITE
// The settings in a table.
class Database {
public:
    Database(const char* journal, int count)
    {
        sqlite3_open((std::string(journal) + ".db").c_str(), &m_database);
        run("PRAGMA journal_mode=" + std::string(journal));
        run("PRAGMA synchronous=FULL");
        run("CREATE TABLE settings (key TEXT PRIMARY KEY, value INTEGER)");
        run("BEGIN");
        for (int i = 0; i < count; ++i) {
            run("INSERT INTO settings VALUES ('" + keyOf(i) + "', " + std::to_string(i) + ")");
        }
        run("COMMIT");
        sqlite3_prepare_v2(m_database, "UPDATE settings SET value = ?2 WHERE key = ?1", -1, &m_update, nullptr);
        sqlite3_prepare_v2(m_database, "SELECT value FROM settings WHERE key = ?1", -1, &m_select, nullptr);
    }
    ~Database()
    {
        sqlite3_finalize(m_update);
        sqlite3_finalize(m_select);
        sqlite3_close(m_database);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool write(const std::string& key, int value)
    {
        sqlite3_bind_text(m_update, 1, key.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_int(m_update, 2, value);
        const bool done = sqlite3_step(m_update) == SQLITE_DONE;
        sqlite3_reset(m_update);
        return done;
    }

    int read(const std::string& key)
    {
        sqlite3_bind_text(m_select, 1, key.c_str(), -1, SQLITE_STATIC);
        const int value = sqlite3_step(m_select) == SQLITE_ROW ? sqlite3_column_int(m_select, 0) : -1;
        sqlite3_reset(m_select);
        return value;
    }

private:
    void run(const std::string& text) { sqlite3_exec(m_database, text.c_str(), nullptr, nullptr, nullptr); }

    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_update = nullptr;
    sqlite3_stmt* m_select = nullptr;
};

static Side sqliteWriter(const char* name, const char* journal, int count)
{
    const auto database = std::make_shared<Database>(journal, count);
    return {name, [database, value = 0]() mutable { return database->write(keyOf(0), ++value); }};
}
#endif

// ---- Writes: each side returns true when the write has succeeded

static bool replaceFile(const std::string& contents)
{
    const int file = open("fresh", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const bool written = write(file, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()) &&
                         fsync(file) == 0 && close(file) == 0 && rename("fresh", "file") == 0;
    const int folder = open(".", O_RDONLY | O_DIRECTORY);
    const bool kept = fsync(folder) == 0;
    close(folder);
    return written && kept;
}

// write and read use core, for setting 0.
static void compareWrites(Bench& bench, const char* subject, int count, bool asTexts,
                          const std::function<void(int value)>& write, const std::function<int()>& read)
{
    if (!bench.wants(subject)) {
        return;
    }
    const ScratchFolder folder(".");
    fill(count, asTexts);
    const std::string contents(std::filesystem::file_size("Preferences/preferences_bench.plist"), 'x');
    int value = 0;
    std::vector<Side> sides = {{"core", [&] {
                                    write(++value);
                                    return true;
                                }}};
#ifdef PEER_SQLITE
    sides.push_back(sqliteWriter("SQLite, rollback journal", "DELETE", count));
    sides.push_back(sqliteWriter("SQLite, write-ahead log", "WAL", count));
#endif
    sides.push_back({"write, fsync, rename alone", [&] { return replaceFile(contents); }});
    bench.compare(subject, "write", 1, sides, CLOCK_MONOTONIC);
    if (read() != value) {
        fprintf(stderr, "%s: the last value written was %d, but the store has %d\n", subject, value, read());
        exit(1);
    }
}

static void benchWrites(Bench& bench)
{
    const std::string key = keyOf(0);
    const auto writeNumber = [&](int value) { Platform::RegSetInt32("", key.c_str(), value); };
    const auto readNumber = [&] { return Platform::RegGetInt32("", key.c_str(), -1); };
    compareWrites(bench, "RegSetInt32, one of 20 settings", 20, false, writeNumber, readNumber);
    compareWrites(bench, "RegSetInt32, one of 1000 settings", 1000, false, writeNumber, readNumber);
    Preferences preferences;
    compareWrites(
        bench, "Preferences::write, one of 20 settings", 20, true,
        [&](int value) { preferences.write("Video", nameOf(0).c_str(), value); },
        [&] { return preferences.read("Video", nameOf(0).c_str(), -1); });
}

// ---- Reads: each side returns the sum of the values that it has read

template <typename Name, typename Read>
static Side reader(const char* side, int count, Name nameOfSetting, Read read)
{
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        names.push_back(nameOfSetting(i));
    }
    return {side, [names, read] {
                unsigned long long sum = 0;
                for (int i = 0; i < sc_reads; ++i) {
                    sum += static_cast<unsigned long long>(read(names[static_cast<size_t>(i) % names.size()]));
                }
                return sum;
            }};
}

static void addStores(std::vector<Side>& sides, int count)
{
#ifdef PEER_SQLITE
    const auto database = std::make_shared<Database>("DELETE", count);
    sides.push_back(
        reader("SQLite", count, keyOf, [database](const std::string& key) { return database->read(key); }));
#endif
    std::unordered_map<std::string, int> map;
    for (int i = 0; i < count; ++i) {
        map[keyOf(i)] = i;
        setenv(keyOf(i).c_str(), std::to_string(i).c_str(), 1);
    }
    sides.push_back(
        reader("getenv, atoi", count, keyOf, [](const std::string& key) { return atoi(getenv(key.c_str())); }));
    sides.push_back(
        reader("std::unordered_map", count, keyOf, [map](const std::string& key) { return map.find(key)->second; }));
}

#ifdef PEER_INIH
struct Wanted {
    const char* name;
    int value;
};

static int readWithInih(const std::string& name)
{
    Wanted wanted = {name.c_str(), -1};
    ini_parse(
        "game.ini",
        [](void* user, const char* section, const char* entry, const char* value) {
            Wanted* sought = static_cast<Wanted*>(user);
            if (strcmp(section, "Video") == 0 && strcmp(entry, sought->name) == 0) {
                sought->value = atoi(value);
            }
            return 1;
        },
        &wanted);
    return wanted.value;
}
#endif

static void benchReads(Bench& bench, int count)
{
    {
        const ScratchFolder folder(".");
        fill(count, false);
        std::vector<Side> sides = {reader(
            "core", count, keyOf, [](const std::string& key) { return Platform::RegGetInt32("", key.c_str(), -1); })};
        addStores(sides, count);
        bench.compare("RegGetInt32, 20 settings", "read", sc_reads, sides);
    }
    const ScratchFolder folder(".");
    fill(count, true);
    Preferences preferences;
    const auto read = [&](const std::string& name) { return preferences.read("Video", name.c_str(), -1); };
    std::vector<Side> sides = {reader("core", count, nameOf, read)};
    addStores(sides, count);
    bench.compare("Preferences::read, 20 settings", "read", sc_reads, sides);
}

static void benchIniFile(Bench& bench, int count)
{
    const ScratchFolder folder(".");
    std::ofstream file("game.ini");
    file << "[Video]\n";
    for (int i = 0; i < count; ++i) {
        file << nameOf(i) << "=" << i << "\n";
    }
    file.close();
    Preferences preferences;
    preferences.init("game.ini");
    std::vector<Side> sides = {reader(
        "core", count, nameOf, [&](const std::string& name) { return preferences.read("Video", name.c_str(), -1); })};
#ifdef PEER_INIH
    sides.push_back(reader("inih, atoi", count, nameOf, readWithInih));
#endif
    bench.compare("Preferences::read, INI file of 20 settings", "read", sc_reads, sides);
}

int main(int argc, char** argv)
{
    const ScratchFolder folder(".");
    const ScratchMemory memory;
    Bench bench(argc, argv);
    benchWrites(bench);
    benchReads(bench, 20);
    benchIniFile(bench, 20);
    return bench.result();
}
