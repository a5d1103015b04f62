// A process that writes preferences, for soak.py to hurt.
//
//     store_writer set KEY VALUE       0 when it is on the disk, 3 when the store says it isn't
//     store_writer count PREFIX N      sets PREFIX0 to PREFIX(N-1), each to its number; prints those on the disk
//     store_writer machine KEY VALUE   reads and sets the value of the machine, and a mark of RegInitSecureKey's kind
//
// What is to be hurt lies between two calls that the system is asked in vain. SOAK_WRITE=whole writes as it should,
// halves never writes more than half of what it is asked to, cut:N dies when N bytes have been written, and limit:N
// has the system refuse to let a file grow beyond N bytes.
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

static bool s_halves = false;
static long s_left = -1; // bytes to be written before the end; negative: there is none
static bool s_hurts = false;

extern "C" ssize_t write(int file, const void* bytes, size_t size)
{
    if (s_hurts && s_halves) {
        size = (size + 1) / 2;
    }
    const bool counts = s_hurts && s_left >= 0;
    if (counts) {
        size = std::min(size, static_cast<size_t>(s_left));
    }
    const ssize_t written = syscall(SYS_write, file, bytes, size);
    if (counts && written >= 0 && (s_left -= written) == 0) {
        kill(getpid(), SIGKILL);
    }
    return written;
}

static void chooseHarm(const std::string& how)
{
    const long number = how.find(':') == std::string::npos ? 0 : atol(how.c_str() + how.find(':') + 1);
    if (how == "halves") {
        s_halves = true;
    } else if (how.compare(0, 4, "cut:") == 0) {
        s_left = number;
    } else if (how.compare(0, 6, "limit:") == 0) {
        const rlimit limit = {static_cast<rlim_t>(number), static_cast<rlim_t>(number)};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
    }
}

static CFStringRef makeString(const std::string& text)
{
    return CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8);
}

static bool set(const std::string& key, const std::string& value)
{
    const CFStringRef name = makeString(key);
    const CFStringRef text = makeString(value);
    CFPreferencesSetAppValue(name, text, kCFPreferencesCurrentApplication);
    s_hurts = true;
    access("soak: begins", F_OK);
    const bool written =
        CFPreferencesSynchronize(kCFPreferencesCurrentApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    access("soak: ends", F_OK);
    s_hurts = false;
    CFRelease(text);
    CFRelease(name);
    return written;
}

static int count(const std::string& prefix, int most)
{
    for (int i = 0; i < most; ++i) {
        const std::string number = std::to_string(i);
        if (!set(prefix + number, number)) {
            return 3;
        }
        printf("%d\n", i);
        fflush(stdout);
    }
    return 0;
}

static bool setForMachine(CFStringRef name, CFStringRef text, CFStringRef application, CFStringRef host)
{
    const CFTypeRef before = CFPreferencesCopyValue(name, application, kCFPreferencesAnyUser, host);
    if (before) {
        CFRelease(before);
    }
    CFPreferencesSetValue(name, text, application, kCFPreferencesAnyUser, host);
    return CFPreferencesSynchronize(application, kCFPreferencesAnyUser, host);
}

static int machine(const std::string& key, const std::string& value)
{
    const CFStringRef name = makeString(key);
    const CFStringRef text = makeString(value);
    const bool isSet = setForMachine(name, text, kCFPreferencesCurrentApplication, kCFPreferencesAnyHost);
    const bool isMarked = setForMachine(name, text, kCFPreferencesAnyApplication, kCFPreferencesCurrentHost);
    const CFTypeRef seen = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    char shown[1024];
    if (seen && CFStringGetCString(static_cast<CFStringRef>(seen), shown, sizeof(shown), kCFStringEncodingUTF8)) {
        puts(shown);
    }
    if (seen) {
        CFRelease(seen);
    }
    CFRelease(text);
    CFRelease(name);
    return isSet && isMarked ? 0 : 3;
}

int main(int argc, char** argv)
{
    const std::string command = argc == 4 ? argv[1] : "";
    if (getenv("SOAK_WRITE")) {
        chooseHarm(getenv("SOAK_WRITE"));
    }
    if (command == "set") {
        return set(argv[2], argv[3]) ? 0 : 3;
    }
    if (command == "count") {
        return count(argv[2], atoi(argv[3]));
    }
    if (command == "machine") {
        return machine(argv[2], argv[3]);
    }
    fprintf(stderr, "usage: store_writer set KEY VALUE | count PREFIX N | machine KEY VALUE\n");
    return 2;
}
