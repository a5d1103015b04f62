// The functions that count and fail. Each has the name of a function of the system. When it does not fail, it calls the
// next function of that name.
#include "tests/prove/failing/calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <string.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <unwind.h>

static CallLog* s_log; // null: failures are not armed
static bool s_tracks;  // ArmFailures was called: freed blocks are removed from the table of live blocks
static FailingCall s_failing;
static e_CallKind s_failedKind;
static thread_local bool s_isInside __attribute__((tls_model("initial-exec"))); // this file's own calls do not count

// ---- Which calls count

// True if the code at this address is in one of the project's libraries.
static bool isLibrarys(const void* caller)
{
    static const char* const sc_libraries[] = {"/libcore.so", "/libfile.so", "/liblogger.so", "/libmacapi.so",
                                               "/libcore-appkit.so"};
    dl_find_object where; // dladdr would search the library's symbols, which takes too long for each call
    if (_dl_find_object(const_cast<void*>(caller), &where) != 0) {
        return false;
    }
    for (const char* library : sc_libraries) {
        if (strstr(where.dlfo_link_map->l_name, library)) {
            return true;
        }
    }
    return false;
}

// Calls that do not count, because the library that makes them ignores their failure: libgettextpo 0.21 does not notice
// that a write fails, and crashes if it gets no stream.
static bool isIgnored(const void* caller)
{
    dl_find_object where;
    return _dl_find_object(const_cast<void*>(caller), &where) == 0 &&
           strstr(where.dlfo_link_map->l_name, "/libgettextpo.so");
}

// Returns true if a call of this name needs space on the disk.
static bool isWrite(const char* name)
{
    static const char* const sc_writes[] = {"write",  "writev", "pwrite", "fsync",     "fwrite", "fprintf",
                                            "fflush", "fclose", "linkat", "ftruncate", "mkdir",  "mkdirat"};
    for (const char* write : sc_writes) {
        if (strcmp(name, write) == 0) {
            return true;
        }
    }
    return strncmp(name, "rename", 6) == 0;
}

static bool counts(const void* caller)
{
    return s_log && !s_isInside && (s_failing.callers == CALLERS_ALL || isLibrarys(caller));
}

// ---- Live blocks: a hash table of addresses. The entry of a freed block stays, with a size of 0.

struct LiveBlock {
    const void* block;
    const void* caller;
    size_t size; // 0: freed
};
static const size_t sc_places = 1 << 16;
static LiveBlock s_live[sc_places];
static unsigned int s_liveCount;

static LiveBlock* placeOf(const void* block)
{
    size_t place = (reinterpret_cast<uintptr_t>(block) >> 4) * 0x9e3779b1u % sc_places;
    while (s_live[place].block && s_live[place].block != block) {
        place = (place + 1) % sc_places;
    }
    return &s_live[place];
}

static void* noteBlock(void* block, size_t size, const void* caller)
{
    if (block && counts(caller)) {
        LiveBlock* place = placeOf(block);
        s_liveCount += place->size == 0;
        *place = {block, caller, size ? size : 1};
    }
    return block;
}

static void forgetBlock(const void* block)
{
    if (block) {
        LiveBlock* place = placeOf(block);
        s_liveCount -= place->size != 0;
        place->size = 0;
    }
}

unsigned int LiveBlocks()
{
    return s_liveCount;
}

void PrintLiveBlocks(unsigned int most)
{
    for (const LiveBlock& live : s_live) {
        if (live.size != 0 && most > 0) {
            Dl_info where = {};
            dladdr(live.caller, &where);
            fprintf(stderr, "  %zu bytes, allocated by %s of %s\n", live.size,
                    where.dli_sname ? where.dli_sname : "?", where.dli_fname ? where.dli_fname : "?");
            most -= 1;
        }
    }
}

// ---- Counting

void ArmFailures(CallLog* log, const FailingCall& failing)
{
    s_failing = failing;
    log->count = log->depth = 0;
    s_log = log;
    s_tracks = true;
}

void DisarmFailures()
{
    s_log = nullptr;
}

// The callback of _Unwind_Backtrace: adds a return address to the log.
static _Unwind_Reason_Code noteAddress(struct _Unwind_Context* context, void*)
{
    if (s_log->depth == CallLog::sc_deepest) {
        return _URC_END_OF_STACK;
    }
    s_log->stack[s_log->depth++] = reinterpret_cast<void*>(_Unwind_GetIP(context));
    return _URC_NO_REASON;
}

// Counts a call. Returns true, and sets errno, if the call has to fail.
static bool fails(const char* name, e_CallKind kind, const void* caller, bool interruptible = false)
{
    if (!counts(caller)) {
        return false;
    }
    const unsigned int number = ++s_log->count;
    if (number <= CallLog::sc_most) {
        s_log->calls[number - 1] = {name, caller, kind, interruptible};
    }
    if (number == s_failing.number) {
        s_failedKind = kind;
    }
    const bool isLater = s_failing.failure == FAIL_FROM_HERE && s_failing.number != 0 && number > s_failing.number &&
                         kind == s_failedKind;
    if (number != s_failing.number && !isLater) {
        return false;
    }
    if (s_log->depth == 0) {
        s_isInside = true;
        _Unwind_Backtrace(noteAddress, nullptr);
        s_isInside = false;
    }
    errno = s_failing.failure == FAIL_INTERRUPTED ? EINTR
            : kind == CALL_MEMORY                 ? ENOMEM
            : isWrite(name)                       ? ENOSPC
                                                  : EIO;
    return true;
}

// Returns the next function of this name.
template <class Function>
static Function* next(Function*, const char* name)
{
    const bool wasInside = s_isInside;
    s_isInside = true;
    void* found = dlsym(RTLD_NEXT, name);
    s_isInside = wasInside;
    return reinterpret_cast<Function*>(found);
}

#define NEXT(function)                                                                                               \
    ([] {                                                                                                            \
        static decltype(&function) s_next;                                                                           \
        return s_next ? s_next : s_next = next(&function, #function);                                                \
    }())
#define CALLER __builtin_return_address(0)

// ---- Memory

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);
extern "C" void __libc_free(void* block);

extern "C" void* malloc(size_t size)
{
    return fails("malloc", CALL_MEMORY, CALLER) ? nullptr : noteBlock(__libc_malloc(size), size, CALLER);
}

extern "C" void* calloc(size_t count, size_t size)
{
    return fails("calloc", CALL_MEMORY, CALLER) ? nullptr
                                                : noteBlock(__libc_calloc(count, size), count * size, CALLER);
}

extern "C" void* realloc(void* block, size_t size)
{
    if (fails("realloc", CALL_MEMORY, CALLER)) {
        return nullptr;
    }
    void* moved = __libc_realloc(block, size);
    if (moved && s_tracks) {
        forgetBlock(block);
    }
    return noteBlock(moved, size, CALLER);
}

extern "C" void free(void* block)
{
    const int error = errno;
    if (s_tracks) {
        forgetBlock(block);
    }
    __libc_free(block);
    errno = error;
}

// ---- Files and folders. FAILING(type, failed, function, parameters, arguments) defines one function.

#define FAILING(type, failed, function, kind, interruptible, parameters, arguments)                                  \
    extern "C" type function parameters                                                                              \
    {                                                                                                                \
        return fails(#function, kind, CALLER, interruptible) ? failed : NEXT(function) arguments;                    \
    }
#define FILE_CALL(function, parameters, arguments) FAILING(int, -1, function, CALL_FILE, false, parameters, arguments)
#define NO_THROW noexcept(true)

FAILING(ssize_t, -1, read, CALL_FILE, true, (int file, void* bytes, size_t size), (file, bytes, size))
FAILING(ssize_t, -1, pread, CALL_FILE, true, (int file, void* bytes, size_t size, off_t at), (file, bytes, size, at))
FAILING(ssize_t, -1, pwrite, CALL_FILE, true, (int file, const void* bytes, size_t size, off_t at),
        (file, bytes, size, at))
FAILING(int, -1, fsync, CALL_FILE, true, (int file), (file))
FAILING(ssize_t, -1, readlink, CALL_FILE, false, (const char* path, char* out, size_t size)NO_THROW,
        (path, out, size))
FAILING(ssize_t, -1, readlinkat, CALL_FILE, false, (int folder, const char* path, char* out, size_t size)NO_THROW,
        (folder, path, out, size))
FAILING(off_t, -1, lseek, CALL_FILE, false, (int file, off_t offset, int from)NO_THROW, (file, offset, from))
FAILING(char*, nullptr, realpath, CALL_FILE, false, (const char* path, char* out)NO_THROW, (path, out))
FAILING(char*, nullptr, getcwd, CALL_FILE, false, (char* out, size_t size)NO_THROW, (out, size))
FAILING(DIR*, nullptr, opendir, CALL_FILE, false, (const char* path), (path))
FAILING(DIR*, nullptr, fdopendir, CALL_FILE, false, (int file), (file))
FILE_CALL(access, (const char* path, int mode)NO_THROW, (path, mode))
FILE_CALL(stat, (const char* path, struct stat* status)NO_THROW, (path, status))
FILE_CALL(lstat, (const char* path, struct stat* status)NO_THROW, (path, status))
FILE_CALL(fstat, (int file, struct stat* status)NO_THROW, (file, status))
FILE_CALL(fstatat, (int folder, const char* path, struct stat* status, int flags)NO_THROW,
          (folder, path, status, flags))
FILE_CALL(mkdir, (const char* path, mode_t mode)NO_THROW, (path, mode))
FILE_CALL(mkdirat, (int folder, const char* path, mode_t mode)NO_THROW, (folder, path, mode))
FILE_CALL(rename, (const char* from, const char* to)NO_THROW, (from, to))
FILE_CALL(renameat, (int folder, const char* from, int other, const char* to)NO_THROW, (folder, from, other, to))
FILE_CALL(linkat, (int folder, const char* from, int other, const char* to, int flags)NO_THROW,
          (folder, from, other, to, flags))
FILE_CALL(unlink, (const char* path)NO_THROW, (path))
FILE_CALL(unlinkat, (int folder, const char* path, int flags)NO_THROW, (folder, path, flags))
FILE_CALL(fchmod, (int file, mode_t mode)NO_THROW, (file, mode))
FILE_CALL(fchown, (int file, uid_t user, gid_t group)NO_THROW, (file, user, group))
FILE_CALL(ftruncate, (int file, off_t size)NO_THROW, (file, size))
FILE_CALL(scandir,
          (const char* path, struct dirent*** out, int (*select)(const struct dirent*),
           int (*compare)(const struct dirent**, const struct dirent**)),
          (path, out, select, compare))
FAILING(int, -1, flock, CALL_LOCK, true, (int file, int operation)NO_THROW, (file, operation))

extern "C" FILE* fdopen(int file, const char* mode) noexcept(true)
{
    if (isIgnored(CALLER)) {
        const bool wasInside = s_isInside;
        s_isInside = true;
        FILE* stream = NEXT(fdopen)(file, mode);
        s_isInside = wasInside;
        return stream;
    }
    return fails("fdopen", CALL_FILE, CALLER) ? nullptr : NEXT(fdopen)(file, mode);
}

extern "C" FILE* fopen(const char* path, const char* mode)
{
    return fails("fopen", CALL_FILE, CALLER) ? nullptr : NEXT(fopen)(path, mode);
}

extern "C" FILE* fopen64(const char* path, const char* mode)
{
    return fails("fopen", CALL_FILE, CALLER) ? nullptr : NEXT(fopen)(path, mode);
}

static bool isConsole(int file)
{
    return file == STDOUT_FILENO || file == STDERR_FILENO;
}

// Writes to the terminal streams (isConsole) do not fail, because the messages of the run go there.
extern "C" ssize_t write(int file, const void* bytes, size_t size)
{
    return !isConsole(file) && fails("write", CALL_FILE, CALLER, true) ? -1 : NEXT(write)(file, bytes, size);
}

extern "C" ssize_t writev(int file, const struct iovec* parts, int count)
{
    return !isConsole(file) && fails("writev", CALL_FILE, CALLER, true) ? -1 : NEXT(writev)(file, parts, count);
}

// Closes the file even if the call then fails, as the system does.
extern "C" int close(int file)
{
    const int result = NEXT(close)(file);
    return fails("close", CALL_FILE, CALLER) ? -1 : result;
}

static mode_t modeOf(int flags, va_list rest)
{
    return flags & (O_CREAT | __O_TMPFILE) ? va_arg(rest, mode_t) : 0;
}

#define OPENING(function, parameters, arguments)                                                                     \
    extern "C" int function parameters                                                                               \
    {                                                                                                                \
        va_list rest;                                                                                                \
        va_start(rest, flags);                                                                                       \
        const mode_t mode = modeOf(flags, rest);                                                                     \
        va_end(rest);                                                                                                \
        return fails(#function, CALL_FILE, CALLER, true) ? -1 : NEXT(function) arguments;                            \
    }

OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))

extern "C" int fcntl(int file, int command, ...)
{
    va_list rest;
    va_start(rest, command);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    const bool locks = command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK || command == F_OFD_SETLKW;
    return fails("fcntl", locks ? CALL_LOCK : CALL_FILE, CALLER, locks) ? -1 : NEXT(fcntl)(file, command, argument);
}

// ---- Streams

// Sets the error indicator of a stream that failed.
static void markFailed(FILE* stream)
{
    stream->_flags |= 0x20; // _IO_ERR_SEEN of the GNU C library: ferror returns true
}

static bool streamFails(const char* name, FILE* stream, const void* caller)
{
    if (stream == stderr || stream == stdout || isIgnored(caller) || !fails(name, CALL_FILE, caller)) {
        return false;
    }
    markFailed(stream);
    return true;
}

extern "C" size_t fread(void* bytes, size_t size, size_t count, FILE* stream)
{
    return streamFails("fread", stream, CALLER) ? 0 : NEXT(fread)(bytes, size, count, stream);
}

extern "C" char* fgets(char* out, int size, FILE* stream)
{
    return streamFails("fgets", stream, CALLER) ? nullptr : NEXT(fgets)(out, size, stream);
}

extern "C" size_t fwrite(const void* bytes, size_t size, size_t count, FILE* stream)
{
    return streamFails("fwrite", stream, CALLER) ? 0 : NEXT(fwrite)(bytes, size, count, stream);
}

extern "C" int fprintf(FILE* stream, const char* format, ...)
{
    if (streamFails("fprintf", stream, CALLER)) {
        return -1;
    }
    va_list rest;
    va_start(rest, format);
    const int result = vfprintf(stream, format, rest);
    va_end(rest);
    return result;
}

extern "C" int fflush(FILE* stream)
{
    return stream && streamFails("fflush", stream, CALLER) ? EOF : NEXT(fflush)(stream);
}

// The bytes that were not written yet are lost, as on a full disk. The stream is closed in every case.
extern "C" int fclose(FILE* stream)
{
    const bool isFailing = streamFails("fclose", stream, CALLER);
    if (isFailing) {
        __fpurge(stream);
    }
    const int result = NEXT(fclose)(stream);
    return isFailing ? EOF : result;
}

// ---- The connection to the window server, and X11

#define SOCKET_CALL(function, parameters, arguments)                                                                 \
    FAILING(int, -1, function, CALL_WINDOW, false, parameters, arguments)

SOCKET_CALL(socket, (int domain, int type, int protocol)NO_THROW, (domain, type, protocol))
SOCKET_CALL(connect, (int file, const struct sockaddr* address, socklen_t size), (file, address, size))
FAILING(ssize_t, -1, send, CALL_WINDOW, false, (int file, const void* bytes, size_t size, int flags),
        (file, bytes, size, flags))
FAILING(ssize_t, -1, recv, CALL_WINDOW, false, (int file, void* bytes, size_t size, int flags),
        (file, bytes, size, flags))
SOCKET_CALL(poll, (struct pollfd * files, nfds_t count, int timeout), (files, count, timeout))

// The parameters of a function of X11 are at most ten words, so the headers of X11 are not needed. A word that the caller
// did not pass is read and has no meaning.
typedef long XCall(long, long, long, long, long, long, long, long, long, long);

#define X_CALL(function, failed)                                                                                     \
    extern "C" long function(long a, long b, long c, long d, long e, long f, long g, long h, long i, long j)         \
    {                                                                                                                \
        static XCall* s_next;                                                                                        \
        s_next = s_next ? s_next : next<XCall>(nullptr, #function);                                                  \
        if (fails(#function, CALL_WINDOW, CALLER)) {                                                                 \
            return failed;                                                                                           \
        }                                                                                                            \
        const bool wasInside = s_isInside; /* X11's own calls do not count: without memory, XOpenDisplay crashes */  \
        s_isInside = true;                                                                                           \
        const long result = s_next(a, b, c, d, e, f, g, h, i, j);                                                    \
        s_isInside = wasInside;                                                                                      \
        return result;                                                                                               \
    }

X_CALL(XOpenDisplay, 0)
X_CALL(XEventsQueued, 0)
X_CALL(XGetGeometry, 0)
X_CALL(XListPixmapFormats, 0)
X_CALL(XQueryPointer, 0)
X_CALL(XSendEvent, 0)
X_CALL(XFixesQueryExtension, 0)
X_CALL(XFixesQueryVersion, 0)
X_CALL(XRRQueryExtension, 0)
X_CALL(XRRQueryVersion, 0)
X_CALL(XRRGetScreenResourcesCurrent, 0)
X_CALL(XRRGetOutputInfo, 0)
X_CALL(XRRGetOutputPrimary, 0)
X_CALL(XRRGetCrtcInfo, 0)
X_CALL(XkbAllocKeyboard, 0)
X_CALL(XkbGetNames, 1)
