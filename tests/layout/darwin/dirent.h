// As much of the Mac's <dirent.h> as core uses, with the callbacks as 32-bit Mac OS X has them: for the layout check alone.
#pragma once

struct dirent {
    unsigned int d_ino;
    unsigned short d_reclen;
    unsigned char d_type;
    unsigned char d_namlen;
    char d_name[256];
};

#define DT_REG 8

extern "C" int scandir(const char* folder, struct dirent*** entries, int (*select)(struct dirent*),
                       int (*compare)(const void*, const void*));
