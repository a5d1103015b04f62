// The file library with one file, in memory: a real one for each of many thousand rounds would take minutes. A program
// that includes this has it in the file library's place.
#pragma once

#include "file/file.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

static std::string s_file; // what is read, and what was written last
static _BkzFileType_s s_handle;
static char* s_written;
static size_t s_writtenSize;

_BkzFileType_s* File::open(const char*, const char* mode)
{
    s_handle.stream = mode[0] == 'w' ? open_memstream(&s_written, &s_writtenSize) : nullptr;
    return &s_handle;
}

unsigned long File::getLength(_BkzFileType_s*)
{
    return s_file.size();
}

unsigned long File::read(void* buffer, unsigned long size, unsigned long, _BkzFileType_s*)
{
    memcpy(buffer, s_file.data(), size);
    return size > 0;
}

int File::close(_BkzFileType_s*)
{
    if (s_handle.stream) {
        fclose(s_handle.stream);
        s_file.assign(s_written, s_writtenSize);
        ::free(s_written);
    }
    return 0;
}
