// As much of the Mac's <sys/stat.h> as core uses: for the layout check alone.
#pragma once

typedef unsigned short mode_t;

extern "C" int mkdir(const char* path, mode_t mode);
