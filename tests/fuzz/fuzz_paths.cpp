// Any text as a path: the paths that reach the system, links of other users, the paths of a list of files, and URLs.
//
// An input is a path, and the targets of the links of the kinds L and M, with NULs between them. The system of this
// program has no disk: the first letter of a name says what the name is.
//
//     d  a folder            s  a folder in which every user may make files
//     f  a file              h  a file with a second name
//     l  our link to L       m  our link to M         o  another user's link
//     .  a folder            all other names: nothing
#include "core/memorymgr.h"
#include "core/platform.h"
#include "file/file.h"
#include "logger/logger.h"

#include "tests/fuzz/observe.h"
#include "tests/fuzz/plain_memory.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <memory>
#include <stdarg.h>
#include <sys/stat.h>
#include <unistd.h>

static bool s_isOurs; // the calls below come from the library; otherwise they come from this program's other parts
static std::string s_targets[2];
static std::string s_opened; // the path of the last call of open
static std::string s_listed; // the path of the last call of scandir
static int s_opens;

static void require(bool condition)
{
    if (!condition) {
        abort();
    }
}

// Messages name the path of another user's link.
__attribute__((format(printf, 2, 3))) void owLogger::log(int level, const char* format, ...)
{
    char text[2048];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    require(level == 3 && length > 0 && length < static_cast<int>(sizeof(text)) && text[length - 1] == '\f');
    observeText(text);
}

// ---- The system of this program

// The letter of a path's last name; '.' for the root and for the working folder.
static char kindOf(const std::string& path)
{
    const size_t end = path.find_last_not_of('/');
    const size_t begin = end == std::string::npos ? end : path.find_last_of('/', end) + 1;
    return begin == std::string::npos ? '.' : path[begin];
}

// Returns the status of a path in *status. Returns 0; -1 if there is nothing.
static int statusOf(const char* path, struct stat* status)
{
    const char kind = kindOf(path);
    *status = {};
    if (!strchr("dsfhlmo.", kind)) {
        errno = ENOENT;
        return -1;
    }
    status->st_mode = strchr("lmo", kind) ? S_IFLNK | 0777 : strchr("fh", kind) ? S_IFREG | 0644 : S_IFDIR | 0755;
    status->st_mode |= kind == 's' ? S_IWOTH : 0;
    status->st_nlink = kind == 'h' ? 2 : 1;
    status->st_uid = kind == 'o' ? geteuid() + 1 : geteuid();
    status->st_gid = getegid();
    return 0;
}

extern "C" int lstat(const char* path, struct stat* status) noexcept
{
    return s_isOurs ? statusOf(path, status) : fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

extern "C" int stat(const char* path, struct stat* status) noexcept
{
    return s_isOurs ? statusOf(path, status) : fstatat(AT_FDCWD, path, status, 0);
}

extern "C" int access(const char* path, int mode) noexcept
{
    struct stat status;
    return s_isOurs ? statusOf(path, &status) : faccessat(AT_FDCWD, path, mode, 0);
}

extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept
{
    if (!s_isOurs) {
        return readlinkat(AT_FDCWD, path, target, size);
    }
    const std::string& text = s_targets[kindOf(path) == 'm'];
    memcpy(target, text.data(), std::min(size, text.size()));
    return static_cast<ssize_t>(std::min(size, text.size()));
}

// The library's files can't be opened.
extern "C" int open(const char* path, int flags, ...)
{
    if (s_isOurs) {
        s_opened = path;
        ++s_opens;
        errno = ENOENT;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openat(AT_FDCWD, path, flags, mode);
}

static const char* const sc_names[] = {"a",
                                       "\\b:", "a name of 60 bytes, with which long paths get too long ........."};

// Each folder has the same files.
extern "C" int scandir(const char* path, dirent*** entries, int (*)(const dirent*),
                       int (*)(const dirent**, const dirent**))
{
    s_listed = path;
    *entries = static_cast<dirent**>(malloc(sizeof(sc_names)));
    for (size_t i = 0; i < std::size(sc_names); ++i) {
        dirent entry = {};
        strcpy(entry.d_name, sc_names[i]);
        (*entries)[i] = static_cast<dirent*>(memcpy(malloc(sizeof(entry)), &entry, sizeof(entry)));
    }
    return std::size(sc_names);
}

// ---- The rules once more

static std::string converted(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.size() > 1 && ((path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z') && path[1] == ':') {
        path.replace(0, 2, path.substr(2, 1) == "/" ? "/." : "./");
    }
    return path;
}

static bool isInSharedFolder(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash != std::string::npos && kindOf(path.substr(0, slash)) == 's';
}

// True when a part of the path is another user's link, or following our links comes to no end.
static bool hasOthersLink(std::string path)
{
    int links = 0;
    for (size_t begin = path.find_first_not_of('/'); begin != std::string::npos;) {
        const size_t end = std::min(path.find('/', begin), path.size());
        const char kind = kindOf(path.substr(0, end));
        if (!strchr("dsfhlmo.", kind)) {
            return false;
        }
        if (kind == 'o' || (kind == 'h' && isInSharedFolder(path.substr(0, end)))) {
            return true;
        }
        begin = path.find_first_not_of('/', end);
        if (kind == 'l' || kind == 'm') {
            const std::string& target = s_targets[kind == 'm'];
            const size_t name = path.rfind('/', end - 1) + 1;
            const std::string folder = target.substr(0, 1) == "/" ? "" : path.substr(0, name);
            path = folder + target + path.substr(end);
            begin = path.find_first_not_of('/');
            if (++links > 40 || target.size() >= 1023 || path.size() >= 1024) {
                return true;
            }
        }
    }
    return false;
}

// ---- The calls of the library

static void convert(const std::string& path)
{
    const size_t size = path.size() + 1;
    const std::unique_ptr<char[]> in(new char[size]);
    const std::unique_ptr<char[]> out(new char[size]);
    memcpy(in.get(), path.c_str(), size);
    ConvertDOSToMacPath(in.get(), out.get());
    ConvertDOSToMacPath(in.get(), in.get());
    require(out.get() == converted(path) && strcmp(in.get(), out.get()) == 0);
    observeText(out.get());
}

// Parts of the path may stay as they are, but all of it names the same place.
static void requireOpened(const std::string& path)
{
    require(s_opened.size() == path.size() && converted(s_opened) == converted(path));
    observeText(s_opened);
}

static void openFile(const std::string& path, const char* mode)
{
    s_opened.clear();
    s_opens = 0;
    require(!File::open(path.c_str(), mode));
    observeNumber(s_opens);
    if (s_opens > 0) {
        requireOpened(path);
    }
}

// A game with a bank-size file: it is opened unless other users could have it lead elsewhere.
class Game : public PlainMemory {
public:
    explicit Game(const std::string& path)
    {
        strcpy(bankSizePath, path.c_str());
        defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "a", 32);
        s_opens = 0;
        initialize();
        const bool hasLink = hasOthersLink(path) || (converted(path) != path && hasOthersLink(converted(path)));
        require(!hasLink || s_opens == 0);
        observeNumber(hasLink);
        observeNumber(s_opens);
    }
};

static void list(const std::string& path)
{
    char(*paths)[260];
    const int count = Platform::ScanDir(path.c_str(), &paths, nullptr, nullptr);
    require(count == (path.size() < 1024 ? static_cast<int>(std::size(sc_names)) : 0));
    for (int i = 0; i < count; ++i) {
        const std::string folder = path.empty() || path.back() != '/' ? path + "/" : path;
        require((folder + sc_names[i]).substr(0, 259) == paths[i] && s_listed == converted(path));
    }
    Platform::ScanDirFree(paths);
}

static void readURL(const std::string& text)
{
    const CFStringRef string = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingASCII);
    const CFURLRef url = string ? CFURLCreateWithString(nullptr, string, nullptr) : nullptr;
    if (url) {
        const std::unique_ptr<UInt8[]> path(new UInt8[100]);
        const bool fits = CFURLGetFileSystemRepresentation(url, false, path.get(), 100);
        observeNumber(fits);
        observeText(fits ? reinterpret_cast<const char*>(path.get()) : nullptr);
        CFRelease(url);
    }
    if (string) {
        CFRelease(string);
    }
}

// Takes the text up to the next NUL.
static std::string takeWord(const char** at, const char* end)
{
    const char* const begin = *at;
    const char* const stop = std::find(begin, end, '\0');
    *at = stop < end ? stop + 1 : end;
    return std::string(begin, stop);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    makePlainMemory();
    const char* at = reinterpret_cast<const char*>(data);
    const char* const end = at + size;
    const std::string path = takeWord(&at, end);
    s_targets[0] = takeWord(&at, end);
    s_targets[1] = takeWord(&at, end);
    s_isOurs = true;
    convert(path);
    openFile(path, "r");
    openFile(path, "w");
    list(path);
    readURL(path);
    if (path.size() < 1024) {
        MemoryMgr* const manager = g_MemoryPtr;
        const Game game(path);
        g_MemoryPtr = manager;
    }
    s_isOurs = false;
    return 0;
}
