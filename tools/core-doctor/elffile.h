// What the file of a program or a library says about itself.
#pragma once

#include <stdint.h>
#include <string>

struct ElfFacts {
    bool hasHeader = false;     // it is a program or a library
    bool isForThisHost = false; // the processor and the word size are those of core-doctor; else the rest is empty
    std::string processor;      // such as "x86-64, 64 bits"
    std::string compiler;       // such as "GCC: (Debian 12.2.0-14) 12.2.0"
    bool hasDebugInformation = false;
    uint64_t bytes = 0; // of the file
    uint64_t bytesNeeded =
        0; // by the header, the segments and the table of sections; more than bytes in a truncated file
};

ElfFacts readElf(const std::string& path);
