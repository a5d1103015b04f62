// What keeping a setting costs: a write that is on the disk when it returns, with SQLite's beside it and as the limit
// a file written, flushed and renamed by hand; and a read, beside SQLite's, a lookup in a hash table, and getenv.
//
// Each side has as many settings as the argument says, and writes to the disk of the working folder, where it makes a
// folder of its own for the time.
//
//     preferences_bench [--benchmark_filter=Write]
#include "core/platform.h"
#include "core/preferences.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <unordered_map>

// A folder that is the Library of user and machine and holds all else, for one benchmark.
class Folder {
public:
    Folder()
    {
        if (!mkdtemp(m_name)) {
            perror("a folder for the settings");
            exit(1);
        }
        m_path = std::filesystem::absolute(m_name).string();
        setenv("MACAPI_USER_LIBRARY", m_path.c_str(), 1);
        setenv("MACAPI_LIBRARY", m_path.c_str(), 1);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }

    std::string file(const char* name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }

private:
    char m_name[32] = "preferences-bench-XXXXXX";
    std::string m_path;
};

static std::string keyOf(int number)
{
    return "Video/setting " + std::to_string(number);
}

// Settings 0 to count - 1, each its own number, as texts or as numbers.
static void fill(int count, bool asTexts)
{
    for (int i = 0; i < count; ++i) {
        const CFStringRef key = CreateKey("Video", keyOf(i).c_str() + sizeof("Video"));
        const std::string text = std::to_string(i);
        const CFTypeRef value =
            asTexts ? static_cast<CFTypeRef>(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingASCII))
                    : CFNumberCreate(nullptr, kCFNumberSInt32Type, &i);
        CFPreferencesSetAppValue(key, value, kCFPreferencesCurrentApplication);
        CFRelease(value);
        CFRelease(key);
    }
    CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
    usleep(50000); // a file that has just changed is read again each time
}

static void Write_RegSetInt32(benchmark::State& state)
{
    const Folder folder;
    fill(static_cast<int>(state.range(0)), false);
    int value = 0;
    for (auto _ : state) {
        Platform::RegSetInt32("", keyOf(0).c_str(), ++value);
    }
    if (Platform::RegGetInt32("", keyOf(0).c_str(), -1) != value) {
        state.SkipWithError("the last write is not there");
    }
}

static void Write_Preferences(benchmark::State& state)
{
    const Folder folder;
    fill(static_cast<int>(state.range(0)), true);
    Preferences preferences;
    int value = 0;
    for (auto _ : state) {
        preferences.write("Video", "setting 0", ++value);
    }
}

// The file by hand, as large as the store's, and nothing else: no lock, no look at what others have written, no copy.
static void Write_FsyncAndRename(benchmark::State& state)
{
    const Folder folder;
    fill(static_cast<int>(state.range(0)), false);
    const std::string contents(std::filesystem::file_size(folder.file("Preferences/preferences_bench.plist")), 'x');
    const std::string fresh = folder.file("fresh");
    const std::string file = folder.file("file");
    for (auto _ : state) {
        const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (write(descriptor, contents.data(), contents.size()) != static_cast<ssize_t>(contents.size()) ||
            fsync(descriptor) != 0 || close(descriptor) != 0 || rename(fresh.c_str(), file.c_str()) != 0) {
            state.SkipWithError("the file can't be written");
            break;
        }
        const int parent = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
        fsync(parent);
        close(parent);
    }
}

// A table of settings.
class Database {
public:
    Database(const Folder& folder, const char* journal, int count)
    {
        sqlite3_open(folder.file("settings.db").c_str(), &m_database);
        run("PRAGMA journal_mode=" + std::string(journal));
        run("PRAGMA synchronous=FULL");
        run("CREATE TABLE settings (key TEXT PRIMARY KEY, value INTEGER)");
        run("BEGIN");
        for (int i = 0; i < count; ++i) {
            run("INSERT INTO settings VALUES ('" + keyOf(i) + "', " + std::to_string(i) + ")");
        }
        run("COMMIT");
    }
    ~Database() { sqlite3_close(m_database); }
    Database(const Database&) = delete;

    sqlite3_stmt* prepare(const char* text)
    {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(m_database, text, -1, &statement, nullptr);
        return statement;
    }

private:
    void run(const std::string& text) { sqlite3_exec(m_database, text.c_str(), nullptr, nullptr, nullptr); }

    sqlite3* m_database = nullptr;
};

static void writeWithSqlite(benchmark::State& state, const char* journal)
{
    const Folder folder;
    Database database(folder, journal, static_cast<int>(state.range(0)));
    sqlite3_stmt* statement = database.prepare("UPDATE settings SET value = ?1 WHERE key = ?2");
    const std::string key = keyOf(0);
    int value = 0;
    for (auto _ : state) {
        sqlite3_bind_int(statement, 1, ++value);
        sqlite3_bind_text(statement, 2, key.c_str(), -1, SQLITE_STATIC);
        if (sqlite3_step(statement) != SQLITE_DONE) {
            state.SkipWithError("the database can't be written");
            break;
        }
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
}

static void Write_Sqlite(benchmark::State& state)
{
    writeWithSqlite(state, "DELETE");
}
static void Write_SqliteWithLog(benchmark::State& state)
{
    writeWithSqlite(state, "WAL");
}

static void Read_RegGetInt32(benchmark::State& state)
{
    const Folder folder;
    const int count = static_cast<int>(state.range(0));
    fill(count, false);
    const std::string key = keyOf(count - 1);
    for (auto _ : state) {
        if (Platform::RegGetInt32("", key.c_str(), -1) != count - 1) {
            state.SkipWithError("the setting is not there");
            break;
        }
    }
}

static void Read_Preferences(benchmark::State& state)
{
    const Folder folder;
    const int count = static_cast<int>(state.range(0));
    fill(count, true);
    Preferences preferences;
    const std::string key = "setting " + std::to_string(count - 1);
    for (auto _ : state) {
        if (preferences.read("Video", key.c_str(), -1) != count - 1) {
            state.SkipWithError("the setting is not there");
            break;
        }
    }
}

static void Read_PreferencesFromIniFile(benchmark::State& state)
{
    const Folder folder;
    const int count = static_cast<int>(state.range(0));
    std::ofstream file(folder.file("game.ini"));
    file << "[Video]\n";
    for (int i = 0; i < count; ++i) {
        file << "setting " << i << "=" << i << "\n";
    }
    file.close();
    Preferences preferences;
    preferences.init(folder.file("game.ini").c_str());
    const std::string key = "setting " + std::to_string(count - 1);
    for (auto _ : state) {
        if (preferences.read("Video", key.c_str(), -1) != count - 1) {
            state.SkipWithError("the setting is not there");
            break;
        }
    }
}

static void Read_Sqlite(benchmark::State& state)
{
    const Folder folder;
    const int count = static_cast<int>(state.range(0));
    Database database(folder, "DELETE", count);
    sqlite3_stmt* statement = database.prepare("SELECT value FROM settings WHERE key = ?1");
    const std::string key = keyOf(count - 1);
    for (auto _ : state) {
        sqlite3_bind_text(statement, 1, key.c_str(), -1, SQLITE_STATIC);
        if (sqlite3_step(statement) != SQLITE_ROW || sqlite3_column_int(statement, 0) != count - 1) {
            state.SkipWithError("the setting is not there");
            break;
        }
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
}

// Nothing that another process writes is ever seen here.
static void Read_HashTable(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    std::unordered_map<std::string, int> settings;
    for (int i = 0; i < count; ++i) {
        settings[keyOf(i)] = i;
    }
    const std::string key = keyOf(count - 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(settings.find(key.c_str())->second);
    }
}

static void Read_Getenv(benchmark::State& state)
{
    for (int i = 0; i < state.range(0); ++i) {
        setenv(keyOf(i).c_str(), std::to_string(i).c_str(), 1);
    }
    const std::string key = keyOf(static_cast<int>(state.range(0)) - 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(atoi(getenv(key.c_str())));
    }
    for (int i = 0; i < state.range(0); ++i) {
        unsetenv(keyOf(i).c_str());
    }
}

BENCHMARK(Write_RegSetInt32)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Write_Preferences)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Write_FsyncAndRename)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Write_Sqlite)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Write_SqliteWithLog)->Arg(20)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Read_RegGetInt32)->Arg(20)->Arg(1000);
BENCHMARK(Read_Preferences)->Arg(20)->Arg(1000);
BENCHMARK(Read_PreferencesFromIniFile)->Arg(20)->Arg(1000);
BENCHMARK(Read_Sqlite)->Arg(20)->Arg(1000);
BENCHMARK(Read_HashTable)->Arg(20)->Arg(1000);
BENCHMARK(Read_Getenv)->Arg(20)->Arg(1000);

BENCHMARK_MAIN();
