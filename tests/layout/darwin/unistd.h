// As much of the Mac's <unistd.h> as core uses: for the layout check alone.
#pragma once

#include <stddef.h>
#include <sys/stat.h>

typedef long ssize_t;

#define STDERR_FILENO 2

extern "C" {
uid_t getuid(void);
uid_t geteuid(void);
gid_t getegid(void);
int isatty(int descriptor);
int issetugid(void);
ssize_t readlink(const char* path, char* target, size_t size);
}
