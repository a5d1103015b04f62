// The functions that count and fail. Each has the name of a function of the system. When it does not fail, it calls the
// next function of that name.
#include "tests/prove/failing/calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <glob.h>
#include <link.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>
#include <unwind.h>

static CallLog* s_log; // null: failures are not armed
static bool s_tracks;  // ArmFailures was called: freed blocks are removed from the table of live blocks
static FailingCall s_failing;
static e_CallKind s_failedKind;
static thread_local bool s_isInside __attribute__((tls_model("initial-exec"))); // this file's own calls do not count

// The address in the code that has called the running function of X11; null: no function of X11 runs. A file that X11
// opens counts as a file of this caller.
static thread_local const void* s_callerOfX __attribute__((tls_model("initial-exec")));

// ---- Which calls count

// Returns the path of the library that has the code at this address; "" if no library has it.
static const char* libraryOf(const void* address)
{
    dl_find_object where; // dladdr would search the library's symbols, which takes too long for each call
    return _dl_find_object(const_cast<void*>(address), &where) == 0 ? where.dlfo_link_map->l_name : "";
}

bool IsLibrarys(const void* address)
{
    static const char* const sc_libraries[] = {"/libcore.so", "/libfile.so", "/liblogger.so", "/libmacapi.so",
                                               "/libcore-appkit.so"};
    const char* path = libraryOf(address);
    for (const char* library : sc_libraries) {
        if (strstr(path, library)) {
            return true;
        }
    }
    return false;
}

// The callback of _Unwind_Backtrace: stops at the first address outside of the C++ library and of this program.
static _Unwind_Reason_Code skipCppLibrary(struct _Unwind_Context* context, void* found)
{
    const void* address = reinterpret_cast<void*>(_Unwind_GetIP(context));
    const char* path = libraryOf(address);
    if (path[0] == '\0' || strstr(path, "/libstdc++.so") || strstr(path, "/libgcc_s.so")) {
        return _URC_NO_REASON;
    }
    *static_cast<const void**>(found) = address;
    return _URC_END_OF_STACK;
}

// The C++ library allocates for its callers: returns the address in the caller's code.
static const void* behindCppLibrary(const void* caller)
{
    if (strstr(libraryOf(caller), "/libstdc++.so")) {
        s_isInside = true;
        _Unwind_Backtrace(skipCppLibrary, &caller);
        s_isInside = false;
    }
    return caller;
}

// Calls that do not count, because the library that makes them ignores their failure: libgettextpo 0.21 does not notice
// that a write fails, and crashes if it gets no stream.
static bool isIgnored(const void* caller)
{
    return strstr(libraryOf(caller), "/libgettextpo.so") != nullptr;
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

// Returns true for the program, the project's libraries, and the libraries of C, C++ and PO files. Others do not count:
// libdw 0.188 crashes when realloc fails, and loads libraries that write messages of their own.
static bool isOwnOrBelow(const void* caller)
{
    static const char* const sc_below[] = {"/libc.so", "/libstdc++.so", "/ld-linux-", "/libgettextpo.so",
                                           "/libcorewatch.so"};
    const char* path = libraryOf(caller);
    if (path[0] == '\0' || IsLibrarys(caller)) {
        return true;
    }
    for (const char* library : sc_below) {
        if (strstr(path, library)) {
            return true;
        }
    }
    return false;
}

static bool counts(const void* caller)
{
    if (!s_log || s_isInside) {
        return false;
    }
    if (s_failing.callers == CALLERS_ALL) {
        return isOwnOrBelow(caller);
    }
    return (s_failing.callers == CALLERS_LIBRARIES) == IsLibrarys(behindCppLibrary(caller));
}

// ---- Live blocks: a hash table of addresses. The entry of a freed block stays, with a size of 0.

struct LiveBlock {
    const void* block;
    const void* caller;
    size_t size;  // 0: freed
    bool isKnown; // for LostBlocks: the address was found in a variable or in a known block
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
    if (block && s_failing.callers != CALLERS_APPKIT && counts(caller)) {
        LiveBlock* place = placeOf(block);
        s_liveCount += place->size == 0;
        *place = {block, caller, size ? size : 1, false};
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

// Marks each live block whose address is one of the words of these bytes. Marks the blocks that a marked block refers to.
static void markKnown(const void* start, size_t size)
{
    const void* const* words = static_cast<const void* const*>(start);
    for (size_t word = 0; word < size / sizeof(void*); ++word) {
        LiveBlock* live = words[word] ? placeOf(words[word]) : nullptr;
        if (live && live->size != 0 && !live->isKnown) {
            live->isKnown = true;
            markKnown(live->block, live->size);
        }
    }
}

// The callback of dl_iterate_phdr: looks through the variables of one library.
static int markVariables(dl_phdr_info* library, size_t, void*)
{
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = library->dlpi_phdr[i];
        const void* start = reinterpret_cast<const void*>(library->dlpi_addr + segment.p_vaddr);
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) && IsLibrarys(start)) {
            const size_t before = -segment.p_vaddr % sizeof(void*); // bytes before the first whole word
            markKnown(static_cast<const char*>(start) + before, segment.p_memsz - before);
        }
    }
    return 0;
}

unsigned int LostBlocks()
{
    for (LiveBlock& live : s_live) {
        live.isKnown = false;
    }
    dl_iterate_phdr(markVariables, nullptr);
    unsigned int count = 0;
    for (const LiveBlock& live : s_live) {
        count += live.size != 0 && !live.isKnown;
    }
    return count;
}

// ---- Files that other libraries opened. The system gives the descriptor of a closed file to a later file, so two files
// are the same only if their inodes are equal, too.

static const int sc_mostFiles = 1024;
static struct stat s_foreign[sc_mostFiles]; // by descriptor: the last file that another library opened with it

// Returns false if the file is not open.
static bool statusOf(int file, struct stat* status)
{
    const bool wasInside = s_isInside;
    s_isInside = true;
    const bool isOpen = file >= 0 && file < sc_mostFiles && fstat(file, status) == 0;
    s_isInside = wasInside;
    return isOpen;
}

// Notes the file if the caller is in another library. Returns the file.
static int noteFile(int file, const void* caller)
{
    const void* opener = s_callerOfX ? s_callerOfX : caller;
    struct stat status;
    if (s_log && s_failing.callers == CALLERS_LIBRARIES && !IsLibrarys(behindCppLibrary(opener)) &&
        statusOf(file, &status)) {
        s_foreign[file] = status;
    }
    return file;
}

bool IsForeignFile(int file)
{
    struct stat status;
    return statusOf(file, &status) && status.st_ino == s_foreign[file].st_ino &&
           status.st_dev == s_foreign[file].st_dev;
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

void LogStack()
{
    if (s_log) {
        s_isInside = true;
        s_log->depth = 0;
        _Unwind_Backtrace(noteAddress, nullptr);
        s_isInside = false;
    }
}

// Counts a call. Returns true, and sets errno, if the call has to fail.
static bool fails(const char* name, e_CallKind kind, const void* caller, bool interruptible = false)
{
    if (!counts(caller) || (s_failing.callers == CALLERS_APPKIT && kind != CALL_MEMORY)) {
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
        LogStack();
    }
    errno = s_failing.failure == FAIL_INTERRUPTED ? EINTR
            : kind == CALL_MEMORY                 ? ENOMEM
            : isWrite(name)                       ? ENOSPC
                                                  : EIO;
    return true;
}

bool CallFails(const char* name)
{
    return fails(name, CALL_MEMORY, __builtin_return_address(0));
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
FAILING(dirent*, nullptr, readdir, CALL_FILE, false, (DIR * folder), (folder))
FAILING(ssize_t, -1, getxattr, CALL_FILE, false, (const char* path, const char* name, void* out, size_t size)NO_THROW,
        (path, name, out, size))
FILE_CALL(faccessat, (int folder, const char* path, int mode, int flags)NO_THROW, (folder, path, mode, flags))
FILE_CALL(fallocate, (int file, int mode, off_t at, off_t size), (file, mode, at, size))
FILE_CALL(fchownat, (int folder, const char* path, uid_t user, gid_t group, int flags)NO_THROW,
          (folder, path, user, group, flags))
FILE_CALL(glob, (const char* pattern, int flags, int (*onError)(const char*, int), glob_t* out)NO_THROW,
          (pattern, flags, onError, out))
FILE_CALL(mkstemp, (char* name), (name))
FAILING(int, -1, flock, CALL_LOCK, true, (int file, int operation)NO_THROW, (file, operation))

// ---- Memory from the system

FAILING(int, -1, memfd_create, CALL_MEMORY, false, (const char* name, unsigned int flags)NO_THROW, (name, flags))
FAILING(void*, MAP_FAILED, mmap, CALL_MEMORY, false,
        (void* address, size_t size, int rights, int flags, int file, off_t at)NO_THROW,
        (address, size, rights, flags, file, at))

// ---- Other processes

#define PROCESS_CALL(function, interruptible, parameters, arguments)                                                 \
    FAILING(int, -1, function, CALL_PROCESS, interruptible, parameters, arguments)

PROCESS_CALL(fork, false, () NO_THROW, ())

extern "C" int pipe(int* ends) noexcept(true)
{
    const int result = fails("pipe", CALL_PROCESS, CALLER) ? -1 : NEXT(pipe)(ends);
    if (result == 0) {
        noteFile(ends[0], CALLER);
        noteFile(ends[1], CALLER);
    }
    return result;
}

PROCESS_CALL(pipe2, false, (int* ends, int flags)NO_THROW, (ends, flags))
PROCESS_CALL(dup2, true, (int file, int other)NO_THROW, (file, other))
PROCESS_CALL(execvp, false, (const char* program, char* const* words)NO_THROW, (program, words))
PROCESS_CALL(waitpid, true, (pid_t process, int* status, int flags), (process, status, flags))
PROCESS_CALL(getentropy, false, (void* out, size_t size), (out, size))
PROCESS_CALL(uname, false, (struct utsname * out) NO_THROW, (out))
FAILING(int, EIO, getpwuid_r, CALL_PROCESS, false,
        (uid_t user, struct passwd* out, char* texts, size_t size, struct passwd** found),
        (user, out, texts, size, found))
FAILING(ssize_t, -1, process_vm_readv, CALL_PROCESS, false,
        (pid_t process, const struct iovec* own, unsigned long count, const struct iovec* other,
         unsigned long otherCount, unsigned long flags)NO_THROW,
        (process, own, count, other, otherCount, flags))

// The parameters are at most six words. A word that the caller did not pass is read and has no meaning.
extern "C" long syscall(long number, ...) noexcept(true)
{
    long words[6];
    va_list rest;
    va_start(rest, number);
    for (long& word : words) {
        word = va_arg(rest, long);
    }
    va_end(rest);
    return fails("syscall", CALL_PROCESS, CALLER)
               ? -1
               : NEXT(syscall)(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

// ---- Locks of threads. The locks of the system's libraries do not count: X11 and others crash if one fails.

static bool lockFails(const char* name, const void* caller)
{
    return (IsLibrarys(caller) || libraryOf(caller)[0] == '\0') && fails(name, CALL_LOCK, caller);
}

// An ordinary mutex has no reason to fail. A recursive mutex fails when a thread has locked it too often.
static bool isRecursive(const pthread_mutex_t* mutex)
{
    return mutex->__data.__kind == PTHREAD_MUTEX_RECURSIVE;
}

#define THREAD_CALL(function, error, canFail, parameters, arguments)                                                 \
    extern "C" int function parameters noexcept(true)                                                                \
    {                                                                                                                \
        return (canFail) && lockFails(#function, CALLER) ? error : NEXT(function) arguments;                         \
    }

THREAD_CALL(pthread_mutexattr_init, ENOMEM, true, (pthread_mutexattr_t * attribute), (attribute))
THREAD_CALL(pthread_mutexattr_settype, EINVAL, true, (pthread_mutexattr_t * attribute, int type), (attribute, type))
THREAD_CALL(pthread_mutex_init, ENOMEM, true, (pthread_mutex_t * mutex, const pthread_mutexattr_t* attribute),
            (mutex, attribute))
THREAD_CALL(pthread_mutex_lock, EAGAIN, isRecursive(mutex), (pthread_mutex_t * mutex), (mutex))
THREAD_CALL(pthread_mutex_trylock, EBUSY, true, (pthread_mutex_t * mutex), (mutex))

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
        return fails(#function, CALL_FILE, CALLER, true) ? -1 : noteFile(NEXT(function) arguments, CALLER);          \
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

// ---- Time. After the first failure, time passes faster for code that waits until a deadline.

static const int sc_hurry = 100; // times as fast
static int64_t s_failureTime;    // nanoseconds; 0: no call has failed

static bool hurries()
{
    return s_log && s_log->depth != 0 && s_failing.callers == CALLERS_LIBRARIES;
}

extern "C" int clock_gettime(clockid_t clock, struct timespec* out) noexcept(true)
{
    const int64_t second = 1000000000;
    const int result = NEXT(clock_gettime)(clock, out);
    if (result == 0 && clock == CLOCK_MONOTONIC && hurries()) {
        const int64_t now = out->tv_sec * second + out->tv_nsec;
        s_failureTime = s_failureTime ? s_failureTime : now;
        const int64_t shown = s_failureTime + (now - s_failureTime) * sc_hurry;
        *out = {shown / second, shown % second};
    }
    return result;
}

// ---- The connection to the window server, and X11

#define SOCKET_CALL(function, parameters, arguments)                                                                 \
    FAILING(int, -1, function, CALL_WINDOW, false, parameters, arguments)

extern "C" int socket(int domain, int type, int protocol) noexcept(true)
{
    return fails("socket", CALL_WINDOW, CALLER) ? -1 : noteFile(NEXT(socket)(domain, type, protocol), CALLER);
}

extern "C" int accept(int file, struct sockaddr* address, socklen_t* size)
{
    return fails("accept", CALL_WINDOW, CALLER) ? -1 : noteFile(NEXT(accept)(file, address, size), CALLER);
}

SOCKET_CALL(connect, (int file, const struct sockaddr* address, socklen_t size), (file, address, size))
FAILING(ssize_t, -1, send, CALL_WINDOW, false, (int file, const void* bytes, size_t size, int flags),
        (file, bytes, size, flags))
FAILING(ssize_t, -1, recv, CALL_WINDOW, false, (int file, void* bytes, size_t size, int flags),
        (file, bytes, size, flags))
SOCKET_CALL(bind, (int file, const struct sockaddr* address, socklen_t size)NO_THROW, (file, address, size))
SOCKET_CALL(listen, (int file, int waiting)NO_THROW, (file, waiting))
SOCKET_CALL(accept4, (int file, struct sockaddr* address, socklen_t* size, int flags), (file, address, size, flags))
SOCKET_CALL(getsockopt, (int file, int level, int name, void* value, socklen_t* size)NO_THROW,
            (file, level, name, value, size))
SOCKET_CALL(setsockopt, (int file, int level, int name, const void* value, socklen_t size)NO_THROW,
            (file, level, name, value, size))
FAILING(int, EAI_AGAIN, getaddrinfo, CALL_WINDOW, false,
        (const char* host, const char* service, const struct addrinfo* wanted, struct addrinfo** found),
        (host, service, wanted, found))

extern "C" int poll(struct pollfd* files, nfds_t count, int timeout)
{
    const bool isShort = hurries() && timeout > 0;
    return fails("poll", CALL_WINDOW, CALLER, true)
               ? -1
               : NEXT(poll)(files, count, isShort ? timeout / sc_hurry + 1 : timeout);
}

// The parameters of a function of X11 are at most twelve words, so the headers of X11 are not needed. A word that the caller
// did not pass is read and has no meaning.
typedef long XCall(long, long, long, long, long, long, long, long, long, long, long, long);

#define X_CALL(function, failed)                                                                                     \
    extern "C" long function(long a, long b, long c, long d, long e, long f, long g, long h, long i, long j, long k, \
                             long l)                                                                                 \
    {                                                                                                                \
        static XCall* s_next;                                                                                        \
        s_next = s_next ? s_next : next<XCall>(nullptr, #function);                                                  \
        if (fails(#function, CALL_WINDOW, CALLER)) {                                                                 \
            return failed;                                                                                           \
        }                                                                                                            \
        const bool wasInside = s_isInside; /* X11's own calls do not count: without memory, XOpenDisplay crashes */  \
        s_isInside = true;                                                                                           \
        s_callerOfX = CALLER;                                                                                        \
        const long result = s_next(a, b, c, d, e, f, g, h, i, j, k, l);                                              \
        s_callerOfX = nullptr;                                                                                       \
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
X_CALL(XGetWindowProperty, 1)
X_CALL(XInternAtom, 0)
X_CALL(XkbAllocKeyboard, 0)
X_CALL(XkbGetNames, 1)
