// As much of the Mac's <sys/stat.h> as core uses: for the layout check alone.
#pragma once

#include <stdint.h>

typedef unsigned short mode_t;
typedef uint32_t uid_t;
typedef uint32_t gid_t;

struct stat {
    mode_t st_mode;
    unsigned short st_nlink;
    uid_t st_uid;
    gid_t st_gid;
};

#define S_ISREG(mode) (((mode)&0170000) == 0100000)
#define S_ISLNK(mode) (((mode)&0170000) == 0120000)
#define S_IWGRP 0000020
#define S_IWOTH 0000002

extern "C" {
int mkdir(const char* path, mode_t mode);
int stat(const char* path, struct stat* status);
int lstat(const char* path, struct stat* status);
}
