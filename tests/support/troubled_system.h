// A system with troubles. A program that includes this has its own in front of the system calls that write files, and can
// have any of them fail, or kill the process:
//
//     s_trouble = Trouble();
//     s_trouble.only = {"write"};
//     s_trouble.at = 2;           // the second of them
//     s_trouble.error = ENOSPC;
//     s_trouble.armed = true;
#pragma once

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <functional>
#include <set>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// What happens to the calls while it is armed.
struct Trouble {
    bool armed = false;
    std::set<std::string> only;      // the calls of these names alone; empty: all
    int at = 0;                      // the call it happens to, from 1; 0: to none
    int error = 0;                   // what it fails with; 0: it happens to be the process's last
    bool persists = false;           // to all calls from that one on
    bool shortWrites = false;        // a byte at a time
    std::function<void()> meanwhile; // called in place of that call's failure
    int calls = 0;
};
inline Trouble s_trouble;

// The error to fail with; 0 to go on.
inline int troubleWith(const char* call)
{
    if (!s_trouble.armed || (!s_trouble.only.empty() && s_trouble.only.count(call) == 0)) {
        return 0;
    }
    s_trouble.calls++;
    if (s_trouble.calls != s_trouble.at && !(s_trouble.persists && s_trouble.calls > s_trouble.at)) {
        return 0;
    }
    if (s_trouble.meanwhile) {
        s_trouble.meanwhile();
    } else if (s_trouble.error == 0) {
        kill(getpid(), SIGKILL);
    }
    return s_trouble.error;
}

template <class T>
T systems(T, const char* symbol)
{
    return reinterpret_cast<T>(dlsym(RTLD_NEXT, symbol));
}

#define TROUBLED(type, function, parameters, arguments)                                                              \
    extern "C" type function parameters                                                                              \
    {                                                                                                                \
        if (const int error = troubleWith(#function)) {                                                              \
            errno = error;                                                                                           \
            return -1;                                                                                               \
        }                                                                                                            \
        return systems(&function, #function) arguments;                                                              \
    }

TROUBLED(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size))
TROUBLED(int, fsync, (int file), (file))
TROUBLED(int, fchmod, (int file, mode_t mode) noexcept, (file, mode))
TROUBLED(int, renameat, (int folder, const char* from, int other, const char* to) noexcept, (folder, from, other, to))
TROUBLED(int, linkat, (int folder, const char* from, int other, const char* to, int flags) noexcept,
         (folder, from, other, to, flags))
TROUBLED(int, unlinkat, (int folder, const char* name, int flags) noexcept, (folder, name, flags))
TROUBLED(int, mkdirat, (int folder, const char* name, mode_t mode) noexcept, (folder, name, mode))
TROUBLED(ssize_t, readlinkat, (int folder, const char* name, char* out, size_t size) noexcept,
         (folder, name, out, size))
TROUBLED(int, close, (int file), (file))

extern "C" ssize_t write(int file, const void* bytes, size_t size)
{
    if (const int error = troubleWith("write")) {
        errno = error;
        return -1;
    }
    return systems(&write, "write")(file, bytes, s_trouble.armed && s_trouble.shortWrites && size > 0 ? 1 : size);
}

// These two take large files by another name. "open" stands for a file that is opened, "create" for one that is made as
// well, and "walk" for each part of the way there.
extern "C" int openat(int folder, const char* name, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (const int error = troubleWith(flags & O_CREAT ? "create" : flags & O_PATH ? "walk" : "open")) {
        errno = error;
        return -1;
    }
    return systems(&openat, "openat64")(folder, name, flags, mode);
}

extern "C" int fcntl(int file, int command, ...)
{
    va_list rest;
    va_start(rest, command);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    if (const int error = troubleWith("fcntl")) {
        errno = error;
        return -1;
    }
    return systems(&fcntl, "fcntl64")(file, command, argument);
}

// How many of these calls a part makes.
inline int callsDuring(const std::set<std::string>& calls, const std::function<void()>& part)
{
    s_trouble = Trouble();
    s_trouble.only = calls;
    s_trouble.armed = true;
    part();
    s_trouble.armed = false;
    return s_trouble.calls;
}

// From the first call on nothing can be changed.
inline Trouble readOnlyDisk()
{
    Trouble trouble;
    trouble.only = {"create", "linkat", "renameat", "unlinkat", "mkdirat", "fchmod"};
    trouble.at = 1;
    trouble.persists = true;
    trouble.error = EROFS;
    trouble.armed = true;
    return trouble;
}
