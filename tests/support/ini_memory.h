// The file library with one INI file, in memory. A program that includes this has it in the file library's place.
#pragma once

#include "file/file.h"

#include <stdio.h>
#include <string>

static std::string s_ini; // all of it

FILE* fopen_mac(const char*, const char*)
{
    return fmemopen(s_ini.data(), s_ini.size(), "r");
}
