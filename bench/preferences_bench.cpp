// What the preferences store costs: a read, and a write that survives a loss of power beside the least such a write
// can be, a file written, synchronised and renamed.
#include <CoreFoundation/CoreFoundation.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <filesystem>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

static const CFStringRef sc_app = CFSTR("com.example.game");

// A store with some keys in it, in a folder of the working folder: what a disk takes depends on the disk.
class Store {
public:
    explicit Store(int keys)
    {
        mkdtemp(m_folder);
        setenv("MACAPI_USER_LIBRARY", m_folder, 1);
        setenv("MACAPI_LIBRARY", m_folder, 1);
        for (int key = 0; key < keys; key++) {
            set("key " + std::to_string(key), key);
        }
        CFPreferencesAppSynchronize(sc_app);
        usleep(50000); // a file that has just changed is read again
    }
    ~Store() { std::filesystem::remove_all(m_folder); }

    const char* folder() const { return m_folder; }

    static void set(const std::string& name, int value)
    {
        CFStringRef key = CFStringCreateWithCString(kCFAllocatorDefault, name.c_str(), kCFStringEncodingMacRoman);
        CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value);
        CFPreferencesSetAppValue(key, number, sc_app);
        CFRelease(number);
        CFRelease(key);
    }

private:
    char m_folder[32] = "preferences-bench-XXXXXX";
};

static void read(benchmark::State& state)
{
    Store store(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CFPreferencesGetAppIntegerValue(CFSTR("key 7"), sc_app, nullptr));
    }
}
BENCHMARK(read)->Arg(20)->Arg(1000);

static void readWhatIsNotThere(benchmark::State& state)
{
    Store store(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CFPreferencesGetAppIntegerValue(CFSTR("nothing"), sc_app, nullptr));
    }
}
BENCHMARK(readWhatIsNotThere)->Arg(20);

static void write(benchmark::State& state)
{
    Store store(static_cast<int>(state.range(0)));
    int value = 0;
    for (auto _ : state) {
        Store::set("key 7", ++value);
        CFPreferencesSynchronize(sc_app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    }
}
BENCHMARK(write)->Arg(20)->Arg(1000)->UseRealTime();

static void bareWrite(benchmark::State& state)
{
    Store store(1);
    const std::string path = store.folder() + std::string("/file");
    const std::string contents(state.range(0) * 60, 'a'); // about what an entry takes
    const int folder = open(store.folder(), O_RDONLY | O_DIRECTORY);
    for (auto _ : state) {
        const int file = open((path + ".new").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        benchmark::DoNotOptimize(write(file, contents.data(), contents.size()));
        fsync(file);
        close(file);
        rename((path + ".new").c_str(), path.c_str());
        fsync(folder);
    }
    close(folder);
}
BENCHMARK(bareWrite)->Arg(20)->Arg(1000)->UseRealTime();

BENCHMARK_MAIN();
